// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRService/zyrservice_export.h>

#include <QUrl>

namespace Trelan::Oku::ZYRService {

/// Configuration of the service library and the cancel-all switch.
class ZYRSERVICE_EXPORT ZYRServiceUtil {
public:
    ZYRServiceUtil() = delete;

    /// The cloud's base address, e.g. http://127.0.0.1:8080. When none was
    /// set, the environment variable ZYR_SERVER_URL is read. A request made
    /// without a usable address fails through the handler's slotError and
    /// slotFinished.
    static void setServerUrl(const QUrl& url);
    static QUrl serverUrl();

    /// Milliseconds after which a request without any network activity is
    /// aborted (Qt's transfer timeout): the handler gets slotError and
    /// slotFinished without a status. Qt 6.4 reports the error as
    /// QNetworkReply::OperationCanceledError, later Qt versions as
    /// TimeoutError. 0 (the default) means never: the controller's own
    /// timers decide when to give up. Applies to requests sent afterwards.
    static void setRequestTimeout(int msecs);
    static int requestTimeout();

    /// Aborts every request still in flight, on every thread. Safe to call
    /// from any thread; each request is cancelled on its own thread through
    /// its handler's slotCancel(), so handlers finish as cancelled and never
    /// call their owners back (the caller may be an owner's destructor).
    /// Requests of the calling thread are cancelled before this returns,
    /// those of other threads on their next event-loop turn.
    static void CancelUnfinishedRequests();
};

} // namespace Trelan::Oku::ZYRService
