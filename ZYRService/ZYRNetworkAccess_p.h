// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>

namespace Trelan::Oku::ZYRInterface {
class INetworkReplyHandler;
}

namespace Trelan::Oku::ZYRService {

class ZYRRequest;

/// The network access of one thread: its QNetworkAccessManager (a manager
/// belongs to the thread that made it), made on the thread's first request.
/// When the thread ends (QThread::finished, or the application object's
/// destruction for the main thread) its requests still in flight are
/// cancelled, so their handlers finish and delete themselves, and only then
/// is the manager, with the replies it parents, destroyed.
class ZYRNetworkAccess : public QObject {
    Q_OBJECT
public:
    ~ZYRNetworkAccess() override;

    /// Sends \a request on the calling thread and connects its reply to
    /// \a handler (which may be null). Never reports anything before it
    /// returns.
    static void send(const ZYRRequest& request, ZYRInterface::INetworkReplyHandler* handler);

private:
    ZYRNetworkAccess();

    static ZYRNetworkAccess* forCurrentThread();
    static void cleanUpApplicationThread();

    QNetworkReply* start(const ZYRRequest& request);
    QNetworkReply* fail(const ZYRRequest& request, const QNetworkRequest& networkRequest,
                        QNetworkReply::NetworkError error, const QString& message);
    void cancelForThreadEnd();
    void onThreadFinished();

    QNetworkAccessManager m_manager;
    bool m_finishing = false;
};

} // namespace Trelan::Oku::ZYRService
