// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <csignal>
#include <memory>

class QTcpSocket;

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

    using Headers = QList<QNetworkReply::RawHeaderPair>;

    struct Options {
        QString serverBinary; ///< path of zyr-cloud
        QString seedFile; ///< seed for the fresh data directory; empty: no --seed
        QStringList extraArguments; ///< e.g. {"--token-ttl", "5"}
        bool enableAdmin = true; ///< --enable-admin
        bool ownDataDirectory = true; ///< false: no --data, the server makes (and removes) its own
        bool captureStandardError = false; ///< for standardError(), instead of the test's stderr
    };

    /// One answer of the server, as the helpers return it.
    struct Reply {
        int status = 0; ///< 0 when none came
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        QByteArray body;
        QList<QNetworkReply::RawHeaderPair> headers;

        /// The body as a JSON object (empty when it is not one), its
        /// "data" object and its "items" array.
        QJsonObject json() const;
        QJsonObject data() const;
        QJsonArray items() const;
        QByteArray header(const QByteArray& name) const;
    };

    /// The server binary and the sample seed (server/seed/sample-seed.json)
    /// of this build; empty when the build has no zyr-cloud.
    static Options defaultOptions();

    explicit CloudServerFixture(Options options = defaultOptions());
    ~CloudServerFixture();
    CloudServerFixture(const CloudServerFixture&) = delete;
    CloudServerFixture& operator=(const CloudServerFixture&) = delete;

    /// Starts the server and waits for its "listening on host:port" line;
    /// false (with errorString()) when it did not come. After stop(), starts
    /// it again on the same data directory (the seed is then ignored).
    bool start();
    /// Sends \a signal and waits: the exit code, or -1. After a failed
    /// start(), the exit code of that start.
    int stop(int signal = SIGTERM);
    bool isRunning() const { return m_process.state() == QProcess::Running && m_baseUrl.isValid(); }
    QString errorString() const { return m_error; }

    /// http://127.0.0.1:<port>, without a trailing slash.
    QUrl baseUrl() const { return m_baseUrl; }
    QString dataDirectory() const { return m_dataDir.filePath(QStringLiteral("data")); }
    QByteArray standardOutput() { return m_output += m_process.readAllStandardOutput(); }
    /// With Options::captureStandardError only.
    QByteArray standardError() { return m_errors += m_process.readAllStandardError(); }

    /// Signs in and returns the access token; empty when that failed.
    QString signIn(const QString& account = QStringLiteral("alice"),
                   const QString& password = QStringLiteral("alice-pass"));

    /// One request on the server, waited for. \a pathAndQuery is appended
    /// to baseUrl() as it is (already percent-encoded); \a token, when not
    /// empty, goes into "Authorization: Bearer"; \a headers are set last.
    Reply request(const QByteArray& method, const QByteArray& pathAndQuery, const QByteArray& body = QByteArray(),
                  const QString& token = QString(),
                  const QByteArray& contentType = QByteArrayLiteral("application/json"),
                  const Headers& headers = Headers());
    /// An upload of \a bytes from \a offset of a file of \a size bytes
    /// (offset + bytes when -1), waited for; and the route of one.
    Reply upload(const QString& token, const QString& workspaceId, const QString& path, const QByteArray& bytes,
                 qint64 offset = 0, qint64 size = -1);
    static QByteArray uploadTarget(const QString& workspaceId, const QString& path, qint64 size, qint64 offset);

    /// A new connection with a request written as given (Content-Length
    /// only when \a contentLength >= 0): for bodies cut short, many
    /// connections at once, or exactly what the server sends back.
    QTcpSocket* openRaw(const QByteArray& method, const QByteArray& target, const QString& token, qint64 contentLength,
                        const QByteArray& body, QObject* parent);

    /// Adds a fault (the members of POST /admin/faults, e.g.
    /// {"pathPrefix": "/api/v1/users/me", "status": 503, "times": 1}) and
    /// returns its id; empty when the server refused it.
    QString addFault(const QJsonObject& fault);
    /// Removes every fault and releases held requests.
    bool clearFaults();

    /// The manager of request(), for requests a test drives itself.
    QNetworkAccessManager& manager();

private:
    Options m_options;
    QTemporaryDir m_dataDir;
    QProcess m_process;
    QUrl m_baseUrl;
    QString m_error;
    QByteArray m_output;
    QByteArray m_errors;
    std::unique_ptr<QNetworkAccessManager> m_manager;
};
