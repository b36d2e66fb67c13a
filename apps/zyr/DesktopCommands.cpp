// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "DesktopCommands.h"

#include "Arguments.h"
#include "CommandContext.h"
#include "Console.h"
#include "EventWait.h"
#include "RemoteTree.h"

#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BFileBackupWorker.h>
#include <ZYRController/BFileOpenManager.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRController/BVersionUpdater.h>
#include <ZYRModel/MWorkspace.h>

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTimer>

#include <limits>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRController::BFileBackupManager;
using ZYRController::BFileBackupWorker;
using ZYRController::BFileOpenManager;
using ZYRController::BTCloudManager;
using ZYRController::BVersionUpdater;
using ZYRModel::MWeakFile;

namespace {

constexpr int NoTimeLimit = std::numeric_limits<int>::max();
const QString DefaultVersionList = u"/downloads/versions.xml"_s;

struct DirectoryUsage {
    qint64 files = 0;
    qint64 bytes = 0;
};

DirectoryUsage usageOf(const QString& dir)
{
    DirectoryUsage usage;
    QDirIterator it(dir, QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        ++usage.files;
        usage.bytes += it.fileInfo().size();
    }
    return usage;
}

} // namespace

DesktopCommands::DesktopCommands(CommandContext& context) : m_context(context) { }

// ---- edit ------------------------------------------------------------------------

void DesktopCommands::edit()
{
    // The client's store: the copies opened for editing are cache records.
    // The user is not read, so the transfer queue stays as it is.
    CloudSession& session = m_context.signedIn(CloudSession::Store::Client, false);
    RemoteTree& tree = m_context.tree();
    const RemoteTree::Node node = tree.node(m_context.path());
    if (node->getIsFolder())
        throw CliError(ExitCode::Usage, u"%1 is a folder; only files can be edited"_s.arg(node->getPath()));
    if (ZYRCommon::FileUtils::getFileExtension(node->getFileName(), true).toLower() == u".dwg"_s)
        throw CliError(ExitCode::Failure,
                       u"drawings (.dwg) open in the desktop client's CAD viewer, which uploads "
                       "them itself; zyr cannot edit them"_s);
    const QString fileId = node->getId();
    const QString name = node->getFileName();
    BFileOpenManager* opener = session.manager()->getFileOpenManager();

    enum class State { Opening, Closed, Uploading, Uploaded, Failed } state = State::Opening;
    bool started = true;
    bool modified = false;
    qint64 revision = 0;
    QString failure;
    QObject scope;
    QObject::connect(opener, &BFileOpenManager::downloadFileStarted, &scope, [&](const QString& id) {
        if (id == fileId)
            m_context.console.note(u"Downloading %1 …"_s.arg(name));
    });
    QObject::connect(opener, &BFileOpenManager::downloadFileProgressUpdated, &scope,
                     [&](const QString& id, bool ok, int) {
                         if (id != fileId || ok)
                             return;
                         failure = state == State::Uploading ? u"the upload of the changed %1 failed"_s.arg(name)
                                                             : u"the download of %1 failed"_s.arg(name);
                         state = State::Failed;
                         EventWait::wake();
                     });
    QObject::connect(opener, &BFileOpenManager::openFinished, &scope,
                     [&](bool success, bool changed, const QString& id) {
                         if (id != fileId)
                             return;
                         started = success;
                         modified = changed;
                         state = success && changed ? State::Uploading : State::Closed;
                         EventWait::wake();
                     });
    QObject::connect(
            opener, &BFileOpenManager::uploadModifiedFileFinished, &scope, [&](bool success, const QString& localPath) {
                if (!success) {
                    failure = u"the upload of the changed %1 failed; the edited copy is %2"_s.arg(name, localPath);
                    state = State::Failed;
                    EventWait::wake();
                }
            });
    QObject::connect(opener, &BFileOpenManager::uploadModifiedFileMetaAvailable, &scope,
                     [&](const QString&, const QString&, MWeakFile file) {
                         const RemoteTree::Node uploaded = file.toStrongRef();
                         if (!uploaded || uploaded->getFileName() != name)
                             return;
                         revision = uploaded->getRevisionNumber();
                         state = State::Uploaded;
                         EventWait::wake();
                     });

    opener->openFile(node);
    m_context.console.note(u"Opening %1 in its program; zyr waits until the program is closed (Ctrl-C stops "
                           "waiting)."_s.arg(node->getPath()));
    // The program may stay open for hours: no time limit, only Ctrl-C.
    EventWait::until([&] { return state != State::Opening; }, NoTimeLimit, u"editing"_s);
    if (state == State::Uploading) {
        m_context.console.note(u"Uploading the changed file …"_s);
        EventWait::until([&] { return state != State::Uploading; }, NoTimeLimit, u"uploading"_s);
    }
    if (state == State::Failed)
        session.fail(failure);
    if (!started)
        throw CliError(ExitCode::Failure,
                       u"no program could be started for %1; set the desktop's default program "
                       "for its type (xdg-mime default)"_s.arg(name));
    QJsonObject json{ { u"path"_s, node->getPath() }, { u"modified"_s, modified } };
    if (state == State::Uploaded)
        json.insert(u"revision"_s, revision);
    if (m_context.console.json())
        m_context.console.printJson(json);
    else if (state == State::Uploaded)
        m_context.console.print(u"Uploaded the changed %1 as revision %2."_s.arg(node->getPath()).arg(revision));
    else
        m_context.console.print(u"%1 was closed without changes; nothing was uploaded."_s.arg(node->getPath()));
}

// ---- backup ----------------------------------------------------------------------

BFileBackupManager DesktopCommands::loadBackupSettings() const
{
    const ClientSettings& settings = m_context.settings;
    BFileBackupManager backup;
    backup.setBackupDir(settings.value(u"backup/dir"_s));
    backup.setAutoBackup(settings.value(u"backup/auto"_s) == u"true"_s);
    backup.setAutoBackupTime(QTime::fromString(settings.value(u"backup/time"_s), u"HH:mm"_s));
    for (const QString& id : settings.list(u"backup/workspaces"_s))
        backup.addWorkspaceIdToBackup(id);
    return backup;
}

void DesktopCommands::saveBackupSettings(const BFileBackupManager& backup) const
{
    ClientSettings& settings = m_context.settings;
    settings.setValue(u"backup/dir"_s, backup.getBackupDir());
    settings.setValue(u"backup/auto"_s, backup.isAutoBackup() ? u"true"_s : u"false"_s);
    settings.setValue(u"backup/time"_s, backup.getAutoBackupTime().toString(u"HH:mm"_s));
    QStringList ids(backup.getWorkspaceIdsToBackup().cbegin(), backup.getWorkspaceIdsToBackup().cend());
    ids.sort();
    settings.setList(u"backup/workspaces"_s, ids);
}

void DesktopCommands::printBackupSettings(const BFileBackupManager& backup) const
{
    QStringList ids(backup.getWorkspaceIdsToBackup().cbegin(), backup.getWorkspaceIdsToBackup().cend());
    ids.sort();
    const QString time = backup.getAutoBackupTime().toString(u"HH:mm"_s);
    if (m_context.console.json()) {
        m_context.console.printJson(QJsonObject{ { u"dir"_s, backup.getBackupDir() },
                                                 { u"workspaces"_s, QJsonArray::fromStringList(ids) },
                                                 { u"time"_s, time },
                                                 { u"auto"_s, backup.isAutoBackup() } });
        return;
    }
    m_context.console.printTable(
            { { u"directory:"_s, backup.getBackupDir().isEmpty() ? u"-"_s : backup.getBackupDir() },
              { u"workspaces:"_s, ids.isEmpty() ? u"none"_s : ids.join(u", "_s) },
              { u"daily at:"_s, time },
              { u"daily backup:"_s, backup.isAutoBackup() ? u"on"_s : u"off"_s } });
    if (backup.isAutoBackup()) {
        m_context.console.note(u"zyr does not stay in the background: let cron run it, e.g. \"%1 %2 * * * zyr "
                               "backup run\"."_s.arg(backup.getAutoBackupTime().minute())
                                       .arg(backup.getAutoBackupTime().hour()));
    }
}

void DesktopCommands::backupConfig()
{
    const Arguments& args = m_context.args;
    BFileBackupManager backup = loadBackupSettings();
    if (!args.backupDir.empty())
        backup.setBackupDir(QFileInfo(QString::fromStdString(args.backupDir)).absoluteFilePath());
    if (!args.backupTime.empty()) {
        const QTime time = QTime::fromString(QString::fromStdString(args.backupTime), u"H:mm"_s);
        if (!time.isValid())
            throw CliError(ExitCode::Usage,
                           u"not a time of day HH:MM: %1"_s.arg(QString::fromStdString(args.backupTime)));
        backup.setAutoBackupTime(time);
    }
    if (args.autoBackup && args.noAutoBackup)
        throw CliError(ExitCode::Usage, u"--auto and --no-auto contradict each other"_s);
    if (args.autoBackup || args.noAutoBackup)
        backup.setAutoBackup(args.autoBackup);
    if (!args.backupWorkspaces.empty()) {
        const QSet<QString> old = backup.getWorkspaceIdsToBackup();
        for (const QString& id : old)
            backup.removeWorkspaceIdToBackup(id);
        QStringList wanted;
        for (const std::string& entry : args.backupWorkspaces) {
            if (!entry.empty())
                wanted.append(QString::fromStdString(entry));
        }
        if (!wanted.isEmpty()) {
            // Names are turned into ids: the backup keeps ids, which last.
            CloudSession& session = m_context.signedIn(CloudSession::Store::Scratch, false);
            for (const QString& name : std::as_const(wanted)) {
                const ZYRModel::MWorkspace* workspace = session.findWorkspace(name);
                if (!workspace)
                    throw CliError(ExitCode::Failure, u"no workspace \"%1\" in this account"_s.arg(name));
                backup.addWorkspaceIdToBackup(workspace->getId());
            }
        }
    }
    saveBackupSettings(backup);
    printBackupSettings(backup);
}

void DesktopCommands::backupRun()
{
    const BFileBackupManager backup = loadBackupSettings();
    if (backup.getBackupDir().isEmpty())
        throw CliError(ExitCode::Usage, u"no backup directory; set one with 'zyr backup config --dir DIR'"_s);
    if (backup.getWorkspaceIdsToBackup().isEmpty())
        m_context.console.note(u"No workspace is chosen for the backup ('zyr backup config --workspaces …')."_s);
    // Signing in first says early whether the session and the server work;
    // the backup's cache records go to the client's store.
    CloudSession& session = m_context.signedIn(CloudSession::Store::Client, false);
    const ClientSettings::Session& kept = session.session();
    BFileBackupWorker worker(kept.userId, kept.accessToken, backup.getBackupDir(), backup.getWorkspaceIdsToBackup());
    int result = -1;
    QObject scope;
    QObject::connect(&worker, &BFileBackupWorker::backupFinished, &scope, [&result](bool success) {
        result = success ? 1 : 0;
        EventWait::wake();
    });
    QElapsedTimer elapsed;
    elapsed.start();
    const bool terminal = m_context.console.interactive();
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, &scope, [&] {
        // The backup reports no progress of its own: what has arrived in
        // the backup directory is shown.
        const DirectoryUsage usage = usageOf(backup.getBackupDir());
        m_context.console.write(u"\r\x1b[KBacking up: %1 files, %2 in %3 (%4)"_s.arg(usage.files)
                                        .arg(Console::size(usage.bytes), backup.getBackupDir(),
                                             Console::duration(elapsed.elapsed() / 1000)));
    });
    if (terminal)
        ticker.start(1000);
    worker.start();
    try {
        EventWait::until([&result] { return result != -1; }, NoTimeLimit, u"backing up"_s);
    } catch (const CliError&) {
        if (terminal)
            m_context.console.write(u"\r\x1b[K"_s);
        throw;
    }
    worker.wait();
    if (terminal)
        m_context.console.write(u"\r\x1b[K"_s);
    const DirectoryUsage usage = usageOf(backup.getBackupDir());
    if (result != 1)
        session.fail(u"the backup did not complete; %1 files are in %2"_s.arg(usage.files).arg(backup.getBackupDir()));
    if (m_context.console.json()) {
        m_context.console.printJson(QJsonObject{ { u"dir"_s, backup.getBackupDir() },
                                                 { u"files"_s, usage.files },
                                                 { u"bytes"_s, usage.bytes },
                                                 { u"seconds"_s, double(elapsed.elapsed()) / 1000.0 } });
        return;
    }
    m_context.console.print(u"Backup complete: %1 files, %2 in %3 (%4)."_s.arg(usage.files)
                                    .arg(Console::size(usage.bytes), backup.getBackupDir(),
                                         Console::duration(elapsed.elapsed() / 1000)));
}

// ---- update ----------------------------------------------------------------------

bool DesktopCommands::checkVersion(BVersionUpdater& updater)
{
    CloudSession& session = m_context.open(CloudSession::Store::Scratch);
    QString list = QString::fromStdString(m_context.args.listAddress);
    if (list.isEmpty())
        list = m_context.settings.value(u"update/list"_s);
    if (list.isEmpty())
        list = DefaultVersionList;
    if (list.startsWith(u'/') && session.serverUrl().isEmpty())
        throw CliError(ExitCode::Usage,
                       u"the version list %1 needs a server address (--server or ZYR_SERVER)"_s.arg(list));
    const QString current = m_context.args.currentVersion.empty()
            ? QStringLiteral(ZYR_VERSION)
            : QString::fromStdString(m_context.args.currentVersion);
    int available = -1;
    QObject scope;
    QObject::connect(&updater, &BVersionUpdater::versionAvailable, &scope, [&available](bool newer) {
        available = newer ? 1 : 0;
        EventWait::wake();
    });
    updater.checkNewVersion(list, current);
    session.await([&available] { return available != -1; }, u"reading the version list"_s);
    if (!m_context.args.listAddress.empty())
        m_context.settings.setValue(u"update/list"_s, list);
    if (available == 1)
        m_context.console.note(u"A newer version is available: %1 (this is %2)%3."_s.arg(
                updater.getNewVersion(), current,
                updater.getIsForceUpdate() ? u"; the update is required"_s : QString()));
    else
        // The updater reports a list it could not read as one without a
        // newer version.
        m_context.console.note(u"No newer version than %1 found at %2."_s.arg(current, list));
    return available == 1;
}

void DesktopCommands::updateCheck()
{
    BVersionUpdater updater;
    const bool newer = checkVersion(updater);
    if (m_context.console.json())
        m_context.console.printJson(QJsonObject{ { u"newVersion"_s, newer },
                                                 { u"version"_s, updater.getNewVersion() },
                                                 { u"forceUpdate"_s, updater.getIsForceUpdate() },
                                                 { u"url"_s, updater.getNewVersionUrl() } });
}

void DesktopCommands::updateDownload()
{
    BVersionUpdater updater;
    if (!checkVersion(updater))
        throw CliError(ExitCode::Failure, u"there is no newer version to download"_s);
    int percent = 0;
    int completions = 0; // the last progress and the end both report 100
    bool failed = false;
    QObject scope;
    QObject::connect(&updater, &BVersionUpdater::downloadNewVersionProgressUpdated, &scope, [&](bool ok, int value) {
        percent = value;
        failed = !ok;
        if (value >= 100)
            ++completions;
        if (m_context.console.interactive())
            m_context.console.write(u"\r\x1b[KDownloading %1: %2%"_s.arg(updater.getNewVersion()).arg(value));
        EventWait::wake();
    });
    if (!updater.updateNewVersion())
        throw CliError(ExitCode::Failure, u"cannot write the installer into %1"_s.arg(updater.getInstallFile()));
    CloudSession& session = m_context.session();
    EventWait::until([&] { return failed || completions >= 2; }, NoTimeLimit, u"downloading"_s);
    if (m_context.console.interactive())
        m_context.console.write(u"\r\x1b[K"_s);
    if (failed)
        session.fail(u"the download of the installer failed"_s);
    QString installer = updater.getInstallFile();
    if (!m_context.args.outputDir.empty()) {
        const QString dir = QString::fromStdString(m_context.args.outputDir);
        const QString target = QDir(dir).absoluteFilePath(QFileInfo(installer).fileName());
        QDir().mkpath(dir);
        QFile::remove(target);
        if (!QFile::copy(installer, target))
            throw CliError(ExitCode::Failure, u"cannot copy the installer to %1"_s.arg(target));
        installer = target;
    }
    const qint64 size = QFileInfo(installer).size();
    if (m_context.console.json())
        m_context.console.printJson(QJsonObject{
                { u"version"_s, updater.getNewVersion() }, { u"file"_s, installer }, { u"bytes"_s, size } });
    else
        m_context.console.print(
                u"Downloaded version %1 (%2) to %3."_s.arg(updater.getNewVersion(), Console::size(size), installer));
}

// ---- cache -----------------------------------------------------------------------

void DesktopCommands::cacheSize()
{
    const qint64 size
            = m_context.open(CloudSession::Store::Client).manager()->getFileOpenManager()->getCachedFileSize();
    if (m_context.console.json())
        m_context.console.printJson(QJsonObject{ { u"bytes"_s, size } });
    else
        m_context.console.print(u"The cache of files opened for editing holds %1."_s.arg(Console::size(size)));
}

void DesktopCommands::cacheClear()
{
    BFileOpenManager* opener = m_context.open(CloudSession::Store::Client).manager()->getFileOpenManager();
    const qint64 size = opener->getCachedFileSize();
    opener->clearAllCaches();
    if (m_context.console.json())
        m_context.console.printJson(QJsonObject{ { u"freedBytes"_s, size } });
    else
        m_context.console.print(u"Cache emptied (%1 freed)."_s.arg(Console::size(size)));
}

} // namespace Trelan::Oku::ZYRCli
