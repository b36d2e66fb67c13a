// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ZYRRequest_p.h"

#include "ZYRServiceDefaults_p.h"

#include <QIODevice>
#include <QJsonDocument>

namespace Trelan::Oku::ZYRService {

namespace {

bool isWebScheme(const QUrl& url)
{
    const QString scheme = url.scheme().toLower();
    return (scheme == QLatin1String("http") || scheme == QLatin1String("https")) && !url.host().isEmpty();
}

// The path and query of \a url exactly as they travel on the wire.
QByteArray encodedPathAndQuery(const QUrl& url)
{
    QByteArray result = url.path(QUrl::FullyEncoded).toLatin1();
    if (!result.startsWith('/'))
        result.prepend('/');
    if (url.hasQuery())
        result += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    return result;
}

} // namespace

ZYRRequest::ZYRRequest(Verb verb, const QByteArray& encodedPath) : m_verb(verb), m_path(encodedPath) { }

ZYRRequest ZYRRequest::forAddress(Verb verb, const QString& address)
{
    ZYRRequest request(verb, QByteArray());
    // A single leading slash names a path on our own server; anything else
    // must be a complete web address ("//host/…" included, which QUrl reads
    // as a host without scheme and is therefore refused).
    if (address.startsWith(QLatin1Char('/')) && !address.startsWith(QLatin1String("//"))) {
        request.m_path = encodedPathAndQuery(QUrl(address, QUrl::TolerantMode));
        return request;
    }
    const QUrl url(address, QUrl::TolerantMode);
    if (url.isValid() && isWebScheme(url))
        request.m_absolute = url;
    else
        request.m_addressProblem = QStringLiteral("Not an http(s) address or server path: ") + address;
    return request;
}

QByteArray ZYRRequest::encode(const QString& value)
{
    return QUrl::toPercentEncoding(value);
}

ZYRRequest& ZYRRequest::addQuery(const char* key, const QString& value)
{
    if (!m_query.isEmpty())
        m_query += '&';
    m_query += key;
    m_query += '=';
    m_query += encode(value);
    return *this;
}

ZYRRequest& ZYRRequest::setBearerToken(const QString& token)
{
    // Without a token the header would be malformed; the server answers 401
    // for a missing one just the same.
    if (!token.isEmpty())
        setRawHeader("Authorization", "Bearer " + token.toUtf8());
    return *this;
}

ZYRRequest& ZYRRequest::setJsonBody(const QJsonObject& body)
{
    return setBody(QJsonDocument(body).toJson(QJsonDocument::Compact), "application/json");
}

ZYRRequest& ZYRRequest::setBody(const QByteArray& body, const QByteArray& contentType)
{
    m_body = body;
    setRawHeader("Content-Type", contentType);
    return *this;
}

ZYRRequest& ZYRRequest::setRawHeader(const QByteArray& name, const QByteArray& value)
{
    m_headers.append({ name, value });
    return *this;
}

ZYRRequest& ZYRRequest::setFollowRedirects(bool follow)
{
    m_followRedirects = follow;
    return *this;
}

ZYRRequest& ZYRRequest::setLargeListing(bool large)
{
    m_largeListing = large;
    return *this;
}

ZYRRequest& ZYRRequest::setUploadSource(QIODevice* source, qint64 offset, qint64 length)
{
    m_hasUpload = true;
    m_uploadSource = source;
    m_uploadOffset = offset;
    m_uploadLength = length;
    return *this;
}

ZYRRequest& ZYRRequest::setDownloadTotalOffset(qint64 offset)
{
    m_downloadTotalOffset = offset;
    return *this;
}

ZYRRequest& ZYRRequest::setReadBufferSize(qint64 bytes)
{
    m_readBufferSize = bytes;
    return *this;
}

QByteArray ZYRRequest::verbName() const
{
    switch (m_verb) {
    case Verb::Get:
        return QByteArrayLiteral("GET");
    case Verb::Post:
        return QByteArrayLiteral("POST");
    case Verb::Put:
        return QByteArrayLiteral("PUT");
    case Verb::Delete:
        return QByteArrayLiteral("DELETE");
    }
    return QByteArray();
}

QUrl ZYRRequest::resolve(const QUrl& server, QString* problem) const
{
    if (!m_addressProblem.isEmpty()) {
        *problem = m_addressProblem;
        return QUrl();
    }
    if (m_absolute.isValid())
        return m_absolute;
    if (server.isEmpty()) {
        *problem = QStringLiteral("No server address configured");
        return QUrl();
    }
    if (!server.isValid() || !isWebScheme(server)) {
        *problem = QStringLiteral("Unusable server address: ") + server.toDisplayString();
        return QUrl();
    }
    QByteArray full = server.adjusted(QUrl::RemoveQuery | QUrl::RemoveFragment | QUrl::StripTrailingSlash).toEncoded();
    full += m_path;
    if (!m_query.isEmpty())
        full += (m_path.contains('?') ? '&' : '?') + m_query;
    // Strict parsing keeps every %XX exactly as encode() produced it.
    QUrl url = QUrl::fromEncoded(full, QUrl::StrictMode);
    if (!url.isValid())
        *problem = QStringLiteral("Invalid request address: ") + url.errorString();
    return url;
}

QNetworkRequest ZYRRequest::networkRequest(const QUrl& url, int timeoutMs) const
{
    QNetworkRequest request(url);
    for (const auto& header : m_headers)
        request.setRawHeader(header.first, header.second);

    // Identity is the Authorization header alone: no cookie is stored or sent.
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);

    // Only the version list and installers may be redirected: a redirected
    // upload would be re-sent as a bodiless GET, and an API redirect could
    // carry the token somewhere else.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         m_followRedirects ? QNetworkRequest::NoLessSafeRedirectPolicy
                                           : QNetworkRequest::ManualRedirectPolicy);
    if (timeoutMs > 0)
        request.setTransferTimeout(timeoutMs);
    if (m_largeListing)
        request.setDecompressedSafetyCheckThreshold(Defaults::ListingDecompressionCheckThreshold);

    if (m_hasUpload) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/octet-stream"));
        request.setHeader(QNetworkRequest::ContentLengthHeader, m_uploadLength);
        // A file streams by itself; only a sequential source would otherwise
        // be read whole into memory before sending.
        if (m_uploadSource && m_uploadSource->isSequential())
            request.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    }
    return request;
}

} // namespace Trelan::Oku::ZYRService
