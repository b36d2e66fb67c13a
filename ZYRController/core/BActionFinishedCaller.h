// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BActionFinishedCallerBase.h>

namespace Trelan::Oku::ZYRController {

/// Calls member functions of an \a Owner when a request finishes or makes
/// progress. The owner is not owned and must outlive the request (or cancel
/// it); each of the three functions may be null, and a null one is skipped.
/// Take the finished function of a virtual onXxxFinished so that an override
/// in a subclass of the owner receives the call.
template <typename Owner>
class BActionFinishedCaller final : public BActionFinishedCallerBase {
public:
    using FinishedFunction = void (Owner::*)(BReplyHandlerBase*);
    using ProgressFunction = void (Owner::*)(qint64, qint64);

    BActionFinishedCaller(Owner* owner, FinishedFunction finished, ProgressFunction downloadProgress = nullptr,
                          ProgressFunction uploadProgress = nullptr)
        : BActionFinishedCallerBase(&BActionFinishedCaller::deleteCaller), m_owner(owner), m_finished(finished),
          m_downloadProgress(downloadProgress), m_uploadProgress(uploadProgress)
    {
    }

    void onFinished(BReplyHandlerBase* handler) override
    {
        if (m_owner && m_finished && handler)
            (m_owner->*m_finished)(handler);
    }

    void onDownloadProgress(qint64 bytesReceived, qint64 bytesTotal) override
    {
        if (m_owner && m_downloadProgress)
            (m_owner->*m_downloadProgress)(bytesReceived, bytesTotal);
    }

    void onUploadProgress(qint64 bytesSent, qint64 bytesTotal) override
    {
        if (m_owner && m_uploadProgress)
            (m_owner->*m_uploadProgress)(bytesSent, bytesTotal);
    }

private:
    static void deleteCaller(BActionFinishedCallerBase* caller) { delete static_cast<BActionFinishedCaller*>(caller); }

    Owner* m_owner;
    FinishedFunction m_finished;
    ProgressFunction m_downloadProgress;
    ProgressFunction m_uploadProgress;
};

} // namespace Trelan::Oku::ZYRController
