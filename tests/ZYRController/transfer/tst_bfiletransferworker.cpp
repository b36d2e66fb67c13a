// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "TransferFixture.h"

#include <ZYRController/BFileTransferWorker.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QTest>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRService::ZYRServiceUtil;
using Item = Trelan::Oku::ZYRModel::MFileTransferItem;

namespace {

const QList<int> FinishedTwice{ Item::Finished, Item::Finished };
const QList<int> FailedTwice{ Item::Failed, Item::Failed };

// One worker as the queue runs it (the queue's record, the worker's copy),
// its reports collected on the test's thread.
struct WorkerRun : QObject {
    static std::unique_ptr<WorkerRun> start(const Item& record, const QString& token)
    {
        auto run = std::make_unique<WorkerRun>();
        run->record = record;
        run->worker = std::make_unique<BFileTransferWorker>(&run->record, record, token);
        WorkerRun* r = run.get();
        connect(r->worker.get(), &BFileTransferWorker::transferFinished, r,
                [r](BFileTransferWorker*, Item* item, int status, const QString&) {
                    r->statuses.append(item == &r->record ? status : -1);
                });
        connect(r->worker.get(), &BFileTransferWorker::transferFailed, r,
                [r](Item*, int reason) { r->reasons.append(reason); });
        connect(r->worker.get(), &BFileTransferWorker::transferProgress, r,
                [r](Item*, qint64 delta, qint64 held, qint64) {
                    if (r->startOffset < 0)
                        r->startOffset = held - delta;
                    r->held = held;
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
    QList<int> reasons;
    qint64 startOffset = -1;
    qint64 held = -1;
};

// An answer of the scripted server with a Content-Range and an X-Digest when given.
QByteArray answer(int status, const QByteArray& range, const QByteArray& body, const QByteArray& digest,
                  bool cut = false)
{
    const QByteArray headers = (range.isEmpty() ? QByteArray() : "Content-Range: " + range + "\r\n")
            + (digest.isEmpty() ? QByteArray() : "X-Digest: " + digest + "\r\n");
    return httpAnswer(status, headers, body, cut);
}

// The file the scripted server serves: larger than the pieces a download is
// written and hashed in, all in flight at once; a resume keeps more than one.
constexpr qint64 FileSize = 3 * 1024 * 1024 + 1000;
constexpr qint64 Kept = 1024 * 1024 + 400;

QByteArray contentRange(qint64 from, qint64 total = FileSize)
{
    return "bytes " + QByteArray::number(from) + '-' + QByteArray::number(FileSize - 1) + '/'
            + QByteArray::number(total);
}

} // namespace

class TestBFileTransferWorker : public QObject {
    Q_OBJECT

private:
    Item downloadRecord(const QString& fileId, qint64 size, const QString& localName) const;

    TransferFixture m_fx;
    QString m_smallId; // a 1000-byte file on the server
    const QByteArray m_small = generatedBytes(1000, 7);

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void onlyTheFilesBytesReachTheTarget_data();
    void onlyTheFilesBytesReachTheTarget();
    void folderAtTheTargetFailsTheDownload();
};

Item TestBFileTransferWorker::downloadRecord(const QString& fileId, qint64 size, const QString& localName) const
{
    Item item;
    item.setFileId(fileId);
    item.setIsDownload(true);
    item.setWorkspaceId(TransferFixture::Workspace);
    item.setLocalPath(m_fx.path(localName));
    item.setSize(size);
    return item;
}

void TestBFileTransferWorker::initTestCase()
{
    QVERIFY(m_fx.start());
    m_smallId = m_fx.putFile(QStringLiteral("/worker/small.bin"), m_small);
    QVERIFY(!m_smallId.isEmpty());
}

void TestBFileTransferWorker::cleanupTestCase()
{
    m_fx.cloud.reset();
}

void TestBFileTransferWorker::init()
{
    QVERIFY(m_fx.beginTest());
}

void TestBFileTransferWorker::cleanup()
{
    QVERIFY(m_fx.endTest());
}

void TestBFileTransferWorker::onlyTheFilesBytesReachTheTarget_data()
{
    QTest::addColumn<QByteArray>("kept"); // the partial file before; empty: none
    QTest::addColumn<QByteArray>("first"); // the server's first answer; empty: an honest one
    QTest::addColumn<int>("reason"); // of the first attempt; NoFailure: finished
    QTest::addColumn<qint64>("partialAfter"); // its size after a failure; -1: gone
    QTest::addColumn<qint64>("start"); // where the (next) honest download starts

    const QByteArray file = generatedBytes(FileSize, 3);
    const QByteArray digest = sha256(file).toLatin1();
    const QByteArray kept = file.left(Kept);
    const QByteArray range = contentRange(Kept);
    const QByteArray honest;
    const int ok = Item::NoFailure;
    QTest::newRow("no partial file") << QByteArray() << honest << ok << qint64(-1) << qint64(0);
    QTest::newRow("part of the file resumes") << kept << honest << ok << qint64(-1) << Kept;
    QTest::newRow("one byte resumes") << file.left(1) << honest << ok << qint64(-1) << qint64(1);
    QTest::newRow("as large as the file starts over")
            << QByteArray(FileSize, 'z') << honest << ok << qint64(-1) << qint64(0);
    QTest::newRow("larger than the file starts over")
            << QByteArray(FileSize + 500, 'z') << honest << ok << qint64(-1) << qint64(0);
    QTest::newRow("range ignored: the whole file")
            << kept << answer(200, {}, file, digest) << ok << qint64(-1) << qint64(0);
    QTest::newRow("range ignored, no digest") << kept << answer(200, {}, file, {}) << ok << qint64(-1) << qint64(0);
    QTest::newRow("short error answer") << kept
                                        << answer(416, "bytes */" + QByteArray::number(FileSize), R"({"code":416})", {})
                                        << int(Item::RequestFailed) << Kept << Kept;
    QTest::newRow("range from another offset")
            << kept << answer(206, contentRange(0), file, digest) << int(Item::RequestFailed) << Kept << Kept;
    QTest::newRow("no answer at all") << kept << QByteArray("hold") << int(Item::TimedOut) << Kept << Kept;
    QTest::newRow("cut off") << kept << answer(206, range, file.mid(Kept, 200), digest, true)
                             << int(Item::RequestFailed) << Kept + 200 << Kept + 200;
    QTest::newRow("digest does not match") << kept << answer(206, range, file.mid(Kept), sha256("x").toLatin1())
                                           << int(Item::WrongContent) << qint64(-1) << qint64(0);
    QTest::newRow("wrong byte kept from before")
            << QByteArray(kept).replace(Kept / 2, 1, "?") << answer(206, range, file.mid(Kept), digest)
            << int(Item::WrongContent) << qint64(-1) << qint64(0);
    QTest::newRow("wrong last byte") << kept
                                     << answer(206, range, file.mid(Kept).replace(FileSize - Kept - 1, 1, "?"), digest)
                                     << int(Item::WrongContent) << qint64(-1) << qint64(0);
    QTest::newRow("more bytes than listed")
            << QByteArray() << answer(200, {}, file + file, {}) << int(Item::WrongContent) << qint64(-1) << qint64(0);
    QTest::newRow("another file size") << kept << answer(206, contentRange(Kept, 2 * FileSize), file.mid(Kept), {})
                                       << int(Item::WrongContent) << qint64(-1) << qint64(0);
}

void TestBFileTransferWorker::onlyTheFilesBytesReachTheTarget()
{
    QFETCH(QByteArray, kept);
    QFETCH(QByteArray, first);
    QFETCH(int, reason);
    QFETCH(qint64, partialAfter);
    QFETCH(qint64, start);
    BTimings fast;
    fast.inactivityTimeoutMs = 1500;
    BTimings::Override timings(fast);
    const QByteArray file = generatedBytes(FileSize, 3);
    ScriptedServer server;
    ZYRServiceUtil::setServerUrl(server.url());
    server.answer = [&](const QByteArray&, const QByteArray& range) {
        if (server.targets.size() == 1 && !first.isEmpty())
            return first == "hold" ? QByteArray() : first;
        const qint64 from = range.mid(6).split('-').value(0).toLongLong();
        return answer(from > 0 ? 206 : 200, from > 0 ? contentRange(from) : QByteArray(), file.mid(from),
                      sha256(file).toLatin1());
    };

    const Item record = downloadRecord(QStringLiteral("f-1"), file.size(), QStringLiteral("sub/f.bin"));
    const QString partial = record.getLocalPath() + QStringLiteral(".zyr");
    // An older target is replaced only by the right bytes.
    QVERIFY(writeAll(record.getLocalPath(), "old"));
    if (!kept.isEmpty())
        QVERIFY(writeAll(partial, kept));
    auto run = WorkerRun::start(record, QStringLiteral("token"));
    QVERIFY(run->finish());
    const bool resumes = !kept.isEmpty() && kept.size() < file.size();
    QCOMPARE(server.ranges.constFirst(), resumes ? "bytes=" + QByteArray::number(kept.size()) + '-' : QByteArray());
    if (reason != Item::NoFailure) {
        QCOMPARE(run->statuses, FailedTwice);
        QCOMPARE(run->reasons.value(0), reason);
        QCOMPARE(readAll(record.getLocalPath()), QByteArray("old"));
        QCOMPARE(QFileInfo::exists(partial) ? QFileInfo(partial).size() : -1, partialAfter);
        QVERIFY(readAll(partial) == file.left(partialAfter));
        run = WorkerRun::start(record, QStringLiteral("token"));
        QVERIFY(run->finish());
    }
    QCOMPARE(run->statuses, FinishedTwice);
    QCOMPARE(run->startOffset, start);
    QCOMPARE(run->held, qint64(file.size()));
    QCOMPARE(readAll(record.getLocalPath()), file);
    QVERIFY(!QFile::exists(partial));
}

void TestBFileTransferWorker::folderAtTheTargetFailsTheDownload()
{
    const Item record = downloadRecord(m_smallId, m_small.size(), QStringLiteral("t"));
    QVERIFY(writeAll(m_fx.path(QStringLiteral("t/inside.txt")), "in the way"));
    auto run = WorkerRun::start(record, m_fx.token);
    QVERIFY(run->finish());
    QCOMPARE(run->statuses, FailedTwice);
    QCOMPARE(run->reasons.value(0), int(Item::LocalFileError));
    QCOMPARE(readAll(m_fx.path(QStringLiteral("t/inside.txt"))), QByteArray("in the way"));
    QCOMPARE(readAll(record.getLocalPath() + QStringLiteral(".zyr")), m_small); // kept aside
}

QTEST_GUILESS_MAIN(TestBFileTransferWorker)
#include "tst_bfiletransferworker.moc"
