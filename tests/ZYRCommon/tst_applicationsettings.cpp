// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/ApplicationSettings.h>

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>

using Trelan::Oku::ZYRCommon::ApplicationSettings;

using Getter = QString (*)();
using Setter = void (*)(const QString&);
Q_DECLARE_METATYPE(Getter)
Q_DECLARE_METATYPE(Setter)

class tst_ApplicationSettings : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void standardLocation_data();
    void standardLocation();
    void environmentDirectory_data();
    void environmentDirectory();
    void overrideWinsAndResets_data();
    void overrideWinsAndResets();
    void concurrentOverrides();

private:
    void addLocationColumns();
};

void tst_ApplicationSettings::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setApplicationName(QStringLiteral("tst_applicationsettings"));
}

void tst_ApplicationSettings::init()
{
    qunsetenv("ZYR_DATA_DIR");
}

void tst_ApplicationSettings::cleanup()
{
    qunsetenv("ZYR_DATA_DIR");
    ApplicationSettings::setFileCacheLocation(QString());
    ApplicationSettings::setTempDataLocation(QString());
    ApplicationSettings::setDatabaseLocation(QString());
}

void tst_ApplicationSettings::addLocationColumns()
{
    QTest::addColumn<Getter>("getter");
    QTest::addColumn<Setter>("setter");
    QTest::addColumn<QString>("subdirectory");

    QTest::newRow("cache") << Getter(&ApplicationSettings::fileCacheLocation)
                           << Setter(&ApplicationSettings::setFileCacheLocation) << "cache";
    QTest::newRow("temp") << Getter(&ApplicationSettings::tempDataLocation)
                          << Setter(&ApplicationSettings::setTempDataLocation) << "temp";
    QTest::newRow("db") << Getter(&ApplicationSettings::databaseLocation)
                        << Setter(&ApplicationSettings::setDatabaseLocation) << "db";
}

void tst_ApplicationSettings::standardLocation_data()
{
    addLocationColumns();
}

void tst_ApplicationSettings::standardLocation()
{
    QFETCH(Getter, getter);
    QFETCH(QString, subdirectory);

    const QString base = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    QVERIFY(!base.isEmpty());
    const QString location = getter();
    QCOMPARE(location, QDir::cleanPath(base + QLatin1Char('/') + subdirectory));
    QVERIFY(QFileInfo(location).isDir());
}

void tst_ApplicationSettings::environmentDirectory_data()
{
    addLocationColumns();
}

void tst_ApplicationSettings::environmentDirectory()
{
    QFETCH(Getter, getter);
    QFETCH(QString, subdirectory);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString data = dir.filePath(QStringLiteral("数据/zyr"));
    qputenv("ZYR_DATA_DIR", data.toUtf8());

    const QString location = getter();
    QCOMPARE(location, data + QLatin1Char('/') + subdirectory);
    QVERIFY(QFileInfo(location).isDir());
}

void tst_ApplicationSettings::overrideWinsAndResets_data()
{
    addLocationColumns();
}

void tst_ApplicationSettings::overrideWinsAndResets()
{
    QFETCH(Getter, getter);
    QFETCH(Setter, setter);
    QFETCH(QString, subdirectory);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    qputenv("ZYR_DATA_DIR", dir.filePath(QStringLiteral("env")).toUtf8());
    const QString chosen = dir.filePath(QStringLiteral("chosen/deep/"));

    setter(chosen);
    QCOMPARE(getter(), QDir::cleanPath(chosen));
    QVERIFY(QFileInfo(QDir::cleanPath(chosen)).isDir());

    // The other two locations are not affected by this override.
    const QStringList all{ ApplicationSettings::fileCacheLocation(), ApplicationSettings::tempDataLocation(),
                           ApplicationSettings::databaseLocation() };
    QCOMPARE(all.count(QDir::cleanPath(chosen)), 1);

    setter(QString());
    QCOMPARE(getter(), dir.filePath(QStringLiteral("env/")) + subdirectory);
}

// Overrides are set by one thread while others read them.
void tst_ApplicationSettings::concurrentOverrides()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString a = dir.filePath(QStringLiteral("a"));
    const QString b = dir.filePath(QStringLiteral("b"));
    ApplicationSettings::setDatabaseLocation(a);

    std::atomic<int> unexpected{ 0 };
    QThread* writer = QThread::create([&] {
        for (int i = 0; i < 500; ++i)
            ApplicationSettings::setDatabaseLocation(i % 2 ? a : b);
        ApplicationSettings::setDatabaseLocation(a);
    });
    QThread* reader = QThread::create([&] {
        for (int i = 0; i < 500; ++i) {
            const QString location = ApplicationSettings::databaseLocation();
            if (location != a && location != b)
                ++unexpected;
        }
    });
    writer->start();
    reader->start();
    QVERIFY(writer->wait(30000));
    QVERIFY(reader->wait(30000));
    delete writer;
    delete reader;
    QCOMPARE(unexpected.load(), 0);
    QCOMPARE(ApplicationSettings::databaseLocation(), a);
}

QTEST_GUILESS_MAIN(tst_ApplicationSettings)
#include "tst_applicationsettings.moc"
