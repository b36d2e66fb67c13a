// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRCommon/CacheItemDBManager.h>
#include <ZYRCommon/TransferItemDBManager.h>
#include <ZYRController/BFileTransferManager.h>

#include "TransferTestUtils.h"
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>
#include <algorithm>
#include <limits>
#include <memory>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRCommon::CacheItemDBManager;
using Trelan::Oku::ZYRCommon::TransferItemDBManager;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileCacheItem;
using Trelan::Oku::ZYRModel::MFileTransferItem;
using Trelan::Oku::ZYRService::ZYRServiceUtil;

using Status = MFileTransferItem::TransferStatus;

namespace {

const QString User = QStringLiteral("u-alice");
const QString Workspace = QStringLiteral("w-design");
const QByteArray ContentRoute = "/api/v1/workspaces/w-design/files/";
const QByteArray MetaRoute = "/api/v1/workspaces/w-design/meta";
const QByteArray UploadRoute = "/api/v1/workspaces/w-design/upload";

using TransferTestUtils::encoded;
using TransferTestUtils::generatedBytes;
using TransferTestUtils::readAll;
using TransferTestUtils::sha256;
using TransferTestUtils::writeAll;

// Every file below \a root by its relative path, with its bytes; folders
// (empty ones included) as a relative path with a trailing slash.
QMap<QString, QByteArray> treeContents(const QString& root)
{
    QMap<QString, QByteArray> tree;
    const QDir base(root);
    QDirIterator it(root, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (it.fileInfo().isDir())
            tree.insert(base.relativeFilePath(path) + QLatin1Char('/'), QByteArray());
        else
            tree.insert(base.relativeFilePath(path), readAll(path));
    }
    return tree;
}

// Checks the limit of running workers whenever the queue says anything, and
// remembers the most it saw.
class QueueWatch : public QObject {
public:
    explicit QueueWatch(BFileTransferManager* queue) : m_queue(queue)
    {
        connect(queue, &BFileTransferManager::transferItemAdded, this, &QueueWatch::look);
        connect(queue, &BFileTransferManager::transferItemProgressUpdated, this, &QueueWatch::look);
        connect(queue, &BFileTransferManager::transferItemStatusUpdated, this,
                [this](MFileTransferItem* item, int oldStatus, int newStatus) {
                    changes.append({ item, oldStatus, newStatus });
                    look();
                });
        connect(queue, &BFileTransferManager::fileUploaded, this,
                [this](const QString& workspaceId, const QString& remotePath) {
                    uploaded.append(workspaceId + QLatin1Char(':') + remotePath);
                    look();
                });
    }

    void look()
    {
        int transferring = 0;
        for (const MFileTransferItem* item : m_queue->getUnfinishedItems())
            transferring += item->getStatus() == MFileTransferItem::Transferring ? 1 : 0;
        mostRunning = qMax(mostRunning, m_queue->runningWorkerCount());
        mostTransferring = qMax(mostTransferring, transferring);
        // Started records are always the oldest ones: nothing waits in front
        // of a record that has been started.
        bool waitingSeen = false;
        for (const MFileTransferItem* item : m_queue->getUnfinishedItems()) {
            if (item->getStatus() == MFileTransferItem::Waiting)
                waitingSeen = true;
            else if (waitingSeen && item->getStatus() == MFileTransferItem::Transferring)
                startedOutOfOrder = true;
        }
    }

    struct Change {
        MFileTransferItem* item;
        int oldStatus;
        int newStatus;
    };
    QList<Change> changes;
    QStringList uploaded;
    int mostRunning = 0;
    int mostTransferring = 0;
    bool startedOutOfOrder = false;

private:
    BFileTransferManager* m_queue;
};

int countWithStatus(const QList<MFileTransferItem*>& items, MFileTransferItem::TransferStatus status)
{
    return int(std::count_if(items.cbegin(), items.cend(),
                             [status](const MFileTransferItem* item) { return item->getStatus() == status; }));
}

// One progress report as a worker sends it: the bytes since the last report,
// the bytes held in all and the total.
struct ProgressReport {
    qint64 delta;
    qint64 transferred;
    qint64 total;
};

// A row of removeUnfinishedItem(): file id, direction and status of a record.
struct RecordSpec {
    QString fileId;
    bool isDownload;
    Status status;
};

// The queue's workers are threads that delete themselves after they have
// ended, later than any signal a test can wait for. Qt names a QThread's
// system thread after its class (cut by Linux to 15 characters) as the
// thread starts; until then it carries its creator's name.
QSet<QString> threadIds()
{
    const QStringList tasks = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return QSet<QString>(tasks.cbegin(), tasks.cend());
}

// Threads present before any worker ran (the main thread, a sanitizer's own).
QSet<QString>& baselineThreads()
{
    static QSet<QString> tids;
    return tids;
}

int liveWorkerThreads()
{
    static const QByteArray mainName = [] {
        QFile comm(QStringLiteral("/proc/self/comm"));
        return comm.open(QIODevice::ReadOnly) ? comm.readAll().trimmed() : QByteArray();
    }();
    int count = 0;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + QStringLiteral("/comm")));
        if (!comm.open(QIODevice::ReadOnly))
            continue;
        const QByteArray name = comm.readAll().trimmed();
        // A worker, or a thread that has not named itself yet.
        if (name.startsWith("Trelan::Oku::ZY") || (name == mainName && !baselineThreads().contains(task)))
            ++count;
    }
    return count;
}

// Waits until every worker thread has ended and its object is deleted, so
// that no worker outlives the files and the store of its test.
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

} // namespace

Q_DECLARE_METATYPE(QList<ProgressReport>)
Q_DECLARE_METATYPE(QList<RecordSpec>)

class TestBFileTransferManager : public QObject {
    Q_OBJECT

private:
    static MFileTransferItem storedRecord(const QString& fileId, bool isDownload, Status status, qint64 size,
                                          const QDateTime& time)
    {
        MFileTransferItem item;
        item.setId(QUuid::createUuid().toString());
        item.setUserId(User);
        item.setFileId(fileId);
        item.setIsDownload(isDownload);
        item.setLocalPath(QStringLiteral("/nonexistent/") + fileId);
        item.setRemotePath(fileId);
        item.setWorkspaceId(QStringLiteral("w-design"));
        item.setSize(size);
        item.setCreateTime(time);
        item.setUpdateTime(time);
        item.setStatus(status);
        return item;
    }

    // Writes records for the user, oldest first, as an earlier run would
    // have left them.
    static void storeRecords(QList<MFileTransferItem> records)
    {
        QList<MFileTransferItem*> pointers;
        for (MFileTransferItem& record : records)
            pointers.append(&record);
        TransferItemDBManager store{ QString(), QString() };
        QVERIFY(store.insertItems(pointers));
    }

    // A queue holding \a count failed downloads (no worker runs for them),
    // read back from the store as after a restart.
    std::unique_ptr<BFileTransferManager> queueWithFailedRecords(int count, qint64 size = 1000)
    {
        QList<MFileTransferItem> records;
        const QDateTime start = QDateTime::currentDateTime().addSecs(-3600);
        for (int i = 0; i < count; ++i)
            records.append(storedRecord(QStringLiteral("f-%1").arg(i), true, MFileTransferItem::Failed, size,
                                        start.addSecs(i)));
        storeRecords(records);
        auto queue = std::make_unique<BFileTransferManager>(User, true);
        if (queue->getUnfinishedItems().size() != count)
            qWarning("the store gave back %d records instead of %d", int(queue->getUnfinishedItems().size()), count);
        return queue;
    }

    static QHash<QString, MFileTransferItem> storeContents()
    {
        TransferItemDBManager store{ QString(), QString() };
        QList<MFileTransferItem> items;
        store.getUnfinishedItems(User, items);
        store.getFinishedItems(User, items, 100000);
        QHash<QString, MFileTransferItem> byId;
        for (const MFileTransferItem& item : std::as_const(items))
            byId.insert(item.getId(), item);
        return byId;
    }

    QJsonObject remoteMeta(const QString& remotePath, int* status = nullptr)
    {
        const CloudServerFixture::Reply reply
                = m_server->request("GET", MetaRoute + "?path=" + encoded(remotePath), QByteArray(), m_token);
        if (status)
            *status = reply.status;
        return reply.json().value(QStringLiteral("data")).toObject();
    }

    QString putFile(const QString& remotePath, const QByteArray& bytes)
    {
        const QByteArray query = "?parentPath=" + encoded(QFileInfo(remotePath).path()) + "&path=" + encoded(remotePath)
                + "&size=" + QByteArray::number(bytes.size()) + "&offset=0";
        const CloudServerFixture::Reply reply
                = m_server->request("PUT", UploadRoute + query, bytes, m_token, "application/octet-stream");
        return reply.json().value(QStringLiteral("data")).toObject().value(QStringLiteral("id")).toString();
    }

    QString addFault(const QByteArray& method, const QByteArray& pathPrefix, QJsonObject fault)
    {
        fault.insert(QStringLiteral("method"), QString::fromLatin1(method));
        fault.insert(QStringLiteral("pathPrefix"), QString::fromLatin1(pathPrefix));
        return m_server->addFault(fault);
    }

    // How many requests a fault added with \a times has seen.
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

    // The cloud's node at \a remotePath, as the views hand it to the queue.
    QSharedPointer<MFile> cloudFile(const QString& remotePath)
    {
        auto file = QSharedPointer<MFile>::create();
        MFile::fromJson(remoteMeta(remotePath), *file);
        return file;
    }

    // A queue signed in as the views do it: the token first, then the user,
    // whose stored records are loaded and started with that token.
    std::unique_ptr<BFileTransferManager> signedInQueue(bool persist)
    {
        auto queue = std::make_unique<BFileTransferManager>(persist);
        queue->setAccessToken(m_token);
        queue->setUserId(User, QString());
        return queue;
    }

    // A download record of one of the files put on the server at start.
    MFileTransferItem storedDownload(int file, Status status, const QDateTime& time)
    {
        MFileTransferItem item = storedRecord(m_fileIds.at(file), true, status, m_fileBytes.at(file).size(), time);
        item.setLocalPath(m_dir->filePath(QStringLiteral("restart/n%1.bin").arg(file)));
        item.setRemotePath(QStringLiteral("n%1.bin").arg(file));
        return item;
    }

    std::unique_ptr<CloudServerFixture> m_server;
    QString m_token;
    // Files put on the server at start: "/queue/n<i>.bin".
    QStringList m_fileIds;
    QList<QByteArray> m_fileBytes;
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
        baselineThreads() = threadIds();
        for (int i = 0; i < 8; ++i) {
            m_fileBytes.append(generatedBytes(20000 + 1000 * i, i));
            m_fileIds.append(putFile(QStringLiteral("/queue/n%1.bin").arg(i), m_fileBytes.constLast()));
            QVERIFY(!m_fileIds.constLast().isEmpty());
        }
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
        ApplicationSettings::setDatabaseLocation(m_dir->filePath(QStringLiteral("db")));
    }

    void cleanup()
    {
        QVERIFY(m_server->clearFaults());
        QVERIFY(waitForWorkersGone());
        ApplicationSettings::setDatabaseLocation(QString());
        m_dir.reset();
    }

    void generateTargetPath_data()
    {
        QTest::addColumn<QString>("parent");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("newName");
        QTest::addColumn<QString>("expected");

        QTest::newRow("backslashes become slashes") << "a\\b"
                                                    << "f"
                                                    << ""
                                                    << "a/b/f";
        QTest::newRow("empty parent, new name wins") << ""
                                                     << "f"
                                                     << "g"
                                                     << "g";
        QTest::newRow("empty parent keeps the bare name") << ""
                                                          << "f"
                                                          << ""
                                                          << "f";
        QTest::newRow("trailing slash is not doubled") << "/Design/"
                                                       << "f"
                                                       << ""
                                                       << "/Design/f";
        QTest::newRow("trailing backslash is not doubled") << "C:\\t\\"
                                                           << "f"
                                                           << ""
                                                           << "C:/t/f";
        QTest::newRow("root parent") << "/"
                                     << "plan.dwg"
                                     << ""
                                     << "/plan.dwg";
        QTest::newRow("new name replaces the name") << "/t"
                                                    << "f"
                                                    << "copy of f"
                                                    << "/t/copy of f";
        QTest::newRow("inner double slash is kept") << "a//b"
                                                    << "f"
                                                    << ""
                                                    << "a//b/f";
    }

    void generateTargetPath()
    {
        QFETCH(QString, parent);
        QFETCH(QString, name);
        QFETCH(QString, newName);
        QFETCH(QString, expected);
        QCOMPARE(BFileTransferManager::generateTargetPath(parent, name, newName), expected);
    }

    void speedIsAHalfWeightAverageOfTicks_data()
    {
        QTest::addColumn<QList<qint64>>("bytesPerTick");
        QTest::addColumn<QList<int>>("expectedSpeeds");

        QTest::newRow("one tick from zero") << QList<qint64>{ 600000 } << QList<int>{ 600000 };
        QTest::newRow("average then decay")
                << QList<qint64>{ 600000, 300000, 0, 0 } << QList<int>{ 600000, 600000, 300000, 150000 };
        QTest::newRow("division truncates") << QList<qint64>{ 1, 0 } << QList<int>{ 1, 0 };
        // 800 MB in one tick: bytes * 1000 does not fit in 32 bits.
        QTest::newRow("fast tick needs 64 bits") << QList<qint64>{ 800000000 } << QList<int>{ 800000000 };
        QTest::newRow("beyond int is clamped")
                << QList<qint64>{ 1500000000 } << QList<int>{ std::numeric_limits<int>::max() / 2 };
    }

    void speedIsAHalfWeightAverageOfTicks()
    {
        QFETCH(QList<qint64>, bytesPerTick);
        QFETCH(QList<int>, expectedSpeeds);

        BFileTransferManager queue(false); // default tick of 500 ms
        QCOMPARE(queue.getTransferByteSpeed(), 0);
        QList<int> speeds;
        for (qint64 bytes : std::as_const(bytesPerTick)) {
            // Two reports within the tick, from a record that is not queued:
            // every report counts towards the speed.
            queue.slotUpdateTransferProgress(nullptr, bytes / 2, 0, 0);
            queue.slotUpdateTransferProgress(nullptr, bytes - bytes / 2, 0, 0);
            queue.slotSpeedCheckTimerTriggered();
            speeds.append(queue.getTransferByteSpeed());
        }
        QCOMPARE(speeds, expectedSpeeds);

        queue.resetTransferByteSpeed();
        QCOMPARE(queue.getTransferByteSpeed(), 0);
    }

    void progressIsReportedPerWholePercent_data()
    {
        QTest::addColumn<qint64>("recordSize");
        QTest::addColumn<QList<ProgressReport>>("reports");
        QTest::addColumn<QList<bool>>("emitted");

        QTest::newRow("half a percent") << qint64(1000) << QList<ProgressReport>{ { 5, 5, 1000 } }
                                        << QList<bool>{ false };
        QTest::newRow("two halves make a percent")
                << qint64(1000) << QList<ProgressReport>{ { 5, 5, 1000 }, { 5, 10, 1000 } }
                << QList<bool>{ false, true };
        QTest::newRow("the count restarts after a signal")
                << qint64(1000) << QList<ProgressReport>{ { 10, 10, 1000 }, { 9, 19, 1000 }, { 1, 20, 1000 } }
                << QList<bool>{ true, false, true };
        QTest::newRow("several percent at once make one signal")
                << qint64(1000) << QList<ProgressReport>{ { 500, 500, 1000 }, { 1, 501, 1000 } }
                << QList<bool>{ true, false };
        QTest::newRow("completion is always reported")
                << qint64(1000) << QList<ProgressReport>{ { 1, 999, 1000 }, { 1, 1000, 1000 } }
                << QList<bool>{ false, true };
        QTest::newRow("large file needs a whole percent")
                << qint64(1000000) << QList<ProgressReport>{ { 9999, 9999, 1000000 }, { 1, 10000, 1000000 } }
                << QList<bool>{ false, true };
    }

    void progressIsReportedPerWholePercent()
    {
        QFETCH(qint64, recordSize);
        QFETCH(QList<ProgressReport>, reports);
        QFETCH(QList<bool>, emitted);

        auto queue = queueWithFailedRecords(1, recordSize);
        QCOMPARE(queue->getUnfinishedItems().size(), 1);
        MFileTransferItem* item = queue->getUnfinishedItems().constFirst();
        QSignalSpy progress(queue.get(), &BFileTransferManager::transferItemProgressUpdated);
        QSignalSpy resized(queue.get(), &BFileTransferManager::transferItemSizeUpdated);

        QList<bool> seen;
        for (const ProgressReport& report : std::as_const(reports)) {
            const qsizetype before = progress.size();
            queue->slotUpdateTransferProgress(item, report.delta, report.transferred, report.total);
            seen.append(progress.size() > before);
            QCOMPARE(item->getBytesCompleted(), report.transferred);
        }
        QCOMPARE(seen, emitted);
        QCOMPARE(resized.size(), 0);
        if (!progress.isEmpty())
            QCOMPARE(progress.constFirst().constFirst().value<MFileTransferItem*>(), item);
    }

    void downloadTakesTheReportedTotal()
    {
        auto queue = queueWithFailedRecords(1, 1000);
        MFileTransferItem* item = queue->getUnfinishedItems().constFirst();
        QSignalSpy resized(queue.get(), &BFileTransferManager::transferItemSizeUpdated);

        queue->slotUpdateTransferProgress(item, 100, 100, 1000);
        QCOMPARE(resized.size(), 0);
        // The file changed in the cloud since the record was made.
        queue->slotUpdateTransferProgress(item, 100, 200, 4000);
        QCOMPARE(resized.size(), 1);
        QCOMPARE(item->getSize(), qint64(4000));

        // An upload's size is its local file's: a report never changes it.
        item->setIsDownload(false);
        queue->slotUpdateTransferProgress(item, 100, 300, 5000);
        QCOMPARE(resized.size(), 1);
        QCOMPARE(item->getSize(), qint64(4000));
    }

    void progressOfUnknownRecordIsOnlyCounted()
    {
        auto queue = queueWithFailedRecords(1, 1000);
        MFileTransferItem stranger = *queue->getUnfinishedItems().constFirst();
        QSignalSpy progress(queue.get(), &BFileTransferManager::transferItemProgressUpdated);

        queue->slotUpdateTransferProgress(&stranger, 300000, 1000, 1000);
        QCOMPARE(progress.size(), 0);
        QCOMPARE(stranger.getBytesCompleted(), qint64(0));
        queue->slotSpeedCheckTimerTriggered();
        QCOMPARE(queue->getTransferByteSpeed(), 300000);
    }

    void statusChangesAreWrittenInBatches()
    {
        BTimings fast;
        fast.dbFlushIntervalMs = 300;
        BTimings::Override timings(fast);
        auto queue = queueWithFailedRecords(10);
        const QList<MFileTransferItem*> items = queue->getUnfinishedItems();
        QCOMPARE(items.size(), 10);

        // Ten changes in quick succession after a quiet spell.
        for (int i = 0; i < items.size(); ++i) {
            items.at(i)->setBytesCompleted(100 + i);
            queue->slotTransferItemStatusUpdated(items.at(i), MFileTransferItem::Failed, MFileTransferItem::Failed);
        }
        // The same record changed again before the tick.
        items.at(1)->setBytesCompleted(555);
        queue->slotTransferItemStatusUpdated(items.at(1), MFileTransferItem::Failed, MFileTransferItem::Failed);

        // The first change is written at once, the others wait for the tick.
        QHash<QString, MFileTransferItem> stored = storeContents();
        QCOMPARE(stored.value(items.at(0)->getId()).getBytesCompleted(), qint64(100));
        for (int i = 1; i < items.size(); ++i)
            QCOMPARE(stored.value(items.at(i)->getId()).getBytesCompleted(), qint64(0));

        QTRY_COMPARE_WITH_TIMEOUT(storeContents().value(items.at(1)->getId()).getBytesCompleted(), qint64(555), 5000);
        // One batch: every waiting change arrived with the same tick.
        stored = storeContents();
        for (int i = 2; i < items.size(); ++i)
            QCOMPARE(stored.value(items.at(i)->getId()).getBytesCompleted(), qint64(100 + i));
    }

    void uploadWithoutPersistenceStillFillsTheCache()
    {
        BTimings fast;
        fast.completionPauseMs = 1;
        BTimings::Override timings(fast);
        auto queue = signedInQueue(false);
        QueueWatch watch(queue.get());
        const QByteArray bytes = generatedBytes(5000, 1);
        const QString local = m_dir->filePath(QStringLiteral("kept.bin"));
        QVERIFY(writeAll(local, bytes));

        queue->upload(local, Workspace, QStringLiteral("/queue/unstored"), QStringLiteral("renamed.bin"));
        QCOMPARE(queue->getUnfinishedItems().size(), 1);
        const MFileTransferItem* item = queue->getUnfinishedItems().constFirst();
        QCOMPARE(item->getRemotePath(), QStringLiteral("/queue/unstored/renamed.bin"));
        QCOMPARE(item->getRemoteParentPath(), QStringLiteral("/queue/unstored"));
        QCOMPARE(item->getLocalPath(), local);
        QCOMPARE(item->getSize(), qint64(bytes.size()));
        QVERIFY(item->getFileId().isEmpty());

        QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), 1, 10000);
        QCOMPARE(watch.uploaded, QStringList{ Workspace + QStringLiteral(":/queue/unstored/renamed.bin") });
        const QString fileId
                = remoteMeta(QStringLiteral("/queue/unstored/renamed.bin")).value(QStringLiteral("id")).toString();
        QCOMPARE(queue->getFinishedItems().constFirst()->getFileId(), fileId);
        QVERIFY(storeContents().isEmpty());

        // The uploaded copy is remembered as current for that cloud file.
        QList<MFileCacheItem> cached;
        QTRY_VERIFY_WITH_TIMEOUT(
                CacheItemDBManager(QString(), QString()).getCacheItems(fileId, cached) && !cached.isEmpty(), 10000);
        QCOMPARE(cached.constFirst().getDigest(), sha256(bytes));
        QCOMPARE(cached.constFirst().getLocalName(), QStringLiteral("kept.bin"));
    }

    void removedRecordNeverReachesTheStore()
    {
        BTimings fast;
        fast.dbFlushIntervalMs = 200;
        BTimings::Override timings(fast);
        auto queue = queueWithFailedRecords(3);
        const QList<MFileTransferItem*> items = queue->getUnfinishedItems();
        const QString removedId = items.at(1)->getId();
        const QString lastId = items.at(2)->getId();

        for (MFileTransferItem* item : items) {
            item->setBytesCompleted(42);
            queue->slotTransferItemStatusUpdated(item, MFileTransferItem::Failed, MFileTransferItem::Failed);
        }
        QVERIFY(queue->removeItem(items.at(1))); // its change is still waiting for the tick
        QVERIFY(!storeContents().contains(removedId));
        QCOMPARE(queue->getUnfinishedItems().size(), 2);

        QTRY_COMPARE_WITH_TIMEOUT(storeContents().value(lastId).getBytesCompleted(), qint64(42), 5000);
        QVERIFY(!storeContents().contains(removedId));

        QVERIFY(!queue->removeItem(nullptr));
        MFileTransferItem stranger;
        QVERIFY(!queue->removeItem(&stranger));
    }

    void removeUnfinishedItemRules_data()
    {
        QTest::addColumn<QList<RecordSpec>>("records");
        QTest::addColumn<bool>("downloadsOnly");
        QTest::addColumn<bool>("all");
        QTest::addColumn<QList<bool>>("kept");

        const QString x = QStringLiteral("f-x");
        const QString y = QStringLiteral("f-y");
        QTest::newRow("waiting, running and interrupted downloads go")
                << QList<RecordSpec>{ { x, true, MFileTransferItem::Waiting },
                                      { x, true, MFileTransferItem::Transferring },
                                      { x, true, MFileTransferItem::Interrupted } }
                << false << true << QList<bool>{ false, false, false };
        QTest::newRow("failed and finished stay")
                << QList<RecordSpec>{ { x, true, MFileTransferItem::Failed }, { x, true, MFileTransferItem::Finished } }
                << false << true << QList<bool>{ true, true };
        QTest::newRow("uploads stay when only downloads go")
                << QList<RecordSpec>{ { x, false, MFileTransferItem::Waiting },
                                      { x, true, MFileTransferItem::Waiting } }
                << true << true << QList<bool>{ true, false };
        QTest::newRow("uploads go too otherwise") << QList<RecordSpec>{ { x, false, MFileTransferItem::Waiting } }
                                                  << false << true << QList<bool>{ false };
        QTest::newRow("other files are untouched")
                << QList<RecordSpec>{ { y, true, MFileTransferItem::Waiting }, { x, true, MFileTransferItem::Waiting } }
                << false << true << QList<bool>{ true, false };
        QTest::newRow("one only: the first match") << QList<RecordSpec>{ { y, true, MFileTransferItem::Waiting },
                                                                         { x, true, MFileTransferItem::Waiting },
                                                                         { x, true, MFileTransferItem::Waiting } }
                                                   << false << false << QList<bool>{ true, false, true };
        QTest::newRow("one only: a kept first match ends the walk")
                << QList<RecordSpec>{ { x, true, MFileTransferItem::Failed }, { x, true, MFileTransferItem::Waiting } }
                << false << false << QList<bool>{ true, true };
        QTest::newRow("one only: a kept upload ends the walk")
                << QList<RecordSpec>{ { x, false, MFileTransferItem::Waiting },
                                      { x, true, MFileTransferItem::Waiting } }
                << true << false << QList<bool>{ true, true };
    }

    void removeUnfinishedItemRules()
    {
        QFETCH(QList<RecordSpec>, records);
        QFETCH(bool, downloadsOnly);
        QFETCH(bool, all);
        QFETCH(QList<bool>, kept);

        // Stored as failed, so that no worker starts; the statuses of the
        // row are then given to the queue's own records.
        QList<MFileTransferItem> stored;
        const QDateTime start = QDateTime::currentDateTime().addSecs(-3600);
        for (int i = 0; i < records.size(); ++i)
            stored.append(storedRecord(records.at(i).fileId, records.at(i).isDownload, MFileTransferItem::Failed, 10,
                                       start.addSecs(i)));
        storeRecords(stored);
        BFileTransferManager queue(User, true);
        QList<MFileTransferItem*> items = queue.getUnfinishedItems();
        QCOMPARE(items.size(), records.size());
        QStringList ids;
        for (int i = 0; i < items.size(); ++i) {
            QCOMPARE(items.at(i)->getId(), stored.at(i).getId());
            items.at(i)->setStatus(records.at(i).status);
            ids.append(items.at(i)->getId());
        }

        QVERIFY(queue.removeUnfinishedItem(QStringLiteral("f-x"), downloadsOnly, all));

        const QHash<QString, MFileTransferItem> inStore = storeContents();
        QStringList left;
        for (const MFileTransferItem* item : queue.getUnfinishedItems())
            left.append(item->getId());
        for (int i = 0; i < ids.size(); ++i) {
            QCOMPARE(left.contains(ids.at(i)), kept.at(i));
            QCOMPARE(inStore.contains(ids.at(i)), kept.at(i));
        }
    }

    void folderTreeGoesUpAndComesBack()
    {
        BTimings fast;
        fast.completionPauseMs = 1;
        fast.dbFlushIntervalMs = 200;
        BTimings::Override timings(fast);

        const QString root = m_dir->filePath(QStringLiteral("up/tree"));
        QMap<QString, QByteArray> files;
        for (int i = 0; i < 6; ++i)
            files.insert(QStringLiteral("top%1.txt").arg(i), generatedBytes(100 + i, i));
        files.insert(QStringLiteral("sub/c.bin"), generatedBytes(70000, 3));
        files.insert(QStringLiteral("sub/d.txt"), QByteArray());
        files.insert(QStringLiteral("sub/deeper/e.bin"), generatedBytes(150000, 4));
        files.insert(QStringLiteral("sub/deeper/f.txt"), "f");
        files.insert(QStringLiteral("sub/deeper/deepest/g.txt"), "g");
        files.insert(QStringLiteral("other/h.txt"), "h");
        for (auto it = files.cbegin(); it != files.cend(); ++it)
            QVERIFY(writeAll(root + QLatin1Char('/') + it.key(), it.value()));
        QVERIFY(QDir().mkpath(root + QStringLiteral("/empty")));
        QVERIFY(QDir().mkpath(root + QStringLiteral("/sub/nothing")));

        auto queue = signedInQueue(true);
        QueueWatch watch(queue.get());
        QSignalSpy added(queue.get(), &BFileTransferManager::transferItemAdded);
        queue->upload(QList<QString>{ root }, Workspace, QStringLiteral("/queue/trees"));

        // One record per file, none for a folder; five run at once.
        QCOMPARE(added.size(), files.size());
        QCOMPARE(queue->getUnfinishedItems().size(), files.size());
        QCOMPARE(queue->runningWorkerCount(), BFileTransferManager::MAX_THREAD_COUNT);
        QCOMPARE(storeContents().size(), files.size());
        QStringList remotePaths;
        for (const MFileTransferItem* item : queue->getUnfinishedItems()) {
            QVERIFY(!item->getIsDownload());
            QCOMPARE(item->getUserId(), User);
            QCOMPARE(item->getWorkspaceId(), Workspace);
            remotePaths.append(item->getRemotePath());
        }
        QVERIFY(remotePaths.contains(QStringLiteral("/queue/trees/tree/sub/deeper/deepest/g.txt")));

        QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), files.size(), 30000);
        QVERIFY(queue->getUnfinishedItems().isEmpty());
        QCOMPARE(watch.mostRunning, BFileTransferManager::MAX_THREAD_COUNT);
        QVERIFY(watch.mostTransferring <= BFileTransferManager::MAX_THREAD_COUNT);
        QCOMPARE(watch.uploaded.size(), files.size());
        for (const MFileTransferItem* item : queue->getFinishedItems()) {
            const QString relative = item->getRemotePath().mid(QStringLiteral("/queue/trees/tree/").size());
            QVERIFY2(files.contains(relative), qPrintable(item->getRemotePath()));
            QVERIFY(watch.uploaded.contains(Workspace + QLatin1Char(':') + item->getRemotePath()));
            // The record now names the file as the server knows it.
            const QJsonObject meta = remoteMeta(item->getRemotePath());
            QCOMPARE(item->getFileId(), meta.value(QStringLiteral("id")).toString());
            QCOMPARE(meta.value(QStringLiteral("digest")).toString(), sha256(files.value(relative)));
            QCOMPARE(item->getRemoteParentPath(), QFileInfo(item->getRemotePath()).path());
            QCOMPARE(item->getStatus(), MFileTransferItem::Finished);
        }
        // Empty folders are not made in the cloud.
        int status = 0;
        remoteMeta(QStringLiteral("/queue/trees/tree/empty"), &status);
        QCOMPARE(status, 404);
        remoteMeta(QStringLiteral("/queue/trees/tree/sub/nothing"), &status);
        QCOMPARE(status, 404);

        // And back, from the server's listing of the folder.
        const QSharedPointer<MFile> folder = cloudFile(QStringLiteral("/queue/trees/tree"));
        QVERIFY(folder->getIsFolder());
        const QString back = m_dir->filePath(QStringLiteral("back"));
        watch.mostRunning = 0;
        queue->download(QList<QWeakPointer<MFile>>{ folder }, back);
        QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), 2 * files.size(), 30000);
        QVERIFY(queue->getUnfinishedItems().isEmpty());
        QVERIFY(watch.mostRunning <= BFileTransferManager::MAX_THREAD_COUNT);
        QVERIFY(watch.mostTransferring <= BFileTransferManager::MAX_THREAD_COUNT);

        QMap<QString, QByteArray> expected = files;
        for (const QString& dir : { QStringLiteral("sub/"), QStringLiteral("sub/deeper/"),
                                    QStringLiteral("sub/deeper/deepest/"), QStringLiteral("other/") })
            expected.insert(dir, QByteArray());
        QCOMPARE(treeContents(back + QStringLiteral("/tree")), expected);
        for (const MFileTransferItem* item : queue->getFinishedItems()) {
            if (!item->getIsDownload())
                continue;
            // A download record names the cloud file by id and by name only.
            QCOMPARE(item->getRemotePath(), QFileInfo(item->getLocalPath()).fileName());
            QVERIFY(item->getRemoteParentPath().isEmpty());
            QVERIFY(item->getLocalPath().startsWith(back + QStringLiteral("/tree/")));
        }
        const auto storedFinished = [] {
            const QList<MFileTransferItem> stored = storeContents().values();
            return std::count_if(stored.cbegin(), stored.cend(), [](const MFileTransferItem& item) {
                return item.getStatus() == MFileTransferItem::Finished;
            });
        };
        QTRY_COMPARE_WITH_TIMEOUT(storedFinished(), std::ptrdiff_t(2 * files.size()), 15000);
    }

    void oldestWaitingRecordsStartFirst()
    {
        BTimings fast;
        fast.completionPauseMs = 1;
        BTimings::Override timings(fast);
        // Each transfer takes a while, so that the queue really fills up.
        QVERIFY(!addFault("GET", ContentRoute, { { "delayMs", 150 } }).isEmpty());

        auto queue = signedInQueue(false);
        QueueWatch watch(queue.get());
        const QString target = m_dir->filePath(QStringLiteral("seven"));
        for (int i = 0; i < 7; ++i)
            queue->download(cloudFile(QStringLiteral("/queue/n%1.bin").arg(i)), target, QString());

        const QList<MFileTransferItem*> items = queue->getUnfinishedItems();
        QCOMPARE(items.size(), 7);
        QCOMPARE(queue->runningWorkerCount(), 5);
        QList<int> statuses;
        for (const MFileTransferItem* item : items)
            statuses.append(item->getStatus());
        QCOMPARE(statuses, (QList<int>{ 1, 1, 1, 1, 1, 0, 0 }));

        QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), 7, 20000);
        QVERIFY(!watch.startedOutOfOrder);
        QCOMPARE(watch.mostRunning, 5);
        QCOMPARE(watch.changes.size(), 7);
        for (const QueueWatch::Change& change : std::as_const(watch.changes)) {
            QCOMPARE(change.oldStatus, int(MFileTransferItem::Transferring));
            QCOMPARE(change.newStatus, int(MFileTransferItem::Finished));
        }
        for (int i = 0; i < 7; ++i)
            QCOMPARE(readAll(target + QStringLiteral("/n%1.bin").arg(i)), m_fileBytes.at(i));
        QCOMPARE(queue->runningWorkerCount(), 0);
    }

    void speedIsMeasuredWhileWorkersRun()
    {
        BTimings fast;
        fast.speedTickMs = 50;
        BTimings::Override timings(fast);
        const QString held = addFault("GET", ContentRoute, { { "hang", true }, { "times", 1 } });
        auto queue = signedInQueue(false);
        queue->download(cloudFile(QStringLiteral("/queue/n0.bin")), m_dir->path(), QString());
        QCOMPARE(queue->runningWorkerCount(), 1);

        // The tick runs by itself while a worker runs.
        queue->slotUpdateTransferProgress(nullptr, 600000, 0, 0);
        QTRY_VERIFY_WITH_TIMEOUT(queue->getTransferByteSpeed() > 0, 5000);

        // The held download fails when the server lets it go; with no worker
        // left the speed is zero.
        // When the server lets the download go (Qt sends it once more after
        // a connection closed without an answer), no worker is left and the
        // speed is zero.
        QTRY_COMPARE_WITH_TIMEOUT(faultUses(held, 1), 1, 5000);
        QVERIFY(m_server->clearFaults());
        QTRY_COMPARE_WITH_TIMEOUT(queue->runningWorkerCount(), 0, 10000);
        QCOMPARE(queue->getTransferByteSpeed(), 0);
    }

    void failedDownloadStaysQueued_data()
    {
        QTest::addColumn<bool>("unknownFile");
        QTest::addColumn<int>("faultStatus");

        QTest::newRow("unknown file") << true << 0;
        QTest::newRow("server error") << false << 500;
    }

    void failedDownloadStaysQueued()
    {
        QFETCH(bool, unknownFile);
        QFETCH(int, faultStatus);
        BTimings fast;
        fast.completionPauseMs = 1;
        fast.dbFlushIntervalMs = 200;
        BTimings::Override timings(fast);
        if (faultStatus)
            QVERIFY(!addFault("GET", ContentRoute, { { "status", faultStatus } }).isEmpty());

        auto queue = signedInQueue(true);
        QueueWatch watch(queue.get());
        QSharedPointer<MFile> file = cloudFile(QStringLiteral("/queue/n1.bin"));
        if (unknownFile)
            file->setId(QStringLiteral("f-gone"));
        queue->download(file, m_dir->path(), QString());
        MFileTransferItem* item = queue->getUnfinishedItems().constFirst();
        // A status change dates the record (the store orders by that date).
        const QDateTime yesterday = QDateTime::currentDateTime().addDays(-1);
        item->setUpdateTime(yesterday);
        QTRY_COMPARE_WITH_TIMEOUT(watch.changes.size(), 1, 10000);
        QCOMPARE(item->getStatus(), MFileTransferItem::Failed);
        QVERIFY(item->getUpdateTime() > yesterday.addSecs(3600));
        QCOMPARE(watch.changes.constFirst().oldStatus, int(MFileTransferItem::Transferring));
        QCOMPARE(watch.changes.constFirst().newStatus, int(MFileTransferItem::Failed));
        QCOMPARE(queue->runningWorkerCount(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(storeContents().value(item->getId()).getStatus(), MFileTransferItem::Failed, 10000);
        QVERIFY(queue->getFinishedItems().isEmpty());
        if (unknownFile)
            return;

        // Tried again once the server is well, it completes.
        QVERIFY(m_server->clearFaults());
        const QDateTime before = item->getCreateTime();
        QVERIFY(queue->retryItem(item));
        QCOMPARE(watch.changes.at(1).oldStatus, int(MFileTransferItem::Failed));
        QCOMPARE(watch.changes.at(1).newStatus, int(MFileTransferItem::Waiting));
        QVERIFY(item->getCreateTime() >= before);
        QCOMPARE(item->getStatus(), MFileTransferItem::Transferring);
        QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), 1, 10000);
        QCOMPARE(readAll(item->getLocalPath()), m_fileBytes.at(1));
        QVERIFY(!queue->retryItem(item)); // finished records are not retried
        QVERIFY(!queue->retryItem(nullptr));
    }

    void retryingEverythingIncludesRunningRecords()
    {
        BTimings fast;
        fast.completionPauseMs = 1;
        BTimings::Override timings(fast);
        auto queue = signedInQueue(false);
        QueueWatch watch(queue.get());
        auto gone = cloudFile(QStringLiteral("/queue/n2.bin"));
        gone->setId(QStringLiteral("f-gone"));
        queue->download(gone, m_dir->filePath(QStringLiteral("a")), QString());
        QTRY_COMPARE_WITH_TIMEOUT(watch.changes.size(), 1, 10000); // failed

        const QString held = addFault("GET", ContentRoute, { { "hang", true }, { "times", 1 } });
        queue->download(cloudFile(QStringLiteral("/queue/n3.bin")), m_dir->filePath(QStringLiteral("b")), QString());
        QTRY_COMPARE_WITH_TIMEOUT(faultUses(held, 1), 1, 10000);
        MFileTransferItem* failed = queue->getUnfinishedItems().at(0);
        MFileTransferItem* running = queue->getUnfinishedItems().at(1);
        QCOMPARE(running->getStatus(), MFileTransferItem::Transferring);

        queue->retryFailedItems();
        QCOMPARE(watch.changes.size(), 3);
        QCOMPARE(watch.changes.at(1).item, failed);
        QCOMPARE(watch.changes.at(1).oldStatus, int(MFileTransferItem::Failed));
        QCOMPARE(watch.changes.at(1).newStatus, int(MFileTransferItem::Waiting));
        QCOMPARE(watch.changes.at(2).item, running);
        QCOMPARE(watch.changes.at(2).oldStatus, int(MFileTransferItem::Transferring));
        QCOMPARE(watch.changes.at(2).newStatus, int(MFileTransferItem::Waiting));
        // Both were started again right away.
        QCOMPARE(failed->getStatus(), MFileTransferItem::Transferring);
        QCOMPARE(running->getStatus(), MFileTransferItem::Transferring);
        queue->removeAllItems();
        QCOMPARE(queue->runningWorkerCount(), 0);
        QVERIFY(queue->getUnfinishedItems().isEmpty());
    }

    void removingARunningDownloadStopsIt()
    {
        auto queue = signedInQueue(true);
        QueueWatch watch(queue.get());
        const QString held = addFault("GET", ContentRoute, { { "hang", true }, { "times", 1 } });
        queue->download(cloudFile(QStringLiteral("/queue/n4.bin")), m_dir->path(), QString());
        QTRY_COMPARE_WITH_TIMEOUT(faultUses(held, 1), 1, 10000);
        MFileTransferItem* item = queue->getUnfinishedItems().constFirst();
        const QString id = item->getId();
        const QString partial = item->getLocalPath() + QStringLiteral(".zyr");
        QVERIFY(QFile::exists(partial));
        QVERIFY(storeContents().contains(id));

        QVERIFY(queue->removeItem(item));
        QCOMPARE(queue->runningWorkerCount(), 0);
        QVERIFY(queue->getUnfinishedItems().isEmpty());
        QVERIFY(!storeContents().contains(id));
        // The stopped worker's last report arrives for a record that is gone.
        QVERIFY(waitForWorkersGone());
        QVERIFY(!QFile::exists(partial));
        QVERIFY(watch.changes.isEmpty());
        QVERIFY(!storeContents().contains(id));
    }

    void failedUploadKeepsItsSlot()
    {
        auto queue = signedInQueue(false);
        QueueWatch watch(queue.get());
        const QString local = m_dir->filePath(QStringLiteral("refused.bin"));
        QVERIFY(writeAll(local, "refused"));
        const QString refusal = addFault("PUT", UploadRoute, { { "status", 500 }, { "times", 1 } });
        queue->upload(local, Workspace, QStringLiteral("/queue/refused"), QString());
        QTRY_COMPARE_WITH_TIMEOUT(faultUses(refusal, 1), 1, 10000);
        QVERIFY(waitForWorkersGone());

        // A failed upload reports no file id, so its record stays
        // Transferring and its worker keeps the slot, though the worker is gone.
        QVERIFY(watch.changes.isEmpty());
        QCOMPARE(queue->runningWorkerCount(), 1);
        MFileTransferItem* item = queue->getUnfinishedItems().constFirst();
        QCOMPARE(item->getStatus(), MFileTransferItem::Transferring);

        QVERIFY(queue->removeItem(item));
        QCOMPARE(queue->runningWorkerCount(), 0);
    }

    void unusableTargetDirectoryGoesBackToWaiting()
    {
        BTimings fast;
        fast.completionPauseMs = 1;
        BTimings::Override timings(fast);
        QVERIFY(writeAll(m_dir->filePath(QStringLiteral("plain")), "a file, not a folder"));
        auto queue = signedInQueue(true);
        QueueWatch watch(queue.get());
        queue->download(cloudFile(QStringLiteral("/queue/n5.bin")), m_dir->filePath(QStringLiteral("plain/below")),
                        QString());
        MFileTransferItem* item = queue->getUnfinishedItems().constFirst();
        const QString id = item->getId();

        QTRY_VERIFY_WITH_TIMEOUT(!watch.changes.isEmpty(), 10000);
        QCOMPARE(watch.changes.constFirst().item, item);
        QCOMPARE(watch.changes.constFirst().oldStatus, int(MFileTransferItem::Transferring));
        QCOMPARE(watch.changes.constFirst().newStatus, int(MFileTransferItem::Waiting));
        QCOMPARE(queue->getUnfinishedItems().size(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(storeContents().contains(id), 10000);
        QCOMPARE(storeContents().value(id).getLocalPath(), item->getLocalPath());
        // A waiting record is picked again and again; removing it ends that.
        QVERIFY(queue->removeItem(item));
        QVERIFY(!storeContents().contains(id));
    }

    void restartRebuildsTheQueue()
    {
        BTimings fast;
        fast.completionPauseMs = 1;
        BTimings::Override timings(fast);
        QVERIFY(!addFault("GET", ContentRoute, { { "delayMs", 100 } }).isEmpty());

        // Five waiting downloads, then one that was running when the
        // program ended, a failed one and many finished ones.
        const QDateTime start = QDateTime::currentDateTime().addDays(-1);
        QList<MFileTransferItem> records;
        for (int i = 0; i < 5; ++i)
            records.append(storedDownload(i, MFileTransferItem::Waiting, start.addSecs(i)));
        records.append(storedDownload(5, MFileTransferItem::Transferring, start.addSecs(10)));
        records.append(storedDownload(6, MFileTransferItem::Failed, start.addSecs(11)));
        for (int i = 0; i < 250; ++i)
            records.append(storedRecord(QStringLiteral("f-done-%1").arg(i), true, MFileTransferItem::Finished, 1,
                                        start.addSecs(100 + i)));
        storeRecords(records);
        const QString runningId = records.at(5).getId();

        auto queue = std::make_unique<BFileTransferManager>(true);
        QSignalSpy loaded(queue.get(), &BFileTransferManager::loadTransferItemsFromDBFinished);
        queue->setAccessToken(m_token);
        queue->setUserId(User, QString());
        QCOMPARE(loaded.size(), 1);
        QCOMPARE(loaded.constFirst().constFirst().toBool(), true);

        QCOMPARE(queue->getUnfinishedItems().size(), 7);
        QCOMPARE(queue->getFinishedItems().size(), BFileTransferManager::MAX_FINISHED_LOADED);
        // The latest finished ones.
        QCOMPARE(queue->getFinishedItems().constFirst()->getFileId(), QStringLiteral("f-done-249"));
        QCOMPARE(queue->getFinishedItems().constLast()->getFileId(), QStringLiteral("f-done-50"));
        // The running one is interrupted, in memory and in the store; the
        // five oldest waiting ones took every slot.
        MFileTransferItem* interrupted = queue->getUnfinishedItems().at(5);
        QCOMPARE(interrupted->getId(), runningId);
        QCOMPARE(interrupted->getStatus(), MFileTransferItem::Interrupted);
        QCOMPARE(storeContents().value(runningId).getStatus(), MFileTransferItem::Interrupted);
        QCOMPARE(queue->getUnfinishedItems().at(6)->getStatus(), MFileTransferItem::Failed);
        QCOMPARE(queue->runningWorkerCount(), 5);
        QCOMPARE(countWithStatus(queue->getUnfinishedItems(), MFileTransferItem::Transferring), 5);

        QTRY_COMPARE_WITH_TIMEOUT(queue->getFinishedItems().size(), BFileTransferManager::MAX_FINISHED_LOADED + 5,
                                  20000);
        for (int i = 0; i < 5; ++i)
            QCOMPARE(readAll(records.at(i).getLocalPath()), m_fileBytes.at(i));
        // Freed slots take waiting records only; the interrupted one waits
        // for the next start of the queue.
        QCOMPARE(queue->runningWorkerCount(), 0);
        QCOMPARE(interrupted->getStatus(), MFileTransferItem::Interrupted);
        queue.reset();

        auto restarted = signedInQueue(true);
        QCOMPARE(restarted->runningWorkerCount(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(restarted->getFinishedItems().size(), BFileTransferManager::MAX_FINISHED_LOADED + 1,
                                  20000);
        QCOMPARE(readAll(records.at(5).getLocalPath()), m_fileBytes.at(5));
        QTRY_COMPARE_WITH_TIMEOUT(storeContents().value(runningId).getStatus(), MFileTransferItem::Finished, 15000);
    }

    void interruptedDownloadResumesInTheNextQueue()
    {
        const QString held = addFault("GET", ContentRoute, { { "delayMs", 5000 }, { "times", 1 } });
        auto queue = signedInQueue(true);
        const QSharedPointer<MFile> file = cloudFile(QStringLiteral("/queue/n7.bin"));
        const QString target = m_dir->filePath(QStringLiteral("resume/n7.bin"));
        // What an earlier, cut-off attempt left. Its bytes differ from the
        // cloud's on purpose: a resumed download keeps them, a restarted one
        // would not.
        const QByteArray earlier(400, 'e');
        QVERIFY(writeAll(target + QStringLiteral(".zyr"), earlier));

        queue->download(file, m_dir->filePath(QStringLiteral("resume")), QString());
        const QString id = queue->getUnfinishedItems().constFirst()->getId();
        QTRY_COMPARE_WITH_TIMEOUT(faultUses(held, 1), 1, 10000);
        queue.reset(); // the program ends while the download runs

        QCOMPARE(storeContents().value(id).getStatus(), MFileTransferItem::Interrupted);
        QVERIFY(waitForWorkersGone());
        QCOMPARE(readAll(target + QStringLiteral(".zyr")), earlier);

        auto next = signedInQueue(true);
        QCOMPARE(next->getUnfinishedItems().size(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(next->getFinishedItems().size(), 1, 10000);
        QCOMPARE(readAll(target), earlier + m_fileBytes.at(7).mid(400));
        QVERIFY(!QFile::exists(target + QStringLiteral(".zyr")));
    }

    void queueGoneBeforeItsAnswersArrive_data()
    {
        QTest::addColumn<bool>("upload");
        QTest::newRow("listing of a folder to download") << false;
        QTest::newRow("path of a finished upload") << true;
    }

    void queueGoneBeforeItsAnswersArrive()
    {
        QFETCH(bool, upload);
        const QString slow = upload
                ? addFault("GET", "/api/v1/files/path", { { "delayMs", 200 }, { "times", 1 } })
                : addFault("GET", "/api/v1/workspaces/w-design/children", { { "delayMs", 200 }, { "times", 1 } });
        auto queue = signedInQueue(false);
        if (upload) {
            const QString local = m_dir->filePath(QStringLiteral("late.bin"));
            QVERIFY(writeAll(local, "late"));
            queue->upload(local, Workspace, QStringLiteral("/queue/late"), QString());
        } else {
            queue->download(cloudFile(QStringLiteral("/queue")), m_dir->path(), QString());
        }
        QTRY_COMPARE_WITH_TIMEOUT(faultUses(slow, 1), 1, 10000);
        queue.reset();

        // A later answer of the server: the queue's own would have arrived by
        // then, into a deleted object (the sanitizer build reports that).
        QVERIFY(!addFault("GET", "/api/v1/users/me", { { "delayMs", 600 }, { "times", 1 } }).isEmpty());
        QCOMPARE(m_server->request("GET", "/api/v1/users/me", QByteArray(), m_token).status, 200);
        QVERIFY(!QFile::exists(m_dir->filePath(QStringLiteral("queue"))));
    }

    void missingPathsAndTargetsMakeNoRecord()
    {
        BFileTransferManager queue(User, true);
        QSignalSpy added(&queue, &BFileTransferManager::transferItemAdded);
        queue.upload(QList<QString>{ m_dir->filePath(QStringLiteral("missing.txt")),
                                     m_dir->filePath(QStringLiteral("missing/dir")) },
                     QStringLiteral("w-design"), QStringLiteral("/t"));
        queue.upload(m_dir->filePath(QStringLiteral("gone.txt")), QStringLiteral("w-design"), QStringLiteral("/t"),
                     QStringLiteral("new.txt"));
        auto file = QSharedPointer<Trelan::Oku::ZYRModel::MFile>::create();
        file->setId(QStringLiteral("f-overview"));
        file->setFileName(QStringLiteral("overview.txt"));
        queue.download(file, QString(), QString()); // no target directory
        queue.download(QWeakPointer<Trelan::Oku::ZYRModel::MFile>(), m_dir->path(), QString()); // no file
        queue.download(QList<QWeakPointer<Trelan::Oku::ZYRModel::MFile>>(), m_dir->path());
        queue.download(QList<QWeakPointer<Trelan::Oku::ZYRModel::MFile>>{ file }, QString());

        QCOMPARE(added.size(), 0);
        QVERIFY(queue.getUnfinishedItems().isEmpty());
        QCOMPARE(queue.runningWorkerCount(), 0);
        QVERIFY(storeContents().isEmpty());
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

QTEST_GUILESS_MAIN(TestBFileTransferManager)
#include "tst_bfiletransfermanager.moc"
