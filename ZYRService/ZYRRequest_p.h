// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QNetworkRequest>
#include <QPair>
#include <QString>
#include <QUrl>

class QIODevice;

namespace Trelan::Oku::ZYRService {

/// Everything one request function decides about its HTTP request: verb,
/// route, query, token, body or upload source, redirect and progress rules.
/// A plain value, built by the request functions and sent by
/// ZYRNetworkAccess on the calling thread. It never owns the upload source.
class ZYRRequest {
public:
    enum class Verb { Get, Post, Put, Delete };

    /// A route on the configured server; \a encodedPath is already
    /// percent-encoded (see encode()) and may carry its own query.
    ZYRRequest(Verb verb, const QByteArray& encodedPath);

    /// A request to an address given by the caller: an absolute http(s) URL
    /// used as it is, or a path ("/…") on the configured server.
    static ZYRRequest forAddress(Verb verb, const QString& address);

    /// A value percent-encoded as the server expects it in a path segment
    /// or a query value: everything but unreserved characters as %XX.
    static QByteArray encode(const QString& value);

    ZYRRequest& addQuery(const char* key, const QString& value);
    ZYRRequest& setBearerToken(const QString& token);
    ZYRRequest& setJsonBody(const QJsonObject& body);
    ZYRRequest& setBody(const QByteArray& body, const QByteArray& contentType);
    ZYRRequest& setRawHeader(const QByteArray& name, const QByteArray& value);
    ZYRRequest& setFollowRedirects(bool follow);
    ZYRRequest& setLargeListing(bool large);
    /// Streams \a length bytes of \a source from \a offset as the body.
    ZYRRequest& setUploadSource(QIODevice* source, qint64 offset, qint64 length);
    /// Added to the reply's download total before the handler sees it.
    ZYRRequest& setDownloadTotalOffset(qint64 offset);
    /// Bounds the reply's read buffer (0 = unbounded): for bodies that the
    /// handler drains on every readyRead.
    ZYRRequest& setReadBufferSize(qint64 bytes);

    Verb verb() const { return m_verb; }
    QByteArray verbName() const;
    const QByteArray& body() const { return m_body; }
    QIODevice* uploadSource() const { return m_uploadSource; }
    qint64 uploadOffset() const { return m_uploadOffset; }
    qint64 uploadLength() const { return m_uploadLength; }
    bool hasUpload() const { return m_hasUpload; }
    qint64 downloadTotalOffset() const { return m_downloadTotalOffset; }
    qint64 readBufferSize() const { return m_readBufferSize; }

    /// The full address against \a server; an invalid QUrl, with the reason
    /// in \a problem, when no usable address results.
    QUrl resolve(const QUrl& server, QString* problem) const;
    /// The QNetworkRequest for \a url; \a timeoutMs 0 means none.
    QNetworkRequest networkRequest(const QUrl& url, int timeoutMs) const;

private:
    Verb m_verb;
    QByteArray m_path; // encoded path and query on the server, or empty
    QUrl m_absolute; // used instead of m_path when valid
    QString m_addressProblem; // why forAddress() could not use its address
    QByteArray m_query; // encoded "k=v&k=v" appended to the path
    QList<QPair<QByteArray, QByteArray>> m_headers;
    QByteArray m_body;
    QIODevice* m_uploadSource = nullptr;
    qint64 m_uploadOffset = 0;
    qint64 m_uploadLength = 0;
    qint64 m_downloadTotalOffset = 0;
    qint64 m_readBufferSize = 0;
    bool m_hasUpload = false;
    bool m_followRedirects = false;
    bool m_largeListing = false;
};

} // namespace Trelan::Oku::ZYRService
