// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/TransferItemDBManager.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUuid>

#include <atomic>
#include <memory>

using Trelan::Oku::ZYRCommon::TransferItemDBManager;
using Trelan::Oku::ZYRModel::MFileTransferItem;

namespace {

const QDateTime Base = QDateTime::fromMSecsSinceEpoch(Q_INT64_C(1767225600123), Qt::UTC); // has milliseconds

MFileTransferItem makeItem(const QString& userId, MFileTransferItem::TransferStatus status, int minute,
                           bool download = true)
{
    MFileTransferItem item;
    item.setId(QUuid::createUuid().toString());
    item.setUserId(userId);
    item.setFileId(download ? QStringLiteral("file-%1").arg(minute) : QString());
    item.setIsDownload(download);
    item.setLocalPath(QStringLiteral("/home/u/下载/报告 %1.pdf").arg(minute));
    if (!download)
        item.setRemoteParentPath(QStringLiteral("/R/sub"));
    item.setRemotePath(QStringLiteral("报告 %1.pdf").arg(minute));
    item.setSize(Q_INT64_C(5000000000) + minute); // beyond 32 bits
    item.setBytesCompleted(minute * 1000);
    item.setWorkspaceId(QStringLiteral("ws-1"));
    item.setCreateTime(Base.addSecs(60 * minute));
    item.setUpdateTime(Base.addSecs(60 * minute + 30));
    item.setStatus(status);
    return item;
}

QList<MFileTransferItem*> pointers(QList<MFileTransferItem>& items)
{
    QList<MFileTransferItem*> out;
    for (MFileTransferItem& item : items)
        out.append(&item);
    return out;
}

QStringList ids(const QList<MFileTransferItem>& items)
{
    QStringList out;
    for (const MFileTransferItem& item : items)
        out.append(item.getId());
    return out;
}

// Everything of one user, unfinished and finished.
QList<MFileTransferItem> readAll(TransferItemDBManager& store, const QString& userId)
{
    QList<MFileTransferItem> items;
    if (!store.getUnfinishedItems(userId, items) || !store.getFinishedItems(userId, items, 1000000))
        return {};
    return items;
}

} // namespace

class tst_TransferItemDBManager : public QObject {
    Q_OBJECT

private slots:
    void init();

    void insertAndReadBack();
    void insertReplacesSameId();
    void updateSingleAndList();
    void deleteSingleAndList();
    void reopenReadsEqualRecords();
    void fileIsWalWithSchemaVersion();
    void unfinishedOrderAndUserFilter();
    void finishedLimitAndOrder_data();
    void finishedLimitAndOrder();
    void refusesBadInput();
    void failedStatementKeepsEarlierRows();
    void unopenableFileFails();
    void defaultPathLiesInDatabaseLocation();

    void threadsWriteAndReadConcurrently_data();
    void threadsWriteAndReadConcurrently();
    void connectionReleasedWhenThreadEnds();

private:
    QString dbPath() const { return m_dir->filePath(QStringLiteral("transfer.db")); }
    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_TransferItemDBManager::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void tst_TransferItemDBManager::insertAndReadBack()
{
    TransferItemDBManager store(dbPath(), QString());
    QCOMPARE(store.databasePath(), dbPath());
    QVERIFY(!QFile::exists(dbPath())); // opened lazily

    MFileTransferItem single = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 0, false);
    single.setCreateTime(QDateTime()); // unset times survive as unset
    single.setUpdateTime(QDateTime());
    QVERIFY(store.insertItem(&single));

    QList<MFileTransferItem> list{ makeItem(QStringLiteral("u1"), MFileTransferItem::Transferring, 1),
                                   makeItem(QStringLiteral("u1"), MFileTransferItem::Failed, 2),
                                   makeItem(QStringLiteral("u1"), MFileTransferItem::Interrupted, 3),
                                   makeItem(QStringLiteral("u1"), MFileTransferItem::Finished, 4) };
    // Local time, as the queue stamps its records, reads back as the same instant.
    list[0].setCreateTime(Base.addSecs(60).toLocalTime());
    QVERIFY(store.insertItems(pointers(list)));
    QVERIFY(store.insertItems({}));

    QList<MFileTransferItem> unfinished;
    QVERIFY(store.getUnfinishedItems(QStringLiteral("u1"), unfinished));
    QCOMPARE(unfinished.size(), 4);
    QCOMPARE(unfinished.at(0), single);
    QVERIFY(!unfinished.at(0).getCreateTime().isValid());
    QCOMPARE(unfinished.mid(1), list.mid(0, 3));

    QList<MFileTransferItem> finished;
    QVERIFY(store.getFinishedItems(QStringLiteral("u1"), finished, 10));
    QCOMPARE(finished, list.mid(3));
    QCOMPARE(finished.at(0).getUpdateTime().toMSecsSinceEpoch(), list.at(3).getUpdateTime().toMSecsSinceEpoch());
}

void tst_TransferItemDBManager::insertReplacesSameId()
{
    TransferItemDBManager store(dbPath(), QString());
    MFileTransferItem item = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1);
    QVERIFY(store.insertItem(&item));
    item.setStatus(MFileTransferItem::Failed);
    item.setLocalPath(QStringLiteral("/elsewhere"));
    QVERIFY(store.insertItem(&item));

    const QList<MFileTransferItem> all = readAll(store, QStringLiteral("u1"));
    QCOMPARE(all.size(), 1);
    QCOMPARE(all.at(0), item);
}

void tst_TransferItemDBManager::updateSingleAndList()
{
    TransferItemDBManager store(dbPath(), QString());
    QList<MFileTransferItem> items{ makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1),
                                    makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 2),
                                    makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 3) };
    QVERIFY(store.insertItems(pointers(items)));

    items[0].setStatus(MFileTransferItem::Transferring);
    items[0].setBytesCompleted(4242);
    QVERIFY(store.updateItem(&items[0]));

    items[1].setStatus(MFileTransferItem::Finished);
    items[1].setFileId(QStringLiteral("new-file-id"));
    items[1].setUpdateTime(Base.addDays(1));
    items[2].setStatus(MFileTransferItem::Failed);
    MFileTransferItem neverStored = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 9);
    QVERIFY(store.updateItems({ items[1], items[2], neverStored }));
    QVERIFY(store.updateItems({}));

    QList<MFileTransferItem> unfinished;
    QVERIFY(store.getUnfinishedItems(QStringLiteral("u1"), unfinished));
    QCOMPARE(unfinished, (QList<MFileTransferItem>{ items[0], items[2] }));
    QList<MFileTransferItem> finished;
    QVERIFY(store.getFinishedItems(QStringLiteral("u1"), finished, 10));
    QCOMPARE(finished, QList<MFileTransferItem>{ items[1] });
}

void tst_TransferItemDBManager::deleteSingleAndList()
{
    TransferItemDBManager store(dbPath(), QString());
    QList<MFileTransferItem> items;
    for (int i = 0; i < 5; ++i)
        items.append(makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, i));
    QVERIFY(store.insertItems(pointers(items)));

    QVERIFY(store.deleteItem(&items[0]));
    QVERIFY(store.deleteItem(&items[0])); // already gone: not an error
    QVERIFY(store.deleteItems({ &items[1], &items[3] }));
    QVERIFY(store.deleteItems({}));

    QCOMPARE(ids(readAll(store, QStringLiteral("u1"))), (QStringList{ items[2].getId(), items[4].getId() }));
}

void tst_TransferItemDBManager::reopenReadsEqualRecords()
{
    QList<MFileTransferItem> items{ makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1, false),
                                    makeItem(QStringLiteral("u1"), MFileTransferItem::Interrupted, 2),
                                    makeItem(QStringLiteral("u1"), MFileTransferItem::Finished, 3) };
    {
        TransferItemDBManager writer(dbPath(), QStringLiteral("writer"));
        QVERIFY(writer.insertItems(pointers(items)));
    }
    TransferItemDBManager reader(dbPath(), QStringLiteral("reader"));
    QCOMPARE(readAll(reader, QStringLiteral("u1")), items);
    // A relative spelling of the same file reaches the same records.
    QDir::setCurrent(m_dir->path());
    TransferItemDBManager relative(QStringLiteral("transfer.db"), QString());
    QCOMPARE(relative.databasePath(), dbPath());
    QCOMPARE(readAll(relative, QStringLiteral("u1")), items);
}

void tst_TransferItemDBManager::fileIsWalWithSchemaVersion()
{
    {
        TransferItemDBManager store(dbPath(), QString());
        MFileTransferItem item = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1);
        QVERIFY(store.insertItem(&item));
    }
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("inspect"));
        db.setDatabaseName(dbPath());
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(QStringLiteral("PRAGMA journal_mode")));
        QVERIFY(query.next());
        QCOMPARE(query.value(0).toString(), QStringLiteral("wal"));
        QVERIFY(query.exec(QStringLiteral("PRAGMA user_version")));
        QVERIFY(query.next());
        QCOMPARE(query.value(0).toInt(), 1);
        QVERIFY(query.exec(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'index'"
                                          " AND tbl_name = 'transfer_items' AND sql IS NOT NULL")));
        QVERIFY(query.next());
        QCOMPARE(query.value(0).toString(), QStringLiteral("transfer_items_user_status"));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("inspect"));
}

void tst_TransferItemDBManager::unfinishedOrderAndUserFilter()
{
    TransferItemDBManager store(dbPath(), QString());
    MFileTransferItem late = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 30);
    MFileTransferItem early = makeItem(QStringLiteral("u1"), MFileTransferItem::Failed, 10);
    MFileTransferItem tieFirst = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 20);
    MFileTransferItem tieSecond = makeItem(QStringLiteral("u1"), MFileTransferItem::Transferring, 20);
    MFileTransferItem otherUser = makeItem(QStringLiteral("u2"), MFileTransferItem::Waiting, 0);
    MFileTransferItem done = makeItem(QStringLiteral("u1"), MFileTransferItem::Finished, 0);
    QVERIFY(store.insertItems({ &late, &tieFirst, &otherUser, &tieSecond, &done, &early }));

    QList<MFileTransferItem> items{ makeItem(QStringLiteral("kept"), MFileTransferItem::Waiting, 0) };
    QVERIFY(store.getUnfinishedItems(QStringLiteral("u1"), items));
    // Appended after what the caller had; time first, then storing order.
    QCOMPARE(ids(items.mid(1)), (QStringList{ early.getId(), tieFirst.getId(), tieSecond.getId(), late.getId() }));
    QCOMPARE(items.at(0).getUserId(), QStringLiteral("kept"));

    QList<MFileTransferItem> none;
    QVERIFY(store.getUnfinishedItems(QStringLiteral("nobody"), none));
    QVERIFY(none.isEmpty());
}

void tst_TransferItemDBManager::finishedLimitAndOrder_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("expected");

    QTest::newRow("zero") << 0 << 0;
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("some") << 3 << 3;
    QTest::newRow("exactly all") << 7 << 7;
    QTest::newRow("more than stored") << 200 << 7;
}

void tst_TransferItemDBManager::finishedLimitAndOrder()
{
    QFETCH(int, limit);
    QFETCH(int, expected);

    TransferItemDBManager store(dbPath(), QString());
    // Finished records whose update times are out of insertion order.
    const QList<int> minutes{ 5, 1, 7, 3, 6, 2, 4 };
    QList<MFileTransferItem> items;
    for (int minute : minutes)
        items.append(makeItem(QStringLiteral("u1"), MFileTransferItem::Finished, minute));
    items.append(makeItem(QStringLiteral("u1"), MFileTransferItem::Failed, 99));
    items.append(makeItem(QStringLiteral("u2"), MFileTransferItem::Finished, 99));
    QVERIFY(store.insertItems(pointers(items)));

    QList<MFileTransferItem> finished;
    QVERIFY(store.getFinishedItems(QStringLiteral("u1"), finished, limit));
    QCOMPARE(finished.size(), expected);
    for (int i = 0; i < finished.size(); ++i) {
        QCOMPARE(finished.at(i).getUserId(), QStringLiteral("u1"));
        QCOMPARE(finished.at(i).getRemotePath(), QStringLiteral("报告 %1.pdf").arg(7 - i)); // newest first
    }
}

void tst_TransferItemDBManager::refusesBadInput()
{
    TransferItemDBManager store(dbPath(), QString());
    MFileTransferItem good = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1);
    MFileTransferItem noId = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 2);
    noId.setId(QString());

    QVERIFY(!store.insertItem(nullptr));
    QVERIFY(!store.insertItem(&noId));
    QVERIFY(!store.insertItems({ &good, nullptr }));
    QVERIFY(!store.insertItems({ &good, &noId }));
    QVERIFY(!store.updateItem(nullptr));
    QVERIFY(!store.updateItems({ good, noId }));
    QVERIFY(!store.deleteItem(nullptr));
    QVERIFY(!store.deleteItems({ nullptr }));
    QList<MFileTransferItem> items;
    QVERIFY(!store.getFinishedItems(QStringLiteral("u1"), items, -1));

    // A refused list writes nothing at all.
    QVERIFY(readAll(store, QStringLiteral("u1")).isEmpty());
}

// A statement that fails inside a list write rolls the whole list back and
// leaves what was stored before untouched; the store stays usable.
void tst_TransferItemDBManager::failedStatementKeepsEarlierRows()
{
    TransferItemDBManager store(dbPath(), QString());
    QList<MFileTransferItem> earlier{ makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1),
                                      makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 2) };
    QVERIFY(store.insertItems(pointers(earlier)));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("saboteur"));
        db.setDatabaseName(dbPath());
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(
                QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON transfer_items WHEN NEW.local_path = '/refused'"
                               " BEGIN SELECT RAISE(ABORT, 'refused by test'); END")));
        QVERIFY(query.exec(QStringLiteral(
                "CREATE TRIGGER refuse_update BEFORE UPDATE ON transfer_items WHEN NEW.local_path = '/refused'"
                " BEGIN SELECT RAISE(ABORT, 'refused by test'); END")));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("saboteur"));

    QList<MFileTransferItem> batch{ makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 3),
                                    makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 4),
                                    makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 5) };
    batch[1].setLocalPath(QStringLiteral("/refused"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("refused by test")));
    QVERIFY(!store.insertItems(pointers(batch)));
    QCOMPARE(readAll(store, QStringLiteral("u1")), earlier);

    // Updates of a list are all or nothing as well.
    MFileTransferItem changed = earlier[0];
    changed.setStatus(MFileTransferItem::Failed);
    MFileTransferItem refused = earlier[1];
    refused.setLocalPath(QStringLiteral("/refused"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("refused by test")));
    QVERIFY(!store.updateItems({ changed, refused }));
    QCOMPARE(readAll(store, QStringLiteral("u1")), earlier);

    // The same connection goes on working.
    batch[1].setLocalPath(QStringLiteral("/fine"));
    QVERIFY(store.insertItems(pointers(batch)));
    QCOMPARE(readAll(store, QStringLiteral("u1")).size(), 5);
}

void tst_TransferItemDBManager::unopenableFileFails()
{
    QFile blocker(m_dir->filePath(QStringLiteral("not-a-dir")));
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    TransferItemDBManager store(blocker.fileName() + QStringLiteral("/transfer.db"), QString());

    MFileTransferItem item = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1);
    QVERIFY(!store.insertItem(&item));
    QList<MFileTransferItem> items;
    QVERIFY(!store.getUnfinishedItems(QStringLiteral("u1"), items));
    QVERIFY(items.isEmpty());
}

void tst_TransferItemDBManager::defaultPathLiesInDatabaseLocation()
{
    qputenv("ZYR_DATA_DIR", m_dir->filePath(QStringLiteral("data")).toUtf8());
    TransferItemDBManager store{ QString(), QString() };
    qunsetenv("ZYR_DATA_DIR");
    QCOMPARE(store.databasePath(), m_dir->filePath(QStringLiteral("data/db/transfer.db")));
    MFileTransferItem item = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1);
    QVERIFY(store.insertItem(&item));
    QVERIFY(QFile::exists(store.databasePath()));
}

void tst_TransferItemDBManager::threadsWriteAndReadConcurrently_data()
{
    QTest::addColumn<bool>("sharedStore");
    QTest::newRow("a store per thread") << false;
    QTest::newRow("one store for all") << true;
}

// Two writers and the main thread work on one file at once, each through
// its own connection. None may fail with "database is locked".
void tst_TransferItemDBManager::threadsWriteAndReadConcurrently()
{
    QFETCH(bool, sharedStore);
    constexpr int Rounds = 40;

    TransferItemDBManager mainStore(dbPath(), QString());
    std::atomic<int> failures{ 0 };
    auto work = [&](const QString& userId) {
        std::unique_ptr<TransferItemDBManager> own;
        if (!sharedStore)
            own = std::make_unique<TransferItemDBManager>(dbPath(), QString());
        TransferItemDBManager& store = sharedStore ? mainStore : *own;
        for (int i = 0; i < Rounds; ++i) {
            MFileTransferItem single = makeItem(userId, MFileTransferItem::Waiting, i);
            QList<MFileTransferItem> batch{ makeItem(userId, MFileTransferItem::Finished, i),
                                            makeItem(userId, MFileTransferItem::Failed, i) };
            QList<MFileTransferItem> read;
            if (!store.insertItem(&single) || !store.insertItems(pointers(batch)))
                ++failures;
            single.setStatus(MFileTransferItem::Transferring);
            if (!store.updateItem(&single) || !store.updateItems(batch))
                ++failures;
            if (!store.getUnfinishedItems(userId, read) || read.size() != 2 * (i + 1))
                ++failures;
        }
    };
    QThread* first = QThread::create(work, QStringLiteral("alice"));
    QThread* second = QThread::create(work, QStringLiteral("bob"));
    first->start();
    second->start();
    // The main thread reads meanwhile through a third connection.
    while (!first->isFinished() || !second->isFinished()) {
        QList<MFileTransferItem> read;
        if (!mainStore.getFinishedItems(QStringLiteral("alice"), read, 5))
            ++failures;
        QThread::yieldCurrentThread();
    }
    QVERIFY(first->wait(60000));
    QVERIFY(second->wait(60000));
    delete first;
    delete second;

    QCOMPARE(failures.load(), 0);
    for (const QString& user : { QStringLiteral("alice"), QStringLiteral("bob") }) {
        QList<MFileTransferItem> unfinished;
        QList<MFileTransferItem> finished;
        QVERIFY(mainStore.getUnfinishedItems(user, unfinished));
        QVERIFY(mainStore.getFinishedItems(user, finished, 1000));
        QCOMPARE(unfinished.size(), 2 * Rounds);
        QCOMPARE(finished.size(), Rounds);
    }
}

void tst_TransferItemDBManager::connectionReleasedWhenThreadEnds()
{
    auto store = std::make_unique<TransferItemDBManager>(dbPath(), QStringLiteral("released"));
    auto ownConnections = [] {
        QStringList names = QSqlDatabase::connectionNames();
        names.removeIf([](const QString& name) { return !name.startsWith(QLatin1String("released")); });
        return names;
    };

    QStringList duringThread;
    bool written = false;
    QThread* thread = QThread::create([&] {
        MFileTransferItem item = makeItem(QStringLiteral("u1"), MFileTransferItem::Waiting, 1);
        written = store->insertItem(&item);
        duringThread = ownConnections();
    });
    thread->start();
    QVERIFY(thread->wait(30000));
    delete thread;

    QVERIFY(written);
    QCOMPARE(duringThread.size(), 1);
    QVERIFY(ownConnections().isEmpty());

    // The main thread has a connection of its own, kept until its store goes.
    QCOMPARE(readAll(*store, QStringLiteral("u1")).size(), 1);
    QCOMPARE(ownConnections().size(), 1);
    QVERIFY(ownConnections().at(0) != duringThread.at(0));
    store.reset();
    QVERIFY(ownConnections().isEmpty());
}

QTEST_GUILESS_MAIN(tst_TransferItemDBManager)
#include "tst_transferitemdbmanager.moc"
