// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"

#include <ZYRController/BFileTransferWorker.h>

#include "TransferTestUtils.h"
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRModel::MFileTransferItem;
using Trelan::Oku::ZYRService::ZYRServiceUtil;

namespace {

const QString Workspace = QStringLiteral("w-design");
const QByteArray ContentRoute = "/api/v1/workspaces/w-design/files/";
const QByteArray MetaRoute = "/api/v1/workspaces/w-design/meta";
const QByteArray UploadRoute = "/api/v1/workspaces/w-design/upload";

// The seed's generated file "/big.bin": byte i has the value i mod 251.
const QString BigId = QStringLiteral("f-big");
constexpr qint64 BigSize = 1048576;

using TransferTestUtils::encoded;
using TransferTestUtils::generatedBytes;
using TransferTestUtils::readAll;
using TransferTestUtils::sha256;
using TransferTestUtils::writeAll;

// Runs the remote-info step instead of a plain upload from offset 0: the
// way a resumed upload would start.
class RemoteInfoWorker : public BFileTransferWorker {
public:
    using BFileTransferWorker::BFileTransferWorker;

protected:
    void run() override
    {
        prepareRun();
        if (queryRemoteInfo())
            exec();
        finishRun();
    }
};

// Collects a worker's signals on the test's thread (queued, as the queue
// receives them).
class WorkerProbe : public QObject {
public:
    struct Finish {
        int status;
        QString fileId;
    };
    struct Progress {
        qint64 delta;
        qint64 transferred;
        qint64 total;
    };

    explicit WorkerProbe(BFileTransferWorker* worker)
    {
        connect(worker, &BFileTransferWorker::transferFinished, this,
                [this](BFileTransferWorker*, MFileTransferItem* item, int status, const QString& fileId) {
                    items.append(item);
                    finishes.append({ status, fileId });
                });
        connect(worker, &BFileTransferWorker::transferProgress, this,
                [this](MFileTransferItem*, qint64 delta, qint64 transferred, qint64 total) {
                    progress.append({ delta, transferred, total });
                });
        connect(worker, &BFileTransferWorker::cacheFile, this,
                [this](const QString& fileId, const QString& digest, const QString& localPath) {
                    cached.append(QStringList{ fileId, digest, localPath });
                });
    }

    // Where this run started: the bytes held before the first report.
    qint64 startOffset() const
    {
        return progress.isEmpty() ? -1 : progress.constFirst().transferred - progress.constFirst().delta;
    }

    QList<MFileTransferItem*> items;
    QList<Finish> finishes;
    QList<Progress> progress;
    QList<QStringList> cached;
};

// One worker as the queue runs it: the queue's record, the worker's copy.
struct WorkerRun {
    template <typename Worker = BFileTransferWorker>
    static std::unique_ptr<WorkerRun> make(const MFileTransferItem& record, const QString& token)
    {
        auto run = std::make_unique<WorkerRun>();
        run->record = record;
        run->worker = std::make_unique<Worker>(&run->record, record, token);
        run->probe = std::make_unique<WorkerProbe>(run->worker.get());
        return run;
    }

    // Waits for the thread's end and for every report it sent.
    bool finish(int timeoutMs = 20000)
    {
        if (!QTest::qWaitFor([this] { return worker->isFinished(); }, timeoutMs))
            return false;
        worker->wait();
        QCoreApplication::sendPostedEvents(probe.get());
        return true;
    }

    QList<int> statuses() const
    {
        QList<int> result;
        for (const WorkerProbe::Finish& finish : probe->finishes)
            result.append(finish.status);
        return result;
    }

    MFileTransferItem record;
    std::unique_ptr<BFileTransferWorker> worker;
    std::unique_ptr<WorkerProbe> probe;
};

// An upload request on a raw socket that declares \a declared bytes and sends
// only \a body: the server then holds an unfinished upload of that path.
std::unique_ptr<QTcpSocket> startRawUpload(const QUrl& server, const QString& token, const QString& remotePath,
                                           qint64 declared, const QByteArray& body)
{
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(server.host(), quint16(server.port()));
    if (!socket->waitForConnected(5000))
        return nullptr;
    const QString parent = QFileInfo(remotePath).path();
    const QByteArray head = "PUT " + UploadRoute + "?parentPath=" + encoded(parent) + "&path=" + encoded(remotePath)
            + "&size=" + QByteArray::number(declared) + "&offset=0 HTTP/1.1\r\n" + "Host: " + server.host().toLatin1()
            + "\r\n" + "Authorization: Bearer " + token.toLatin1() + "\r\n"
            + "Content-Type: application/octet-stream\r\n" + "Content-Length: " + QByteArray::number(declared)
            + "\r\n\r\n";
    socket->write(head + body);
    while (socket->bytesToWrite() > 0) {
        if (!socket->waitForBytesWritten(5000))
            return nullptr;
    }
    return socket;
}

} // namespace

class TestBFileTransferWorker : public QObject {
    Q_OBJECT

private:
    QJsonObject remoteMeta(const QString& remotePath, int* status = nullptr)
    {
        const CloudServerFixture::Reply reply
                = m_server->request("GET", MetaRoute + "?path=" + encoded(remotePath), QByteArray(), m_token);
        if (status)
            *status = reply.status;
        return reply.json().value(QStringLiteral("data")).toObject();
    }

    QJsonObject putFile(const QString& remotePath, const QByteArray& bytes)
    {
        const QByteArray query = "?parentPath=" + encoded(QFileInfo(remotePath).path()) + "&path=" + encoded(remotePath)
                + "&size=" + QByteArray::number(bytes.size()) + "&offset=0";
        const CloudServerFixture::Reply reply
                = m_server->request("PUT", UploadRoute + query, bytes, m_token, "application/octet-stream");
        return reply.json().value(QStringLiteral("data")).toObject();
    }

    // How many requests a counting fault has seen (it was added with \a times).
    int faultUses(const QString& faultId, int times)
    {
        const QJsonArray items
                = m_server->request("GET", "/admin/faults").json().value(QStringLiteral("items")).toArray();
        for (const QJsonValue& item : items) {
            if (item.toObject().value(QStringLiteral("id")).toString() == faultId)
                return times - item.toObject().value(QStringLiteral("times")).toInt();
        }
        return times; // used up and removed
    }

    QString addFault(const QByteArray& method, const QByteArray& pathPrefix, QJsonObject fault)
    {
        fault.insert(QStringLiteral("method"), QString::fromLatin1(method));
        fault.insert(QStringLiteral("pathPrefix"), QString::fromLatin1(pathPrefix));
        return m_server->addFault(fault);
    }

    MFileTransferItem downloadRecord(const QString& fileId, qint64 size, const QString& localName)
    {
        MFileTransferItem item;
        item.setId(QStringLiteral("{download}"));
        item.setFileId(fileId);
        item.setIsDownload(true);
        item.setWorkspaceId(Workspace);
        item.setLocalPath(m_dir->filePath(localName));
        item.setRemotePath(localName);
        item.setSize(size);
        return item;
    }

    MFileTransferItem uploadRecord(const QString& localPath, const QString& remotePath)
    {
        MFileTransferItem item;
        item.setId(QStringLiteral("{upload}"));
        item.setIsDownload(false);
        item.setWorkspaceId(Workspace);
        item.setLocalPath(localPath);
        item.setRemoteParentPath(QFileInfo(remotePath).path());
        item.setRemotePath(remotePath);
        item.setSize(QFileInfo(localPath).size());
        return item;
    }

    // A fresh remote path per test, so that tests never see each other's files.
    QString remotePath(const QString& name)
    {
        QString folder = QString::fromLatin1(QTest::currentTestFunction());
        if (QTest::currentDataTag())
            folder += QLatin1Char('-')
                    + QString::fromUtf8(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-'));
        return QStringLiteral("/worker/%1/%2").arg(folder, name);
    }

    std::unique_ptr<CloudServerFixture> m_server;
    QString m_token;
    QString m_smallId; // a 1000-byte file on the server
    QByteArray m_smallBytes;
    std::unique_ptr<QTemporaryDir> m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        m_server = std::make_unique<CloudServerFixture>();
        if (CloudServerFixture::defaultOptions().serverBinary.isEmpty())
            QSKIP("this build has no zyr-cloud");
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        ZYRServiceUtil::setServerUrl(m_server->baseUrl());
        m_token = m_server->signIn();
        QVERIFY(!m_token.isEmpty());

        m_smallBytes = generatedBytes(1000, 7);
        m_smallId = putFile(QStringLiteral("/worker/small.bin"), m_smallBytes).value(QStringLiteral("id")).toString();
        QVERIFY(!m_smallId.isEmpty());
    }

    void cleanupTestCase()
    {
        ZYRServiceUtil::setServerUrl(QUrl());
        m_server.reset();
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
    }

    void cleanup()
    {
        QVERIFY(m_server->clearFaults());
        m_dir.reset();
    }

    void downloadGoesThroughPartialFile()
    {
        const MFileTransferItem record = downloadRecord(BigId, BigSize, QStringLiteral("sub/big.bin"));
        // An older file at the target is replaced once the download is complete.
        QVERIFY(writeAll(record.getLocalPath(), "old content"));
        auto run = WorkerRun::make(record, m_token);
        run->worker->start();
        QVERIFY(run->finish());

        // The result, then the report of the thread's end.
        QCOMPARE(run->statuses(), (QList<int>{ MFileTransferItem::Finished, MFileTransferItem::Finished }));
        QVERIFY(run->probe->finishes.at(0).fileId.isEmpty());
        QVERIFY(run->probe->finishes.at(1).fileId.isEmpty());
        QCOMPARE(run->probe->items, (QList<MFileTransferItem*>{ &run->record, &run->record }));
        QCOMPARE(run->probe->startOffset(), qint64(0));
        QCOMPARE(run->probe->progress.constLast().transferred, BigSize);
        QCOMPARE(run->probe->progress.constLast().total, BigSize);

        QVERIFY(readAll(record.getLocalPath()) == generatedBytes(BigSize));
        QVERIFY(!QFile::exists(record.getLocalPath() + QStringLiteral(".zyr")));
        // The queue's record is the queue's business.
        QCOMPARE(run->record.getStatus(), MFileTransferItem::Waiting);
        QCOMPARE(run->record.getBytesCompleted(), qint64(0));
        QCOMPARE(run->worker->getItemCopy().getBytesCompleted(), BigSize);
    }

    void partialDownloadDecidesTheStart_data()
    {
        QTest::addColumn<qint64>("partialSize");
        QTest::addColumn<bool>("truePrefix");
        QTest::addColumn<qint64>("expectedStart");

        QTest::newRow("part of the file resumes") << qint64(400) << true << qint64(400);
        QTest::newRow("one byte resumes") << qint64(1) << true << qint64(1);
        QTest::newRow("empty partial starts over") << qint64(0) << true << qint64(0);
        QTest::newRow("as large as the file starts over") << qint64(1000) << false << qint64(0);
        QTest::newRow("larger than the file starts over") << qint64(1500) << false << qint64(0);
    }

    void partialDownloadDecidesTheStart()
    {
        QFETCH(qint64, partialSize);
        QFETCH(bool, truePrefix);
        QFETCH(qint64, expectedStart);

        const MFileTransferItem record = downloadRecord(m_smallId, m_smallBytes.size(), QStringLiteral("x.pdf"));
        const QString partial = record.getLocalPath() + QStringLiteral(".zyr");
        // A partial file that is not a prefix of the file shows whether it was overwritten.
        QVERIFY(writeAll(partial, truePrefix ? m_smallBytes.left(partialSize) : QByteArray(partialSize, 'z')));

        auto run = WorkerRun::make(record, m_token);
        run->worker->start();
        QVERIFY(run->finish());
        QCOMPARE(run->statuses(), (QList<int>{ MFileTransferItem::Finished, MFileTransferItem::Finished }));
        QCOMPARE(run->probe->startOffset(), expectedStart);
        // A ranged reply still reports the whole file as its total.
        QCOMPARE(run->probe->progress.constLast().total, qint64(m_smallBytes.size()));
        QCOMPARE(readAll(record.getLocalPath()), m_smallBytes);
        QVERIFY(!QFile::exists(partial));
    }

    void cutOffDownloadKeepsItsPartialFile()
    {
        const QString fault
                = addFault("GET", ContentRoute + BigId.toLatin1(), { { "cutAfterBytes", 300000 }, { "times", 1 } });
        QVERIFY(!fault.isEmpty());
        const MFileTransferItem record = downloadRecord(BigId, BigSize, QStringLiteral("big.bin"));
        const QString partial = record.getLocalPath() + QStringLiteral(".zyr");

        auto first = WorkerRun::make(record, m_token);
        first->worker->start();
        QVERIFY(first->finish());
        QCOMPARE(first->statuses(), (QList<int>{ MFileTransferItem::Failed, MFileTransferItem::Failed }));
        QVERIFY(!QFile::exists(record.getLocalPath()));
        const qint64 kept = QFileInfo(partial).size();
        QVERIFY2(kept > 0 && kept <= 300000, qPrintable(QString::number(kept)));
        QVERIFY(readAll(partial) == generatedBytes(kept));

        auto second = WorkerRun::make(record, m_token);
        second->worker->start();
        QVERIFY(second->finish());
        QCOMPARE(second->statuses(), (QList<int>{ MFileTransferItem::Finished, MFileTransferItem::Finished }));
        QCOMPARE(second->probe->startOffset(), kept);
        QVERIFY(readAll(record.getLocalPath()) == generatedBytes(BigSize));
        QVERIFY(!QFile::exists(partial));
    }

    void downloadFailures_data()
    {
        QTest::addColumn<QString>("fileId");
        QTest::addColumn<int>("faultStatus");

        QTest::newRow("unknown file") << QStringLiteral("f-does-not-exist") << 0;
        QTest::newRow("server error") << m_smallId << 500;
        QTest::newRow("forbidden") << m_smallId << 403;
    }

    void downloadFailures()
    {
        QFETCH(QString, fileId);
        QFETCH(int, faultStatus);
        if (faultStatus)
            QVERIFY(!addFault("GET", ContentRoute, { { "status", faultStatus } }).isEmpty());

        const MFileTransferItem record = downloadRecord(fileId, m_smallBytes.size(), QStringLiteral("f.bin"));
        const QString partial = record.getLocalPath() + QStringLiteral(".zyr");
        QVERIFY(writeAll(partial, m_smallBytes.left(400)));
        auto run = WorkerRun::make(record, m_token);
        run->worker->start();
        QVERIFY(run->finish());
        QCOMPARE(run->statuses(), (QList<int>{ MFileTransferItem::Failed, MFileTransferItem::Failed }));
        QVERIFY(!QFile::exists(record.getLocalPath()));
        // The error message never lands in the partial file...
        QCOMPARE(readAll(partial), m_smallBytes.left(400));
        if (!faultStatus)
            return;

        // ... so that the next attempt resumes with the right bytes.
        QVERIFY(m_server->clearFaults());
        auto retry = WorkerRun::make(record, m_token);
        retry->worker->start();
        QVERIFY(retry->finish());
        QCOMPARE(retry->statuses(), (QList<int>{ MFileTransferItem::Finished, MFileTransferItem::Finished }));
        QCOMPARE(retry->probe->startOffset(), qint64(400));
        QCOMPARE(readAll(record.getLocalPath()), m_smallBytes);
    }

    void unusableTargetDirectoryKeepsTheStatus()
    {
        QVERIFY(writeAll(m_dir->filePath(QStringLiteral("plain")), "a file, not a folder"));
        MFileTransferItem record = downloadRecord(m_smallId, 1000, QStringLiteral("plain/below/f.bin"));
        record.setStatus(MFileTransferItem::Interrupted);
        auto run = WorkerRun::make(record, m_token);
        run->worker->start();
        QVERIFY(run->finish());
        // Not started: only the thread's end is reported, with the starting status.
        QCOMPARE(run->statuses(), QList<int>{ MFileTransferItem::Interrupted });
        QVERIFY(run->probe->progress.isEmpty());
    }

    void uploadReportsTheServersFile()
    {
        const QByteArray bytes = generatedBytes(300000, 3);
        const QString local = m_dir->filePath(QStringLiteral("up.bin"));
        QVERIFY(writeAll(local, bytes));
        const QString remote = remotePath(QStringLiteral("up.bin"));

        auto run = WorkerRun::make(uploadRecord(local, remote), m_token);
        run->worker->start();
        QVERIFY(run->finish());

        const QJsonObject meta = remoteMeta(remote);
        const QString fileId = meta.value(QStringLiteral("id")).toString();
        QVERIFY(!fileId.isEmpty());
        QCOMPARE(meta.value(QStringLiteral("digest")).toString(), sha256(bytes));
        QCOMPARE(run->statuses(), (QList<int>{ MFileTransferItem::Finished, MFileTransferItem::Finished }));
        QCOMPARE(run->probe->finishes.at(0).fileId, fileId);
        QVERIFY(run->probe->finishes.at(1).fileId.isEmpty());
        QCOMPARE(run->probe->cached, (QList<QStringList>{ { fileId, sha256(bytes), local } }));
        QCOMPARE(run->probe->startOffset(), qint64(0));
        QCOMPARE(run->probe->progress.constLast().transferred, qint64(bytes.size()));
        QCOMPARE(readAll(local), bytes); // the local file is left alone
    }

    void uploadFailures()
    {
        // A missing local file, and a workspace the user may not write to.
        auto missing = WorkerRun::make(
                uploadRecord(m_dir->filePath(QStringLiteral("gone.bin")), remotePath(QStringLiteral("gone.bin"))),
                m_token);
        missing->worker->start();
        QVERIFY(missing->finish());
        QCOMPARE(missing->statuses(), (QList<int>{ MFileTransferItem::Failed, MFileTransferItem::Failed }));

        const QString local = m_dir->filePath(QStringLiteral("f.bin"));
        QVERIFY(writeAll(local, "content"));
        MFileTransferItem record = uploadRecord(local, QStringLiteral("/Design/f.bin"));
        auto refused = WorkerRun::make(record, m_server->signIn(QStringLiteral("bob"), QStringLiteral("bob-pass")));
        refused->worker->start();
        QVERIFY(refused->finish());
        QCOMPARE(refused->statuses(), (QList<int>{ MFileTransferItem::Failed, MFileTransferItem::Failed }));
        QVERIFY(refused->probe->finishes.at(0).fileId.isEmpty());
        QVERIFY(refused->probe->cached.isEmpty());
    }

    void remoteInfoDecidesWhereTheUploadStarts_data()
    {
        QTest::addColumn<QString>("remoteState");
        QTest::addColumn<qint64>("expectedStart");

        QTest::newRow("nothing there: from the start") << QStringLiteral("none") << qint64(0);
        QTest::newRow("complete file: a new version") << QStringLiteral("complete") << qint64(0);
        QTest::newRow("cut off upload: resumed") << QStringLiteral("partial") << qint64(120000);
        QTest::newRow("cut off upload of another size: from the start")
                << QStringLiteral("partialOtherSize") << qint64(0);
    }

    void remoteInfoDecidesWhereTheUploadStarts()
    {
        QFETCH(QString, remoteState);
        QFETCH(qint64, expectedStart);

        const QByteArray bytes = generatedBytes(400000, 11);
        const QString local = m_dir->filePath(QStringLiteral("resume.bin"));
        QVERIFY(writeAll(local, bytes));
        const QString remote = remotePath(QStringLiteral("resume.bin"));

        QString previousId;
        if (remoteState == QLatin1String("complete")) {
            previousId = putFile(remote, generatedBytes(400000, 99)).value(QStringLiteral("id")).toString();
            QVERIFY(!previousId.isEmpty());
        } else if (remoteState.startsWith(QLatin1String("partial"))) {
            const qint64 declared = remoteState == QLatin1String("partial") ? bytes.size() : bytes.size() + 1;
            auto socket = startRawUpload(m_server->baseUrl(), m_token, remote, declared, bytes.left(120000));
            QVERIFY(socket);
            socket->disconnectFromHost();
            QTRY_COMPARE_WITH_TIMEOUT(remoteMeta(remote).value(QStringLiteral("uploadedSize")).toInteger(),
                                      qint64(120000), 10000);
            QTRY_VERIFY_WITH_TIMEOUT(!remoteMeta(remote).value(QStringLiteral("uploading")).toBool(), 10000);
        }

        auto run = WorkerRun::make<RemoteInfoWorker>(uploadRecord(local, remote), m_token);
        run->worker->start();
        QVERIFY(run->finish());
        QCOMPARE(run->statuses(), (QList<int>{ MFileTransferItem::Finished, MFileTransferItem::Finished }));
        QCOMPARE(run->probe->startOffset(), expectedStart);

        const QJsonObject meta = remoteMeta(remote);
        QCOMPARE(meta.value(QStringLiteral("digest")).toString(), sha256(bytes));
        QCOMPARE(run->probe->finishes.at(0).fileId, meta.value(QStringLiteral("id")).toString());
        if (!previousId.isEmpty()) {
            QVERIFY(meta.value(QStringLiteral("id")).toString() != previousId);
            QCOMPARE(meta.value(QStringLiteral("revision")).toInt(), 2);
        }
    }

    void remoteInfoWaitsWhileTheFileIsUploading()
    {
        BTimings fast;
        fast.retryDelayMs = 50;
        BTimings::Override timings(fast);

        const QByteArray bytes = generatedBytes(200000, 5);
        const QString local = m_dir->filePath(QStringLiteral("busy.bin"));
        QVERIFY(writeAll(local, bytes));
        const QString remote = remotePath(QStringLiteral("busy.bin"));
        auto socket = startRawUpload(m_server->baseUrl(), m_token, remote, bytes.size(), bytes.left(50000));
        QVERIFY(socket);
        QTRY_VERIFY_WITH_TIMEOUT(remoteMeta(remote).value(QStringLiteral("uploading")).toBool(), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(remoteMeta(remote).value(QStringLiteral("uploadedSize")).toInteger(), qint64(50000),
                                  10000);

        const QString counter = addFault("GET", MetaRoute, { { "times", 1000 } });
        QVERIFY(!counter.isEmpty());
        auto run = WorkerRun::make<RemoteInfoWorker>(uploadRecord(local, remote), m_token);
        run->worker->start();
        // It keeps asking and sends nothing while another upload streams.
        QTRY_VERIFY_WITH_TIMEOUT(faultUses(counter, 1000) >= 3, 10000);
        QVERIFY(run->probe->progress.isEmpty());
        QVERIFY(run->probe->finishes.isEmpty());

        socket->disconnectFromHost();
        QVERIFY(run->finish());
        QCOMPARE(run->statuses(), (QList<int>{ MFileTransferItem::Finished, MFileTransferItem::Finished }));
        QCOMPARE(run->probe->startOffset(), qint64(50000));
        QCOMPARE(remoteMeta(remote).value(QStringLiteral("digest")).toString(), sha256(bytes));
    }

    void remoteInfoRetriesOtherAnswers_data()
    {
        QTest::addColumn<int>("failures");
        QTest::addColumn<int>("expectedStatus");
        QTest::addColumn<int>("expectedAsks");

        QTest::newRow("two errors, then an answer") << 2 << int(MFileTransferItem::Finished) << 3;
        QTest::newRow("gives up after five asks") << 50 << int(MFileTransferItem::Failed) << 5;
    }

    void remoteInfoRetriesOtherAnswers()
    {
        QFETCH(int, failures);
        QFETCH(int, expectedStatus);
        QFETCH(int, expectedAsks);

        BTimings fast;
        fast.retryDelayMs = 20;
        BTimings::Override timings(fast);
        // A request uses the first fault that matches: the errors come
        // first, and once they are used up the second fault only counts.
        const QString error = addFault("GET", MetaRoute, { { "status", 500 }, { "times", failures } });
        const QString asks = addFault("GET", MetaRoute, { { "times", 1000 } });
        QVERIFY(!error.isEmpty() && !asks.isEmpty());

        const QByteArray bytes = generatedBytes(1000, 1);
        const QString local = m_dir->filePath(QStringLiteral("retry.bin"));
        QVERIFY(writeAll(local, bytes));
        const QString remote = remotePath(QStringLiteral("retry.bin"));
        auto run = WorkerRun::make<RemoteInfoWorker>(uploadRecord(local, remote), m_token);
        run->worker->start();
        QVERIFY(run->finish());

        QCOMPARE(run->statuses(), (QList<int>{ expectedStatus, expectedStatus }));
        QCOMPARE(faultUses(error, failures) + faultUses(asks, 1000), expectedAsks);
        QVERIFY(m_server->clearFaults());
        int status = 0;
        remoteMeta(remote, &status);
        QCOMPARE(status, expectedStatus == MFileTransferItem::Finished ? 200 : 404);
    }

    void inactivityEndsTheTransfer_data()
    {
        QTest::addColumn<bool>("isDownload");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("expectedStatus");

        QTest::newRow("download held") << true << QStringLiteral("hang") << int(MFileTransferItem::Failed);
        QTest::newRow("download delayed") << true << QStringLiteral("delay") << int(MFileTransferItem::Failed);
        // All bytes went out before the silence: that counts as done.
        QTest::newRow("upload sent, answer held")
                << false << QStringLiteral("hang") << int(MFileTransferItem::Finished);
    }

    void inactivityEndsTheTransfer()
    {
        QFETCH(bool, isDownload);
        QFETCH(QString, fault);
        QFETCH(int, expectedStatus);

        BTimings fast;
        fast.inactivityTimeoutMs = 300;
        BTimings::Override timings(fast);
        QJsonObject action;
        if (fault == QLatin1String("hang"))
            action.insert(QStringLiteral("hang"), true);
        else
            action.insert(QStringLiteral("delayMs"), 5000);
        QVERIFY(!addFault(isDownload ? "GET" : "PUT", isDownload ? ContentRoute : UploadRoute, action).isEmpty());

        MFileTransferItem record;
        if (isDownload) {
            record = downloadRecord(m_smallId, m_smallBytes.size(), QStringLiteral("held.bin"));
        } else {
            const QString local = m_dir->filePath(QStringLiteral("held.bin"));
            QVERIFY(writeAll(local, generatedBytes(1000)));
            record = uploadRecord(local, remotePath(QStringLiteral("held.bin")));
        }
        auto run = WorkerRun::make(record, m_token);
        run->worker->start();
        QVERIFY(run->finish());
        QCOMPARE(run->statuses(), (QList<int>{ expectedStatus, expectedStatus }));
        QVERIFY(run->probe->finishes.at(0).fileId.isEmpty());
        if (isDownload)
            QVERIFY(!QFile::exists(record.getLocalPath()));
    }

    void stopDeletesOnlyADownloadsPartialFile_data()
    {
        QTest::addColumn<bool>("isDownload");
        QTest::addColumn<bool>("stopped");
        QTest::addColumn<bool>("fileKept");

        QTest::newRow("stopped download") << true << true << false;
        QTest::newRow("thread of a download ended") << true << false << true;
        QTest::newRow("stopped upload") << false << true << true;
    }

    void stopDeletesOnlyADownloadsPartialFile()
    {
        QFETCH(bool, isDownload);
        QFETCH(bool, stopped);
        QFETCH(bool, fileKept);

        const QString held = addFault(isDownload ? "GET" : "PUT", isDownload ? ContentRoute : UploadRoute,
                                      { { "hang", true }, { "times", 1000 } });
        QVERIFY(!held.isEmpty());
        MFileTransferItem record;
        QString file;
        if (isDownload) {
            record = downloadRecord(m_smallId, m_smallBytes.size(), QStringLiteral("x.pdf"));
            file = record.getLocalPath() + QStringLiteral(".zyr");
            QVERIFY(writeAll(file, m_smallBytes.left(400)));
        } else {
            file = m_dir->filePath(QStringLiteral("x.pdf"));
            QVERIFY(writeAll(file, m_smallBytes));
            record = uploadRecord(file, remotePath(QStringLiteral("x.pdf")));
        }

        auto run = WorkerRun::make(record, m_token);
        run->worker->start();
        // The request has reached the server: the worker is in its loop.
        QTRY_COMPARE_WITH_TIMEOUT(faultUses(held, 1000), 1, 10000);
        if (stopped)
            run->worker->stop();
        else
            run->worker->exit(0); // as the queue's clear() ends its workers
        QVERIFY(run->finish());

        // Only the report of the thread's end, with the status it started with.
        QCOMPARE(run->statuses(), QList<int>{ MFileTransferItem::Waiting });
        QCOMPARE(QFile::exists(file), fileKept);
        if (fileKept && isDownload)
            QCOMPARE(readAll(file), m_smallBytes.left(400));
    }
};

#if defined(__SANITIZE_THREAD__)
// zyr-cloud is started through QProcess, which forks while Qt's threads run;
// the child execs at once, but ThreadSanitizer would stop the test at its
// next thread unless told that this fork is fine. TSAN_OPTIONS still wins.
extern "C" const char* __tsan_default_options()
{
    return "die_after_fork=0";
}
#endif

QTEST_GUILESS_MAIN(TestBFileTransferWorker)
#include "tst_bfiletransferworker.moc"
