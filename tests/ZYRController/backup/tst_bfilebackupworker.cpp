// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"
#include "ScriptedHttpServer.h"
#include "../transfer/TransferTestUtils.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRController/BFileBackupManager.h>
#include <ZYRController/BFileBackupWorker.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>
#include <functional>
#include <memory>
#include <optional>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRService::ZYRServiceUtil;
using Tree = QMap<QString, QByteArray>;

namespace {
using namespace TransferTestUtils;
const int Many = 100000;

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
    // Runs \a worker to its end; its result, or none when it did not end.
    static std::optional<bool> run(BFileBackupWorker& worker, const std::function<void()>& whileRunning = {})
    {
        std::optional<bool> result;
        QObject context;
        connect(&worker, &BFileBackupWorker::backupFinished, &context, [&result](bool ok) { result = ok; });
        worker.start();
        whileRunning ? whileRunning() : void();
        if (QTest::qWaitFor([&result] { return result.has_value(); }, 60000))
            worker.wait();
        return result;
    }

    std::optional<bool> backup(const QString& dir, const QSet<QString>& workspaces)
    {
        BFileBackupWorker worker;
        worker.setUserId(QStringLiteral("u-alice"));
        worker.setAccessToken(m_token);
        worker.setBackupDir(dir);
        worker.setWorkspaceIdsToBackup(workspaces);
        return run(worker);
    }

    // The tree of a workspace's folder on the server, below \a prefix.
    void serverTree(Tree& tree, const QString& workspaceId, const QString& folderId, const QString& prefix)
    {
        const QByteArray route = "/api/v1/workspaces/" + workspaceId.toUtf8();
        const QJsonObject listing
                = m_cloud->request("GET", route + "/children?id=" + folderId.toUtf8(), {}, m_token).json();
        for (const QJsonValue& value : listing.value(QStringLiteral("items")).toArray()) {
            const QString id = value[QStringLiteral("id")].toString();
            const QString path = prefix + value[QStringLiteral("name")].toString();
            if (value[QStringLiteral("isFolder")].toBool()) {
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
        const QString user = QStringLiteral("u-alice_Alice/");
        Tree tree{ { user, QByteArray() } };
        for (auto it = workspaces.cbegin(); it != workspaces.cend(); ++it) {
            tree.insert(user + it.value() + QLatin1Char('/'), QByteArray());
            serverTree(tree, it.key(), QString(), user + it.value() + QLatin1Char('/'));
        }
        return tree;
    }

    QString addFault(const QByteArray& pathPrefix, QJsonObject fault)
    {
        fault.insert(QStringLiteral("method"), QStringLiteral("GET"));
        fault.insert(QStringLiteral("pathPrefix"), QString::fromLatin1(pathPrefix));
        return m_cloud->addFault(fault);
    }

    // How many requests a fault added with \a times has seen.
    int uses(const QString& faultId, int times = Many)
    {
        const QJsonObject faults = m_cloud->request("GET", "/admin/faults").json();
        for (const QJsonValue& item : faults.value(QStringLiteral("items")).toArray()) {
            if (item[QStringLiteral("id")].toString() == faultId)
                return times - item[QStringLiteral("times")].toInt();
        }
        return times;
    }

    // A backup whose downloads are counted; -1 when it failed.
    int downloadsOfBackup(const QString& dir, const QSet<QString>& workspaces)
    {
        QStringList counters;
        for (const char* id : { "w-1", "w-10", "w-1_0" })
            counters << addFault(QByteArray("/api/v1/workspaces/") + id + "/files/", { { "times", Many } });
        int sum = backup(dir, workspaces) == true ? 0 : -1;
        for (const QString& id : std::as_const(counters))
            sum += sum < 0 ? 0 : uses(id);
        m_cloud->clearFaults();
        return sum;
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
    const QString name = QString::fromLatin1(QTest::currentTestFunction()) + QLatin1String(QTest::currentDataTag());
    Trelan::Oku::ZYRCommon::ApplicationSettings::setDatabaseLocation(m_tmp->filePath(QStringLiteral("db/") + name));
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
    settings.setBackupDir(QStringLiteral("C:\\backup\\\\zyr\\"));
    settings.addWorkspaceIdsToBackup({ QStringLiteral("w-1"), QStringLiteral("w-2") });
    settings.addWorkspaceIdToBackup(QStringLiteral("w-1"));
    settings.addWorkspaceIdToBackup(QString());
    settings.removeWorkspaceIdToBackup(QStringLiteral("w-2"));
    const BFileBackupManager copy = settings;
    QCOMPARE(copy.getAutoBackupTime(), QTime(23, 0));
    QCOMPARE(copy.getBackupDir(), QStringLiteral("C:/backup/zyr"));
    QCOMPARE(copy.getWorkspaceIdsToBackup(), QSet<QString>{ QStringLiteral("w-1") });
    QVERIFY(!copy.isAutoBackup() && !copy.isBackuping());
}

void TestBFileBackupWorker::mirrorsTheServer()
{
    const QString dir = m_tmp->filePath(QStringLiteral("mirror"));
    const QSet<QString> workspaces{ QStringLiteral("w-1"), QStringLiteral("w-10"), QStringLiteral("w-1_0") };
    QMap<QString, QString> folders{ { QStringLiteral("w-1"), QStringLiteral("w-1_Design") },
                                    { QStringLiteral("w-10"), QStringLiteral("w-10_Projects") },
                                    { QStringLiteral("w-1_0"), QStringLiteral("w-1%5F0_Archive") } };
    QCOMPARE(backup(dir, workspaces), true);
    QCOMPARE(localTree(dir), expectedTree(folders));

    // Each run downloads only what the local copies lack.
    QCOMPARE(downloadsOfBackup(dir, workspaces), 0);
    QCOMPARE(m_cloud->request("DELETE", "/api/v1/workspaces/w-1/files/f-a", {}, m_token).status, 200);
    const QByteArray upload = "/api/v1/workspaces/w-1/upload?parentPath=%2F&path=%2Ftop.txt&size=7&offset=0";
    QCOMPARE(m_cloud->request("PUT", upload, "changed", m_token, "application/octet-stream").status, 200);
    QCOMPARE(m_cloud->request("PUT", "/admin/workspaces/w-1/name", R"({"name":"Drawings"})").status, 200);
    QCOMPARE(downloadsOfBackup(dir, workspaces), 1);
    folders.insert(QStringLiteral("w-1"), QStringLiteral("w-1_Drawings"));
    QCOMPARE(localTree(dir), expectedTree(folders));
    // The cache followed the renamed folder.
    QCOMPARE(downloadsOfBackup(dir, workspaces), 0);
}

void TestBFileBackupWorker::skipsPartialsAndGoesOnAfterFailedDownload()
{
    const QString dir = m_tmp->filePath(QStringLiteral("partial"));
    const QString workspace = dir + QStringLiteral("/u-alice_Alice/w-10_Projects/");
    QVERIFY(writeAll(workspace + QStringLiteral("x.bin.zyr"), "partial"));
    const QString failed = addFault("/api/v1/workspaces/w-10/files/f-notes/", { { "status", 500 }, { "times", 1 } });
    QCOMPARE(backup(dir, { QStringLiteral("w-10") }), true);
    QCOMPARE(uses(failed, 1), 1);
    const Tree expected{ { QStringLiteral("Alpha/"), {} },
                         { QStringLiteral("x.bin.zyr"), "partial" },
                         { QStringLiteral("y.txt"), "why" } };
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
    addFault("/api/v1/users/me", { { "status", 503 }, { "times", userInfoFailures } });
    if (workspaceFailures > 0)
        addFault("/api/v1/workspaces", { { "status", 503 }, { "times", workspaceFailures } });
    const QString dir = m_tmp->filePath(QStringLiteral("retries/") + QString::fromLatin1(QTest::currentDataTag()));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(backup(dir, { QStringLiteral("w-10") }), succeeds);
    QVERIFY(clock.elapsed() >= (userInfoFailures + workspaceFailures - 1) * 40);
    QCOMPARE(QFileInfo::exists(dir + QStringLiteral("/u-alice_Alice/w-10_Projects/y.txt")), succeeds);
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
    fast.backupInactivityTimeoutMs = 400;
    fast.inactivityTimeoutMs = 1500; // the transfer gives up later than the backup
    BTimings::Override scope(fast);
    const QString dir = m_tmp->filePath(QStringLiteral("inactive/") + QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(dir + QStringLiteral("/u-alice_Old")));
    addFault(stalled, { { "hang", true } });
    QCOMPARE(backup(dir, { QStringLiteral("w-10") }), false);
    QCOMPARE(QFileInfo::exists(dir + QStringLiteral("/u-alice_Alice")), userFolderRenamed);
    QVERIFY(!QFileInfo::exists(dir + QStringLiteral("/u-alice_Alice/w-10_Projects/x.bin.zyr")));
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
    const QString requests = addFault("/", { { "times", Many } });
    const QString dir = m_tmp->filePath(QStringLiteral("refused"));
    const auto unless = [&missing](const char* what, const auto& value) {
        return missing.contains(QLatin1String(what)) ? std::decay_t<decltype(value)>() : value;
    };
    BFileBackupWorker worker(unless("user", QStringLiteral("u-alice")), unless("token", m_token), unless("dir", dir),
                             unless("workspaces", QSet<QString>{ QStringLiteral("w-10") }));
    QCOMPARE(run(worker), succeeds);
    QCOMPARE(uses(requests), 0);
    QVERIFY(!QFileInfo::exists(dir));
}

void TestBFileBackupWorker::settersIgnoredWhileRunning()
{
    const QString dir = m_tmp->filePath(QStringLiteral("setters"));
    const QString other = m_tmp->filePath(QStringLiteral("setters-other"));
    addFault("/api/v1/users/me", { { "delayMs", 1000 }, { "times", 1 } });
    BFileBackupWorker worker(QStringLiteral("u-alice"), m_token, dir, { QStringLiteral("w-10") });
    QCOMPARE(run(worker,
                 [&] {
                     worker.setUserId(QStringLiteral("u-other"));
                     worker.setAccessToken(QStringLiteral("not-a-token"));
                     worker.setBackupDir(other);
                     worker.setWorkspaceIdsToBackup({ QStringLiteral("w-1") });
                     worker.addWorkspaceSyncPath(QStringLiteral("w-10"), other);
                 }),
             true);
    QCOMPARE(QDir(dir + QStringLiteral("/u-alice_Alice")).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
             QStringList{ QStringLiteral("w-10_Projects") });
    QVERIFY(!QFileInfo::exists(other));
}

void TestBFileBackupWorker::hostileNamesStayInside()
{
    const QString root = m_tmp->filePath(QStringLiteral("hostile"));
    const QString dir = root + QStringLiteral("/backup");
    QVERIFY(writeAll(root + QStringLiteral("/outside.txt"), "keep"));
    QVERIFY(writeAll(root + QStringLiteral("/victim/keep.txt"), "keep"));
    QVERIFY(writeAll(dir + QStringLiteral("/u-x/w-a/stale.txt"), "stale"));
    // A link where the server has a folder must not lead the backup outside.
    QVERIFY(QFile::link(root + QStringLiteral("/victim"), dir + QStringLiteral("/u-x/w-a/Sub")));
    const QMap<QByteArray, QByteArray> replies{
        { "/api/v1/users/me", R"({"id":"u-x","displayName":"../../out"})" },
        { "/api/v1/workspaces",
          R"({"items":[{"id":"w-a","name":"../../../ws"},{"id":"..","name":"up"},{"id":"w/b","name":"b"}]})" },
        { "/api/v1/workspaces/w-a/children?id=",
          R"({"items":[{"id":"f1","name":".."},{"id":"f2","name":"../escape.txt"},{"id":"f3","name":"/abs.txt"},)"
          R"({"id":"f4","name":"a\\b.txt"},{"id":"f5","name":"ok.txt","size":4},{"id":"f6","name":"bad\u0001.txt"},)"
          R"({"id":"f-sub","name":"Sub","isFolder":true},{"id":"f-up","name":"..","isFolder":true}]})" },
        { "/api/v1/workspaces/w-a/children?id=f-sub", R"({"items":[{"id":"f7","name":"new.txt","size":4}]})" },
        { "/api/v1/workspaces/w-a/children?id=f-up", R"({"items":[{"id":"f8","name":"up.txt","size":4}]})" },
    };
    ScriptedHttpServer server;
    QVERIFY(server.listen());
    server.setHandler([&replies](const ScriptedRequest& request) {
        return ScriptedResponse::json(200, replies.value(request.target, "DATA"));
    });
    ZYRServiceUtil::setServerUrl(server.url());
    BFileBackupWorker worker(QStringLiteral("u-x"), m_token, dir,
                             { QStringLiteral("w-a"), QStringLiteral(".."), QStringLiteral("w/b") });
    const std::optional<bool> result = run(worker);
    ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
    QCOMPARE(result, true);

    const QString workspace = QStringLiteral("backup/u-x_.._.._out/w-a_.._.._.._ws/");
    const Tree expected{ { QStringLiteral("outside.txt"), "keep" },
                         { QStringLiteral("victim/"), {} },
                         { QStringLiteral("victim/keep.txt"), "keep" },
                         { QStringLiteral("backup/"), {} },
                         { QStringLiteral("backup/u-x_.._.._out/"), {} },
                         { workspace, {} },
                         { workspace + QStringLiteral("ok.txt"), "DATA" },
                         { workspace + QStringLiteral("Sub/"), {} },
                         { workspace + QStringLiteral("Sub/new.txt"), "DATA" } };
    QCOMPARE(localTree(root), expected);
}

QTEST_GUILESS_MAIN(TestBFileBackupWorker)
#include "tst_bfilebackupworker.moc"
