// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

/// A running zyr-cloud for one test: the real server binary on a free port,
/// with a fresh temporary data directory, a seed file and the admin routes
/// (faults on demand) enabled. It talks to the server with a plain
/// QNetworkAccessManager of its own, never through the client libraries, so
/// that tests of those libraries do not depend on what they test.
///
/// The fixture owns the server process and the data directory; the
/// destructor stops the server (SIGTERM, then waits) and removes the data.
/// Use it from one thread, whose event loop the blocking helpers spin.
class CloudServerFixture {
public:
    static constexpr int StartTimeoutMs = 30000;
    static constexpr int StopTimeoutMs = 15000;
    static constexpr int RequestTimeoutMs = 30000;

    struct Options {
        QString serverBinary; ///< path of zyr-cloud
        QString seedFile; ///< seed for the fresh data directory
        QStringList extraArguments; ///< e.g. {"--token-ttl", "5"}
    };

    /// One answer of the server, as the helpers return it.
    struct Reply {
        int status = 0; ///< 0 when none came
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        QByteArray body;
        QList<QNetworkReply::RawHeaderPair> headers;

        /// The body as a JSON object (empty when it is not one).
        QJsonObject json() const;
        QByteArray header(const QByteArray& name) const;
    };

    /// The server binary and the sample seed (server/seed/sample-seed.json)
    /// of this build; empty when the build has no zyr-cloud.
    static Options defaultOptions();

    explicit CloudServerFixture(Options options = defaultOptions());
    ~CloudServerFixture();
    CloudServerFixture(const CloudServerFixture&) = delete;
    CloudServerFixture& operator=(const CloudServerFixture&) = delete;

    /// Starts the server and waits for its "listening on host:port" line.
    /// False (with errorString()) when it did not come.
    bool start();
    /// SIGTERM, then waits; the server's exit code, or -1.
    int stop();
    bool isRunning() const;
    QString errorString() const;

    /// http://127.0.0.1:<port>, without a trailing slash.
    QUrl baseUrl() const;
    QString dataDirectory() const;

    /// Signs in and returns the access token; empty when that failed.
    QString signIn(const QString& account = QStringLiteral("alice"),
                   const QString& password = QStringLiteral("alice-pass"));

    /// One request on the server, waited for. \a pathAndQuery is appended
    /// to baseUrl() as it is (already percent-encoded); \a token, when not
    /// empty, goes into "Authorization: Bearer".
    Reply request(const QByteArray& method, const QByteArray& pathAndQuery, const QByteArray& body = QByteArray(),
                  const QString& token = QString(),
                  const QByteArray& contentType = QByteArrayLiteral("application/json"));

    /// Adds a fault (the members of POST /admin/faults, e.g.
    /// {"pathPrefix": "/api/v1/users/me", "status": 503, "times": 1}) and
    /// returns its id; empty when the server refused it.
    QString addFault(const QJsonObject& fault);
    /// Removes every fault and releases held requests.
    bool clearFaults();

private:
    Options m_options;
    QTemporaryDir m_dataDir;
    QProcess m_process;
    QUrl m_baseUrl;
    QString m_error;
    std::unique_ptr<QNetworkAccessManager> m_manager;
};
