// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <QtGlobal>

namespace Trelan::Oku::ZYRController {

class BReplyHandlerBase;

/// The callback adaptor through which a finished reply handler reaches the
/// object that asked for the request. A handler owns its caller and disposes
/// of it with destroy(); see BActionFinishedCaller for the usual one.
///
/// The class has no virtual destructor. Each concrete caller hands its own
/// deleter to this base, so destroy() always deletes the object as the type
/// it was made as; a plain `delete` through the base is not possible (the
/// destructor is protected).
class ZYRCONTROLLER_EXPORT BActionFinishedCallerBase {
public:
    virtual void onFinished(BReplyHandlerBase* handler) = 0;
    virtual void onDownloadProgress(qint64 bytesReceived, qint64 bytesTotal) = 0;
    virtual void onUploadProgress(qint64 bytesSent, qint64 bytesTotal) = 0;

    /// Deletes \a caller through the deleter it was made with; null is allowed.
    static void destroy(BActionFinishedCallerBase* caller);

    BActionFinishedCallerBase(const BActionFinishedCallerBase&) = delete;
    BActionFinishedCallerBase& operator=(const BActionFinishedCallerBase&) = delete;

protected:
    using Deleter = void (*)(BActionFinishedCallerBase*);

    /// \a deleter deletes the complete object; it must not be null.
    explicit BActionFinishedCallerBase(Deleter deleter);
    ~BActionFinishedCallerBase();

private:
    Deleter m_deleter;
};

} // namespace Trelan::Oku::ZYRController
