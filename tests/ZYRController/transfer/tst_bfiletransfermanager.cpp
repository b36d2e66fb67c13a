// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "TransferFixture.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRCommon/TransferItemDBManager.h>
#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRCommon::TransferItemDBManager;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRService::ZYRServiceUtil;
using Item = Trelan::Oku::ZYRModel::MFileTransferItem;
using Queue = std::unique_ptr<BFileTransferManager>;
using Reports = QList<QList<qint64>>;

namespace {

const QString Alice = QStringLiteral("u-alice");

// Writes records as an earlier run would have left them.
bool storeRecords(QList<Item> records)
{
    QList<Item*> pointers;
    for (Item& record : records)
        pointers.append(&record);
    return TransferItemDBManager(QString(), QString()).insertItems(pointers);
}

QHash<QString, Item> storeContents(const QString& user = Alice)
{
    TransferItemDBManager store{ QString(), QString() };
    QList<Item> items;
    store.getUnfinishedItems(user, items);
    store.getFinishedItems(user, items, 100000);
    QHash<QString, Item> byId;
    for (const Item& item : std::as_const(items))
        byId.insert(item.getId(), item);
    return byId;
}

// The queue run by recordsSurviveAKilledQueue() in a child process: it
// downloads a folder and says on stdout what it did until it is killed.
int runQueueChild(int argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1"); // ThreadSanitizer cannot see glib's wake-ups hand over
    QCoreApplication app(argc, argv);
    const QStringList args = qEnvironmentVariable("ZYR_QUEUE_CHILD").split(QLatin1Char('\n'));
    ZYRServiceUtil::setServerUrl(QUrl(args.at(0)));
    ApplicationSettings::setDatabaseLocation(args.at(2));
    BFileTransferManager queue(true);
    queue.setAccessToken(args.at(1));
    queue.setUserId(Alice, QString());
    QObject::connect(&queue, &BFileTransferManager::transferItemAdded, [](Item* item) {
        printf("added %s\n", qPrintable(item->getId()));
        fflush(stdout);
    });
    QObject::connect(&queue, &BFileTransferManager::transferItemStatusUpdated, [](Item*, int, int status) {
        printf("%s", status == Item::Finished ? "finished\n" : "");
        fflush(stdout);
    });
    const QJsonObject folder{
        { "id", args.at(3) }, { "name", "tree" }, { "isFolder", true }, { "workspaceId", "w-design" }
    };
    queue.download(fileFromJson(folder), args.at(4), QString());
    return app.exec();
}

} // namespace

class TestBFileTransferManager : public QObject {
    Q_OBJECT

private:
    Item storedRecord(const QString& user, const QString& fileId, Item::TransferStatus status, const QDateTime& time);
    Queue signedInQueue(bool persist, const QString& user = Alice);
    Queue queueWithFailedRecords(int count);

    TransferFixture m_fx;
    QList<QByteArray> m_fileBytes; // of "/queue/n<i>.bin": 20000 + 1000 i bytes, seed i

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void progressAndSpeed_data();
    void progressAndSpeed();
    void changesAreWrittenInBatches();
    void retryMakesRecordsWaitingAgain();
    void removalFreesSlotsForWaitingRecords();
    void interruptedRecordsRestartOnlyWhenLoaded();
    void recordsSurviveAKilledQueue_data();
    void recordsSurviveAKilledQueue();
    void folderTreeGoesUpAndComesBack();
    void serverNamesNeverLeaveTheTarget_data();
    void serverNamesNeverLeaveTheTarget();
    void userChangeSwapsTheQueue();
};

Item TestBFileTransferManager::storedRecord(const QString& user, const QString& fileId, Item::TransferStatus status,
                                            const QDateTime& time)
{
    Item item;
    item.setId(QUuid::createUuid().toString());
    item.setUserId(user);
    item.setFileId(fileId);
    item.setIsDownload(true);
    item.setLocalPath(m_fx.path(QStringLiteral("never/") + fileId));
    item.setRemotePath(fileId);
    item.setSize(1000);
    item.setCreateTime(time);
    item.setUpdateTime(time);
    item.setStatus(status);
    return item;
}

Queue TestBFileTransferManager::signedInQueue(bool persist, const QString& user)
{
    auto queue = std::make_unique<BFileTransferManager>(persist);
    queue->setAccessToken(m_fx.token);
    queue->setUserId(user, QString());
    return queue;
}

Queue TestBFileTransferManager::queueWithFailedRecords(int count)
{
    QList<Item> records;
    const QDateTime start = QDateTime::currentDateTime().addSecs(-3600);
    for (int i = 0; i < count; ++i)
        records.append(storedRecord(Alice, QStringLiteral("f-%1").arg(i), Item::Failed, start.addSecs(i)));
    return storeRecords(records) ? std::make_unique<BFileTransferManager>(Alice, true) : nullptr;
}

void TestBFileTransferManager::initTestCase()
{
    QVERIFY(m_fx.start());
    for (int i = 0; i < 8; ++i) {
        m_fileBytes.append(generatedBytes(20000 + 1000 * i, i));
        QVERIFY(!m_fx.putFile(QStringLiteral("/queue/n%1.bin").arg(i), m_fileBytes.constLast()).isEmpty());
    }
}

void TestBFileTransferManager::cleanupTestCase()
{
    m_fx.cloud.reset();
}

void TestBFileTransferManager::init()
{
    QVERIFY(m_fx.beginTest());
}

void TestBFileTransferManager::cleanup()
{
    QVERIFY(m_fx.endTest());
}

void TestBFileTransferManager::progressAndSpeed_data()
{
    // Reports as a worker sends them: bytes since the last one, held, total.
    QTest::addColumn<Reports>("reports");
    QTest::addColumn<QList<bool>>("emitted"); // a progress signal after each
    QTest::addColumn<int>("speed"); // after one tick of 500 ms: half the bytes per second

    // clang-format off
    QTest::newRow("two halves make a percent") << Reports{ { 5, 5, 1000 }, { 5, 10, 1000 } } << QList<bool>{ false, true } << 10;
    QTest::newRow("the count restarts after a signal") << Reports{ { 10, 10, 1000 }, { 9, 19, 1000 }, { 1, 20, 1000 } }
                                                       << QList<bool>{ true, false, true } << 20;
    QTest::newRow("several percent make one") << Reports{ { 500, 500, 1000 }, { 1, 501, 1000 } } << QList<bool>{ true, false } << 501;
    QTest::newRow("completion is always reported") << Reports{ { 1, 999, 1000 }, { 1, 1000, 1000 } } << QList<bool>{ false, true } << 2;
    QTest::newRow("a new total is the record's size") << Reports{ { 100, 100, 4000 } } << QList<bool>{ true } << 100;
    // bytes * 1000 does not fit in 32 bits; beyond int the speed is clamped.
    QTest::newRow("fast tick") << Reports{ { 400000000, 400000000, 1000000000 } } << QList<bool>{ true } << 400000000;
    QTest::newRow("faster than int") << Reports{ { 1500000000, 1, 2000000000 } } << QList<bool>{ true } << INT_MAX / 2;
    // clang-format on
}

void TestBFileTransferManager::progressAndSpeed()
{
    QFETCH(Reports, reports);
    QFETCH(QList<bool>, emitted);
    QFETCH(int, speed);
    auto queue = queueWithFailedRecords(1);
    Item* item = queue->getUnfinishedItems().constFirst();
    QSignalSpy progress(queue.get(), &BFileTransferManager::transferItemProgressUpdated);
    QSignalSpy resized(queue.get(), &BFileTransferManager::transferItemSizeUpdated);
    QList<bool> seen;
    for (const QList<qint64>& report : std::as_const(reports)) {
        const qsizetype before = progress.size();
        queue->slotUpdateTransferProgress(item, report.at(0), report.at(1), report.at(2));
        seen.append(progress.size() > before);
        QCOMPARE(item->getBytesCompleted(), report.at(1));
    }
    QCOMPARE(seen, emitted);
    QCOMPARE(resized.size(), item->getSize() == 1000 ? 0 : 1);
    QCOMPARE(item->getSize(), reports.constLast().at(2));
    queue->slotSpeedCheckTimerTriggered();
    QCOMPARE(queue->getTransferByteSpeed(), speed);
}

void TestBFileTransferManager::changesAreWrittenInBatches()
{
    BTimings fast;
    fast.dbFlushIntervalMs = 300;
    BTimings::Override timings(fast);
    auto queue = queueWithFailedRecords(4);
    const QList<Item*> items = queue->getUnfinishedItems();
    const QString removedId = items.at(3)->getId();
    QElapsedTimer sinceFirst;
    sinceFirst.start();
    for (Item* item : items) {
        item->setBytesCompleted(42);
        queue->slotTransferItemStatusUpdated(item, Item::Failed, Item::Failed);
    }
    QVERIFY(queue->removeItem(items.at(3))); // its change waits for the tick
    // The first change after a quiet spell is written at once, the others
    // wait for the tick; the removed record never comes back.
    QCOMPARE(storeContents().value(items.at(0)->getId()).getBytesCompleted(), qint64(42));
    QCOMPARE(storeContents().value(items.at(1)->getId()).getBytesCompleted(), qint64(0));
    QVERIFY(!storeContents().contains(removedId));
    QTRY_COMPARE_WITH_TIMEOUT(storeContents().value(items.at(1)->getId()).getBytesCompleted(), qint64(42), 5000);
    QVERIFY(sinceFirst.elapsed() >= 270); // a whole tick, give or take a coarse timer's 5 %
    QCOMPARE(storeContents().value(items.at(2)->getId()).getBytesCompleted(), qint64(42));
    QVERIFY(!storeContents().contains(removedId));
}

void TestBFileTransferManager::retryMakesRecordsWaitingAgain()
{
    BTimings fast;
    fast.completionPauseMs = 1;
    fast.dbFlushIntervalMs = 100;
    BTimings::Override timings(fast);
    QVERIFY(!m_fx.addFault("GET", TransferFixture::ContentRoute, { { "status", 500 }, { "times", 1 } }).isEmpty());
    auto queue = signedInQueue(true);
    QSignalSpy changes(queue.get(), &BFileTransferManager::transferItemStatusUpdated);
    queue->download(m_fx.cloudFile(QStringLiteral("/queue/n1.bin")), m_fx.path(QStringLiteral("a")), QString());
    Item* failed = queue->getUnfinishedItems().constFirst();
    QTRY_COMPARE_WITH_TIMEOUT(changes.size(), 1, 10000);
    QCOMPARE(failed->getStatus(), Item::Failed);
    QCOMPARE(failed->getFailureReason(), Item::RequestFailed);
    QTRY_COMPARE_WITH_TIMEOUT(storeContents().value(failed->getId()).getFailureReason(), Item::RequestFailed, 5000);

    queue->retryFailedItems();
    QCOMPARE(changes.at(1), (QVariantList{ QVariant::fromValue(failed), int(Item::Failed), int(Item::Waiting) }));
    QCOMPARE(failed->getFailureReason(), Item::NoFailure);
    QCOMPARE(failed->getStatus(), Item::Transferring); // started again at once
    QTRY_VERIFY_WITH_TIMEOUT(queue->getFinishedItems().contains(failed), 10000);
    QCOMPARE(readAll(failed->getLocalPath()), m_fileBytes.at(1));
    QVERIFY(!queue->retryItem(failed)); // finished records are not retried
}

void TestBFileTransferManager::removalFreesSlotsForWaitingRecords()
{
    auto queue = signedInQueue(true);
    QSignalSpy changes(queue.get(), &BFileTransferManager::transferItemStatusUpdated);
    QVERIFY(writeAll(m_fx.path(QStringLiteral("refused.bin")), "refused"));
    const QString refusal = m_fx.addFault("PUT", TransferFixture::UploadRoute, { { "status", 500 }, { "times", 1 } });
    queue->upload(m_fx.path(QStringLiteral("refused.bin")), TransferFixture::Workspace, QStringLiteral("/q"),
                  QString());
    QTRY_COMPARE_WITH_TIMEOUT(m_fx.faultUses(refusal, 1), 1, 10000);
    QVERIFY(waitForWorkersGone());
    // Reported without a file id, the failed upload stays Transferring and
    // keeps its slot, though its worker is gone.
    QVERIFY(changes.isEmpty());
    QCOMPARE(queue->runningWorkerCount(), 1);
    const QString held = m_fx.addFault("GET", TransferFixture::ContentRoute, { { "hang", true }, { "times", 7 } });
    for (int i = 0; i < 7; ++i)
        queue->download(m_fx.cloudFile(QStringLiteral("/queue/n%1.bin").arg(i)), m_fx.path(QStringLiteral("r")),
                        QString());
    QTRY_COMPARE_WITH_TIMEOUT(m_fx.faultUses(held, 7), 4, 10000);
    const QList<Item*> items = queue->getUnfinishedItems();
    QCOMPARE(items.at(0)->getStatus(), Item::Transferring);
    const QString partial = items.at(1)->getLocalPath() + QStringLiteral(".zyr");
    const QString id = items.at(1)->getId();

    // Each removal hands its slot to the oldest waiting record.
    QVERIFY(queue->removeItem(items.at(0)));
    QCOMPARE(items.at(5)->getStatus(), Item::Transferring);
    QVERIFY(queue->removeItem(items.at(1)));
    QVERIFY(!storeContents().contains(id));
    QCOMPARE(items.at(6)->getStatus(), Item::Transferring);
    QVERIFY(queue->removeUnfinishedItem(items.at(2)->getFileId(), true, false));
    QCOMPARE(items.at(7)->getStatus(), Item::Transferring);
    QCOMPARE(queue->runningWorkerCount(), BFileTransferManager::MAX_THREAD_COUNT);
    QTRY_COMPARE_WITH_TIMEOUT(m_fx.faultUses(held, 7), 7, 10000);
    // A stopped download takes its partial file with it.
    QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(partial), 10000);
}

void TestBFileTransferManager::interruptedRecordsRestartOnlyWhenLoaded()
{
    // Six records a killed run left Transferring: the five slots take five
    // when they are loaded, a slot freed later goes to waiting records only.
    QList<Item> records;
    const QDateTime start = QDateTime::currentDateTime().addSecs(-60);
    for (int i = 0; i < 6; ++i) {
        const QString fileId = m_fx.cloudFile(QStringLiteral("/queue/n%1.bin").arg(i))->getId();
        records.append(storedRecord(Alice, fileId, Item::Transferring, start.addSecs(i)));
        records.last().setSize(m_fileBytes.at(i).size());
        records.last().setWorkspaceId(TransferFixture::Workspace);
    }
    QVERIFY(storeRecords(records));
    auto queue = signedInQueue(true);
    QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), 5, 20000);
    QCOMPARE(queue->getUnfinishedItems().constFirst()->getStatus(), Item::Interrupted);
}

void TestBFileTransferManager::recordsSurviveAKilledQueue_data()
{
    QTest::addColumn<int>("killAfterFinished"); // -1: once every record was made
    QTest::newRow("right after the records were made") << -1;
    QTest::newRow("after the first completion") << 1;
    QTest::newRow("near the end") << 9;
}

void TestBFileTransferManager::recordsSurviveAKilledQueue()
{
    QFETCH(int, killAfterFinished);
    // A tree of twelve files, one of them large enough to be cut by the kill.
    const QString remote = QStringLiteral("/killed-%1").arg(killAfterFinished);
    QMap<QString, QByteArray> files{ { QStringLiteral("large.bin"), generatedBytes(3000000, 1) } };
    for (int i = 0; i < 11; ++i)
        files.insert(QStringLiteral("%1f%2.bin").arg(i < 7 ? QString() : QStringLiteral("sub/")).arg(i),
                     generatedBytes(10000 + i, i));
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        QVERIFY(!m_fx.putFile(remote + QLatin1Char('/') + it.key(), it.value()).isEmpty());
    QVERIFY(!m_fx.addFault("GET", TransferFixture::ContentRoute, { { "delayMs", 100 } }).isEmpty());

    QProcess child;
    QStringList added;
    int finished = 0;
    connect(&child, &QProcess::readyReadStandardOutput, this, [&] {
        while (child.canReadLine()) {
            const QString line = QString::fromUtf8(child.readLine()).trimmed();
            if (line.startsWith(QLatin1String("added ")))
                added.append(line.mid(6));
            finished += line == QLatin1String("finished") ? 1 : 0;
        }
    });
    const QStringList args{ m_fx.cloud->baseUrl().toString(), m_fx.token, m_fx.path(QStringLiteral("db")),
                            m_fx.remoteMeta(remote).value(QStringLiteral("id")).toString(), m_fx.path(QString()) };
    qputenv("ZYR_QUEUE_CHILD", args.join(QLatin1Char('\n')).toUtf8());
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), QStringList());
    qunsetenv("ZYR_QUEUE_CHILD");
    QTRY_COMPARE_WITH_TIMEOUT(added.size(), files.size(), 20000);
    QTRY_VERIFY_WITH_TIMEOUT(finished >= killAfterFinished, 20000);
    child.kill();
    QVERIFY(child.waitForFinished(10000));
    QVERIFY(m_fx.cloud->clearFaults());

    auto queue = signedInQueue(true);
    QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), files.size(), 30000);
    QStringList restored;
    for (const Item* item : queue->getFinishedItems())
        restored.append(item->getId());
    restored.sort();
    added.sort();
    QCOMPARE(restored, added);
    files.insert(QStringLiteral("sub/"), QByteArray());
    QCOMPARE(treeContents(m_fx.path(QStringLiteral("tree"))), files);
}

void TestBFileTransferManager::folderTreeGoesUpAndComesBack()
{
    BTimings fast;
    fast.completionPauseMs = 1;
    BTimings::Override timings(fast);
    const QString root = m_fx.path(QStringLiteral("up/tree"));
    QMap<QString, QByteArray> files;
    for (int i = 0; i < 5; ++i)
        files.insert(QStringLiteral("top%1.txt").arg(i), generatedBytes(100 + i, i));
    files.insert(QStringLiteral("sub/c.bin"), generatedBytes(70000, 3));
    files.insert(QStringLiteral("sub/deeper/d.txt"), "d");
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        QVERIFY(writeAll(root + QLatin1Char('/') + it.key(), it.value()));
    QVERIFY(QDir().mkpath(root + QStringLiteral("/empty")));
    // Links to folders are not followed (one to the folder itself, three in
    // sub); a link to a file is uploaded as that file.
    QVERIFY(QFile::link(root, root + QStringLiteral("/loop")));
    QVERIFY(QFile::link(root, root + QStringLiteral("/sub/up")));
    QVERIFY(QFile::link(root + QStringLiteral("/sub"), root + QStringLiteral("/sub/self")));
    QVERIFY(QFile::link(root + QStringLiteral("/top0.txt"), root + QStringLiteral("/sub/alias.txt")));
    QVERIFY(writeAll(m_fx.path(QStringLiteral("elsewhere/e.txt")), "e"));
    QVERIFY(QFile::link(m_fx.path(QStringLiteral("elsewhere")), root + QStringLiteral("/sub/out")));
    files.insert(QStringLiteral("sub/alias.txt"), files.value(QStringLiteral("top0.txt")));

    auto queue = signedInQueue(true);
    queue->upload(QList<QString>{ root }, TransferFixture::Workspace, QStringLiteral("/queue/trees"));
    // One record per file, all in the store already; the five oldest run.
    QList<int> statuses;
    for (const Item* item : queue->getUnfinishedItems())
        statuses.append(item->getStatus());
    QCOMPARE(statuses, (QList<int>{ 1, 1, 1, 1, 1, 0, 0, 0 }));
    QCOMPARE(storeContents().size(), files.size());
    QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), files.size(), 30000);
    for (const Item* item : queue->getFinishedItems()) {
        const QString relative = item->getRemotePath().mid(QStringLiteral("/queue/trees/tree/").size());
        const QJsonObject meta = m_fx.remoteMeta(item->getRemotePath());
        QCOMPARE(meta.value(QStringLiteral("digest")).toString(), sha256(files.value(relative)));
        QCOMPARE(item->getFileId(), meta.value(QStringLiteral("id")).toString());
    }
    queue->download(QList<QWeakPointer<MFile>>{ m_fx.cloudFile(QStringLiteral("/queue/trees/tree")) },
                    m_fx.path(QStringLiteral("back")));
    QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), 2 * files.size(), 30000);
    files.insert(QStringLiteral("sub/"), QByteArray());
    files.insert(QStringLiteral("sub/deeper/"), QByteArray());
    QCOMPARE(treeContents(m_fx.path(QStringLiteral("back/tree"))), files);
}

void TestBFileTransferManager::serverNamesNeverLeaveTheTarget_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isFolder");
    QTest::addColumn<bool>("topLevel"); // handed to the queue, not listed in a folder

    QTest::newRow("up one level") << "../x" << false << false;
    QTest::newRow("up two levels inside a name") << "a/../../../x" << false << false;
    QTest::newRow("dot dot") << ".." << false << false;
    QTest::newRow("folder dot dot") << ".." << true << false;
    QTest::newRow("folder up two levels") << "../.." << true << false;
    QTest::newRow("folder dot") << "." << true << false;
    QTest::newRow("backslashes") << "..\\..\\x" << false << false;
    QTest::newRow("NUL") << QStringLiteral("x") + QChar(0) + QStringLiteral("y") << false << false;
    QTest::newRow("line break") << "x\ny" << false << false;
    QTest::newRow("empty") << "" << false << false;
    QTest::newRow("too long") << QString(300, QLatin1Char('a')) << false << false;
    QTest::newRow("top level up one level") << "../x" << false << true;
    QTest::newRow("top level folder dot dot") << ".." << true << true;
}

void TestBFileTransferManager::serverNamesNeverLeaveTheTarget()
{
    QFETCH(QString, name);
    QFETCH(bool, isFolder);
    QFETCH(bool, topLevel);
    const auto node = [](const char* id, const QString& nodeName, bool folder) {
        return QJsonObject{ { "id", QLatin1String(id) }, { "name", nodeName }, { "isFolder", folder }, { "size", 3 } };
    };
    const QJsonObject hostile = node("f-h", name, isFolder);
    const QJsonObject good = node("f-good", QStringLiteral("good.txt"), false);
    ScriptedServer server;
    ZYRServiceUtil::setServerUrl(server.url());
    server.answer = [&](const QByteArray& target, const QByteArray&) {
        const QJsonArray items = target.contains("id=f-dl") ? QJsonArray{ hostile, good }
                                                            : QJsonArray{ node("f-x", QStringLiteral("x"), false) };
        if (target.contains("/children"))
            return httpAnswer(200, {}, QJsonDocument(QJsonObject{ { "items", items } }).toJson());
        return httpAnswer(200, {}, target.contains("f-good") ? "new" : "bad");
    };
    const QString outer = m_fx.path(QStringLiteral("outer"));
    const QString target = outer + QStringLiteral("/parent/target");
    for (const char* decoy : { "/x", "/parent/x", "/parent/target/x", "/parent/target/dl/x" })
        QVERIFY(writeAll(outer + QLatin1String(decoy), "decoy"));
    QMap<QString, QByteArray> expected = treeContents(outer);

    auto queue = signedInQueue(true);
    if (topLevel)
        queue->download(QList<QWeakPointer<MFile>>{ fileFromJson(hostile), fileFromJson(good) }, target);
    else
        queue->download(fileFromJson(node("f-dl", QStringLiteral("dl"), true)), target, QString());
    QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), 1, 10000);
    QCOMPARE(queue->getUnfinishedItems().size(), 1);
    Item* refused = queue->getUnfinishedItems().constFirst();
    QCOMPARE(refused->getRemotePath(), name);
    QVERIFY(refused->getLocalPath().isEmpty());
    // Tried again, it fails again without a request.
    QVERIFY(queue->retryItem(refused));
    QTRY_COMPARE_WITH_TIMEOUT(refused->getStatus(), Item::Failed, 10000);
    QCOMPARE(refused->getFailureReason(), Item::UnsafeName);
    QTRY_COMPARE_WITH_TIMEOUT(storeContents().value(refused->getId()).getFailureReason(), Item::UnsafeName, 10000);
    QVERIFY(std::none_of(server.targets.cbegin(), server.targets.cend(),
                         [](const QByteArray& target) { return target.contains("f-h"); }));
    QVERIFY(waitForWorkersGone());
    expected.insert(topLevel ? QStringLiteral("parent/target/good.txt") : QStringLiteral("parent/target/dl/good.txt"),
                    "new");
    QCOMPARE(treeContents(outer), expected);
}

void TestBFileTransferManager::userChangeSwapsTheQueue()
{
    // bob's records as an earlier run left them.
    QList<Item> bobs;
    for (int i = 0; i < 270; ++i)
        bobs.append(storedRecord(QStringLiteral("u-bob"), QStringLiteral("b%1").arg(i),
                                 i < 250 ? Item::Finished : Item::Failed,
                                 QDateTime::currentDateTime().addSecs(i - 300)));
    QVERIFY(storeRecords(bobs));
    const QString slowPaths = m_fx.addFault("GET", "/api/v1/files/path", { { "hang", true }, { "times", 3 } });
    auto queue = signedInQueue(true);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(writeAll(m_fx.path(QStringLiteral("u%1.bin").arg(i)), "up"));
        queue->upload(m_fx.path(QStringLiteral("u%1.bin").arg(i)), TransferFixture::Workspace, QStringLiteral("/users"),
                      QString());
    }
    const QString held = m_fx.addFault("GET", TransferFixture::ContentRoute, { { "hang", true }, { "times", 1 } });
    queue->download(m_fx.cloudFile(QStringLiteral("/queue/n3.bin")), m_fx.path(QStringLiteral("a")), QString());
    QTRY_COMPARE_WITH_TIMEOUT(m_fx.faultUses(slowPaths, 3) + m_fx.faultUses(held, 1), 4, 10000);
    const QString running = queue->getUnfinishedItems().constLast()->getId();

    // bob signs in while the answers about alice's uploads are on their way.
    queue->setUserId(QStringLiteral("u-bob"), m_fx.cloud->signIn(QStringLiteral("bob"), QStringLiteral("bob-pass")));
    QSignalSpy late(queue.get(), &BFileTransferManager::fillRemoteInfoFinished);
    QSignalSpy changed(queue.get(), &BFileTransferManager::transferItemStatusUpdated);
    QVERIFY(m_fx.cloud->clearFaults()); // the answers go out now
    QVERIFY(!m_fx.addFault("GET", "/api/v1/users/me", { { "delayMs", 600 } }).isEmpty());
    QCOMPARE(m_fx.cloud->request("GET", "/api/v1/users/me", QByteArray(), m_fx.token).status, 200);
    QVERIFY(waitForWorkersGone());
    QCOMPARE(late.size(), 0);
    QCOMPARE(changed.size(), 0);
    // His latest 200 finished records are loaded; the others stay as they were.
    QCOMPARE(queue->getFinishedItems().size(), BFileTransferManager::MAX_FINISHED_LOADED);
    QCOMPARE(queue->getFinishedItems().constFirst()->getFileId(), QStringLiteral("b249"));
    QCOMPARE(queue->getUnfinishedItems().size(), 20);
    for (const Item* item : queue->getUnfinishedItems()) {
        QCOMPARE(item->getStatus(), Item::Failed);
        QCOMPARE(item->getRemotePath(), item->getFileId());
    }
    // alice's running download was interrupted, in the store too, its
    // partial file kept; when she is back, it is started again.
    QCOMPARE(storeContents().value(running).getStatus(), Item::Interrupted);
    QVERIFY(QFile::exists(m_fx.path(QStringLiteral("a/n3.bin.zyr"))));
    queue->setUserId(Alice, m_fx.token);
    QTRY_COMPARE_WITH_TIMEOUT(storeContents().value(running).getStatus(), Item::Finished, 10000);
    QCOMPARE(readAll(m_fx.path(QStringLiteral("a/n3.bin"))), m_fileBytes.at(3));
}

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet("ZYR_QUEUE_CHILD"))
        return runQueueChild(argc, argv);
    QCoreApplication app(argc, argv);
    TestBFileTransferManager test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_bfiletransfermanager.moc"
