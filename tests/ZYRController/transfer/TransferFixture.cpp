// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "TransferFixture.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QDirIterator>
#include <QJsonArray>
#include <QSet>
#include <QTcpSocket>
#include <QTest>

using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRService::ZYRServiceUtil;

namespace {

QSet<QString> threadIds()
{
    const QStringList tasks = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return QSet<QString>(tasks.cbegin(), tasks.cend());
}

// Threads that ran before any worker (the main thread, a sanitizer's own).
QSet<QString>& baselineThreads()
{
    static QSet<QString> tids = threadIds();
    return tids;
}

// Qt names a QThread's system thread after its class (cut to 15 characters)
// once it runs; until then it carries the name of the thread that made it.
int liveWorkerThreads()
{
    static const QByteArray mainName = readAll(QStringLiteral("/proc/self/comm")).trimmed();
    int count = 0;
    for (const QString& task : threadIds()) {
        const QByteArray name = readAll(QStringLiteral("/proc/self/task/%1/comm").arg(task)).trimmed();
        if (name.startsWith("Trelan::Oku::ZY") || (name == mainName && !baselineThreads().contains(task)))
            ++count;
    }
    return count;
}

} // namespace

bool TransferFixture::start()
{
    baselineThreads();
    cloud = std::make_unique<CloudServerFixture>();
    if (!cloud->start())
        return false; // the server's own messages are on stderr
    ZYRServiceUtil::setServerUrl(cloud->baseUrl());
    token = cloud->signIn();
    return !token.isEmpty();
}

bool TransferFixture::beginTest()
{
    dir = std::make_unique<QTemporaryDir>();
    ApplicationSettings::setDatabaseLocation(dir->filePath(QStringLiteral("db")));
    return dir->isValid();
}

bool TransferFixture::endTest()
{
    const bool ok = cloud->clearFaults() && waitForWorkersGone();
    ZYRServiceUtil::setServerUrl(cloud->baseUrl());
    ApplicationSettings::setDatabaseLocation(QString());
    dir.reset();
    return ok;
}

QString TransferFixture::path(const QString& relative) const
{
    return dir->filePath(relative);
}

QString TransferFixture::putFile(const QString& remotePath, const QByteArray& bytes)
{
    const QByteArray query = "?parentPath=" + QUrl::toPercentEncoding(QFileInfo(remotePath).path()) + "&path="
            + QUrl::toPercentEncoding(remotePath) + "&size=" + QByteArray::number(bytes.size()) + "&offset=0";
    const CloudServerFixture::Reply reply
            = cloud->request("PUT", UploadRoute + query, bytes, token, "application/octet-stream");
    return reply.json().value(QStringLiteral("data")).toObject().value(QStringLiteral("id")).toString();
}

QJsonObject TransferFixture::remoteMeta(const QString& remotePath)
{
    const QByteArray query = "/api/v1/workspaces/w-design/meta?path=" + QUrl::toPercentEncoding(remotePath);
    return cloud->request("GET", query, QByteArray(), token).json().value(QStringLiteral("data")).toObject();
}

QSharedPointer<MFile> TransferFixture::cloudFile(const QString& remotePath)
{
    return fileFromJson(remoteMeta(remotePath));
}

QSharedPointer<MFile> fileFromJson(const QJsonObject& object)
{
    auto file = QSharedPointer<MFile>::create();
    MFile::fromJson(object, *file);
    return file;
}

QString TransferFixture::addFault(const QByteArray& method, const QByteArray& pathPrefix, QJsonObject fault)
{
    fault.insert(QStringLiteral("method"), QString::fromLatin1(method));
    fault.insert(QStringLiteral("pathPrefix"), QString::fromLatin1(pathPrefix));
    return cloud->addFault(fault);
}

int TransferFixture::faultUses(const QString& faultId, int times)
{
    const QJsonArray items = cloud->request("GET", "/admin/faults").json().value(QStringLiteral("items")).toArray();
    for (const QJsonValue& item : items) {
        if (item.toObject().value(QStringLiteral("id")).toString() == faultId)
            return times - item.toObject().value(QStringLiteral("times")).toInt();
    }
    return times; // used up and removed
}

ScriptedServer::ScriptedServer()
{
    connect(this, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    listen(QHostAddress::LocalHost, 0);
}

QUrl ScriptedServer::url() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(serverPort()));
}

void ScriptedServer::read(QTcpSocket* socket)
{
    QByteArray& buffer = m_buffers[socket];
    buffer += socket->readAll();
    // GET requests only: a request ends with its headers.
    for (qsizetype end = buffer.indexOf("\r\n\r\n"); end >= 0; end = buffer.indexOf("\r\n\r\n")) {
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        buffer.remove(0, end + 4);
        QByteArray range;
        for (const QByteArray& line : lines)
            range = line.toLower().startsWith("range:") ? line.mid(6).trimmed() : range;
        targets.append(lines.constFirst().split(' ').value(1));
        ranges.append(range);
        const QByteArray response = answer(targets.constLast(), range);
        socket->write(response);
        if (response.contains("Connection: close\r\n"))
            return socket->disconnectFromHost();
    }
}

QByteArray httpAnswer(int status, const QByteArray& headers, const QByteArray& body, bool cut)
{
    const QByteArray end
            = cut ? "Connection: close\r\n\r\n" : "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n";
    return "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n" + headers + end + body;
}

QMap<QString, QByteArray> treeContents(const QString& root)
{
    QMap<QString, QByteArray> tree;
    const QDir base(root);
    QDirIterator it(root, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const bool folder = it.fileInfo().isDir() && !it.fileInfo().isSymLink();
        tree.insert(base.relativeFilePath(path) + (folder ? QStringLiteral("/") : QString()),
                    folder ? QByteArray() : readAll(path));
    }
    return tree;
}

bool waitForWorkersGone()
{
    if (!QTest::qWaitFor([] { return liveWorkerThreads() == 0; }, 20000))
        return false;
    // The finished() -> deleteLater() call was posted before the thread
    // ended; deliver it, then the deferred deletion it posts.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return true;
}

#if defined(__SANITIZE_THREAD__)
// QProcess forks (zyr-cloud) while Qt's threads run, and the child execs at once.
extern "C" const char* __tsan_default_options()
{
    return "die_after_fork=0";
}
#endif
