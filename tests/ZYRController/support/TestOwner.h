// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BReplyHandlerBase.h>

#include <QList>
#include <QPair>

#include <functional>

namespace Trelan::Oku::ZYRTest {

/// The object that asks for requests in the handler tests. Its callback is
/// virtual, as the real owners' onXxxFinished are; `inspect` lets a test
/// read the handler during the call, the only time the handler may be read.
class TestOwner {
public:
    virtual ~TestOwner() = default;

    virtual void onRequestFinished(ZYRController::BReplyHandlerBase* handler)
    {
        ++finishedCalls;
        if (inspect)
            inspect(handler);
    }

    void onDownloadProgress(qint64 received, qint64 total) { downloadProgress.append({ received, total }); }
    void onUploadProgress(qint64 sent, qint64 total) { uploadProgress.append({ sent, total }); }

    /// A new caller whose finished function is onRequestFinished; the
    /// handler that receives it owns it.
    ZYRController::BActionFinishedCallerBase* caller()
    {
        return new ZYRController::BActionFinishedCaller<TestOwner>(this, &TestOwner::onRequestFinished);
    }

    int finishedCalls = 0;
    std::function<void(ZYRController::BReplyHandlerBase*)> inspect;
    QList<QPair<qint64, qint64>> downloadProgress;
    QList<QPair<qint64, qint64>> uploadProgress;
};

} // namespace Trelan::Oku::ZYRTest
