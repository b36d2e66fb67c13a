// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace Trelan::Oku::ZYRService {

/// The reply of a request that could not be sent (no server address, an
/// unusable URL or upload source). It reports its error and finishes on a
/// later turn of its thread's event loop, never inside the request call, so
/// every handler ends the same way as after a network failure. abort()
/// delivers the failure at once when it is still pending.
/// Owned like any reply: by its manager until the handler deletes it.
class ZYRFailedReply : public QNetworkReply {
    Q_OBJECT
public:
    ZYRFailedReply(QNetworkAccessManager::Operation operation, const QNetworkRequest& request,
                   QNetworkReply::NetworkError error, const QString& message, QObject* parent);
    ~ZYRFailedReply() override;

    void abort() override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    void deliver();

    QNetworkReply::NetworkError m_failure;
    bool m_delivered = false;
};

} // namespace Trelan::Oku::ZYRService
