// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPair>
#include <QString>
#include <QUrl>

class QTcpSocket;

// One finished reply, read whole.
struct HttpReply {
    int status = 0;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QByteArray body;
    QHash<QByteArray, QByteArray> headers; // names in lower case

    QByteArray header(const QByteArray& name) const { return headers.value(name.toLower()); }
    // The body as a JSON object; an empty object when it is not one.
    QJsonObject object() const;
    QJsonObject data() const { return object().value(QStringLiteral("data")).toObject(); }
    QJsonArray items() const { return object().value(QStringLiteral("items")).toArray(); }
};

using RawHeaders = QList<QPair<QByteArray, QByteArray>>;

// Raw HTTP against a zyr-cloud: requests as the interface document spells
// them, with the bearer token when one is set. Calls block (running the
// event loop) until the reply has finished.
class HttpClient {
public:
    static constexpr int ReplyTimeoutMs = 60000;

    explicit HttpClient(const QUrl& base);

    void setToken(const QString& token) { m_token = token; }
    QString token() const { return m_token; }
    // Signs in, keeps the token and returns it ("" on failure).
    QString signIn(const QString& account, const QString& password);

    // `pathAndQuery` is appended to the base address as already-encoded text.
    QNetworkRequest request(const QString& pathAndQuery, const RawHeaders& headers = {}) const;
    QUrl url(const QString& pathAndQuery) const;

    HttpReply get(const QString& pathAndQuery, const RawHeaders& headers = {});
    HttpReply send(const QByteArray& method, const QString& pathAndQuery, const QByteArray& body = {},
                   const RawHeaders& headers = {});
    HttpReply postJson(const QString& pathAndQuery, const QJsonObject& body);
    HttpReply putJson(const QString& pathAndQuery, const QJsonObject& body);
    HttpReply del(const QString& pathAndQuery);

    // Test-only fault routes of the server.
    QString addFault(const QJsonObject& fault);
    void clearFaults();

    QNetworkAccessManager& manager() { return m_manager; }

    // Sends a PUT upload whose headers announce `size - offset` body bytes
    // but only `bodyPart` follows, on a raw socket the caller keeps open
    // (so the upload stays "streaming") and closes to cut it off.
    QTcpSocket* startPartialUpload(const QString& workspaceId, const QString& path, qint64 size, qint64 offset,
                                   const QByteArray& bodyPart, QObject* parent);

    // Sends one raw GET (with the token) on a new connection the caller
    // owns; lets a test see exactly what arrives before the server closes.
    QTcpSocket* sendRawGet(const QString& pathAndQuery, QObject* parent);

    // Waits for the reply to finish and reads it (the reply is deleted).
    static HttpReply collect(QNetworkReply* reply, int timeoutMs = ReplyTimeoutMs);
    // A query value percent-encoded the way the client encodes them.
    static QString q(const QString& value);
    // The upload route for `path`, its parent taken from the path.
    static QString uploadTarget(const QString& workspaceId, const QString& path, qint64 size, qint64 offset);

private:
    QUrl m_base;
    QString m_token;
    QNetworkAccessManager m_manager;
};
