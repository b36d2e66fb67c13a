// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "HttpClient.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTcpSocket>

QJsonObject HttpReply::object() const
{
    return QJsonDocument::fromJson(body).object();
}

HttpClient::HttpClient(const QUrl& base) : m_base(base) { }

QString HttpClient::signIn(const QString& account, const QString& password)
{
    const HttpReply reply
            = postJson(QStringLiteral("/api/v1/auth/login"),
                       QJsonObject{ { QStringLiteral("account"), account }, { QStringLiteral("password"), password } });
    m_token = reply.object().value(QStringLiteral("accessToken")).toString();
    return m_token;
}

QUrl HttpClient::url(const QString& pathAndQuery) const
{
    return QUrl::fromEncoded(m_base.toEncoded() + pathAndQuery.toUtf8(), QUrl::StrictMode);
}

QNetworkRequest HttpClient::request(const QString& pathAndQuery, const RawHeaders& headers) const
{
    QNetworkRequest request(url(pathAndQuery));
    if (!m_token.isEmpty()) {
        request.setRawHeader("Authorization", "Bearer " + m_token.toUtf8());
    }
    for (const auto& header : headers) {
        request.setRawHeader(header.first, header.second);
    }
    return request;
}

HttpReply HttpClient::get(const QString& pathAndQuery, const RawHeaders& headers)
{
    return collect(m_manager.get(request(pathAndQuery, headers)));
}

HttpReply HttpClient::send(const QByteArray& method, const QString& pathAndQuery, const QByteArray& body,
                           const RawHeaders& headers)
{
    QNetworkRequest req = request(pathAndQuery, headers);
    if (!body.isEmpty() && req.header(QNetworkRequest::ContentTypeHeader).isNull()) {
        req.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    }
    return collect(m_manager.sendCustomRequest(req, method, body));
}

HttpReply HttpClient::postJson(const QString& pathAndQuery, const QJsonObject& body)
{
    return send("POST", pathAndQuery, QJsonDocument(body).toJson(QJsonDocument::Compact));
}

HttpReply HttpClient::putJson(const QString& pathAndQuery, const QJsonObject& body)
{
    return send("PUT", pathAndQuery, QJsonDocument(body).toJson(QJsonDocument::Compact));
}

HttpReply HttpClient::del(const QString& pathAndQuery)
{
    return send("DELETE", pathAndQuery);
}

QString HttpClient::addFault(const QJsonObject& fault)
{
    const HttpReply reply = postJson(QStringLiteral("/admin/faults"), fault);
    return reply.object().value(QStringLiteral("id")).toString();
}

void HttpClient::clearFaults()
{
    del(QStringLiteral("/admin/faults"));
}

HttpReply HttpClient::collect(QNetworkReply* reply, int timeoutMs)
{
    HttpReply result;
    if (!reply->isFinished()) {
        QSignalSpy finished(reply, &QNetworkReply::finished);
        if (!finished.wait(timeoutMs)) {
            reply->abort();
        }
    }
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.error = reply->error();
    if (reply->isOpen()) {
        result.body = reply->readAll();
    }
    for (const auto& pair : reply->rawHeaderPairs()) {
        result.headers.insert(pair.first.toLower(), pair.second);
    }
    reply->deleteLater();
    return result;
}

QString HttpClient::q(const QString& value)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(value));
}

QTcpSocket* HttpClient::startPartialUpload(const QString& workspaceId, const QString& path, qint64 size, qint64 offset,
                                           const QByteArray& bodyPart, QObject* parent)
{
    auto* socket = new QTcpSocket(parent);
    socket->connectToHost(m_base.host(), quint16(m_base.port()));
    if (!socket->waitForConnected(ReplyTimeoutMs)) {
        return socket;
    }
    const QString target = uploadTarget(workspaceId, path, size, offset);
    QByteArray head = "PUT " + target.toUtf8() + " HTTP/1.1\r\nHost: " + m_base.host().toUtf8()
            + "\r\nAuthorization: Bearer " + m_token.toUtf8()
            + "\r\nContent-Type: application/octet-stream\r\nContent-Length: " + QByteArray::number(size - offset)
            + "\r\n\r\n";
    socket->write(head + bodyPart);
    while (socket->bytesToWrite() > 0 && socket->waitForBytesWritten(ReplyTimeoutMs)) { }
    return socket;
}

QString HttpClient::uploadTarget(const QString& workspaceId, const QString& path, qint64 size, qint64 offset)
{
    // Concatenation, not QString::arg: encoded values hold "%2F", which a
    // later arg() would take for a placeholder.
    const QString parent = path.left(qMax(0, int(path.lastIndexOf(QLatin1Char('/')))));
    return QStringLiteral("/api/v1/workspaces/") + workspaceId + QStringLiteral("/upload?parentPath=") + q(parent)
            + QStringLiteral("&path=") + q(path) + QStringLiteral("&size=") + QString::number(size)
            + QStringLiteral("&offset=") + QString::number(offset);
}

QTcpSocket* HttpClient::sendRawGet(const QString& pathAndQuery, QObject* parent)
{
    auto* socket = new QTcpSocket(parent);
    socket->connectToHost(m_base.host(), quint16(m_base.port()));
    if (socket->waitForConnected(ReplyTimeoutMs)) {
        socket->write("GET " + pathAndQuery.toUtf8() + " HTTP/1.1\r\nHost: " + m_base.host().toUtf8()
                      + "\r\nAuthorization: Bearer " + m_token.toUtf8() + "\r\n\r\n");
        socket->waitForBytesWritten(ReplyTimeoutMs);
    }
    return socket;
}
