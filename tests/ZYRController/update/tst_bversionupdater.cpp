// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"
#include "../backup/LoopbackServer.h"
#include "../transfer/TransferTestUtils.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRController/BVersionUpdateManager.h>
#include <ZYRController/BVersionUpdater.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace Trelan::Oku::ZYRController;
using namespace Qt::StringLiterals;
using Trelan::Oku::ZYRCommon::ApplicationSettings;

class TestBVersionUpdater : public QObject {
    Q_OBJECT

private:
    // Serves \a list, and an installer whose body stops at a tenth, held.
    void serve(const QByteArray& list)
    {
        m_loop->answer = [list](const QByteArray& target) {
            return target == "/versions.xml" ? LoopbackServer::reply(200, list)
                                             : LoopbackServer::reply(200, QByteArray(100000, 'x'), 1000000);
        };
    }

    QList<QVariant> versionAvailableFor(BVersionUpdater& updater, const QString& list, const QString& current)
    {
        QSignalSpy available(&updater, &BVersionUpdater::versionAvailable);
        updater.checkNewVersion(list, current);
        return available.wait(10000) ? available.takeFirst() : QList<QVariant>();
    }

    std::unique_ptr<QTemporaryDir> m_tmp;
    std::unique_ptr<CloudServerFixture> m_cloud;
    std::unique_ptr<LoopbackServer> m_loop;

private Q_SLOTS:
    void initTestCase();
    void versionList_data();
    void versionList();
    void installerDownload_data();
    void installerDownload();
    void cancelMidway();
};

void TestBVersionUpdater::initTestCase()
{
    m_tmp = std::make_unique<QTemporaryDir>();
    QVERIFY(m_tmp->isValid());
    ApplicationSettings::setTempDataLocation(m_tmp->filePath(u"temp"_s));
    CloudServerFixture::Options options = CloudServerFixture::defaultOptions();
    options.seedFile = QStringLiteral(BACKUP_SEED);
    m_cloud = std::make_unique<CloudServerFixture>(options);
    QVERIFY2(m_cloud->start(), qPrintable(m_cloud->errorString()));
    Trelan::Oku::ZYRService::ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
    m_loop = std::make_unique<LoopbackServer>();
    QVERIFY(m_loop->isListening());
}

void TestBVersionUpdater::versionList_data()
{
    // The server's list: latest 2.0.1, then 1.9.0 and 1.5.0 (forced).
    QTest::addColumn<QByteArray>("list"); // a path on the server, or a list of the loopback server
    QTest::addColumn<QString>("current");
    QTest::addColumn<QVariantList>("available"); // hasNewVersion, newVersion, forceUpdate
    const QByteArray cloud = "/downloads/versions.xml";
    QTest::newRow("a forced release in between") << cloud << "1.4.9" << QVariantList{ true, "2.0.1", true };
    QTest::newRow("no forced release in between") << cloud << "1.5.0" << QVariantList{ true, "2.0.1", false };
    QTest::newRow("equal") << cloud << "2.0.1" << QVariantList{ false, "", false };
    QTest::newRow("fewer parts is older") << cloud << "2.0" << QVariantList{ true, "2.0.1", false };
    QTest::newRow("a current version with more parts is newer")
            << cloud << "2.0.1.0" << QVariantList{ false, "", false };
    QTest::newRow("parts compare as numbers") << cloud << "10.0" << QVariantList{ false, "", false };
    QTest::newRow("latest not newer ends the reading")
            << QByteArray(R"(<versionList><latest version="1.0" path="a.exe"/><histories>)"
                          R"(<historyRelease version="3.0" forceUpdate="true"/></histories></versionList>)")
            << "2.0" << QVariantList{ false, "", false };
    QTest::newRow("latest forced, any letter case")
            << QByteArray(R"(<versionList><latest version="2.1" path="a.exe" forceUpdate="True"/></versionList>)")
            << "2.0" << QVariantList{ true, "2.1", true };
    QTest::newRow("malformed document") << QByteArray(R"(<versionList><latest version="3.0" path="a.exe"/>)") << "2.0"
                                        << QVariantList{ false, "", false };
    QTest::newRow("failed query") << QByteArray("/downloads/none.xml") << "2.0" << QVariantList{ false, "", false };
}

void TestBVersionUpdater::versionList()
{
    QFETCH(QByteArray, list);
    QFETCH(QString, current);
    QFETCH(QVariantList, available);
    serve(list);
    BVersionUpdater updater;
    const QString address = list.startsWith('/') ? QString::fromLatin1(list) : m_loop->url("/versions.xml");
    QCOMPARE(versionAvailableFor(updater, address, current), available);
    if (!available.first().toBool())
        QVERIFY(!updater.updateNewVersion());
}

void TestBVersionUpdater::installerDownload_data()
{
    QTest::addColumn<bool>("exeAddress");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<int>("cutAfter"); // bytes after which the server stops sending; 0: never
    QTest::newRow("address ends with .exe") << true << "zyr-installer.exe" << 0;
    QTest::newRow("address without .exe") << false << "ZYRDesktopSetup-2.0.1.exe" << 0;
    QTest::newRow("body cut short") << true << "zyr-installer.exe" << 1000000;
}

void TestBVersionUpdater::installerDownload()
{
    QFETCH(bool, exeAddress);
    QFETCH(QString, fileName);
    QFETCH(int, cutAfter);
    if (cutAfter > 0)
        m_cloud->addFault({ { "pathPrefix", "/downloads/zyr" }, { "cutAfterBytes", cutAfter }, { "times", 1 } });
    // The second list names the server's "latest" alias, a redirect.
    serve(R"(<versionList><latest version="2.0.1" path=")" + m_cloud->baseUrl().toEncoded()
          + R"(/downloads/latest" forceUpdate="false"/></versionList>)");
    BVersionUpdater updater;
    const QString list = exeAddress ? u"/downloads/versions.xml"_s : m_loop->url("/versions.xml");
    QCOMPARE(versionAvailableFor(updater, list, u"1.9.0"_s).value(0), true);
    QSignalSpy progress(&updater, &BVersionUpdater::downloadNewVersionProgressUpdated);
    QSignalSpy finished(updater.findChild<BVersionUpdateManager*>(),
                        &BVersionUpdateManager::downloadLatestVersionFinished);
    QVERIFY(updater.updateNewVersion());
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.first().first(), cutAfter == 0);
    QCOMPARE(updater.getInstallFile(), ApplicationSettings::tempDataLocation() + QLatin1Char('/') + fileName);
    // The seed's installer: 3000000 generated bytes; a cut one is not kept.
    QCOMPARE(TransferTestUtils::readAll(updater.getInstallFile()) == TransferTestUtils::generatedBytes(3000000),
             cutAfter == 0);
    // Once per whole percent at most, rising, ending at 100 with the result.
    QCOMPARE(progress.last(), QList<QVariant>({ cutAfter == 0, 100 }));
    for (qsizetype i = 1; i + 1 < progress.size(); ++i)
        QVERIFY(progress.at(i).at(1).toInt() > progress.at(i - 1).at(1).toInt());
}

void TestBVersionUpdater::cancelMidway()
{
    serve(R"(<versionList><latest version="3.0" path=")" + m_loop->url("").toUtf8()
          + R"(/setup.exe" forceUpdate="false"/></versionList>)");
    BVersionUpdater updater;
    QCOMPARE(versionAvailableFor(updater, m_loop->url("/versions.xml"), u"2.0"_s).value(0), true);
    QSignalSpy progress(&updater, &BVersionUpdater::downloadNewVersionProgressUpdated);
    QSignalSpy finished(updater.findChild<BVersionUpdateManager*>(),
                        &BVersionUpdateManager::downloadLatestVersionFinished);
    m_loop->last = nullptr;
    QVERIFY(updater.updateNewVersion());
    QTRY_VERIFY(m_loop->last);
    // A tenth of the body comes at once, then a trickle: Qt reports progress
    // at most every 100 ms.
    QVERIFY(QTest::qWaitFor([&] {
        m_loop->last->write(QByteArray(1000, 'x'));
        return !progress.isEmpty();
    }));
    QVERIFY(QFileInfo::exists(updater.getInstallFile()));
    updater.cancelUpdateNewVersion();
    QTRY_VERIFY(!m_loop->last); // the cancel closed the connection
    QCoreApplication::processEvents();
    QCOMPARE(finished.size(), 0);
    QCOMPARE(progress.size(), 1);
    QVERIFY(progress.first().at(1).toInt() >= 10 && progress.first().at(1).toInt() < 100);
    QVERIFY(!QFileInfo::exists(updater.getInstallFile()));
}

QTEST_GUILESS_MAIN(TestBVersionUpdater)
#include "tst_bversionupdater.moc"
