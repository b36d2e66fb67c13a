// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRInterface/zyrinterface_export.h>

#include <QList>
#include <QNetworkReply>
#include <QObject>
#include <QSslError>

namespace Trelan::Oku::ZYRInterface {

/// The receiving end of one service request. The service library hands the
/// handler its QNetworkReply with setReply() and connects the reply's signals
/// to the slots below; from then on the handler deletes itself. The reply is
/// not owned by the handler until it has finished.
class ZYRINTERFACE_EXPORT INetworkReplyHandler : public QObject {
    Q_OBJECT
public:
    INetworkReplyHandler();
    ~INetworkReplyHandler() override;

    virtual QNetworkReply* getReply();
    virtual void setReply(QNetworkReply* reply);

public Q_SLOTS:
    virtual void slotError(QNetworkReply::NetworkError error) = 0;
    virtual void slotSslErrors(QList<QSslError> sslErrors) = 0;
    virtual void slotReadyRead() = 0;
    virtual void slotFinished() = 0;
    virtual void slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal) = 0;
    virtual void slotUploadProgress(qint64 bytesSent, qint64 bytesTotal) = 0;
    virtual void slotCancel() = 0;

protected:
    QNetworkReply* m_reply = nullptr;
};

} // namespace Trelan::Oku::ZYRInterface
