// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRCommon/CacheItemDBManager.h>
#include <ZYRController/BFileCacheManager.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRCommon::CacheItemDBManager;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileCacheItem;

class TestBFileCacheManager : public QObject {
    Q_OBJECT

private:
    QString writeFile(const QString& relativePath, const QByteArray& content = "bytes")
    {
        const QString path = m_dir->filePath(relativePath);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write the test file");
        file.close();
        return path;
    }

    static QSharedPointer<MFile> cloudFile(const QString& id, const QString& digest)
    {
        auto file = QSharedPointer<MFile>::create();
        file->setId(id);
        file->setDigest(digest);
        file->setFileName(QStringLiteral("plan.dwg"));
        return file;
    }

    int storedRecords(const QString& fileId)
    {
        CacheItemDBManager store{ QString(), QString() };
        QList<MFileCacheItem> items;
        store.getCacheItems(fileId, items);
        return static_cast<int>(items.size());
    }

    std::unique_ptr<QTemporaryDir> m_dir;

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        ApplicationSettings::setDatabaseLocation(m_dir->filePath(QStringLiteral("db")));
    }

    void cleanup()
    {
        ApplicationSettings::setDatabaseLocation(QString());
        m_dir.reset();
    }

    void buildCacheItemRecordsTheCopy()
    {
        const QString path = writeFile(QStringLiteral("copies/plan.dwg"));
        MFileCacheItem item;
        BFileCacheManager::buildCacheItem(QStringLiteral("f1"), QStringLiteral("d1"), path, item);
        QVERIFY(!item.getId().isEmpty());
        QCOMPARE(item.getFileId(), QStringLiteral("f1"));
        QCOMPARE(item.getDigest(), QStringLiteral("d1"));
        QCOMPARE(item.getLocalDir(), QFileInfo(path).path());
        QCOMPARE(item.getLocalName(), QStringLiteral("plan.dwg"));
        QCOMPARE(item.getCachedTime(), QFileInfo(path).lastModified());
        QVERIFY(!BFileCacheManager::isCachedFileModified(item));
    }

    void currentCopyIsFound()
    {
        BFileCacheManager cache;
        const QString path = writeFile(QStringLiteral("a/plan.dwg"));
        QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("d1"), path));

        MFileCacheItem out;
        QVERIFY(cache.getCacheItem(cloudFile(QStringLiteral("f1"), QStringLiteral("d1")), out, QString(), QString()));
        QCOMPARE(out.getLocalName(), QStringLiteral("plan.dwg"));
        QCOMPARE(storedRecords(QStringLiteral("f1")), 1);
    }

    void missingFileOrRecordGivesNothing()
    {
        BFileCacheManager cache;
        MFileCacheItem out;
        QVERIFY(!cache.getCacheItem(QWeakPointer<MFile>(), out, QString(), QString()));
        QVERIFY(!cache.getCacheItem(cloudFile(QStringLiteral("unknown"), QStringLiteral("d")), out, QString(),
                                    QString()));
    }

    void touchedCopyIsDropped()
    {
        BFileCacheManager cache;
        const QString path = writeFile(QStringLiteral("a/plan.dwg"));
        QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("d1"), path));

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QFileInfo(path).lastModified().addSecs(-60), QFileDevice::FileModificationTime));
        file.close();

        MFileCacheItem out;
        QVERIFY(!cache.getCacheItem(cloudFile(QStringLiteral("f1"), QStringLiteral("d1")), out, QString(), QString()));
        QCOMPARE(storedRecords(QStringLiteral("f1")), 0);
    }

    void deletedCopyIsDropped()
    {
        BFileCacheManager cache;
        const QString path = writeFile(QStringLiteral("a/plan.dwg"));
        QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("d1"), path));
        QVERIFY(QFile::remove(path));

        MFileCacheItem out;
        QVERIFY(!cache.getCacheItem(cloudFile(QStringLiteral("f1"), QStringLiteral("d1")), out, QString(), QString()));
        QCOMPARE(storedRecords(QStringLiteral("f1")), 0);
    }

    void newCloudVersionDropsOldRecords()
    {
        BFileCacheManager cache;
        QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("old"),
                                   writeFile(QStringLiteral("a/plan.dwg"))));
        QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("old"),
                                   writeFile(QStringLiteral("b/plan.dwg"))));
        QCOMPARE(storedRecords(QStringLiteral("f1")), 2);

        MFileCacheItem out;
        QVERIFY(!cache.getCacheItem(cloudFile(QStringLiteral("f1"), QStringLiteral("new")), out, QString(), QString()));
        QCOMPARE(storedRecords(QStringLiteral("f1")), 0);
    }

    void staleRecordsGoValidOnesStay()
    {
        BFileCacheManager cache;
        QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("old"),
                                   writeFile(QStringLiteral("a/plan.dwg"))));
        QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("d1"),
                                   writeFile(QStringLiteral("b/plan.dwg"))));

        MFileCacheItem out;
        QVERIFY(cache.getCacheItem(cloudFile(QStringLiteral("f1"), QStringLiteral("d1")), out, QString(), QString()));
        QCOMPARE(QDir(out.getLocalDir()), QDir(m_dir->filePath(QStringLiteral("b"))));
        QCOMPARE(storedRecords(QStringLiteral("f1")), 1);
    }

    void preferredDirectoryAndName_data()
    {
        QTest::addColumn<QString>("localDir");
        QTest::addColumn<QString>("localName");
        QTest::addColumn<QString>("expectedPath");

        QTest::newRow("no preference: first valid") << QString() << QString() << QStringLiteral("a/plan.dwg");
        QTest::newRow("second directory") << QStringLiteral("b") << QString() << QStringLiteral("b/plan.dwg");
        QTest::newRow("directory given with a trailing slash")
                << QStringLiteral("b/") << QString() << QStringLiteral("b/plan.dwg");
        QTest::newRow("directory and name")
                << QStringLiteral("b") << QStringLiteral("plan (1).dwg") << QStringLiteral("b/plan (1).dwg");
        QTest::newRow("name not found: last in the directory")
                << QStringLiteral("b") << QStringLiteral("other.dwg") << QStringLiteral("b/plan (1).dwg");
        QTest::newRow("unknown directory: first valid")
                << QStringLiteral("c") << QString() << QStringLiteral("a/plan.dwg");
    }

    void preferredDirectoryAndName()
    {
        QFETCH(QString, localDir);
        QFETCH(QString, localName);
        QFETCH(QString, expectedPath);

        BFileCacheManager cache;
        for (const char* path : { "a/plan.dwg", "b/plan.dwg", "b/plan (1).dwg" })
            QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("d1"), writeFile(QString::fromUtf8(path))));

        MFileCacheItem out;
        const QString dir = localDir.isEmpty() ? QString() : m_dir->path() + QLatin1Char('/') + localDir;
        QVERIFY(cache.getCacheItem(cloudFile(QStringLiteral("f1"), QStringLiteral("d1")), out, dir, localName));
        QCOMPARE(out.getLocalDir() + QLatin1Char('/') + out.getLocalName(), m_dir->filePath(expectedPath));
    }

    void localDirectoryMaintenance()
    {
        BFileCacheManager cache;
        QVERIFY(cache.addCacheItem(QStringLiteral("f1"), QStringLiteral("d1"),
                                   writeFile(QStringLiteral("a/plan.dwg"))));
        QVERIFY(cache.addCacheItem(QStringLiteral("f2"), QStringLiteral("d2"), writeFile(QStringLiteral("b/x.txt"))));

        // The directory is normalised before it is compared.
        const QString moved = m_dir->filePath(QStringLiteral("moved"));
        QVERIFY(cache.updateCacheItemLocalDir(m_dir->filePath(QStringLiteral("a")) + QLatin1Char('/'), moved));
        CacheItemDBManager store{ QString(), QString() };
        QList<MFileCacheItem> items;
        QVERIFY(store.getCacheItems(QStringLiteral("f1"), items));
        QCOMPARE(items.size(), 1);
        QCOMPARE(items.first().getLocalDir(), moved);

        QString backslashed = m_dir->filePath(QStringLiteral("b"));
        backslashed.replace(QLatin1Char('/'), QLatin1Char('\\'));
        QVERIFY(cache.removeCacheItemByLocalDir(backslashed));
        QCOMPARE(storedRecords(QStringLiteral("f2")), 0);
        QCOMPARE(storedRecords(QStringLiteral("f1")), 1);
    }
};

QTEST_GUILESS_MAIN(TestBFileCacheManager)
#include "tst_bfilecachemanager.moc"
