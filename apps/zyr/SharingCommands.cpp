// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "SharingCommands.h"

#include "Arguments.h"
#include "CommandContext.h"
#include "Console.h"
#include "EventWait.h"

#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MWorkspace.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRController::BTCloudManager;
using ZYRModel::MFile;
using ZYRModel::MFileShareLink;
using ZYRModel::MWeakFile;
using LinkPtr = QSharedPointer<MFileShareLink>;

namespace {

const QString Preview = QLatin1String(MFileShareLink::PrivilegePreview);
const QString Download = QLatin1String(MFileShareLink::PrivilegeDownload);

QJsonObject linkJson(const MFileShareLink& link)
{
    return { { u"id"_s, link.getId() },
             { u"url"_s, link.getUrl() },
             { u"fileIds"_s, QJsonArray::fromStringList(link.getFileIds()) },
             { u"password"_s, link.getPassword() },
             { u"expireTime"_s, link.getExpireTime() },
             { u"privileges"_s, QJsonArray::fromStringList(link.getPrivileges()) } };
}

QString rights(const MFileShareLink& link)
{
    QStringList granted;
    if (link.hasPrivilege(Preview))
        granted.append(Preview);
    if (link.hasPrivilege(Download))
        granted.append(Download);
    return granted.isEmpty() ? u"none"_s : granted.join(u'+');
}

} // namespace

SharingCommands::SharingCommands(CommandContext& context) : m_context(context) { }

RemoteTree& SharingCommands::signedInTree()
{
    m_context.signedIn(CloudSession::Store::Scratch, true);
    return m_context.tree();
}

QList<QWeakPointer<MFile>> SharingCommands::nodes(RemoteTree& tree, const QString& privilege)
{
    QList<QWeakPointer<MFile>> files;
    for (const QString& path : m_context.paths()) {
        const RemoteTree::Node node = tree.node(path);
        if (!privilege.isEmpty())
            tree.require(node, privilege);
        files.append(node);
    }
    return files;
}

qint64 SharingCommands::parseExpiry(const QString& text, const QDateTime& now)
{
    if (text.isEmpty() || text == u"never"_s)
        return 0;
    static const QRegularExpression relative(u"^(\\d+)([dh])$"_s);
    const QRegularExpressionMatch match = relative.match(text);
    if (match.hasMatch()) {
        const qint64 count = match.captured(1).toLongLong();
        const qint64 hours = match.captured(2) == u"d"_s ? count * 24 : count;
        return now.addSecs(hours * 3600).toMSecsSinceEpoch();
    }
    const QDate day = QDate::fromString(text, Qt::ISODate);
    if (day.isValid())
        return QDateTime(day, QTime(23, 59, 59)).toMSecsSinceEpoch();
    const QDateTime moment = QDateTime::fromString(text, Qt::ISODate);
    if (moment.isValid())
        return moment.toMSecsSinceEpoch();
    throw CliError(ExitCode::Usage, u"not an expiry: %1 (use 7d, 12h, 2026-12-31 or never)"_s.arg(text));
}

void SharingCommands::favAdd()
{
    changeFavorites(true);
}

void SharingCommands::favRemove()
{
    changeFavorites(false);
}

void SharingCommands::changeFavorites(bool add)
{
    RemoteTree& tree = signedInTree();
    const QList<QWeakPointer<MFile>> files = nodes(tree, u"view"_s);
    CloudSession& session = m_context.session();
    BTCloudManager* manager = session.manager();
    const QString workspaceId = tree.workspace()->getId();
    const bool done = add
            ? session.request(
                    &BTCloudManager::addFavoriteFilesFinished, CloudSession::any,
                    [&] { return manager->addFavoriteFiles(workspaceId, files); }, u"marking favourites"_s)
            : session.request(
                    &BTCloudManager::removeFavoriteFilesFinished, CloudSession::any,
                    [&] { return manager->removeFavoriteFiles(workspaceId, files); }, u"unmarking favourites"_s);
    if (!done)
        session.fail(add ? u"the server refused to mark the favourites"_s : u"the server refused to unmark them"_s);
    QJsonArray paths;
    for (const QWeakPointer<MFile>& file : files) {
        const QString path = file.toStrongRef()->getPath();
        paths.append(path);
        if (!m_context.console.json())
            m_context.console.print(add ? u"marked %1"_s.arg(path) : u"unmarked %1"_s.arg(path));
    }
    if (m_context.console.json())
        m_context.console.printJson(QJsonObject{ { add ? u"added"_s : u"removed"_s, paths } });
}

void SharingCommands::favList()
{
    RemoteTree& tree = signedInTree();
    CloudSession& session = m_context.session();
    if (!session.request(
                &BTCloudManager::queryFavoriteFilesFinished, CloudSession::any,
                [&] { return session.manager()->queryFavoriteFiles(tree.workspace()->getId()); },
                u"reading favourites"_s))
        session.fail(u"cannot read the favourites"_s);
    const QList<QSharedPointer<MFile>>& favorites = tree.workspace()->getFavoriteFiles();
    if (m_context.console.json()) {
        QJsonArray list;
        for (const QSharedPointer<MFile>& file : favorites)
            list.append(RemoteTree::toJson(*file));
        m_context.console.printJson(list);
        return;
    }
    for (const QSharedPointer<MFile>& file : favorites)
        m_context.console.print(file->getIsFolder() ? file->getPath() + u'/' : file->getPath());
}

QList<LinkPtr> SharingCommands::links()
{
    CloudSession& session = m_context.session();
    RemoteTree& tree = m_context.tree();
    if (!session.request(
                &BTCloudManager::queryShareLinksFinished, CloudSession::any,
                [&] { return session.manager()->queryShareLinks(tree.workspace()->getId()); },
                u"reading share links"_s))
        session.fail(u"cannot read the share links"_s);
    return tree.workspace()->getShareLinks();
}

LinkPtr SharingCommands::link(const QString& id)
{
    for (const LinkPtr& candidate : links()) {
        if (candidate->getId() == id || candidate->getToken() == id)
            return candidate;
    }
    throw CliError(ExitCode::Failure, u"no share link \"%1\" of yours in this workspace; see 'zyr share ls'"_s.arg(id));
}

void SharingCommands::printLink(const MFileShareLink& link, const QString& verb) const
{
    if (m_context.console.json()) {
        m_context.console.printJson(linkJson(link));
        return;
    }
    m_context.console.print(u"%1 share link %2"_s.arg(verb, link.getId()));
    QList<QStringList> rows{ { u"url:"_s, link.getUrl() } };
    if (link.getEncrypt())
        rows.append({ u"password:"_s, link.getPassword() });
    rows.append({ u"expires:"_s, link.getExpireTime() > 0 ? Console::time(link.getExpireTime()) : u"never"_s });
    rows.append({ u"allows:"_s, rights(link) });
    m_context.console.printTable(rows);
}

void SharingCommands::shareCreate()
{
    const Arguments& args = m_context.args;
    const qint64 expiry = parseExpiry(QString::fromStdString(args.expires), QDateTime::currentDateTime());
    RemoteTree& tree = signedInTree();
    MFileShareLink request;
    QList<QString> ids;
    for (const QWeakPointer<MFile>& file : nodes(tree, u"download"_s))
        ids.append(file.toStrongRef()->getId());
    request.setFileIds(ids);
    request.setEncrypt(args.withPassword);
    request.setExpireTime(expiry);
    request.setPrivilege(Preview, !args.noPreview);
    request.setPrivilege(Download, !args.noDownload);

    CloudSession& session = m_context.session();
    LinkPtr created;
    const bool done = session.request(
            &BTCloudManager::createShareLinkFinished,
            [&created](const QString&, QWeakPointer<MFileShareLink> link) {
                created = link.toStrongRef();
                return true;
            },
            [&] { return session.manager()->createShareLink(tree.workspace()->getId(), request); },
            u"creating a share link"_s);
    if (!done || !created)
        session.fail(u"the server refused the share link"_s);
    printLink(*created, u"Created"_s);
}

void SharingCommands::shareUpdate()
{
    const Arguments& args = m_context.args;
    if ((args.withPassword && args.noPassword) || (args.preview && args.noPreview)
        || (args.download && args.noDownload))
        throw CliError(ExitCode::Usage, u"contradicting options"_s);
    signedInTree();
    const LinkPtr target = link(QString::fromStdString(args.target));
    MFileShareLink request(*target);
    if (!args.expires.empty())
        request.setExpireTime(parseExpiry(QString::fromStdString(args.expires), QDateTime::currentDateTime()));
    if (args.withPassword || args.noPassword)
        request.setEncrypt(args.withPassword);
    if (args.preview || args.noPreview)
        request.setPrivilege(Preview, args.preview);
    if (args.download || args.noDownload)
        request.setPrivilege(Download, args.download);

    CloudSession& session = m_context.session();
    if (!session.request(
                &BTCloudManager::updateShareLinkFinished, CloudSession::any,
                [&] {
                    return session.manager()->updateShareLink(m_context.tree().workspace()->getId(), request, target);
                },
                u"updating the share link"_s))
        session.fail(u"the server refused to change the share link %1"_s.arg(target->getId()));
    printLink(*target, u"Updated"_s);
}

void SharingCommands::shareList()
{
    signedInTree();
    const QList<LinkPtr> all = links();
    if (m_context.console.json()) {
        QJsonArray list;
        for (const LinkPtr& link : all)
            list.append(linkJson(*link));
        m_context.console.printJson(list);
        return;
    }
    QList<QStringList> rows;
    for (const LinkPtr& link : all) {
        rows.append({ link->getId(), link->getUrl(),
                      link->getExpireTime() > 0 ? Console::time(link->getExpireTime()) : u"never"_s,
                      link->getEncrypt() ? u"password"_s : u"open"_s, rights(*link),
                      u"%1 file(s)"_s.arg(link->getFileIds().size()) });
    }
    m_context.console.printTable(rows);
}

void SharingCommands::shareRemove()
{
    signedInTree();
    QList<QWeakPointer<MFileShareLink>> targets;
    QStringList ids;
    for (const QString& id : m_context.paths()) {
        const LinkPtr found = link(id);
        targets.append(found);
        ids.append(found->getId());
    }
    CloudSession& session = m_context.session();
    if (!session.request(
                &BTCloudManager::removeShareLinksFinished, CloudSession::any,
                [&] { return session.manager()->removeShareLinks(m_context.tree().workspace()->getId(), targets); },
                u"removing share links"_s))
        session.fail(u"the server refused to remove the share links"_s);
    if (m_context.console.json())
        m_context.console.printJson(QJsonObject{ { u"removed"_s, QJsonArray::fromStringList(ids) } });
    else
        m_context.console.print(u"removed %1"_s.arg(ids.join(u", "_s)));
}

} // namespace Trelan::Oku::ZYRCli
