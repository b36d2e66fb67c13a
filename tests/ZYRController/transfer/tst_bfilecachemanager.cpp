// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRCommon/CacheItemDBManager.h>
#include <ZYRController/BFileCacheManager.h>

#include <QDir>
#include <QFile>
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
    // Writes \a relativePath and records it as the copy of "f1" at \a digest.
    void addCopy(BFileCacheManager& cache, const QString& relativePath, const QString& digest);
    QStringList storedCopies(const QString& fileId) const;

    std::unique_ptr<QTemporaryDir> m_dir;

private Q_SLOTS:
    void init();
    void cleanup();
    void currentCopyIsChosen_data();
    void currentCopyIsChosen();
};

void TestBFileCacheManager::addCopy(BFileCacheManager& cache, const QString& relativePath, const QString& digest)
{
    const QString path = m_dir->filePath(relativePath);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("bytes") == 5);
    file.close();
    QVERIFY(cache.addCacheItem(QStringLiteral("f1"), digest, path));
}

QStringList TestBFileCacheManager::storedCopies(const QString& fileId) const
{
    QList<MFileCacheItem> items;
    CacheItemDBManager(QString(), QString()).getCacheItems(fileId, items);
    QStringList paths;
    for (const MFileCacheItem& item : std::as_const(items))
        paths.append(QDir(m_dir->path()).relativeFilePath(item.getLocalDir() + QLatin1Char('/') + item.getLocalName()));
    paths.sort();
    return paths;
}

void TestBFileCacheManager::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    ApplicationSettings::setDatabaseLocation(m_dir->filePath(QStringLiteral("db")));
}

void TestBFileCacheManager::cleanup()
{
    ApplicationSettings::setDatabaseLocation(QString());
    m_dir.reset();
}

void TestBFileCacheManager::currentCopyIsChosen_data()
{
    // Copies "path digest", a change to a/plan.dwg, the cloud's digest, the
    // preferred folder and name; the copy chosen ("": none), the records left.
    QTest::addColumn<QStringList>("copies");
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("digest");
    QTest::addColumn<QString>("localDir");
    QTest::addColumn<QString>("localName");
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QStringList>("left");

    const QStringList one{ "a/plan.dwg d1" };
    const QStringList three{ "a/plan.dwg d1", "b/plan.dwg d1", "b/plan (1).dwg d1" };
    const QStringList all{ "a/plan.dwg", "b/plan (1).dwg", "b/plan.dwg" };
    // clang-format off
    QTest::newRow("current copy") << one << "" << "d1" << "" << "" << "a/plan.dwg" << QStringList{ "a/plan.dwg" };
    QTest::newRow("touched copy is dropped") << one << "touch" << "d1" << "" << "" << "" << QStringList{};
    QTest::newRow("new cloud version drops all") << three << "" << "d2" << "" << "" << "" << QStringList{};
    QTest::newRow("stale goes, valid stays") << QStringList{ "a/plan.dwg old", "b/plan.dwg d1" } << "" << "d1" << ""
                                             << "" << "b/plan.dwg" << QStringList{ "b/plan.dwg" };
    QTest::newRow("no preference: the first") << three << "" << "d1" << "" << "" << "a/plan.dwg" << all;
    QTest::newRow("preferred folder") << three << "" << "d1" << "b/" << "" << "b/plan.dwg" << all;
    QTest::newRow("folder and name") << three << "" << "d1" << "b" << "plan (1).dwg" << "b/plan (1).dwg" << all;
    QTest::newRow("unknown name: last in the folder") << three << "" << "d1" << "b" << "x" << "b/plan (1).dwg" << all;
    // clang-format on
}

void TestBFileCacheManager::currentCopyIsChosen()
{
    QFETCH(QStringList, copies);
    QFETCH(QString, change);
    QFETCH(QString, digest);
    QFETCH(QString, localDir);
    QFETCH(QString, localName);
    QFETCH(QString, chosen);
    QFETCH(QStringList, left);
    BFileCacheManager cache;
    for (const QString& copy : std::as_const(copies))
        addCopy(cache, copy.section(QLatin1Char(' '), 0, -2), copy.section(QLatin1Char(' '), -1));
    QFile first(m_dir->filePath(QStringLiteral("a/plan.dwg")));
    if (change == QLatin1String("delete"))
        QVERIFY(first.remove());
    if (change == QLatin1String("touch")) {
        QVERIFY(first.open(QIODevice::ReadWrite));
        QVERIFY(first.setFileTime(first.fileTime(QFileDevice::FileModificationTime).addSecs(-60),
                                  QFileDevice::FileModificationTime));
    }

    auto file = QSharedPointer<MFile>::create();
    file->setId(QStringLiteral("f1"));
    file->setDigest(digest);
    MFileCacheItem out;
    const QString dir = localDir.isEmpty() ? QString() : m_dir->filePath(localDir);
    QCOMPARE(cache.getCacheItem(file, out, dir, localName), !chosen.isEmpty());
    if (!chosen.isEmpty())
        QCOMPARE(out.getLocalDir() + QLatin1Char('/') + out.getLocalName(), m_dir->filePath(chosen));
    QCOMPARE(storedCopies(QStringLiteral("f1")), left);
    QVERIFY(!cache.getCacheItem(QWeakPointer<MFile>(), out, QString(), QString()));
}

QTEST_GUILESS_MAIN(TestBFileCacheManager)
#include "tst_bfilecachemanager.moc"
