// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"
#include "ScriptedHttpServer.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRController/BFileBackupManager.h>
#include <ZYRController/BFileBackupWorker.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <memory>
#include <optional>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRService::ZYRServiceUtil;
using Tree = QMap<QString, QByteArray>;

namespace {
const int Many = 100000;

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeAll(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// Every entry below \a root: files with their bytes, folders as "path/".
Tree localTree(const QString& root)
{
    Tree tree;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString relative = QDir(root).relativeFilePath(path);
        tree.insert(it.fileInfo().isDir() ? relative + QLatin1Char('/') : relative, readAll(path));
    }
    return tree;
}
} // namespace

class TestBFileBackupWorker : public QObject {
    Q_OBJECT

private:
    // Runs \a worker to its end; its result, or none when it did not end.
    static std::optional<bool> run(BFileBackupWorker& worker)
    {
        std::optional<bool> result;
        QObject context;
        connect(&worker, &BFileBackupWorker::backupFinished, &context, [&result](bool ok) { result = ok; });
        worker.start();
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

    // The workspace's tree on the server, read through the routes directly.
    Tree serverTree(const QString& workspaceId, const QString& folderId = QString(), const QString& prefix = QString())
    {
        Tree tree;
        const QByteArray route = "/api/v1/workspaces/" + workspaceId.toUtf8();
        const QJsonArray items = m_cloud->request("GET", route + "/children?id=" + folderId.toUtf8(), {}, m_token)
                                         .json()
                                         .value(QStringLiteral("items"))
                                         .toArray();
        for (const QJsonValue& value : items) {
            const QJsonObject item = value.toObject();
            const QString id = item.value(QStringLiteral("id")).toString();
            const QString path = prefix + item.value(QStringLiteral("name")).toString();
            if (item.value(QStringLiteral("isFolder")).toBool()) {
                tree.insert(path + QLatin1Char('/'), QByteArray());
                tree.insert(serverTree(workspaceId, id, path + QLatin1Char('/')));
            } else {
                tree.insert(path,
                            m_cloud->request("GET", route + "/files/" + id.toUtf8() + "/content", {}, m_token).body);
            }
        }
        return tree;
    }

    // What a backup of \a workspaces (id -> folder name) must hold.
    Tree expectedTree(const QMap<QString, QString>& workspaces)
    {
        Tree tree{ { QStringLiteral("u-alice_Alice/"), QByteArray() } };
        for (auto it = workspaces.cbegin(); it != workspaces.cend(); ++it) {
            const QString folder = QStringLiteral("u-alice_Alice/") + it.value() + QLatin1Char('/');
            tree.insert(folder, QByteArray());
            const Tree files = serverTree(it.key());
            for (auto file = files.cbegin(); file != files.cend(); ++file)
                tree.insert(folder + file.key(), file.value());
        }
        return tree;
    }

    QString addFault(const QByteArray& pathPrefix, QJsonObject fault)
    {
        fault.insert(QStringLiteral("method"), QStringLiteral("GET"));
        fault.insert(QStringLiteral("pathPrefix"), QString::fromLatin1(pathPrefix));
        return m_cloud->addFault(fault);
    }

    // A fault that only counts the GET requests under \a pathPrefix.
    QString counter(const QByteArray& pathPrefix) { return addFault(pathPrefix, { { "times", Many } }); }

    int uses(const QString& faultId, int times = Many)
    {
        const QJsonArray items
                = m_cloud->request("GET", "/admin/faults").json().value(QStringLiteral("items")).toArray();
        for (const QJsonValue& item : items) {
            if (item.toObject().value(QStringLiteral("id")).toString() == faultId)
                return times - item.toObject().value(QStringLiteral("times")).toInt();
        }
        return times;
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
    ApplicationSettings::setDatabaseLocation(m_tmp->filePath(QStringLiteral("db/")
                                                             + QString::fromLatin1(QTest::currentTestFunction())
                                                             + QString::fromLatin1(QTest::currentDataTag())));
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
    QCOMPARE(settings.isAutoBackup(), false);
    QCOMPARE(settings.getAutoBackupTime(), QTime(23, 0));
    settings.setAutoBackupTime(QTime(25, 0));
    QCOMPARE(settings.getAutoBackupTime(), QTime(23, 0));
    settings.setAutoBackupTime(QTime(6, 30));
    settings.setBackupDir(QStringLiteral("C:\\backup\\\\zyr\\"));
    settings.addWorkspaceIdToBackup(QStringLiteral("w-1"));
    settings.addWorkspaceIdToBackup(QStringLiteral("w-1"));
    settings.addWorkspaceIdToBackup(QString());
    settings.addWorkspaceIdsToBackup({ QStringLiteral("w-2"), QStringLiteral("w-3") });
    settings.removeWorkspaceIdToBackup(QStringLiteral("w-3"));
    settings.startBackupImmediately();
    const BFileBackupManager copy = settings;
    QCOMPARE(copy.getAutoBackupTime(), QTime(6, 30));
    QCOMPARE(copy.getBackupDir(), QStringLiteral("C:/backup/zyr"));
    QCOMPARE(copy.getWorkspaceIdsToBackup(), QSet<QString>({ QStringLiteral("w-1"), QStringLiteral("w-2") }));
    QVERIFY(!copy.isBackuping());
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
    const auto downloads = [this] {
        return QStringList{ counter("/api/v1/workspaces/w-1/files/"), counter("/api/v1/workspaces/w-10/files/"),
                            counter("/api/v1/workspaces/w-1_0/files/") };
    };
    const auto count = [this](const QStringList& counters) {
        int sum = 0;
        for (const QString& id : counters)
            sum += uses(id);
        return sum;
    };
    QStringList counters = downloads();
    QCOMPARE(backup(dir, workspaces), true);
    QCOMPARE(count(counters), 0);

    QCOMPARE(m_cloud->request("DELETE", "/api/v1/workspaces/w-1/files/f-a", {}, m_token).status, 200);
    QCOMPARE(m_cloud->request("PUT", "/api/v1/workspaces/w-1/upload?parentPath=%2F&path=%2Ftop.txt&size=7&offset=0",
                              "changed", m_token, "application/octet-stream")
                     .status,
             200);
    QCOMPARE(m_cloud->request("PUT", "/admin/workspaces/w-1/name", R"({"name":"Drawings"})").status, 200);
    folders.insert(QStringLiteral("w-1"), QStringLiteral("w-1_Drawings"));
    QVERIFY(m_cloud->clearFaults());
    counters = downloads();
    QCOMPARE(backup(dir, workspaces), true);
    QCOMPARE(count(counters), 1);
    QCOMPARE(localTree(dir), expectedTree(folders));

    // The cache followed the renamed folder.
    QVERIFY(m_cloud->clearFaults());
    counters = downloads();
    QCOMPARE(backup(dir, workspaces), true);
    QCOMPARE(count(counters), 0);
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
    QTest::addColumn<QString>("userId");
    QTest::addColumn<bool>("withToken");
    QTest::addColumn<bool>("withDir");
    QTest::addColumn<QSet<QString>>("workspaces");
    QTest::addColumn<bool>("succeeds");
    const QString user = QStringLiteral("u-alice");
    const QSet<QString> some{ QStringLiteral("w-10") };
    QTest::newRow("no token") << user << false << true << some << false;
    QTest::newRow("no user") << QString() << true << true << some << false;
    QTest::newRow("no backup directory") << user << true << false << some << false;
    QTest::newRow("no workspace") << user << true << true << QSet<QString>() << true;
    QTest::newRow("no workspace, no token") << user << false << true << QSet<QString>() << true;
}

void TestBFileBackupWorker::refusesToStart()
{
    QFETCH(QString, userId);
    QFETCH(bool, withToken);
    QFETCH(bool, withDir);
    QFETCH(QSet<QString>, workspaces);
    QFETCH(bool, succeeds);
    const QString requests = counter("/");
    const QString dir = m_tmp->filePath(QStringLiteral("refused"));
    BFileBackupWorker worker(userId, withToken ? m_token : QString(), withDir ? dir : QString(), workspaces);
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
    std::optional<bool> result;
    connect(&worker, &BFileBackupWorker::backupFinished, this, [&result](bool ok) { result = ok; });
    worker.start();
    worker.setUserId(QStringLiteral("u-other"));
    worker.setAccessToken(QStringLiteral("not-a-token"));
    worker.setBackupDir(other);
    worker.setWorkspaceIdsToBackup({ QStringLiteral("w-1") });
    worker.addWorkspaceSyncPath(QStringLiteral("w-10"), other);
    QTRY_VERIFY_WITH_TIMEOUT(result.has_value(), 30000);
    worker.wait();
    QCOMPARE(result, true);
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
    const Tree outside = localTree(root + QStringLiteral("/victim"));

    const auto file = [](const char* id, const char* name, bool folder = false) {
        return QJsonObject{ { "id", id }, { "name", name }, { "isFolder", folder }, { "size", folder ? 0 : 4 } };
    };
    const QJsonObject children{
        { "id=",
          QJsonArray{ file("f1", ".."), file("f2", "../escape.txt"), file("f3", "/abs.txt"), file("f4", "a\\b.txt"),
                      file("f5", "ok.txt"), file("f6", "bad\x01.txt"), file("f-sub", "Sub", true),
                      file("f-up", "..", true) } },
        { "id=f-sub", QJsonArray{ file("f7", "new.txt") } },
        { "id=f-up", QJsonArray{ file("f8", "up.txt") } },
    };
    ScriptedHttpServer server;
    QVERIFY(server.listen());
    server.setHandler([&children](const ScriptedRequest& request) {
        QJsonObject body;
        if (request.path == "/api/v1/users/me")
            body = { { "id", "u-x" }, { "displayName", "../../out" } };
        else if (request.path == "/api/v1/workspaces")
            body = { { "items",
                       QJsonArray{ QJsonObject{ { "id", "w-a" }, { "name", "../../../ws" } },
                                   QJsonObject{ { "id", ".." }, { "name", "up" } },
                                   QJsonObject{ { "id", "w/b" }, { "name", "b" } } } } };
        else if (request.path.endsWith("/children"))
            body = { { "items", children.value(QString::fromLatin1(request.query)) } };
        else
            return ScriptedResponse::json(200, "DATA");
        return ScriptedResponse::json(200, QJsonDocument(body).toJson());
    });
    ZYRServiceUtil::setServerUrl(server.url());
    BFileBackupWorker worker(QStringLiteral("u-x"), m_token, dir,
                             { QStringLiteral("w-a"), QStringLiteral(".."), QStringLiteral("w/b") });
    const std::optional<bool> result = run(worker);
    ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
    QCOMPARE(result, true);

    QCOMPARE(QDir(root).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList({ QStringLiteral("backup"), QStringLiteral("outside.txt"), QStringLiteral("victim") }));
    QCOMPARE(readAll(root + QStringLiteral("/outside.txt")), QByteArray("keep"));
    QCOMPARE(localTree(root + QStringLiteral("/victim")), outside);
    const QString user = QStringLiteral("u-x_.._.._out/");
    const QString workspace = user + QStringLiteral("w-a_.._.._.._ws/");
    const Tree expected{ { user, {} },
                         { workspace, {} },
                         { workspace + QStringLiteral("ok.txt"), "DATA" },
                         { workspace + QStringLiteral("Sub/"), {} },
                         { workspace + QStringLiteral("Sub/new.txt"), "DATA" } };
    QCOMPARE(localTree(dir), expected);
}

QTEST_GUILESS_MAIN(TestBFileBackupWorker)
#include "tst_bfilebackupworker.moc"
