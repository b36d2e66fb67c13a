// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"
#include "LoopbackServer.h"
#include "../transfer/TransferTestUtils.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRController/BFileBackupManager.h>
#include <ZYRController/BFileBackupWorker.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QDirIterator>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>
#include <memory>
#include <optional>

using namespace Trelan::Oku::ZYRController;
using namespace Qt::StringLiterals;
using Trelan::Oku::ZYRService::ZYRServiceUtil;
using Tree = QMap<QString, QByteArray>;

namespace {
using namespace TransferTestUtils;

// Every entry below \a root: files with their bytes, folders as "path/".
Tree localTree(const QString& root)
{
    Tree tree;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = QDir(root).relativeFilePath(it.next());
        tree.insert(it.fileInfo().isDir() ? path + QLatin1Char('/') : path, readAll(it.filePath()));
    }
    return tree;
}
} // namespace

class TestBFileBackupWorker : public QObject {
    Q_OBJECT

private:
    // Runs \a worker to its end, against \a server when given; its result,
    // or none when it did not end.
    std::optional<bool> run(BFileBackupWorker& worker, const std::function<void()>& whileRunning = {},
                            const QString& server = QString())
    {
        std::optional<bool> result;
        QObject context;
        connect(&worker, &BFileBackupWorker::backupFinished, &context, [&result](bool ok) { result = ok; });
        ZYRServiceUtil::setServerUrl(server.isEmpty() ? m_cloud->baseUrl() : QUrl(server));
        worker.start();
        whileRunning ? whileRunning() : void();
        if (QTest::qWaitFor([&result] { return result.has_value(); }, 60000))
            worker.wait();
        ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
        return result;
    }

    std::optional<bool> backup(const QString& dir, const QSet<QString>& workspaces)
    {
        BFileBackupWorker worker(u"u-alice"_s, m_token, dir, workspaces);
        return run(worker);
    }

    // The tree of a workspace's folder on the server, below \a prefix.
    void serverTree(Tree& tree, const QString& workspaceId, const QString& folderId, const QString& prefix)
    {
        const QByteArray route = "/api/v1/workspaces/" + workspaceId.toUtf8();
        const QJsonObject listing
                = m_cloud->request("GET", route + "/children?id=" + folderId.toUtf8(), {}, m_token).json();
        for (const QJsonValue& value : listing.value(u"items"_s).toArray()) {
            const QString id = value[u"id"_s].toString();
            const QString path = prefix + value[u"name"_s].toString();
            if (value[u"isFolder"_s].toBool()) {
                tree.insert(path + QLatin1Char('/'), QByteArray());
                serverTree(tree, workspaceId, id, path + QLatin1Char('/'));
            } else {
                tree.insert(path,
                            m_cloud->request("GET", route + "/files/" + id.toUtf8() + "/content", {}, m_token).body);
            }
        }
    }

    // What a backup of \a workspaces (id -> folder name) must hold.
    Tree expectedTree(const QMap<QString, QString>& workspaces)
    {
        const QString user = u"u-alice_Alice/"_s;
        Tree tree{ { user, QByteArray() } };
        for (auto it = workspaces.cbegin(); it != workspaces.cend(); ++it) {
            tree.insert(user + it.value() + QLatin1Char('/'), QByteArray());
            serverTree(tree, it.key(), QString(), user + it.value() + QLatin1Char('/'));
        }
        return tree;
    }

    // A backup's downloads (files written since it began); -1 when it failed.
    int downloadsOfBackup(const QString& dir, const QSet<QString>& workspaces)
    {
        const QDateTime start = QDateTime::currentDateTime();
        int written = backup(dir, workspaces) == true ? 0 : -1;
        for (QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories); written >= 0 && it.hasNext();)
            written += it.nextFileInfo().lastModified() >= start ? 1 : 0;
        return written;
    }

    std::unique_ptr<QTemporaryDir> m_tmp;
    std::unique_ptr<CloudServerFixture> m_cloud;
    std::unique_ptr<BTimings::Override> m_timings;
    QString m_token;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void managerKeepsItsRules();
    void mirrorsTheServer();
    void skipsPartialsAndGoesOnAfterFailedDownload();
    void startUpRetries_data();
    void startUpRetries();
    void endsOnInactivity_data();
    void endsOnInactivity();
    void refusesToStart_data();
    void refusesToStart();
    void settersIgnoredWhileRunning();
    void hostileNamesStayInside();
};

void TestBFileBackupWorker::initTestCase()
{
    m_tmp = std::make_unique<QTemporaryDir>();
    QVERIFY(m_tmp->isValid());
    CloudServerFixture::Options options = CloudServerFixture::defaultOptions();
    options.seedFile = QStringLiteral(BACKUP_SEED);
    m_cloud = std::make_unique<CloudServerFixture>(options);
    QVERIFY2(m_cloud->start(), qPrintable(m_cloud->errorString()));
    ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
    m_token = m_cloud->signIn();
    QVERIFY(!m_token.isEmpty());
}

void TestBFileBackupWorker::init()
{
    // A cache store of its own: no test finds the copies of another.
    Trelan::Oku::ZYRCommon::ApplicationSettings::setDatabaseLocation(m_tmp->filePath(
            u"db/"_s + QLatin1String(QTest::currentTestFunction()) + QLatin1String(QTest::currentDataTag())));
    BTimings fast;
    fast.completionPauseMs = 1;
    fast.backupRetryDelayMs = 40;
    m_timings = std::make_unique<BTimings::Override>(fast);
}

void TestBFileBackupWorker::cleanup()
{
    m_timings.reset();
    QVERIFY(m_cloud->clearFaults());
}

void TestBFileBackupWorker::managerKeepsItsRules()
{
    BFileBackupManager settings;
    settings.setAutoBackupTime(QTime(25, 0)); // invalid: ignored
    settings.setBackupDir(u"C:\\backup\\\\zyr\\"_s);
    settings.addWorkspaceIdsToBackup({ u"w-1"_s, u"w-2"_s });
    settings.addWorkspaceIdToBackup(u"w-1"_s);
    settings.addWorkspaceIdToBackup(QString());
    settings.removeWorkspaceIdToBackup(u"w-2"_s);
    const BFileBackupManager copy = settings;
    QCOMPARE(copy.getAutoBackupTime(), QTime(23, 0));
    QCOMPARE(copy.getBackupDir(), u"C:/backup/zyr"_s);
    QCOMPARE(copy.getWorkspaceIdsToBackup(), QSet<QString>{ u"w-1"_s });
    QVERIFY(!copy.isAutoBackup() && !copy.isBackuping());
}

void TestBFileBackupWorker::mirrorsTheServer()
{
    const QString dir = m_tmp->filePath(u"mirror"_s);
    const QSet<QString> workspaces{ u"w-1"_s, u"w-10"_s, u"w-1_0"_s };
    QMap<QString, QString> folders{ { u"w-1"_s, u"w-1_Design"_s }, { u"w-10"_s, u"w-10_Projects"_s } };
    folders.insert(u"w-1_0"_s, u"w-1%5F0_Archive"_s); // the first "_" ends the id
    QCOMPARE(backup(dir, workspaces), true);
    QCOMPARE(localTree(dir), expectedTree(folders));

    // Each run downloads only what the local copies lack.
    QCOMPARE(downloadsOfBackup(dir, workspaces), 0);
    QCOMPARE(m_cloud->request("DELETE", "/api/v1/workspaces/w-1/files/f-a", {}, m_token).status, 200);
    const QByteArray upload = "/api/v1/workspaces/w-1/upload?parentPath=%2F&path=%2Ftop.txt&size=7&offset=0";
    QCOMPARE(m_cloud->request("PUT", upload, "changed", m_token, "application/octet-stream").status, 200);
    QCOMPARE(m_cloud->request("PUT", "/admin/workspaces/w-1/name", R"({"name":"Drawings"})").status, 200);
    QCOMPARE(downloadsOfBackup(dir, workspaces), 1);
    folders.insert(u"w-1"_s, u"w-1_Drawings"_s);
    QCOMPARE(localTree(dir), expectedTree(folders));
    // The cache followed the renamed folder.
    QCOMPARE(downloadsOfBackup(dir, workspaces), 0);
}

void TestBFileBackupWorker::skipsPartialsAndGoesOnAfterFailedDownload()
{
    const QString dir = m_tmp->filePath(u"partial"_s);
    const QString workspace = dir + u"/u-alice_Alice/w-10_Projects/"_s;
    QVERIFY(writeAll(workspace + u"x.bin.zyr"_s, "partial"));
    m_cloud->addFault({ { "pathPrefix", "/api/v1/workspaces/w-10/files/f-notes" }, { "status", 500 }, { "times", 1 } });
    QCOMPARE(backup(dir, { u"w-10"_s }), true);
    const Tree expected{ { u"Alpha/"_s, {} }, { u"x.bin.zyr"_s, "partial" }, { u"y.txt"_s, "why" } };
    QCOMPARE(localTree(workspace), expected);
}

void TestBFileBackupWorker::startUpRetries_data()
{
    QTest::addColumn<int>("userInfoFailures");
    QTest::addColumn<int>("workspaceFailures");
    QTest::addColumn<bool>("succeeds");
    QTest::newRow("ten user-info failures") << 10 << 0 << true;
    QTest::newRow("eleven user-info failures") << 11 << 0 << false;
    QTest::newRow("one count for both queries, ten in all") << 6 << 4 << true;
    QTest::newRow("one count for both queries, eleven in all") << 6 << 5 << false;
}

void TestBFileBackupWorker::startUpRetries()
{
    QFETCH(int, userInfoFailures);
    QFETCH(int, workspaceFailures);
    QFETCH(bool, succeeds);
    m_cloud->addFault({ { "pathPrefix", "/api/v1/users/me" }, { "status", 503 }, { "times", userInfoFailures } });
    if (workspaceFailures > 0)
        m_cloud->addFault(
                { { "pathPrefix", "/api/v1/workspaces" }, { "status", 503 }, { "times", workspaceFailures } });
    const QString dir = m_tmp->filePath(u"retries/"_s + QString::fromLatin1(QTest::currentDataTag()));
    const QDateTime begun = QDateTime::currentDateTime();
    BFileBackupWorker worker(u"u-alice"_s, m_token, dir, { u"w-10"_s });
    QCOMPARE(run(worker), succeeds);
    QVERIFY(begun.msecsTo(QDateTime::currentDateTime()) >= (userInfoFailures + workspaceFailures - 1) * 40);
    QCOMPARE(QFileInfo::exists(dir + u"/u-alice_Alice/w-10_Projects/y.txt"_s), succeeds);
    // Run again, the same worker counts afresh.
    m_cloud->addFault({ { "pathPrefix", "/api/v1/users/me" }, { "status", 503 }, { "times", 1 } });
    QCOMPARE(run(worker), true);
}

void TestBFileBackupWorker::endsOnInactivity_data()
{
    QTest::addColumn<QByteArray>("stalled");
    QTest::addColumn<bool>("userFolderRenamed");
    QTest::newRow("user info") << QByteArray("/api/v1/users/me") << false;
    QTest::newRow("folder listing") << QByteArray("/api/v1/workspaces/w-10/children") << true;
    QTest::newRow("download") << QByteArray("/api/v1/workspaces/w-10/files/f-x/") << true;
}

void TestBFileBackupWorker::endsOnInactivity()
{
    QFETCH(QByteArray, stalled);
    QFETCH(bool, userFolderRenamed);
    BTimings fast = BTimings::current();
    fast.backupInactivityTimeoutMs = 1000;
    fast.inactivityTimeoutMs = 2500; // the transfer gives up later than the backup
    BTimings::Override scope(fast);
    const QString dir = m_tmp->filePath(u"inactive/"_s + QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(dir + u"/u-alice_Old"_s));
    m_cloud->addFault({ { "pathPrefix", QString::fromLatin1(stalled) }, { "hang", true } });
    QCOMPARE(backup(dir, { u"w-10"_s }), false);
    QCOMPARE(QFileInfo::exists(dir + u"/u-alice_Alice"_s), userFolderRenamed);
    QVERIFY(!QFileInfo::exists(dir + u"/u-alice_Alice/w-10_Projects/x.bin.zyr"_s));
}

void TestBFileBackupWorker::refusesToStart_data()
{
    QTest::addColumn<QString>("missing");
    QTest::addColumn<bool>("succeeds");
    QTest::newRow("token") << "token" << false;
    QTest::newRow("user") << "user" << false;
    QTest::newRow("backup directory") << "dir" << false;
    QTest::newRow("workspaces: nothing to do") << "workspaces" << true;
    QTest::newRow("workspaces and token") << "workspaces token" << true;
}

void TestBFileBackupWorker::refusesToStart()
{
    QFETCH(QString, missing);
    QFETCH(bool, succeeds);
    const QString dir = m_tmp->filePath(u"refused"_s);
    const auto unless = [&missing](const char* what, const auto& value) {
        return missing.contains(QLatin1String(what)) ? std::decay_t<decltype(value)>() : value;
    };
    BFileBackupWorker worker(unless("user", u"u-alice"_s), unless("token", m_token), unless("dir", dir),
                             unless("workspaces", QSet<QString>{ u"w-10"_s }));
    LoopbackServer server; // no request may reach it
    server.answer = [](const QByteArray&) { return LoopbackServer::reply(503, {}); };
    QCOMPARE(run(worker, {}, server.url("")), succeeds);
    QVERIFY(server.requests == 0 && !QFileInfo::exists(dir));
}

void TestBFileBackupWorker::settersIgnoredWhileRunning()
{
    const QString dir = m_tmp->filePath(u"setters"_s);
    const QString other = m_tmp->filePath(u"setters-other"_s);
    m_cloud->addFault({ { "pathPrefix", "/api/v1/users/me" }, { "delayMs", 1000 }, { "times", 1 } });
    BFileBackupWorker worker(u"u-alice"_s, m_token, dir, { u"w-10"_s });
    QCOMPARE(run(worker,
                 [&] {
                     worker.setUserId(u"u-other"_s);
                     worker.setAccessToken(u"not-a-token"_s);
                     worker.setBackupDir(other);
                     worker.setWorkspaceIdsToBackup({ u"w-1"_s });
                     worker.addWorkspaceSyncPath(u"w-10"_s, other);
                 }),
             true);
    QCOMPARE(QDir(dir + u"/u-alice_Alice"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
             QStringList{ u"w-10_Projects"_s });
    QVERIFY(!QFileInfo::exists(other));
    worker.setBackupDir(other); // taken once the run is over
    QCOMPARE(run(worker), true);
    QVERIFY(QFileInfo::exists(other + u"/u-alice_Alice/w-10_Projects/y.txt"_s));
}

void TestBFileBackupWorker::hostileNamesStayInside()
{
    const QString root = m_tmp->filePath(u"hostile"_s);
    const QString dir = root + u"/backup"_s;
    QVERIFY(writeAll(root + u"/outside.txt"_s, "keep"));
    QVERIFY(writeAll(root + u"/victim/keep.txt"_s, "keep"));
    QVERIFY(writeAll(dir + u"/u-x/w-a/stale.txt"_s, "stale"));
    // A link where the server has a folder must not lead the backup outside.
    QVERIFY(QFile::link(root + u"/victim"_s, dir + u"/u-x/w-a/Sub"_s));
    const QMap<QByteArray, QByteArray> replies{
        { "/api/v1/users/me", R"({"id":"u-x","displayName":"../../out"})" },
        { "/api/v1/workspaces",
          R"({"items":[{"id":"w-a","name":"../../../ws"},{"id":"..","name":"up"},{"id":"w/b","name":"b"}]})" },
        { "/api/v1/workspaces/w-a/children?id=",
          R"({"items":[{"id":"f1","name":".."},{"id":"f2","name":"../escape.txt"},{"id":"f3","name":"/abs.txt"},)"
          R"({"id":"f4","name":"a\\b.txt"},{"id":"f5","name":"ok.txt","size":4},{"id":"f6","name":"bad\u0001.txt"},)"
          R"({"id":"f-sub","name":"Sub","isFolder":true},{"id":"f-up","name":"..","isFolder":true}]})" },
        { "/api/v1/workspaces/w-a/children?id=f-sub", R"({"items":[{"id":"f7","name":"new.txt","size":4}]})" },
    };
    LoopbackServer server;
    server.answer = [&replies](const QByteArray& target) {
        return LoopbackServer::reply(200, replies.value(target, "DATA"));
    };
    BFileBackupWorker worker(u"u-x"_s, m_token, dir, { u"w-a"_s, u".."_s, u"w/b"_s });
    QCOMPARE(run(worker, {}, server.url("")), true);

    const QString workspace = u"backup/u-x_.._.._out/w-a_.._.._.._ws/"_s;
    Tree expected{ { u"outside.txt"_s, "keep" }, { u"victim/"_s, {} }, { u"victim/keep.txt"_s, "keep" } };
    for (const QString& folder : { u"backup/"_s, u"backup/u-x_.._.._out/"_s, workspace, workspace + u"Sub/"_s })
        expected.insert(folder, {});
    expected.insert(workspace + u"ok.txt"_s, "DATA");
    expected.insert(workspace + u"Sub/new.txt"_s, "DATA");
    QCOMPARE(localTree(root), expected);
}

QTEST_GUILESS_MAIN(TestBFileBackupWorker)
#include "tst_bfilebackupworker.moc"
