// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRInterface/INetworkReplyHandler.h>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QNetworkReply>
#include <QSslError>
#include <QString>

namespace Trelan::Oku::ZYRController {

class BActionFinishedCallerBase;

/// The base of every reply handler: collects the HTTP status, the network
/// error and the body of one request, parses a 200 body (parseReply() of the
/// concrete handler), calls its owner back through the caller, and then
/// deletes itself and the reply with deleteLater().
///
/// The handler owns its caller. It does not own the reply until the reply
/// has finished. Owners read results only inside their onXxxFinished call.
class ZYRCONTROLLER_EXPORT BReplyHandlerBase : public ZYRInterface::INetworkReplyHandler {
    Q_OBJECT
public:
    /// Takes ownership of \a caller (null is allowed: nobody is called back).
    explicit BReplyHandlerBase(BActionFinishedCallerBase* caller);
    ~BReplyHandlerBase() override;

    /// HTTP status of the reply; 200 until the reply says otherwise, 0 when
    /// the reply had none (connection failure, abort).
    int statusCode() const;
    /// The QNetworkReply::NetworkError reported for the reply, 0 for none.
    int errorCode() const;
    void setErrorCode(int errorCode);
    const QString& errorString() const;
    void setErrorString(const QString& errorString);
    /// True when the status is exactly 200; every owner judges success by it.
    bool isStatusOk() const;
    bool isCancelled() const;

public Q_SLOTS:
    void slotError(QNetworkReply::NetworkError error) override;
    void slotSslErrors(QList<QSslError> sslErrors) override;
    /// Marks the request cancelled and aborts the reply; the owner is then
    /// never called. Without a reply it does nothing.
    void slotCancel() override;
    void slotReadyRead() override;
    /// The one place where a request ends; see the class comment.
    void slotFinished() override;
    void slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal) override;
    void slotUploadProgress(qint64 bytesSent, qint64 bytesTotal) override;

protected:
    /// Reads and interprets a 200 body; does nothing here.
    virtual void parseReply();

    BActionFinishedCallerBase* caller() const;

    // Body readers for parseReply(). Each one consumes the whole body with
    // readAll(), so a handler uses one of them once per reply.

    /// The raw body; empty without a reply.
    QByteArray readBody();
    /// False unless the body is a JSON object; \a out = that object.
    bool readRootObject(QJsonObject& out);
    /// Accepts a bare object or an envelope {"code": 0, "data": {...}}:
    /// \a out = the root, or the "data" object of a code-0 envelope that has
    /// one. False for a non-object body (out untouched) and for a non-zero
    /// "code" (out = the root, so an error message can still be read).
    bool readEnvelope(QJsonObject& out);
    /// The root's "data" value; false when it is missing or null.
    bool readData(QJsonValue& out);
    /// readData(), and only when "data" is an array.
    bool readDataArray(QJsonArray& out);
    /// readData() as an object; false when that object is empty.
    bool readDataObject(QJsonObject& out);

    /// A JSON value as text: strings as they are, whole numbers in decimal
    /// (the service is free to send ids as numbers); a null QString for
    /// anything else.
    static QString jsonString(const QJsonValue& value);

private:
    BActionFinishedCallerBase* m_caller;
    quint16 m_statusCode = 200;
    int m_errorCode = 0;
    QString m_errorString;
    bool m_cancelled = false;
};

} // namespace Trelan::Oku::ZYRController
