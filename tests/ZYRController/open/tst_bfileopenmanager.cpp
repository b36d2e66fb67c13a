// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"
#include "TransferTestUtils.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BFileCacheManager.h>
#include <ZYRController/BFileOpenManager.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>
#include <unistd.h>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRModel;
using namespace Qt::StringLiterals;
using namespace TransferTestUtils;
using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRCommon::FileUtils;
using Trelan::Oku::ZYRService::ZYRServiceUtil;

namespace {

const QByteArray WorkspaceRoute = "/api/v1/workspaces/w-design/";
const QString Workspace = u"w-design"_s;
const QString Folder = u"/open"_s;
constexpr int LongWaitMs = 20000;

// Open workers (threads named "zyr-open") and CAD viewers (children named
// "qorcad") end later than anything a test can wait for; their objects
// delete themselves after that.
bool waitForWorkersAndViewers()
{
    const auto named = [](const QString& dir, const QStringList& ids, const char* name) {
        return std::any_of(ids.cbegin(), ids.cend(),
                           [&](const QString& id) { return readAll(dir + id + u"/comm"_s).trimmed() == name; });
    };
    const auto running = [&] {
        const QString children = QString::fromLatin1(readAll(u"/proc/self/task/%1/children"_s.arg(getpid())));
        return named(u"/proc/self/task/"_s, QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
                     "zyr-open")
                || named(u"/proc/"_s, children.split(u' ', Qt::SkipEmptyParts), "qorcad");
    };
    const bool gone = QTest::qWaitFor([&] { return !running(); }, LongWaitMs);
    QCoreApplication::sendPostedEvents(); // the verdict, then the deletion
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return gone;
}

MFileTransferItem transferItem(bool isDownload, const QString& fileId, const QString& localPath,
                               const QString& remotePath)
{
    MFileTransferItem item;
    item.setIsDownload(isDownload);
    item.setFileId(fileId);
    item.setLocalPath(localPath);
    item.setWorkspaceId(Workspace);
    item.setRemotePath(remotePath);
    item.setRemoteParentPath(FileUtils::getParentFolderPath(remotePath));
    return item;
}

} // namespace

class TestBFileOpenManager : public QObject {
    Q_OBJECT

private:
    QString control(const QString& name) const { return m_dir.filePath(u"control/"_s + name); }
    QString cacheDir() const { return m_dir.filePath(u"cache"_s); }

    // What the test editor does with the next file it gets.
    void setMode(const QByteArray& mode)
    {
        QVERIFY(writeAll(control(u"mode"_s), mode));
        QFile::remove(control(u"release"_s));
        QFile::remove(control(u"opened.log"_s));
    }

    // The files the test editor was given.
    QStringList opened() const
    {
        return QString::fromUtf8(readAll(control(u"opened.log"_s))).split(u'\n', Qt::SkipEmptyParts);
    }

    // The file object of a workspace route's answer.
    QSharedPointer<MFile> fileOf(const QByteArray& method, const QByteArray& route, const QByteArray& body = {})
    {
        auto file = QSharedPointer<MFile>::create();
        const auto reply = m_server->request(method, WorkspaceRoute + route, body, m_token, "application/octet-stream");
        MFile::fromJson(reply.json()[u"data"_s].toObject(), *file);
        return file;
    }

    // Puts a file into the test folder, as the views would hold it: inside
    // its folder's node, or alone (its folder then has to be asked for).
    QSharedPointer<MFile> putFile(const QString& name, const QByteArray& bytes, bool withParent = false)
    {
        const QByteArray query = "upload?parentPath=" + encoded(Folder) + "&path=" + encoded(Folder + u'/' + name)
                + "&size=" + QByteArray::number(bytes.size()) + "&offset=0";
        const auto file = fileOf("PUT", query, bytes);
        if (withParent)
            MFile::addChild(file, m_folder);
        return file;
    }

    std::unique_ptr<BFileOpenManager> newManager(bool signedIn = true)
    {
        auto manager = std::make_unique<BFileOpenManager>(nullptr);
        if (signedIn) {
            manager->setAccessToken(m_token);
            manager->setUserId(u"u-alice"_s, m_token, u"Alice"_s);
        }
        return manager;
    }

    QTemporaryDir m_dir;
    std::unique_ptr<BTimings::Override> m_timings;
    std::unique_ptr<CloudServerFixture> m_server;
    QString m_token;
    const QSharedPointer<MFile> m_folder = QSharedPointer<MFile>::create(); // the test folder's node

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void editedFileGoesBackAsNewVersion_data();
    void editedFileGoesBackAsNewVersion();
    void cachedCopyIsUsedOnlyWhenCurrent_data();
    void cachedCopyIsUsedOnlyWhenCurrent();
    void endedDownloadOpensNothing_data();
    void endedDownloadOpensNothing();
    void failedUploadDropsRecord();
    void nothingIsSent_data();
    void nothingIsSent();
    void dwgStartsViewer_data();
    void dwgStartsViewer();
};

void TestBFileOpenManager::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // A desktop of the test's own, set before GIO is first used: the test
    // editor is the program for text files, and nothing else is installed.
    const QString data = m_dir.filePath(u"xdg/data"_s);
    const QString config = m_dir.filePath(u"xdg/config"_s);
    qputenv("XDG_DATA_HOME", QFile::encodeName(data));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(m_dir.filePath(u"xdg/none"_s)));
    QVERIFY(QDir().mkpath(data));
    QVERIFY(QFile::link(u"/usr/share/mime"_s, data + u"/mime"_s));
    const QByteArray exec = OPEN_TEST_EDITOR " " + QFile::encodeName(m_dir.filePath(u"control"_s)) + " %f\n";
    QVERIFY(writeAll(data + u"/applications/zyr-test-editor.desktop"_s,
                     "[Desktop Entry]\nType=Application\nName=Test editor\nMimeType=text/plain;\nExec=" + exec));
    QVERIFY(writeAll(config + u"/mimeapps.list"_s, "[Default Applications]\ntext/plain=zyr-test-editor.desktop\n"));

    MFile::fromJson({ { u"isFolder"_s, true }, { u"workspaceId"_s, Workspace }, { u"path"_s, Folder } }, *m_folder);
    ApplicationSettings::setFileCacheLocation(cacheDir());
    ApplicationSettings::setDatabaseLocation(m_dir.filePath(u"db"_s));
    BTimings fast;
    fast.openIdleWaitMs = 300;
    fast.openFallbackSleepMs = 200;
    fast.openExitPollMs = 50;
    fast.openLockPollMs = 100;
    fast.completionPauseMs = 0;
    m_timings = std::make_unique<BTimings::Override>(fast);

    m_server = std::make_unique<CloudServerFixture>();
    QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
    ZYRServiceUtil::setServerUrl(m_server->baseUrl());
    m_token = m_server->signIn();
    QVERIFY(!m_token.isEmpty());
}

void TestBFileOpenManager::cleanup()
{
    QVERIFY(m_server->clearFaults());
    QVERIFY(waitForWorkersAndViewers());
}

void TestBFileOpenManager::editedFileGoesBackAsNewVersion_data()
{
    QTest::addColumn<QByteArray>("mode");
    QTest::addColumn<bool>("parentKnown");
    QTest::addColumn<QByteArray>("again"); // the second opening changes nothing: "look", or sets the time "back"
    QTest::newRow("edited, folder known") << QByteArray("edit") << true << QByteArray("look");
    QTest::newRow("edited, folder asked for") << QByteArray("edit") << false << QByteArray("back");
    QTest::newRow("handed off, a child keeps it open") << QByteArray("hold") << false << QByteArray("look");
    QTest::newRow("handed off, an editor's lock file") << QByteArray("lock") << false << QByteArray("look");
}

void TestBFileOpenManager::editedFileGoesBackAsNewVersion()
{
    QFETCH(QByteArray, mode);
    QFETCH(bool, parentKnown);
    QFETCH(QByteArray, again);
    const QString name = u"%1-%2.txt"_s.arg(QString::fromLatin1(mode)).arg(parentKnown);
    const QByteArray edited = "first line\nedited\n";
    const auto file = putFile(name, "first line\n", parentKnown);
    setMode(mode);
    auto manager = newManager();
    QSignalSpy downloads(manager.get(), &BFileOpenManager::downloadFileStarted);
    QSignalSpy started(manager.get(), &BFileOpenManager::uploadModifiedFileStarted);
    QStringList target;
    MFile newVersion;
    connect(manager.get(), &BFileOpenManager::uploadModifiedFileMetaAvailable, this,
            [&](const QString& workspaceId, const QString& folder, MWeakFile weak) {
                target = QStringList{ workspaceId, folder };
                if (const auto strong = weak.toStrongRef())
                    newVersion = *strong;
            });

    manager->openFile(file);
    if (mode != "edit") {
        // The started program has ended at once, but the file is held: many
        // lock polls later there is still no verdict.
        QTRY_COMPARE_WITH_TIMEOUT(opened().size(), 1, LongWaitMs);
        QVERIFY(!started.wait(1500));
        const QFileInfo held(opened().first());
        QVERIFY(writeAll(control(u"release"_s), QByteArray()));
        QFile::remove(held.dir().filePath(u".~lock."_s + held.fileName() + u'#'));
    }
    QTRY_VERIFY_WITH_TIMEOUT(!newVersion.getId().isEmpty(), LongWaitMs);
    QCOMPARE(target, QStringList({ Workspace, Folder }));
    QCOMPARE(newVersion.getDigest(), sha256(edited));
    QCOMPARE(m_server->request("GET", WorkspaceRoute + "files/" + encoded(newVersion.getId()) + "/content", {}, m_token)
                     .body,
             edited);
    const QString copy = opened().value(0);

    // Looked at again: the cache answers with the edited copy, nothing is
    // sent, and the record stays for a later change.
    setMode(again);
    const auto reopened = QSharedPointer<MFile>::create(newVersion);
    manager->openFile(reopened);
    QTRY_COMPARE_WITH_TIMEOUT(opened(), QStringList{ copy }, LongWaitMs);
    QVERIFY(waitForWorkersAndViewers());
    QCOMPARE(downloads.count(), 1);
    QCOMPARE(started.count(), 1);
    manager->slotOpenFinished(true, true, reopened->getId());
    QCOMPARE(started.value(1), QVariantList{ name });
    QTRY_VERIFY_WITH_TIMEOUT(newVersion.getId() != reopened->getId(), LongWaitMs);
}

void TestBFileOpenManager::cachedCopyIsUsedOnlyWhenCurrent_data()
{
    QTest::addColumn<bool>("current");
    QTest::newRow("current copy elsewhere") << true;
    QTest::newRow("stale copy") << false;
}

void TestBFileOpenManager::cachedCopyIsUsedOnlyWhenCurrent()
{
    QFETCH(bool, current);
    const QString name = u"cached-%1.txt"_s.arg(current);
    const auto file = putFile(name, "cached\n");
    const QString elsewhere = m_dir.filePath(u"elsewhere/"_s + name);
    QVERIFY(writeAll(elsewhere, "cached\n"));
    BFileCacheManager cache;
    QVERIFY(cache.addCacheItem(file->getId(), current ? file->getDigest() : sha256("older"), elsewhere));
    setMode("look");
    auto manager = newManager();
    QSignalSpy downloads(manager.get(), &BFileOpenManager::downloadFileStarted);

    manager->openFile(file);
    QTRY_COMPARE_WITH_TIMEOUT(opened().size(), 1, LongWaitMs);
    QCOMPARE(downloads.count(), current ? 0 : 1);
    // The program always gets a copy in the cache directory, which is registered.
    const QFileInfo copy(opened().first());
    QCOMPARE(copy.absolutePath(), QDir(cacheDir()).absolutePath());
    QCOMPARE(readAll(copy.filePath()), QByteArray("cached\n"));
    MFileCacheItem item;
    QVERIFY(cache.getCacheItem(file, item, cacheDir(), QString()));
    QCOMPARE(FileUtils::concat(item.getLocalDir(), item.getLocalName()), copy.filePath());
}

void TestBFileOpenManager::endedDownloadOpensNothing_data()
{
    QTest::addColumn<bool>("cancel");
    QTest::newRow("cancelled") << true;
    QTest::newRow("failed") << false;
}

void TestBFileOpenManager::endedDownloadOpensNothing()
{
    QFETCH(bool, cancel);
    const auto file = putFile(u"ended-%1.txt"_s.arg(cancel), "ended\n");
    const QString content = QString::fromLatin1(WorkspaceRoute + "files/") + file->getId();
    QVERIFY(!m_server->addFault({ { u"pathPrefix"_s, content },
                                  { cancel ? u"hang"_s : u"status"_s, cancel ? QJsonValue(true) : 500 } })
                     .isEmpty());
    setMode("look");
    auto manager = newManager();
    QSignalSpy progress(manager.get(), &BFileOpenManager::downloadFileProgressUpdated);
    manager->openFile(file);
    if (cancel) {
        const QString partial = cacheDir() + u"/ended-1.txt.zyr"_s;
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(partial), LongWaitMs);
        manager->cancelOpenFile(file->getId());
        QVERIFY(!manager->hasUnfinishedTransferItem(true));
        QTRY_VERIFY(!QFile::exists(partial)); // the stopped download removed it
    } else {
        QTRY_VERIFY_WITH_TIMEOUT(progress.contains(QVariantList({ file->getId(), false, 100 })), LongWaitMs);
    }
    QVERIFY(opened().isEmpty());
}

void TestBFileOpenManager::failedUploadDropsRecord()
{
    const auto file = putFile(u"refused.txt"_s, "refused\n");
    setMode("look");
    auto manager = newManager();
    manager->openFile(file);
    QTRY_COMPARE_WITH_TIMEOUT(opened().size(), 1, LongWaitMs);
    QVERIFY(waitForWorkersAndViewers());
    QSignalSpy finished(manager.get(), &BFileOpenManager::uploadModifiedFileFinished);
    QSignalSpy progress(manager.get(), &BFileOpenManager::downloadFileProgressUpdated);
    QSignalSpy started(manager.get(), &BFileOpenManager::uploadModifiedFileStarted);

    // What the private queue reports when the edited copy's upload fails.
    MFileTransferItem upload = transferItem(false, QString(), opened().first(), Folder + u"/refused.txt"_s);
    manager->slotTransferItemStatusUpdated(&upload, MFileTransferItem::Transferring, MFileTransferItem::Failed);
    QCOMPARE(finished.value(0), QVariantList({ false, opened().first(), Workspace, Folder }));
    QCOMPARE(progress.value(0), QVariantList({ QString(), false, 100 }));
    manager->slotOpenFinished(true, true, file->getId());
    QCOMPARE(started.count(), 0);
}

void TestBFileOpenManager::nothingIsSent_data()
{
    QTest::addColumn<int>("action");
    QTest::newRow("open without access token") << 0;
    QTest::newRow("open a folder") << 1;
    QTest::newRow("change reported for an unknown id") << 2;
    QTest::newRow("upload whose record is gone") << 3;
}

void TestBFileOpenManager::nothingIsSent()
{
    QFETCH(int, action);
    const auto file = putFile(u"quiet.txt"_s, "quiet\n", true);
    // A fault that changes nothing counts the requests to the workspace.
    QVERIFY(!m_server->addFault({ { u"pathPrefix"_s, QString::fromLatin1(WorkspaceRoute) }, { u"times"_s, 1000 } })
                     .isEmpty());
    auto manager = newManager(action != 0);
    QSignalSpy downloads(manager.get(), &BFileOpenManager::downloadFileStarted);
    QSignalSpy started(manager.get(), &BFileOpenManager::uploadModifiedFileStarted);
    MFileTransferItem upload = transferItem(false, QString(), QString(), Folder + u"/quiet.txt"_s);
    if (action < 2)
        manager->openFile(action == 0 ? file : file->getParent());
    else if (action == 2)
        manager->slotOpenFinished(true, true, u"f-unknown"_s);
    else
        manager->slotTransferItemStatusUpdated(&upload, MFileTransferItem::Transferring, MFileTransferItem::Finished);
    // A request sent would reach the server well within a second.
    QVERIFY(!QTest::qWaitFor(
            [&] { return m_server->request("GET", "/admin/faults").json()[u"items"_s][0][u"times"_s].toInt() != 1000; },
            1000));
    QCOMPARE(downloads.count() + started.count(), 0);
}

void TestBFileOpenManager::dwgStartsViewer_data()
{
    QTest::addColumn<QString>("path"); // empty: a download of an id unknown to the manager
    QTest::addColumn<QString>("baseName");
    QTest::addColumn<QString>("revision");
    QTest::newRow("upper case") << u"/open/PLAN.DWG"_s << u"PLAN"_s << u"1"_s;
    QTest::newRow("two dots") << u"/open/archive.tar.dwg"_s << u"archive"_s << u"1"_s;
    QTest::newRow("only an extension") << u"/open/.dwg"_s << u".dwg"_s << u"1"_s;
    // Opened twice: the second time from the cache, with the file's revision.
    QTest::newRow("again, from the cache") << u"/Design/2019/plan.dwg"_s << u"plan"_s << u"3"_s;
    QTest::newRow("unknown id") << QString() << QString() << u"1"_s;
}

void TestBFileOpenManager::dwgStartsViewer()
{
    QFETCH(QString, path);
    QFETCH(QString, baseName);
    QFETCH(QString, revision);
    const QString record = QCoreApplication::applicationDirPath() + u"/qorcad/qorcad.args"_s;
    QFile::remove(record);
    auto manager = newManager();
    QString fileId = u"f-unknown"_s;
    const QString directory = path.isEmpty() ? m_dir.filePath(u"elsewhere"_s) : cacheDir();
    if (path.isEmpty()) {
        MFileTransferItem download = transferItem(true, fileId, directory + u"/unknown.dwg"_s, QString());
        QVERIFY(writeAll(download.getLocalPath(), "dwg"));
        manager->slotTransferItemStatusUpdated(&download, MFileTransferItem::Transferring, MFileTransferItem::Finished);
    } else {
        const auto file = path.startsWith(Folder) ? putFile(FileUtils::getFileName(path), "dwg")
                                                  : fileOf("GET", "meta?path=" + encoded(path));
        fileId = file->getId();
        manager->openFile(file);
        if (!path.startsWith(Folder)) {
            QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(record), LongWaitMs);
            QFile::remove(record);
            manager->openFile(file);
        }
    }
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(record), LongWaitMs);
    const QStringList arguments = QString::fromUtf8(readAll(record)).chopped(1).split(u'\n');
    QCOMPARE(arguments.mid(1),
             QStringList({ m_token, path.isEmpty() ? QString() : Workspace, fileId, u"u-alice"_s, u"Alice"_s, baseName,
                           revision }));
    QCOMPARE(QFileInfo(arguments.value(0)).absolutePath(), QDir(directory).absolutePath());
}

QTEST_GUILESS_MAIN(TestBFileOpenManager)
#include "tst_bfileopenmanager.moc"
