// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QByteArrayList>
#include <QStringList>

// Every reply handler of the controller's requests, made with sample request
// context, and what each one parsed, as text. Shared by the handler tests and
// the fuzz target, so that both run every handler and read it as its owner
// would.
namespace Trelan::Oku::ZYRTest {

/// Nodes named \a names (ids n0, n1, ...), each the parent of the next; the
/// first has none. The list holds them all; children hold parents weakly.
QList<QSharedPointer<ZYRModel::MFile>> makeChain(const QStringList& names);

/// The class names of the handlers makeHandler() knows.
QByteArrayList handlerClasses();

/// A new handler of \a className owning \a caller, made as its request would
/// make it: workspace "w1", authority "u1", the nodes of the tree
/// / → Design → a.dwg. Null for an unknown name.
ZYRController::BReplyHandlerBase* makeHandler(const QByteArray& className,
                                              ZYRController::BActionFinishedCallerBase* caller);

/// What \a handler parsed, as its owner reads it in onXxxFinished: records
/// are taken (and deleted), lists become one entry per element. A success
/// flag reads "success" or "failure"; privileges never set read "unset".
QStringList parsedResults(ZYRController::BReplyHandlerBase* handler);

/// The object that asks for requests. It records each callback, reading the
/// handler then, the only time a handler may be read.
class TestOwner {
public:
    virtual ~TestOwner() = default;

    virtual void onRequestFinished(ZYRController::BReplyHandlerBase* handler)
    {
        ++calls;
        status = handler->statusCode();
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
    int errorCode = -1;
    QString errorString;
    QStringList results;
};

} // namespace Trelan::Oku::ZYRTest
