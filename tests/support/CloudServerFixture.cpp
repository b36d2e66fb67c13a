// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QTcpSocket>

#if defined(Q_OS_LINUX)
#  include <sys/prctl.h>
#  include <unistd.h>
#endif

QJsonObject CloudServerFixture::Reply::json() const
{
    return QJsonDocument::fromJson(body).object();
}

QJsonObject CloudServerFixture::Reply::data() const
{
    return json().value(QLatin1String("data")).toObject();
}

QJsonArray CloudServerFixture::Reply::items() const
{
    return json().value(QLatin1String("items")).toArray();
}

QByteArray CloudServerFixture::Reply::header(const QByteArray& name) const
{
    for (const auto& pair : headers) {
        if (pair.first.compare(name, Qt::CaseInsensitive) == 0)
            return pair.second;
    }
    return QByteArray();
}

CloudServerFixture::Options CloudServerFixture::defaultOptions()
{
    Options options;
#if defined(ZYR_CLOUD_BINARY) && defined(ZYR_CLOUD_SAMPLE_SEED)
    options.serverBinary = QStringLiteral(ZYR_CLOUD_BINARY);
    options.seedFile = QStringLiteral(ZYR_CLOUD_SAMPLE_SEED);
#endif
    return options;
}

CloudServerFixture::CloudServerFixture(Options options) : m_options(std::move(options))
{
    // Unless a test reads them, server logs go to the test's own stderr:
    // shown by ctest on failure, and a pipe nobody reads can never fill up
    // and stall the server.
    m_process.setProcessChannelMode(m_options.captureStandardError ? QProcess::SeparateChannels
                                                                   : QProcess::ForwardedErrorChannel);
#if defined(Q_OS_LINUX)
    // A test killed by ctest's timeout never runs the destructor; the server
    // must not outlive it and hold its port and temporary files.
    const pid_t parent = ::getpid();
    m_process.setChildProcessModifier([parent] {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent)
            ::_exit(1); // the test already died before the line above
    });
#endif
}

CloudServerFixture::~CloudServerFixture()
{
    stop();
}

bool CloudServerFixture::start()
{
    if (m_options.serverBinary.isEmpty()) {
        m_error = QStringLiteral("This build has no zyr-cloud binary");
        return false;
    }
    if (!m_dataDir.isValid()) {
        m_error = QStringLiteral("No temporary data directory: ") + m_dataDir.errorString();
        return false;
    }
    QStringList arguments = { QStringLiteral("--port"), QStringLiteral("0") };
    if (m_options.ownDataDirectory)
        arguments << QStringLiteral("--data") << dataDirectory();
    if (m_options.enableAdmin)
        arguments << QStringLiteral("--enable-admin");
    if (!m_options.seedFile.isEmpty())
        arguments << QStringLiteral("--seed") << m_options.seedFile;
    arguments << m_options.extraArguments;

    m_baseUrl.clear();
    m_process.start(m_options.serverBinary, arguments, QIODevice::ReadOnly);
    if (!m_process.waitForStarted(StartTimeoutMs)) {
        m_error = QStringLiteral("zyr-cloud did not start: ") + m_process.errorString();
        return false;
    }

    static const QRegularExpression listening(QStringLiteral("^listening on (\\S+):(\\d+)$"));
    const QDeadlineTimer deadline(StartTimeoutMs);
    while (!deadline.hasExpired()) {
        while (m_process.canReadLine()) {
            const QByteArray line = m_process.readLine();
            m_output += line;
            const QRegularExpressionMatch match = listening.match(QString::fromUtf8(line).trimmed());
            if (match.hasMatch()) {
                m_baseUrl.setScheme(QStringLiteral("http"));
                m_baseUrl.setHost(match.captured(1));
                m_baseUrl.setPort(match.captured(2).toInt());
                return true;
            }
        }
        if (m_process.state() != QProcess::Running)
            break;
        m_process.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
    }
    m_error = QStringLiteral("zyr-cloud never said it was listening (exit code %1); its output: %2")
                      .arg(m_process.exitCode())
                      .arg(QString::fromUtf8(m_output));
    stop();
    return false;
}

int CloudServerFixture::stop(int signal)
{
    if (m_process.state() != QProcess::NotRunning) {
        ::kill(pid_t(m_process.processId()), signal); // SIGTERM: the server closes its database and exits 0
        if (!m_process.waitForFinished(StopTimeoutMs)) {
            m_process.kill();
            m_process.waitForFinished(StopTimeoutMs);
            return -1;
        }
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QNetworkAccessManager& CloudServerFixture::manager()
{
    if (!m_manager) {
        m_manager = std::make_unique<QNetworkAccessManager>();
        // Loopback only: whatever proxy the process is told to use elsewhere.
        m_manager->setProxy(QNetworkProxy::NoProxy);
    }
    return *m_manager;
}

CloudServerFixture::Reply CloudServerFixture::request(const QByteArray& method, const QByteArray& pathAndQuery,
                                                      const QByteArray& body, const QString& token,
                                                      const QByteArray& contentType, const Headers& headers)
{
    QNetworkRequest request(QUrl::fromEncoded(m_baseUrl.toEncoded() + pathAndQuery, QUrl::StrictMode));
    request.setTransferTimeout(RequestTimeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    if (!token.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    if (!body.isEmpty())
        request.setRawHeader("Content-Type", contentType);
    for (const auto& header : headers)
        request.setRawHeader(header.first, header.second);

    QNetworkReply* reply = manager().sendCustomRequest(request, method, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec(); // ends at the latest with the transfer timeout

    Reply result;
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.error = reply->error();
    result.body = reply->readAll();
    result.headers = reply->rawHeaderPairs();
    reply->deleteLater();
    return result;
}

CloudServerFixture::Reply CloudServerFixture::upload(const QString& token, const QString& workspaceId,
                                                     const QString& path, const QByteArray& bytes, qint64 offset,
                                                     qint64 size)
{
    const qint64 total = size < 0 ? offset + bytes.size() : size;
    return request("PUT", uploadTarget(workspaceId, path, total, offset), bytes, token, "application/octet-stream");
}

QByteArray CloudServerFixture::uploadTarget(const QString& workspaceId, const QString& path, qint64 size, qint64 offset)
{
    const QString parent = path.left(qMax(0, int(path.lastIndexOf(QLatin1Char('/')))));
    return "/api/v1/workspaces/" + QUrl::toPercentEncoding(workspaceId)
            + "/upload?parentPath=" + QUrl::toPercentEncoding(parent) + "&path=" + QUrl::toPercentEncoding(path)
            + "&size=" + QByteArray::number(size) + "&offset=" + QByteArray::number(offset);
}

QTcpSocket* CloudServerFixture::openRaw(const QByteArray& method, const QByteArray& target, const QString& token,
                                        qint64 contentLength, const QByteArray& body, QObject* parent)
{
    auto* socket = new QTcpSocket(parent);
    socket->connectToHost(m_baseUrl.host(), quint16(m_baseUrl.port()));
    QByteArray head = method + ' ' + target + " HTTP/1.1\r\nHost: " + m_baseUrl.authority().toUtf8() + "\r\n";
    if (!token.isEmpty())
        head += "Authorization: Bearer " + token.toUtf8() + "\r\n";
    if (contentLength >= 0)
        head += "Content-Length: " + QByteArray::number(contentLength) + "\r\n";
    socket->write(head + "\r\n" + body); // sent once connected
    return socket;
}

QString CloudServerFixture::signIn(const QString& account, const QString& password)
{
    const QJsonObject credentials{ { QStringLiteral("account"), account }, { QStringLiteral("password"), password } };
    const Reply reply
            = request("POST", "/api/v1/auth/login", QJsonDocument(credentials).toJson(QJsonDocument::Compact));
    if (reply.status != 200) {
        m_error = QStringLiteral("Sign-in as %1 answered %2").arg(account).arg(reply.status);
        return QString();
    }
    return reply.json().value(QStringLiteral("accessToken")).toString();
}

QString CloudServerFixture::addFault(const QJsonObject& fault)
{
    const Reply reply = request("POST", "/admin/faults", QJsonDocument(fault).toJson(QJsonDocument::Compact));
    if (reply.status != 200) {
        m_error = QStringLiteral("Adding a fault answered %1: %2").arg(reply.status).arg(QString::fromUtf8(reply.body));
        return QString();
    }
    return reply.json().value(QStringLiteral("id")).toString();
}

bool CloudServerFixture::clearFaults()
{
    return request("DELETE", "/admin/faults").status == 200;
}
