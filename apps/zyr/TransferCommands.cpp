// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "TransferCommands.h"

#include "Arguments.h"
#include "CommandContext.h"
#include "Console.h"
#include "EventWait.h"

#include <ZYRCommon/FileUtils.h>
#include <ZYRCommon/TransferItemDBManager.h>
#include <ZYRController/BFileAttributeUpdateHelper.h>
#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MFileTransferItem.h>
#include <ZYRModel/MWorkspace.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>

#include <limits>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRCommon::FileUtils;
using ZYRCommon::TransferItemDBManager;
using ZYRController::BFileAttributeUpdateHelper;
using ZYRController::BTCloudManager;
using ZYRModel::MFileTransferItem;
using Node = RemoteTree::Node;

namespace {

const QString Remark = u"unfinished transfers stay queued ('zyr queue resume' or 'zyr queue retry')"_s;

QString statusName(int status)
{
    static const char* const names[] = { "waiting", "transferring", "finished", "failed", "interrupted" };
    return status >= 0 && status < 5 ? QLatin1String(names[status]) : QString::number(status);
}

QString nameProblem(FileUtils::NameProblem problem)
{
    switch (problem) {
    case FileUtils::NameProblem::Empty:
        return u"it is empty"_s;
    case FileUtils::NameProblem::DotName:
        return u"it is \".\" or \"..\""_s;
    case FileUtils::NameProblem::Separator:
        return u"it contains a path separator"_s;
    case FileUtils::NameProblem::ControlCharacter:
        return u"it contains a control character"_s;
    case FileUtils::NameProblem::TooLong:
        return u"it is too long"_s;
    case FileUtils::NameProblem::None:
        break;
    }
    return QString();
}

// The files below \a dir as the queue uploads them: hidden entries left out.
void listFiles(const QString& dir, QStringList& files)
{
    const QFileInfoList entries = QDir(dir).entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        if (entry.isDir())
            listFiles(entry.absoluteFilePath(), files);
        else
            files.append(entry.absoluteFilePath());
    }
}

QJsonObject recordJson(const MFileTransferItem& item)
{
    return { { u"id"_s, item.getId() },
             { u"direction"_s, item.getIsDownload() ? u"download"_s : u"upload"_s },
             { u"status"_s, statusName(item.getStatus()) },
             { u"localPath"_s, item.getLocalPath() },
             { u"remotePath"_s, item.getRemotePath() },
             { u"workspaceId"_s, item.getWorkspaceId() },
             { u"size"_s, item.getSize() },
             { u"bytesCompleted"_s, item.getBytesCompleted() },
             { u"updateTime"_s, item.getUpdateTime().toMSecsSinceEpoch() } };
}

} // namespace

TransferCommands::TransferCommands(CommandContext& context) : m_context(context) { }

TransferCommands::~TransferCommands() = default;

QString TransferCommands::storedUserId() const
{
    const std::optional<ClientSettings::Session> session = m_context.settings.readSession();
    if (!session || session->userId.isEmpty())
        throw CliError(ExitCode::NotSignedIn, u"not signed in; run 'zyr login ACCOUNT' first"_s);
    return session->userId;
}

int TransferCommands::startQueue()
{
    m_context.lockQueue();
    CloudSession& session = m_context.open(CloudSession::Store::Client);
    // Made first: the queue starts its stored records as soon as the
    // session reads the user.
    m_runner = std::make_unique<TransferRunner>(session, m_context.console);
    session.resume(true);
    const int adopted = m_runner->adoptQueued();
    if (adopted > 0)
        m_context.console.note(u"Resuming %1 earlier transfer(s)."_s.arg(adopted));
    return adopted;
}

void TransferCommands::get()
{
    QStringList remotes = m_context.paths();
    const QString local = remotes.size() > 1 ? remotes.takeLast() : u"."_s;
    const QString localDir = QFileInfo(local).absoluteFilePath();
    if (QFileInfo(localDir).exists() && !QFileInfo(localDir).isDir())
        throw CliError(ExitCode::Usage, u"%1 is not a folder"_s.arg(local));
    if (!QDir().mkpath(localDir))
        throw CliError(ExitCode::Failure, u"cannot create the folder %1"_s.arg(local));
    startQueue();
    RemoteTree& tree = m_context.tree();
    for (const QString& remote : std::as_const(remotes))
        queueDownload(tree, tree.node(remote), localDir);
    finish(u"Nothing to download."_s);
}

void TransferCommands::queueDownload(RemoteTree& tree, const Node& node, const QString& localDir)
{
    BTCloudManager* manager = m_context.session().manager();
    if (!node->getIsFolder()) {
        tree.require(node, u"download"_s);
        const FileUtils::NameProblem problem = FileUtils::checkLocalName(node->getFileName());
        if (problem != FileUtils::NameProblem::None)
            throw CliError(ExitCode::Failure,
                           u"%1 cannot be saved under its name: %2"_s.arg(node->getPath(), nameProblem(problem)));
        manager->downloadFile(node, localDir);
        return;
    }
    // Every name from the server passes the local name check before it
    // becomes part of a path; a folder that fails it is left out whole.
    const QString name = node->getParent() ? node->getFileName() : tree.workspace()->getName();
    if (!FileUtils::isSafeLocalName(name))
        throw CliError(ExitCode::Failure,
                       u"%1 cannot be saved under its name: %2"_s.arg(node->getPath(),
                                                                      nameProblem(FileUtils::checkLocalName(name))));
    const QString root = localDir + u'/' + name;
    QDir().mkpath(root);
    QStringList skipped;
    tree.walk(node, [&](const Node& child, const QString& relative) {
        const QString parentRelative = relative.left(qMax<qsizetype>(0, relative.lastIndexOf(u'/')));
        for (const QString& prefix : std::as_const(skipped)) {
            if (relative.startsWith(prefix + u'/'))
                return;
        }
        const FileUtils::NameProblem problem = FileUtils::checkLocalName(child->getFileName());
        if (problem != FileUtils::NameProblem::None
            || (!child->getIsFolder() && !child->hasPrivilege(u"download"_s)
                && child->hasStatus(ZYRModel::MFile::StatusPrivilegesLoaded))) {
            skipped.append(relative);
            m_context.console.error(u"skipped %1: %2"_s.arg(child->getPath(),
                                                            problem != FileUtils::NameProblem::None
                                                                    ? nameProblem(problem)
                                                                    : u"you do not hold the \"download\" privilege"_s));
            return;
        }
        const QString target = parentRelative.isEmpty() ? root : root + u'/' + parentRelative;
        if (child->getIsFolder())
            QDir().mkpath(target + u'/' + child->getFileName());
        else
            manager->downloadFile(child, target);
    });
}

void TransferCommands::put()
{
    QStringList locals = m_context.paths();
    const QString remote = locals.size() > 1 ? locals.takeLast() : u"/"_s;
    QStringList absolute;
    for (const QString& local : std::as_const(locals)) {
        const QFileInfo info(local);
        if (!info.exists())
            throw CliError(ExitCode::Failure, u"no such local file or folder: %1"_s.arg(local));
        absolute.append(info.absoluteFilePath());
    }
    const QMap<QString, QString> attributes = CommandContext::parseAttributes(m_context.args.attributes);
    startQueue();
    RemoteTree& tree = m_context.tree();
    const Node target = tree.folder(remote);
    tree.require(target, u"create"_s);
    BTCloudManager* manager = m_context.session().manager();
    if (attributes.isEmpty()) {
        manager->uploadFiles(absolute, tree.workspace()->getId(), target->getPath());
        finish(u"Nothing to upload (empty folders are not created)."_s);
        return;
    }
    QMap<QString, QMap<QString, QString>> byFile;
    for (const QString& path : std::as_const(absolute)) {
        QStringList files;
        if (QFileInfo(path).isDir())
            listFiles(path, files);
        else
            files.append(path);
        for (const QString& file : std::as_const(files))
            byFile.insert(file, attributes);
    }
    QObject scope;
    QObject::connect(manager->getFileAttributeUpdateHelper(), &BFileAttributeUpdateHelper::addAttributesByPathFinished,
                     &scope, [this] {
                         ++m_attributesAdded;
                         EventWait::wake();
                     });
    manager->uploadFilesWithAttributes(absolute, tree.workspace()->getId(), target->getPath(), byFile);
    finish(u"Nothing to upload (empty folders are not created)."_s);
    waitForAttributes(int(byFile.size()));
}

void TransferCommands::waitForAttributes(int expected)
{
    CloudSession& session = m_context.session();
    try {
        session.await([&] { return m_attributesAdded >= expected; }, u"adding attributes"_s);
    } catch (const CliError& error) {
        if (error.code() == ExitCode::Interrupted)
            throw;
    }
    if (m_attributesAdded < expected)
        session.fail(u"the attributes of %1 of %2 uploaded files were not confirmed; see 'zyr attr get'"_s
                             .arg(expected - m_attributesAdded)
                             .arg(expected));
    m_context.console.note(u"Attributes added to %1 file(s)."_s.arg(expected));
}

void TransferCommands::finish(const QString& nothingMessage)
{
    const int earlierFailed = m_runner->failedEarlier();
    if (m_runner->tracked() == 0) {
        if (m_context.console.json())
            m_context.console.printJson(TransferRunner::Summary().toJson());
        else
            m_context.console.note(nothingMessage);
    } else {
        const TransferRunner::Summary summary = m_runner->run();
        if (m_context.console.json()) {
            m_context.console.printJson(summary.toJson());
        } else {
            const double seconds = qMax<qint64>(1, summary.milliseconds) / 1000.0;
            m_context.console.note(u"Done: %1 file(s), %2 in %3 s (%4/s)."_s.arg(summary.finished)
                                           .arg(Console::size(summary.bytes))
                                           .arg(seconds, 0, 'f', 1)
                                           .arg(Console::size(qint64(double(summary.bytes) / seconds))));
        }
        if (summary.failed > 0)
            m_context.session().fail(u"%1 of %2 transfers did not finish; %3"_s.arg(summary.failed)
                                             .arg(summary.failed + summary.finished)
                                             .arg(Remark),
                                     ExitCode::Failure, Remark);
    }
    if (earlierFailed > 0)
        m_context.console.note(
                u"%1 transfer(s) that failed earlier stay queued; 'zyr queue retry' tries them again."_s.arg(
                        earlierFailed));
}

void TransferCommands::queueList()
{
    const QString userId = storedUserId();
    TransferItemDBManager store{ QString(), QString() };
    QList<MFileTransferItem> records;
    store.getUnfinishedItems(userId, records);
    if (m_context.args.all)
        store.getFinishedItems(userId, records, ZYRController::BFileTransferManager::MAX_FINISHED_LOADED);
    if (m_context.console.json()) {
        QJsonArray list;
        for (const MFileTransferItem& record : std::as_const(records))
            list.append(recordJson(record));
        m_context.console.printJson(list);
        return;
    }
    if (records.isEmpty()) {
        m_context.console.print(u"The transfer queue is empty."_s);
        return;
    }
    QList<QStringList> rows;
    for (const MFileTransferItem& record : std::as_const(records)) {
        const qint64 size = record.getSize();
        const int percent = size > 0 ? int(qMin<qint64>(100, record.getBytesCompleted() * 100 / size)) : 100;
        rows.append({ statusName(record.getStatus()), record.getIsDownload() ? u"get"_s : u"put"_s,
                      record.getStatus() == MFileTransferItem::Finished
                              ? Console::size(size)
                              : u"%1% of %2"_s.arg(percent).arg(Console::size(size)),
                      record.getIsDownload() ? record.getLocalPath() : record.getRemotePath() });
    }
    m_context.console.printTable(rows);
}

void TransferCommands::queueResume()
{
    startQueue();
    finish(u"Nothing to resume: no transfer is waiting or interrupted."_s);
}

void TransferCommands::queueRetry()
{
    startQueue();
    const int retried = m_runner->retryFailed();
    if (retried > 0)
        m_context.console.note(u"Retrying %1 failed transfer(s)."_s.arg(retried));
    finish(u"Nothing to retry."_s);
}

void TransferCommands::queueClear()
{
    const QString userId = storedUserId();
    m_context.lockQueue();
    TransferItemDBManager store{ QString(), QString() };
    QList<MFileTransferItem> finished;
    store.getFinishedItems(userId, finished, std::numeric_limits<int>::max());
    QList<MFileTransferItem> unfinished;
    if (m_context.args.all)
        store.getUnfinishedItems(userId, unfinished);
    QList<MFileTransferItem*> doomed;
    for (MFileTransferItem& record : finished)
        doomed.append(&record);
    for (MFileTransferItem& record : unfinished) {
        // A cancelled download's partial file has no use any more.
        if (record.getIsDownload())
            QFile::remove(record.getLocalPath() + u".zyr"_s);
        doomed.append(&record);
    }
    if (!doomed.isEmpty() && !store.deleteItems(doomed))
        throw CliError(ExitCode::Failure, u"cannot change the transfer store %1"_s.arg(store.databasePath()));
    if (m_context.console.json()) {
        m_context.console.printJson(
                QJsonObject{ { u"removedFinished"_s, finished.size() }, { u"cancelled"_s, unfinished.size() } });
        return;
    }
    m_context.console.print(
            m_context.args.all ? u"Removed %1 finished and cancelled %2 unfinished transfer(s)."_s.arg(finished.size())
                                         .arg(unfinished.size())
                               : u"Removed %1 finished transfer(s)."_s.arg(finished.size()));
}

} // namespace Trelan::Oku::ZYRCli
