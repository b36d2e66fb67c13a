// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/CacheItemDBManager.h>

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUuid>

#include <atomic>
#include <memory>

using Trelan::Oku::ZYRCommon::CacheItemDBManager;
using Trelan::Oku::ZYRModel::MFileCacheItem;

namespace {

MFileCacheItem makeItem(const QString& fileId, const QString& dir, const QString& name, const QString& digest)
{
    MFileCacheItem item;
    item.setId(QUuid::createUuid().toString());
    item.setFileId(fileId);
    item.setDigest(digest);
    item.setLocalDir(dir);
    item.setLocalName(name);
    item.setCachedTime(QDateTime::fromMSecsSinceEpoch(Q_INT64_C(1767225600987), Qt::UTC));
    return item;
}

QList<MFileCacheItem> itemsOf(CacheItemDBManager& store, const QString& fileId)
{
    QList<MFileCacheItem> items;
    return store.getCacheItems(fileId, items) ? items : QList<MFileCacheItem>();
}

} // namespace

class tst_CacheItemDBManager : public QObject {
    Q_OBJECT

private slots:
    void init();

    void insertAndReadInInsertionOrder();
    void insertReplacesSameId();
    void reopenReadsEqualRecords();
    void deleteById();
    void deleteByFileId();
    void deleteByLocalDirIsExact_data();
    void deleteByLocalDirIsExact();
    void updateLocalDirIsExact();
    void refusesBadInput();
    void failedStatementKeepsEarlierRows();
    void threadsWriteConcurrently();

private:
    QString dbPath() const { return m_dir->filePath(QStringLiteral("cache.db")); }
    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_CacheItemDBManager::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void tst_CacheItemDBManager::insertAndReadInInsertionOrder()
{
    CacheItemDBManager store(dbPath(), QString());
    const MFileCacheItem first
            = makeItem(QStringLiteral("f1"), QStringLiteral("C:/cache"), QStringLiteral("b.dwg"), QStringLiteral("d1"));
    MFileCacheItem noTime = makeItem(QStringLiteral("f1"), QStringLiteral("/home/u/报告"),
                                     QStringLiteral("报告 2024.pdf"), QStringLiteral("d1"));
    noTime.setCachedTime(QDateTime());
    // A copy's mtime comes in local time; it reads back as the same instant.
    MFileCacheItem localTime
            = makeItem(QStringLiteral("f3"), QStringLiteral("/l"), QStringLiteral("l"), QStringLiteral("d"));
    localTime.setCachedTime(QDateTime::fromMSecsSinceEpoch(Q_INT64_C(1767225600987)));
    QVERIFY(store.insertItem(localTime));
    QCOMPARE(itemsOf(store, QStringLiteral("f3")), QList<MFileCacheItem>{ localTime });
    const MFileCacheItem other
            = makeItem(QStringLiteral("f2"), QStringLiteral("/x"), QStringLiteral("x"), QStringLiteral("d9"));
    const MFileCacheItem last
            = makeItem(QStringLiteral("f1"), QStringLiteral("/a"), QStringLiteral("a.dwg"), QStringLiteral("d2"));
    QVERIFY(store.insertItem(first));
    QVERIFY(store.insertItems({ noTime, other }));
    QVERIFY(store.insertItem(last));
    QVERIFY(store.insertItems({}));

    QList<MFileCacheItem> items{ other }; // appended after what the caller had
    QVERIFY(store.getCacheItems(QStringLiteral("f1"), items));
    QCOMPARE(items, (QList<MFileCacheItem>{ other, first, noTime, last }));
    QVERIFY(!items.at(2).getCachedTime().isValid());
    QVERIFY(itemsOf(store, QStringLiteral("unknown")).isEmpty());
}

void tst_CacheItemDBManager::insertReplacesSameId()
{
    CacheItemDBManager store(dbPath(), QString());
    MFileCacheItem a = makeItem(QStringLiteral("f1"), QStringLiteral("/a"), QStringLiteral("a"), QStringLiteral("d1"));
    const MFileCacheItem b
            = makeItem(QStringLiteral("f1"), QStringLiteral("/b"), QStringLiteral("b"), QStringLiteral("d1"));
    QVERIFY(store.insertItems({ a, b }));
    a.setDigest(QStringLiteral("d2"));
    QVERIFY(store.insertItem(a));
    // One record per id; the replaced one counts as inserted now.
    QCOMPARE(itemsOf(store, QStringLiteral("f1")), (QList<MFileCacheItem>{ b, a }));
}

void tst_CacheItemDBManager::reopenReadsEqualRecords()
{
    const QList<MFileCacheItem> items{ makeItem(QStringLiteral("f1"), QStringLiteral("//server/share/dir"),
                                                QStringLiteral("a.txt"), QStringLiteral("d")),
                                       makeItem(QStringLiteral("f1"), QStringLiteral("C:/"), QStringLiteral(".hidden"),
                                                QStringLiteral("d")) };
    {
        CacheItemDBManager writer(dbPath(), QString());
        QVERIFY(writer.insertItems(items));
    }
    CacheItemDBManager reader(dbPath(), QStringLiteral("other prefix"));
    QCOMPARE(itemsOf(reader, QStringLiteral("f1")), items);
}

void tst_CacheItemDBManager::deleteById()
{
    CacheItemDBManager store(dbPath(), QString());
    const MFileCacheItem a
            = makeItem(QStringLiteral("f1"), QStringLiteral("/a"), QStringLiteral("a"), QStringLiteral("d"));
    const MFileCacheItem b
            = makeItem(QStringLiteral("f1"), QStringLiteral("/b"), QStringLiteral("b"), QStringLiteral("d"));
    QVERIFY(store.insertItems({ a, b }));
    QVERIFY(store.deleteItemById(a.getId()));
    QVERIFY(store.deleteItemById(a.getId())); // gone already: not an error
    QCOMPARE(itemsOf(store, QStringLiteral("f1")), QList<MFileCacheItem>{ b });
}

void tst_CacheItemDBManager::deleteByFileId()
{
    CacheItemDBManager store(dbPath(), QString());
    const MFileCacheItem keep
            = makeItem(QStringLiteral("f2"), QStringLiteral("/a"), QStringLiteral("a"), QStringLiteral("d"));
    QVERIFY(store.insertItems(
            { makeItem(QStringLiteral("f1"), QStringLiteral("/a"), QStringLiteral("a"), QStringLiteral("d")), keep,
              makeItem(QStringLiteral("f1"), QStringLiteral("/b"), QStringLiteral("b"), QStringLiteral("d")) }));
    QVERIFY(store.deleteItemByFileId(QStringLiteral("f1")));
    QVERIFY(itemsOf(store, QStringLiteral("f1")).isEmpty());
    QCOMPARE(itemsOf(store, QStringLiteral("f2")), QList<MFileCacheItem>{ keep });
}

void tst_CacheItemDBManager::deleteByLocalDirIsExact_data()
{
    QTest::addColumn<QString>("storedDir");
    QTest::addColumn<QString>("deleteDir");
    QTest::addColumn<bool>("deleted");

    QTest::newRow("same text") << "C:/cache"
                               << "C:/cache" << true;
    QTest::newRow("unicode") << "/home/u/报告 2024"
                             << "/home/u/报告 2024" << true;
    QTest::newRow("trailing slash differs") << "C:/cache"
                                            << "C:/cache/" << false;
    QTest::newRow("backslash differs") << "C:/cache"
                                       << "C:\\cache" << false;
    QTest::newRow("letter case differs") << "C:/cache"
                                         << "c:/cache" << false;
    QTest::newRow("subdirectory kept") << "C:/cache/sub"
                                       << "C:/cache" << false;
    QTest::newRow("parent kept") << "C:/cache"
                                 << "C:/cache/sub" << false;
}

void tst_CacheItemDBManager::deleteByLocalDirIsExact()
{
    QFETCH(QString, storedDir);
    QFETCH(QString, deleteDir);
    QFETCH(bool, deleted);

    CacheItemDBManager store(dbPath(), QString());
    QVERIFY(store.insertItem(makeItem(QStringLiteral("f1"), storedDir, QStringLiteral("a"), QStringLiteral("d"))));
    QVERIFY(store.deleteItemByLocalDir(deleteDir));
    QCOMPARE(itemsOf(store, QStringLiteral("f1")).isEmpty(), deleted);
}

void tst_CacheItemDBManager::updateLocalDirIsExact()
{
    CacheItemDBManager store(dbPath(), QString());
    const MFileCacheItem moved
            = makeItem(QStringLiteral("f1"), QStringLiteral("/old"), QStringLiteral("a"), QStringLiteral("d"));
    const MFileCacheItem alsoMoved
            = makeItem(QStringLiteral("f2"), QStringLiteral("/old"), QStringLiteral("b"), QStringLiteral("d"));
    const MFileCacheItem nested
            = makeItem(QStringLiteral("f1"), QStringLiteral("/old/sub"), QStringLiteral("c"), QStringLiteral("d"));
    QVERIFY(store.insertItems({ moved, alsoMoved, nested }));

    QVERIFY(store.updateItemLocalDir(QStringLiteral("/old"), QStringLiteral("/new/报告")));
    const QList<MFileCacheItem> f1 = itemsOf(store, QStringLiteral("f1"));
    QCOMPARE(f1.size(), 2);
    QCOMPARE(f1.at(0).getLocalDir(), QStringLiteral("/new/报告"));
    QCOMPARE(f1.at(0).getLocalName(), QStringLiteral("a"));
    QCOMPARE(f1.at(1), nested);
    QCOMPARE(itemsOf(store, QStringLiteral("f2")).at(0).getLocalDir(), QStringLiteral("/new/报告"));

    QVERIFY(store.updateItemLocalDir(QStringLiteral("/nothing/here"), QStringLiteral("/x")));
    QCOMPARE(itemsOf(store, QStringLiteral("f1")), f1);
}

void tst_CacheItemDBManager::refusesBadInput()
{
    CacheItemDBManager store(dbPath(), QString());
    const MFileCacheItem good
            = makeItem(QStringLiteral("f1"), QStringLiteral("/a"), QStringLiteral("a"), QStringLiteral("d"));
    MFileCacheItem noId = good;
    noId.setId(QString());

    QVERIFY(!store.insertItem(noId));
    QVERIFY(!store.insertItems({ good, noId }));
    QList<MFileCacheItem> items;
    QVERIFY(!store.getCacheItems(QString(), items));
    QVERIFY(!store.deleteItemById(QString()));
    QVERIFY(!store.deleteItemByFileId(QString()));
    QVERIFY(!store.deleteItemByLocalDir(QString()));
    QVERIFY(!store.updateItemLocalDir(QString(), QStringLiteral("/x")));
    QVERIFY(!store.updateItemLocalDir(QStringLiteral("/a"), QString()));
    QVERIFY(itemsOf(store, QStringLiteral("f1")).isEmpty());
}

void tst_CacheItemDBManager::failedStatementKeepsEarlierRows()
{
    CacheItemDBManager store(dbPath(), QString());
    const QList<MFileCacheItem> earlier{
        makeItem(QStringLiteral("f1"), QStringLiteral("/a"), QStringLiteral("a"), QStringLiteral("d")),
        makeItem(QStringLiteral("f1"), QStringLiteral("/b"), QStringLiteral("b"), QStringLiteral("d"))
    };
    QVERIFY(store.insertItems(earlier));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("saboteur"));
        db.setDatabaseName(dbPath());
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(
                QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON cache_items WHEN NEW.local_name = 'refused'"
                               " BEGIN SELECT RAISE(ABORT, 'refused by test'); END")));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("saboteur"));

    const QList<MFileCacheItem> batch{
        makeItem(QStringLiteral("f1"), QStringLiteral("/c"), QStringLiteral("c"), QStringLiteral("d")),
        makeItem(QStringLiteral("f1"), QStringLiteral("/c"), QStringLiteral("refused"), QStringLiteral("d"))
    };
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("refused by test")));
    QVERIFY(!store.insertItems(batch));
    QCOMPARE(itemsOf(store, QStringLiteral("f1")), earlier);

    QVERIFY(store.insertItem(batch.at(0)));
    QCOMPARE(itemsOf(store, QStringLiteral("f1")).size(), 3);
}

void tst_CacheItemDBManager::threadsWriteConcurrently()
{
    constexpr int Rounds = 50;
    std::atomic<int> failures{ 0 };
    auto work = [&](const QString& fileId) {
        CacheItemDBManager store(dbPath(), QString());
        for (int i = 0; i < Rounds; ++i) {
            const QString dir = QStringLiteral("/%1/%2").arg(fileId).arg(i);
            if (!store.insertItems({ makeItem(fileId, dir, QStringLiteral("a"), QStringLiteral("d")),
                                     makeItem(fileId, dir, QStringLiteral("b"), QStringLiteral("d")) }))
                ++failures;
            if (!store.updateItemLocalDir(dir, dir + QStringLiteral("-moved")))
                ++failures;
            QList<MFileCacheItem> read;
            if (!store.getCacheItems(fileId, read) || read.size() != 2 * (i + 1))
                ++failures;
        }
    };
    QThread* first = QThread::create(work, QStringLiteral("f1"));
    QThread* second = QThread::create(work, QStringLiteral("f2"));
    first->start();
    second->start();
    QVERIFY(first->wait(60000));
    QVERIFY(second->wait(60000));
    delete first;
    delete second;

    QCOMPARE(failures.load(), 0);
    CacheItemDBManager store(dbPath(), QString());
    const QList<MFileCacheItem> f1 = itemsOf(store, QStringLiteral("f1"));
    QCOMPARE(f1.size(), 2 * Rounds);
    for (const MFileCacheItem& item : f1)
        QVERIFY(item.getLocalDir().endsWith(QLatin1String("-moved")));
    QCOMPARE(itemsOf(store, QStringLiteral("f2")).size(), 2 * Rounds);
}

QTEST_GUILESS_MAIN(tst_CacheItemDBManager)
#include "tst_cacheitemdbmanager.moc"
