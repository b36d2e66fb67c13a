// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The transfer and cache stores on real SQLite files, in the database
// location: every case runs for both stores, their queries for each alone.

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRCommon/CacheItemDBManager.h>
#include <ZYRCommon/TransferItemDBManager.h>

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <memory>

using namespace Trelan::Oku::ZYRCommon;
using namespace Qt::StringLiterals;
using Trelan::Oku::ZYRModel::MFileCacheItem;
using Trelan::Oku::ZYRModel::MFileTransferItem;

namespace {

const QDateTime kBase = QDateTime::fromMSecsSinceEpoch(Q_INT64_C(1767225600123), Qt::UTC);

// No field at its default, so that every column is checked.
MFileTransferItem transfer(int n, MFileTransferItem::TransferStatus status = MFileTransferItem::Waiting)
{
    MFileTransferItem t;
    t.setId(u"id-%1"_s.arg(n));
    t.setUserId(u"u1"_s);
    t.setFileId(u"f-%1"_s.arg(n));
    t.setIsDownload(n % 2);
    t.setLocalPath(u"/home/u/下载/报告 %1.pdf"_s.arg(n));
    t.setRemoteParentPath(u"/R"_s);
    t.setRemotePath(u"/R/报告 %1.pdf"_s.arg(n));
    t.setSize(Q_INT64_C(5000000000) + n); // beyond 32 bits
    t.setBytesCompleted(1000 * n);
    t.setWorkspaceId(u"w-design"_s);
    t.setCreateTime(kBase.addSecs(60 * n).toLocalTime()); // the queue stamps local time
    t.setUpdateTime(kBase.addSecs(60 * (n % 5)));
    t.setStatus(status);
    return t;
}

MFileCacheItem cache(int n, const QString& fileId = u"f1"_s, const QString& dir = u"/c/报告"_s)
{
    MFileCacheItem c;
    c.setId(u"id-%1"_s.arg(n));
    c.setFileId(fileId);
    c.setDigest(u"d%1"_s.arg(n));
    c.setLocalDir(dir);
    c.setLocalName(u"报告 %1.pdf"_s.arg(n));
    c.setCachedTime(kBase.addMSecs(n));
    return c;
}

// The two stores under the same few names, for the cases they share.
struct Transfers {
    using Item = MFileTransferItem;
    static constexpr const char* table = "transfer_items";
    Transfers() : store({}, {}) { }
    static Item make(int n) { return transfer(n); }
    static Item changed(int n) { return transfer(n, MFileTransferItem::Finished); }
    bool write(QList<Item> items)
    {
        QList<Item*> pointers;
        for (Item& item : items)
            pointers.append(&item);
        return store.insertItems(pointers);
    }
    bool rewrite(int n) { return store.updateItems({ changed(n) }); }
    bool erase(int n)
    {
        const Item item = make(n);
        return store.deleteItem(&item);
    }
    bool read(QList<Item>& out)
    {
        return store.getUnfinishedItems(u"u1"_s, out) && store.getFinishedItems(u"u1"_s, out, 999);
    }
    TransferItemDBManager store;
};

struct Caches {
    using Item = MFileCacheItem;
    static constexpr const char* table = "cache_items";
    Caches() : store({}, {}) { }
    static Item make(int n) { return cache(n); }
    static Item changed(int n) { return cache(n, u"f1"_s, u"/elsewhere"_s); }
    bool write(const QList<Item>& items) { return store.insertItems(items); }
    bool rewrite(int n) { return store.insertItem(changed(n)); } // replaces the record of that id
    bool erase(int n) { return store.deleteItemById(make(n).getId()); }
    bool read(QList<Item>& out) { return store.getCacheItems(u"f1"_s, out); }
    CacheItemDBManager store;
};

// Records made from \a numbers, record \a changedOne in its changed version.
template <typename S>
QList<typename S::Item> made(const QList<int>& numbers, int changedOne = -1)
{
    QList<typename S::Item> out;
    for (int n : numbers)
        out.append(n == changedOne ? S::changed(n) : S::make(n));
    return out;
}

// Everything stored, by id: the two stores keep different orders.
template <typename S>
QList<typename S::Item> stored(S& s)
{
    QList<typename S::Item> out;
    if (!s.read(out))
        return {};
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.getId() < b.getId(); });
    return out;
}

template <typename S>
void roundTrip()
{
    {
        S s;
        QVERIFY(s.write(made<S>({ 1, 2, 3, 4 })));
        QVERIFY(s.write({}));
        QVERIFY(s.rewrite(2));
        QVERIFY(s.erase(3));
        QVERIFY(s.erase(3)); // gone already: not an error
        QCOMPARE(stored(s), made<S>({ 1, 2, 4 }, 2));
    }
    S reopened;
    QCOMPARE(stored(reopened), made<S>({ 1, 2, 4 }, 2));
}

template <typename S>
void listWrite()
{
    S s;
    QVERIFY(s.write(made<S>({ 1 })));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"saboteur"_s);
        db.setDatabaseName(s.store.databasePath());
        QVERIFY(db.open());
        QVERIFY(QSqlQuery(db).exec(
                u"CREATE TRIGGER refuse BEFORE INSERT ON %1 WHEN NEW.id = 'id-3'"
                " BEGIN SELECT RAISE(ABORT, 'refused by test'); END"_s.arg(QLatin1String(S::table))));
    }
    QSqlDatabase::removeDatabase(u"saboteur"_s);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"refused by test"_s));
    QVERIFY(!s.write(made<S>({ 2, 3, 4 })));
    QCOMPARE(stored(s), made<S>({ 1 }));
}

template <typename S>
void threads()
{
    constexpr int Threads = 4, Rounds = 20;
    S s;
    std::atomic<int> failures{ 0 };
    std::atomic<bool> go{ false }; // all open their connections at once
    QList<QThread*> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.append(QThread::create([&s, &failures, &go, t] {
            while (!go)
                QThread::yieldCurrentThread();
            for (int n = 1000 * t; n < 1000 * t + 2 * Rounds; n += 2) {
                if (!s.write(made<S>({ n, n + 1 })) || !s.rewrite(n) || stored(s).size() < n % 1000 + 2)
                    ++failures;
            }
        }));
        threads.last()->start();
    }
    go = true;
    for (QThread* thread : std::as_const(threads))
        QVERIFY(thread->wait(60000));
    qDeleteAll(threads);
    QCOMPARE(failures.load(), 0);
    QCOMPARE(stored(s).size(), Threads * 2 * Rounds);
}

} // namespace

class tst_Stores : public QObject {
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void roundTripSurvivesReopening();
    void listWriteIsAllOrNothing();
    void severalThreadsShareOneStore();
    void transferQueries_data();
    void transferQueries();
    void cacheLookups_data();
    void cacheLookups();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_Stores::initTestCase_data()
{
    QTest::addColumn<bool>("transfers");
    QTest::newRow("transfer store") << true;
    QTest::newRow("cache store") << false;
}

void tst_Stores::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    ApplicationSettings::setDatabaseLocation(m_dir->path()); // where stores made without a path live
    QTest::failOnWarning(QRegularExpression(u"."_s)); // a store that works logs nothing
}

void tst_Stores::roundTripSurvivesReopening()
{
    QFETCH_GLOBAL(bool, transfers);
    transfers ? roundTrip<Transfers>() : roundTrip<Caches>();
}

// A failed statement takes back its whole list write.
void tst_Stores::listWriteIsAllOrNothing()
{
    QFETCH_GLOBAL(bool, transfers);
    transfers ? listWrite<Transfers>() : listWrite<Caches>();
}

// One store used by several threads at once, all opening a new file together.
void tst_Stores::severalThreadsShareOneStore()
{
    QFETCH_GLOBAL(bool, transfers);
    transfers ? threads<Transfers>() : threads<Caches>();
}

void tst_Stores::transferQueries_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<QList<int>>("finished"); // latest update first
    QTest::newRow("negative, refused") << -1 << QList<int>();
    QTest::newRow("two") << 2 << QList<int>{ 4, 3 };
    QTest::newRow("more than stored") << 100 << QList<int>{ 4, 3, 2, 1 };
}

// Finished records of the user, latest first, as many as asked for.
void tst_Stores::transferQueries()
{
    QFETCH_GLOBAL(bool, transfers);
    QFETCH(int, limit);
    QFETCH(QList<int>, finished);
    if (!transfers)
        QSKIP("transfer store only");
    Transfers s;
    QList<MFileTransferItem> items{ transfer(6, MFileTransferItem::Failed), transfer(7, MFileTransferItem::Finished) };
    for (int n : { 3, 1, 4, 2 }) // update times out of storing order
        items.append(transfer(n, MFileTransferItem::Finished));
    items[1].setUserId(u"u2"_s);
    QVERIFY(s.write(items));
    QList<MFileTransferItem> read;
    if (limit < 0)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"negative limit"_s));
    QCOMPARE(s.store.getFinishedItems(u"u1"_s, read, limit), limit >= 0);
    QList<MFileTransferItem> expected;
    for (int n : std::as_const(finished))
        expected.append(transfer(n, MFileTransferItem::Finished));
    QCOMPARE(read, expected);
}

void tst_Stores::cacheLookups_data()
{
    QTest::addColumn<QString>("dir");
    QTest::addColumn<bool>("matches");
    QTest::newRow("same text") << "/c/报告" << true;
    QTest::newRow("trailing slash") << "/c/报告/" << false;
}

// Copies in storing order (stored again: last); directories as exact text.
void tst_Stores::cacheLookups()
{
    QFETCH_GLOBAL(bool, transfers);
    QFETCH(QString, dir);
    QFETCH(bool, matches);
    if (transfers)
        QSKIP("cache store only");
    CacheItemDBManager store({}, {});
    const MFileCacheItem sub = cache(3, u"f1"_s, u"/c/报告/sub"_s);
    QVERIFY(store.insertItems({ cache(1), cache(2, u"f2"_s), sub, cache(4) }));
    QVERIFY(store.insertItem(cache(1)));
    QList<MFileCacheItem> f1{ cache(9) };
    QVERIFY(store.getCacheItems(u"f1"_s, f1));
    QCOMPARE(f1, (QList<MFileCacheItem>{ cache(9), sub, cache(4), cache(1) }));

    QVERIFY(store.updateItemLocalDir(dir, u"/moved"_s));
    f1.clear();
    QVERIFY(store.getCacheItems(u"f1"_s, f1));
    QCOMPARE(f1.at(0).getLocalDir() + u'|' + f1.at(1).getLocalDir(),
             u"/c/报告/sub|"_s + (matches ? u"/moved"_s : u"/c/报告"_s));
    QVERIFY(store.deleteItemByLocalDir(matches ? u"/moved"_s : dir) && store.deleteItemByFileId(u"f1"_s));
    QList<MFileCacheItem> f2;
    QVERIFY(store.getCacheItems(u"f2"_s, f2));
    QCOMPARE(f2.isEmpty(), matches);
}

QTEST_GUILESS_MAIN(tst_Stores)
#include "tst_stores.moc"
