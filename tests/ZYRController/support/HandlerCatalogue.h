// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QByteArrayList>
#include <QStringList>

// Every reply handler, made with sample request context and read as its owner reads it; shared by
// the handler tests and the fuzz target.
namespace Trelan::Oku::ZYRTest {

/// Nodes named \a names (ids n0, n1, ...), each the parent of the next; children hold parents weakly.
QList<QSharedPointer<ZYRModel::MFile>> makeChain(const QStringList& names);

/// The class names of the handlers makeHandler() knows.
QByteArrayList handlerClasses();

/// A new handler of \a className owning \a caller, made as its request would make it: workspace
/// "w1", authority "u1", nodes of the tree / → Design → a.dwg. Null for an unknown name.
ZYRController::BReplyHandlerBase* makeHandler(const QByteArray& className,
                                              ZYRController::BActionFinishedCallerBase* caller);

/// What \a handler parsed, as its owner reads it: records taken (and deleted), one entry per list
/// element, a flag as "success" or "failure", privileges never set as "unset".
QStringList parsedResults(ZYRController::BReplyHandlerBase* handler);

/// Asks for requests; records each callback, when alone a handler may be read.
class TestOwner {
public:
    virtual ~TestOwner() = default;

    virtual void onRequestFinished(ZYRController::BReplyHandlerBase* handler)
    {
        ++calls;
        status = handler->statusCode();
        statusOk = handler->isStatusOk();
        errorCode = handler->errorCode();
        errorString = handler->errorString();
        results = parsedResults(handler);
    }

    /// A new caller whose finished function is onRequestFinished.
    ZYRController::BActionFinishedCallerBase* caller()
    {
        return new ZYRController::BActionFinishedCaller<TestOwner>(this, &TestOwner::onRequestFinished);
    }

    int calls = 0;
    int status = -1;
    bool statusOk = false;
    int errorCode = -1;
    QString errorString;
    QStringList results;
};

} // namespace Trelan::Oku::ZYRTest
