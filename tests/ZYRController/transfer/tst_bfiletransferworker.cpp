// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ScriptedHttpServer.h"
#include "TransferFixture.h"

#include <ZYRController/BFileTransferWorker.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QTcpSocket>
#include <QTest>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRService::ZYRServiceUtil;
using Item = Trelan::Oku::ZYRModel::MFileTransferItem;

namespace {

const QList<int> FinishedTwice{ Item::Finished, Item::Finished };
const QList<int> FailedTwice{ Item::Failed, Item::Failed };

// Starts with the remote-info step, the way a resumed upload would.
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

// One worker as the queue runs it (the queue's record, the worker's copy),
// its reports collected on the test's thread.
struct WorkerRun : QObject {
    template <typename Worker = BFileTransferWorker>
    static std::unique_ptr<WorkerRun> start(const Item& record, const QString& token)
    {
        auto run = std::make_unique<WorkerRun>();
        run->record = record;
        run->worker = std::make_unique<Worker>(&run->record, record, token);
        WorkerRun* r = run.get();
        connect(r->worker.get(), &BFileTransferWorker::transferFinished, r,
                [r](BFileTransferWorker*, Item* item, int status, const QString& fileId) {
                    r->statuses.append(item == &r->record ? status : -1);
                    r->fileIds.append(fileId);
                });
        connect(r->worker.get(), &BFileTransferWorker::transferFailed, r,
                [r](Item*, int reason) { r->reasons.append(reason); });
        connect(r->worker.get(), &BFileTransferWorker::transferProgress, r,
                [r](Item*, qint64 delta, qint64 held, qint64 total) {
                    if (r->startOffset < 0)
                        r->startOffset = held - delta;
                    r->held = held;
                    r->total = total;
                });
        connect(r->worker.get(), &BFileTransferWorker::cacheFile, r,
                [r](const QString& id, const QString& digest, const QString& path) {
                    r->cached.append({ id, digest, path });
                });
        r->worker->start();
        return run;
    }

    ~WorkerRun() override
    {
        worker->exit(0);
        worker->wait();
    }

    // Waits for the thread's end and for every report it sent.
    bool finish()
    {
        if (!QTest::qWaitFor([this] { return worker->isFinished(); }, 20000))
            return false;
        worker->wait();
        QCoreApplication::sendPostedEvents(this);
        return true;
    }

    Item record;
    std::unique_ptr<BFileTransferWorker> worker;
    QList<int> statuses;
    QStringList fileIds;
    QList<int> reasons;
    QList<QStringList> cached;
    qint64 startOffset = -1;
    qint64 held = -1;
    qint64 total = -1;
};

// An upload on a raw socket that declares \a declared bytes and sends only
// \a body: the server then holds an unfinished upload of that path.
std::unique_ptr<QTcpSocket> startRawUpload(const QUrl& server, const QString& token, const QString& remotePath,
                                           qint64 declared, const QByteArray& body)
{
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(server.host(), quint16(server.port()));
    if (!socket->waitForConnected(5000))
        return nullptr;
    const QByteArray size = QByteArray::number(declared);
    socket->write("PUT " + TransferFixture::UploadRoute + "?parentPath=" + encoded(QFileInfo(remotePath).path())
                  + "&path=" + encoded(remotePath) + "&size=" + size + "&offset=0 HTTP/1.1\r\nHost: localhost\r\n"
                  + "Authorization: Bearer " + token.toLatin1() + "\r\nContent-Length: " + size + "\r\n\r\n" + body);
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
    Item downloadRecord(const QString& fileId, qint64 size, const QString& localName) const;
    Item uploadRecord(const QString& localPath, const QString& remotePath) const;
    // A remote path of this test alone.
    QString remotePath(const QString& name) const;

    TransferFixture m_fx;
    QString m_smallId; // a 1000-byte file on the server
    const QByteArray m_small = generatedBytes(1000, 7);

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void downloadResumesFromThePartialFile_data();
    void downloadResumesFromThePartialFile();
    void cutOffDownloadResumesWhereItStopped();
    void onlyTheFilesBytesReachTheTarget_data();
    void onlyTheFilesBytesReachTheTarget();
    void targetThatCannotBeReplacedFailsTheDownload();
    void unusableTargetDirectoryKeepsTheStatus();
    void uploadReportsTheServersFile();
    void uploadFailures();
    void remoteInfoDecidesWhereTheUploadStarts_data();
    void remoteInfoDecidesWhereTheUploadStarts();
    void remoteInfoWaitsWhileTheFileIsUploading();
    void inactivityEndsTheTransfer_data();
    void inactivityEndsTheTransfer();
    void stopDeletesOnlyADownloadsPartialFile_data();
    void stopDeletesOnlyADownloadsPartialFile();
};

Item TestBFileTransferWorker::downloadRecord(const QString& fileId, qint64 size, const QString& localName) const
{
    Item item;
    item.setId(QStringLiteral("{download}"));
    item.setFileId(fileId);
    item.setIsDownload(true);
    item.setWorkspaceId(TransferFixture::Workspace);
    item.setLocalPath(m_fx.path(localName));
    item.setRemotePath(localName);
    item.setSize(size);
    return item;
}

Item TestBFileTransferWorker::uploadRecord(const QString& localPath, const QString& remote) const
{
    Item item;
    item.setId(QStringLiteral("{upload}"));
    item.setWorkspaceId(TransferFixture::Workspace);
    item.setLocalPath(localPath);
    item.setRemoteParentPath(QFileInfo(remote).path());
    item.setRemotePath(remote);
    item.setSize(QFileInfo(localPath).size());
    return item;
}

QString TestBFileTransferWorker::remotePath(const QString& name) const
{
    const QString tag = QString::fromUtf8(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-'));
    return QStringLiteral("/worker/%1-%2/%3").arg(QString::fromLatin1(QTest::currentTestFunction()), tag, name);
}

void TestBFileTransferWorker::initTestCase()
{
    if (CloudServerFixture::defaultOptions().serverBinary.isEmpty())
        QSKIP("this build has no zyr-cloud");
    QVERIFY(m_fx.start());
    m_smallId = m_fx.putFile(QStringLiteral("/worker/small.bin"), m_small);
    QVERIFY(!m_smallId.isEmpty());
}

void TestBFileTransferWorker::cleanupTestCase()
{
    m_fx.stop();
}

void TestBFileTransferWorker::init()
{
    QVERIFY(m_fx.beginTest());
}

void TestBFileTransferWorker::cleanup()
{
    QVERIFY(m_fx.endTest());
}

void TestBFileTransferWorker::downloadResumesFromThePartialFile_data()
{
    QTest::addColumn<qint64>("partialSize"); // -1: none
    QTest::addColumn<bool>("truePrefix");
    QTest::addColumn<qint64>("expectedStart");

    QTest::newRow("no partial file") << qint64(-1) << true << qint64(0);
    QTest::newRow("part of the file resumes") << qint64(400) << true << qint64(400);
    QTest::newRow("one byte resumes") << qint64(1) << true << qint64(1);
    QTest::newRow("empty partial starts over") << qint64(0) << true << qint64(0);
    QTest::newRow("as large as the file starts over") << qint64(1000) << false << qint64(0);
    QTest::newRow("larger than the file starts over") << qint64(1500) << false << qint64(0);
}

void TestBFileTransferWorker::downloadResumesFromThePartialFile()
{
    QFETCH(qint64, partialSize);
    QFETCH(bool, truePrefix);
    QFETCH(qint64, expectedStart);
    const Item record = downloadRecord(m_smallId, m_small.size(), QStringLiteral("sub/x.pdf"));
    const QString partial = record.getLocalPath() + QStringLiteral(".zyr");
    // An older target is replaced once the download is complete.
    QVERIFY(writeAll(record.getLocalPath(), "old content"));
    if (partialSize >= 0)
        QVERIFY(writeAll(partial, truePrefix ? m_small.left(partialSize) : QByteArray(partialSize, 'z')));

    auto run = WorkerRun::start(record, m_fx.token);
    QVERIFY(run->finish());
    // The result, then the report of the thread's end.
    QCOMPARE(run->statuses, FinishedTwice);
    QCOMPARE(run->startOffset, expectedStart);
    QCOMPARE(run->held, qint64(m_small.size()));
    QCOMPARE(run->total, qint64(m_small.size()));
    QCOMPARE(readAll(record.getLocalPath()), m_small);
    QVERIFY(!QFile::exists(partial));
    // The queue's record is the queue's business.
    QCOMPARE(run->record.getStatus(), Item::Waiting);
}

void TestBFileTransferWorker::cutOffDownloadResumesWhereItStopped()
{
    constexpr qint64 BigSize = 1048576; // the seed's "/big.bin": byte i is i mod 251
    QVERIFY(!m_fx.addFault("GET", TransferFixture::ContentRoute + "f-big",
                           { { "cutAfterBytes", 300000 }, { "times", 1 } })
                     .isEmpty());
    const Item record = downloadRecord(QStringLiteral("f-big"), BigSize, QStringLiteral("big.bin"));
    const QString partial = record.getLocalPath() + QStringLiteral(".zyr");

    auto first = WorkerRun::start(record, m_fx.token);
    QVERIFY(first->finish());
    QCOMPARE(first->statuses, FailedTwice);
    QCOMPARE(first->reasons.value(0), int(Item::RequestFailed));
    const qint64 kept = QFileInfo(partial).size();
    QVERIFY2(kept > 0 && kept <= 300000, qPrintable(QString::number(kept)));
    QVERIFY(readAll(partial) == generatedBytes(kept));
    QVERIFY(!QFile::exists(record.getLocalPath()));

    auto second = WorkerRun::start(record, m_fx.token);
    QVERIFY(second->finish());
    QCOMPARE(second->statuses, FinishedTwice);
    QCOMPARE(second->startOffset, kept);
    QVERIFY(readAll(record.getLocalPath()) == generatedBytes(BigSize));
}

void TestBFileTransferWorker::onlyTheFilesBytesReachTheTarget_data()
{
    QTest::addColumn<QByteArray>("kept"); // the partial file before; empty: none
    QTest::addColumn<int>("status"); // the server's first answer
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("digest");
    QTest::addColumn<int>("reason"); // of the first attempt; NoFailure: finished
    QTest::addColumn<bool>("partialKept");

    const QByteArray file = generatedBytes(1000, 3);
    const QByteArray digest = sha256(file).toLatin1();
    const QByteArray other = sha256(generatedBytes(1000, 4)).toLatin1();
    const QByteArray kept = file.left(400);
    QTest::newRow("range ignored: the whole file")
            << kept << 200 << QByteArray() << file << digest << int(Item::NoFailure) << false;
    QTest::newRow("range ignored, no digest")
            << kept << 200 << QByteArray() << file << QByteArray() << int(Item::NoFailure) << false;
    QTest::newRow("short error answer") << kept << 416 << QByteArray("bytes */1000")
                                        << QByteArray(R"({"code":416,"message":"bad range"})") << QByteArray()
                                        << int(Item::RequestFailed) << true;
    QTest::newRow("range from another offset")
            << kept << 206 << QByteArray("bytes 0-999/1000") << file << digest << int(Item::RequestFailed) << true;
    QTest::newRow("digest does not match") << kept << 206 << QByteArray("bytes 400-999/1000") << file.mid(400) << other
                                           << int(Item::WrongContent) << false;
    QTest::newRow("wrong bytes kept from before") << QByteArray(400, 'z') << 206 << QByteArray("bytes 400-999/1000")
                                                  << file.mid(400) << digest << int(Item::WrongContent) << false;
    QTest::newRow("more bytes than listed") << QByteArray() << 200 << QByteArray() << file + file.left(500)
                                            << QByteArray() << int(Item::WrongContent) << false;
    QTest::newRow("another file size") << kept << 206 << QByteArray("bytes 400-999/2000") << file.mid(400)
                                       << QByteArray() << int(Item::WrongContent) << false;
}

void TestBFileTransferWorker::onlyTheFilesBytesReachTheTarget()
{
    QFETCH(QByteArray, kept);
    QFETCH(int, status);
    QFETCH(QByteArray, range);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, digest);
    QFETCH(int, reason);
    QFETCH(bool, partialKept);
    const QByteArray file = generatedBytes(1000, 3);
    // First the answer of the row, then an honest one.
    ScriptedHttpServer server;
    QVERIFY(server.listen());
    ZYRServiceUtil::setServerUrl(server.url());
    server.setHandler([&](const ScriptedRequest& request) {
        ScriptedResponse answer;
        answer.headers = { { "Content-Type", "application/octet-stream" } };
        if (server.requests().size() == 1) {
            answer.status = status;
            answer.body = body;
            if (!range.isEmpty())
                answer.withHeader("Content-Range", range);
            if (!digest.isEmpty())
                answer.withHeader("X-Digest", digest);
            return answer;
        }
        const qint64 from = request.header("Range").mid(6).split('-').value(0).toLongLong();
        answer.status = from > 0 ? 206 : 200;
        answer.body = file.mid(from);
        answer.withHeader("X-Digest", sha256(file).toLatin1());
        if (from > 0)
            answer.withHeader("Content-Range", "bytes " + QByteArray::number(from) + "-999/1000");
        return answer;
    });

    const Item record = downloadRecord(QStringLiteral("f-1"), file.size(), QStringLiteral("f.bin"));
    const QString partial = record.getLocalPath() + QStringLiteral(".zyr");
    QVERIFY(writeAll(record.getLocalPath(), "old"));
    if (!kept.isEmpty())
        QVERIFY(writeAll(partial, kept));
    auto first = WorkerRun::start(record, QStringLiteral("token"));
    QVERIFY(first->finish());
    QCOMPARE(server.requests().constFirst().header("Range"), kept.isEmpty() ? QByteArray() : "bytes=400-");
    if (reason == Item::NoFailure) {
        QCOMPARE(first->statuses, FinishedTwice);
        QCOMPARE(readAll(record.getLocalPath()), file);
        return;
    }
    QCOMPARE(first->statuses, FailedTwice);
    QCOMPARE(first->reasons.value(0), reason);
    QCOMPARE(readAll(record.getLocalPath()), QByteArray("old"));
    QCOMPARE(QFile::exists(partial), partialKept);
    if (partialKept)
        QCOMPARE(readAll(partial), kept);

    auto second = WorkerRun::start(record, QStringLiteral("token"));
    QVERIFY(second->finish());
    QCOMPARE(second->statuses, FinishedTwice);
    QCOMPARE(second->startOffset, partialKept ? qint64(400) : qint64(0));
    QCOMPARE(readAll(record.getLocalPath()), file);
}

void TestBFileTransferWorker::targetThatCannotBeReplacedFailsTheDownload()
{
    const Item record = downloadRecord(m_smallId, m_small.size(), QStringLiteral("taken"));
    QVERIFY(writeAll(record.getLocalPath() + QStringLiteral("/inside.txt"), "a folder is in the way"));
    auto run = WorkerRun::start(record, m_fx.token);
    QVERIFY(run->finish());
    QCOMPARE(run->statuses, FailedTwice);
    QCOMPARE(run->reasons.value(0), int(Item::LocalFileError));
    QCOMPARE(readAll(record.getLocalPath() + QStringLiteral(".zyr")), m_small);
    QCOMPARE(readAll(record.getLocalPath() + QStringLiteral("/inside.txt")), QByteArray("a folder is in the way"));
}

void TestBFileTransferWorker::unusableTargetDirectoryKeepsTheStatus()
{
    QVERIFY(writeAll(m_fx.path(QStringLiteral("plain")), "a file, not a folder"));
    Item record = downloadRecord(m_smallId, m_small.size(), QStringLiteral("plain/below/f.bin"));
    record.setStatus(Item::Interrupted);
    auto run = WorkerRun::start(record, m_fx.token);
    QVERIFY(run->finish());
    // Not started: only the thread's end is reported, with the starting status.
    QCOMPARE(run->statuses, QList<int>{ Item::Interrupted });
    QCOMPARE(run->startOffset, qint64(-1));
}

void TestBFileTransferWorker::uploadReportsTheServersFile()
{
    const QByteArray bytes = generatedBytes(300000, 3);
    const QString local = m_fx.path(QStringLiteral("up.bin"));
    QVERIFY(writeAll(local, bytes));
    const QString remote = remotePath(QStringLiteral("up.bin"));
    auto run = WorkerRun::start(uploadRecord(local, remote), m_fx.token);
    QVERIFY(run->finish());

    const QJsonObject meta = m_fx.remoteMeta(remote);
    const QString fileId = meta.value(QStringLiteral("id")).toString();
    QCOMPARE(meta.value(QStringLiteral("digest")).toString(), sha256(bytes));
    QCOMPARE(run->statuses, FinishedTwice);
    QCOMPARE(run->fileIds, (QStringList{ fileId, QString() }));
    QCOMPARE(run->cached, (QList<QStringList>{ { fileId, sha256(bytes), local } }));
    QCOMPARE(run->startOffset, qint64(0));
    QCOMPARE(run->held, qint64(bytes.size()));
}

void TestBFileTransferWorker::uploadFailures()
{
    auto missing = WorkerRun::start(
            uploadRecord(m_fx.path(QStringLiteral("gone.bin")), remotePath(QStringLiteral("g"))), m_fx.token);
    QVERIFY(missing->finish());
    QCOMPARE(missing->statuses, FailedTwice);
    QCOMPARE(missing->reasons.value(0), int(Item::LocalFileError));

    // bob may not write into /Design.
    QVERIFY(writeAll(m_fx.path(QStringLiteral("f.bin")), "content"));
    auto refused = WorkerRun::start(uploadRecord(m_fx.path(QStringLiteral("f.bin")), QStringLiteral("/Design/f.bin")),
                                    m_fx.cloud->signIn(QStringLiteral("bob"), QStringLiteral("bob-pass")));
    QVERIFY(refused->finish());
    QCOMPARE(refused->statuses, FailedTwice);
    QCOMPARE(refused->reasons.value(0), int(Item::RequestFailed));
    QCOMPARE(refused->fileIds, (QStringList{ QString(), QString() }));
    QVERIFY(refused->cached.isEmpty());
}

void TestBFileTransferWorker::remoteInfoDecidesWhereTheUploadStarts_data()
{
    QTest::addColumn<QString>("remoteState");
    QTest::addColumn<int>("errors"); // answers of 500 before the real ones
    QTest::addColumn<int>("expectedStatus");
    QTest::addColumn<qint64>("expectedStart");
    QTest::addColumn<int>("expectedAsks");

    QTest::newRow("nothing there: from the start") << "none" << 0 << int(Item::Finished) << qint64(0) << 1;
    QTest::newRow("complete file: a new version") << "complete" << 0 << int(Item::Finished) << qint64(0) << 1;
    QTest::newRow("cut off upload: resumed") << "partial" << 0 << int(Item::Finished) << qint64(120000) << 1;
    QTest::newRow("cut off upload of another size: from the start")
            << "partialOtherSize" << 0 << int(Item::Finished) << qint64(0) << 1;
    QTest::newRow("two errors, then an answer") << "none" << 2 << int(Item::Finished) << qint64(0) << 3;
    QTest::newRow("gives up after five asks") << "none" << 50 << int(Item::Failed) << qint64(-1) << 5;
}

void TestBFileTransferWorker::remoteInfoDecidesWhereTheUploadStarts()
{
    QFETCH(QString, remoteState);
    QFETCH(int, errors);
    QFETCH(int, expectedStatus);
    QFETCH(qint64, expectedStart);
    QFETCH(int, expectedAsks);
    BTimings fast;
    fast.retryDelayMs = 20;
    BTimings::Override timings(fast);
    const QByteArray bytes = generatedBytes(400000, 11);
    const QString local = m_fx.path(QStringLiteral("resume.bin"));
    QVERIFY(writeAll(local, bytes));
    const QString remote = remotePath(QStringLiteral("resume.bin"));

    QString previousId;
    if (remoteState == QLatin1String("complete")) {
        previousId = m_fx.putFile(remote, generatedBytes(400000, 99));
    } else if (remoteState.startsWith(QLatin1String("partial"))) {
        const qint64 declared = remoteState == QLatin1String("partial") ? bytes.size() : bytes.size() + 1;
        auto socket = startRawUpload(m_fx.cloud->baseUrl(), m_fx.token, remote, declared, bytes.left(120000));
        QVERIFY(socket);
        socket->disconnectFromHost();
        QTRY_COMPARE_WITH_TIMEOUT(m_fx.remoteMeta(remote).value(QStringLiteral("uploadedSize")).toInteger(),
                                  qint64(120000), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(!m_fx.remoteMeta(remote).value(QStringLiteral("uploading")).toBool(), 10000);
    }
    // A request takes the first fault that matches: the errors, then the counter.
    const QString error = errors
            ? m_fx.addFault("GET", TransferFixture::MetaRoute, { { "status", 500 }, { "times", errors } })
            : QString();
    const QString asks = m_fx.addFault("GET", TransferFixture::MetaRoute, { { "times", 1000 } });

    auto run = WorkerRun::start<RemoteInfoWorker>(uploadRecord(local, remote), m_fx.token);
    QVERIFY(run->finish());
    QCOMPARE(run->statuses, (QList<int>{ expectedStatus, expectedStatus }));
    QCOMPARE(run->startOffset, expectedStart);
    QCOMPARE((errors ? m_fx.faultUses(error, errors) : 0) + m_fx.faultUses(asks, 1000), expectedAsks);
    QVERIFY(m_fx.cloud->clearFaults());
    int found = 0;
    const QJsonObject meta = m_fx.remoteMeta(remote, &found);
    QCOMPARE(found, expectedStatus == Item::Finished ? 200 : 404);
    if (expectedStatus != Item::Finished)
        return;
    QCOMPARE(meta.value(QStringLiteral("digest")).toString(), sha256(bytes));
    QCOMPARE(run->fileIds.constFirst(), meta.value(QStringLiteral("id")).toString());
    if (!previousId.isEmpty())
        QCOMPARE(meta.value(QStringLiteral("revision")).toInt(), 2);
}

void TestBFileTransferWorker::remoteInfoWaitsWhileTheFileIsUploading()
{
    BTimings fast;
    fast.retryDelayMs = 50;
    BTimings::Override timings(fast);
    const QByteArray bytes = generatedBytes(200000, 5);
    const QString local = m_fx.path(QStringLiteral("busy.bin"));
    QVERIFY(writeAll(local, bytes));
    const QString remote = remotePath(QStringLiteral("busy.bin"));
    auto socket = startRawUpload(m_fx.cloud->baseUrl(), m_fx.token, remote, bytes.size(), bytes.left(50000));
    QVERIFY(socket);
    QTRY_COMPARE_WITH_TIMEOUT(m_fx.remoteMeta(remote).value(QStringLiteral("uploadedSize")).toInteger(), qint64(50000),
                              10000);

    const QString asks = m_fx.addFault("GET", TransferFixture::MetaRoute, { { "times", 1000 } });
    auto run = WorkerRun::start<RemoteInfoWorker>(uploadRecord(local, remote), m_fx.token);
    // It keeps asking and sends nothing while another upload streams.
    QTRY_VERIFY_WITH_TIMEOUT(m_fx.faultUses(asks, 1000) >= 3, 10000);
    QCOMPARE(run->startOffset, qint64(-1));
    QVERIFY(run->statuses.isEmpty());

    socket->disconnectFromHost();
    QVERIFY(run->finish());
    QCOMPARE(run->statuses, FinishedTwice);
    QCOMPARE(run->startOffset, qint64(50000));
    QCOMPARE(m_fx.remoteMeta(remote).value(QStringLiteral("digest")).toString(), sha256(bytes));
}

void TestBFileTransferWorker::inactivityEndsTheTransfer_data()
{
    QTest::addColumn<bool>("isDownload");
    QTest::addColumn<QString>("fault");
    QTest::addColumn<int>("expectedStatus");

    QTest::newRow("download held") << true << "hang" << int(Item::Failed);
    QTest::newRow("download delayed") << true << "delayMs" << int(Item::Failed);
    // All bytes went out before the silence: that counts as done.
    QTest::newRow("upload sent, answer held") << false << "hang" << int(Item::Finished);
}

void TestBFileTransferWorker::inactivityEndsTheTransfer()
{
    QFETCH(bool, isDownload);
    QFETCH(QString, fault);
    QFETCH(int, expectedStatus);
    BTimings fast;
    fast.inactivityTimeoutMs = 300;
    BTimings::Override timings(fast);
    QVERIFY(!m_fx.addFault(isDownload ? "GET" : "PUT",
                           isDownload ? TransferFixture::ContentRoute : TransferFixture::UploadRoute,
                           { { fault, fault == QLatin1String("hang") ? QJsonValue(true) : QJsonValue(5000) } })
                     .isEmpty());
    const QString local = m_fx.path(QStringLiteral("held.bin"));
    QVERIFY(writeAll(local, generatedBytes(1000)));
    auto run = WorkerRun::start(isDownload ? downloadRecord(m_smallId, m_small.size(), QStringLiteral("d.bin"))
                                           : uploadRecord(local, remotePath(QStringLiteral("held.bin"))),
                                m_fx.token);
    QVERIFY(run->finish());
    QCOMPARE(run->statuses, (QList<int>{ expectedStatus, expectedStatus }));
    QCOMPARE(run->reasons, expectedStatus == Item::Failed ? QList<int>(2, Item::TimedOut) : QList<int>());
    QVERIFY(!QFile::exists(m_fx.path(QStringLiteral("d.bin"))));
}

void TestBFileTransferWorker::stopDeletesOnlyADownloadsPartialFile_data()
{
    QTest::addColumn<bool>("isDownload");
    QTest::addColumn<bool>("stopped");
    QTest::addColumn<bool>("fileKept");

    QTest::newRow("stopped download") << true << true << false;
    QTest::newRow("thread of a download ended") << true << false << true;
    QTest::newRow("stopped upload") << false << true << true;
}

void TestBFileTransferWorker::stopDeletesOnlyADownloadsPartialFile()
{
    QFETCH(bool, isDownload);
    QFETCH(bool, stopped);
    QFETCH(bool, fileKept);
    const QString held = m_fx.addFault(isDownload ? "GET" : "PUT",
                                       isDownload ? TransferFixture::ContentRoute : TransferFixture::UploadRoute,
                                       { { "hang", true }, { "times", 1000 } });
    const Item record = isDownload ? downloadRecord(m_smallId, m_small.size(), QStringLiteral("x.pdf"))
                                   : uploadRecord(m_fx.path(QStringLiteral("x.pdf")), remotePath(QStringLiteral("x")));
    const QString file = record.getLocalPath() + (isDownload ? QStringLiteral(".zyr") : QString());
    QVERIFY(writeAll(file, m_small.left(400)));

    auto run = WorkerRun::start(record, m_fx.token);
    // The request has reached the server: the worker is in its loop.
    QTRY_COMPARE_WITH_TIMEOUT(m_fx.faultUses(held, 1000), 1, 10000);
    if (stopped)
        run->worker->stop();
    else
        run->worker->exit(0); // as the queue's clear() ends its workers
    QVERIFY(run->finish());
    // Only the report of the thread's end, with the status it started with.
    QCOMPARE(run->statuses, QList<int>{ Item::Waiting });
    QCOMPARE(QFile::exists(file), fileKept);
    if (fileKept)
        QCOMPARE(readAll(file), m_small.left(400));
}

QTEST_GUILESS_MAIN(TestBFileTransferWorker)
#include "tst_bfiletransferworker.moc"
