// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "RemoteTree.h"

#include "CloudSession.h"
#include "EventWait.h"

#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MWorkspace.h>

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRController::BTCloudManager;
using ZYRModel::MFile;
using ZYRModel::MWeakFile;

namespace {

struct Privilege {
    const char* name;
    char letter;
};
// In the order of their thresholds; "r" (remove) stands for "delete".
const Privilege Privileges[] = { { "enter", 'e' },  { "view", 'v' },   { "download", 'd' }, { "create", 'c' },
                                 { "update", 'u' }, { "delete", 'r' }, { "grant", 'g' } };

} // namespace

RemoteTree::RemoteTree(CloudSession& session) : m_session(session), m_workspace(session.workspace()) { }

RemoteTree::Node RemoteTree::root() const
{
    return m_workspace->getRootFolder();
}

QStringList RemoteTree::split(const QString& path)
{
    QString copy = path;
    copy.replace(u'\\', u'/');
    return copy.split(u'/', Qt::SkipEmptyParts);
}

QString RemoteTree::normalise(const QString& path)
{
    return u"/"_s + split(path).join(u'/');
}

RemoteTree::Node RemoteTree::node(const QString& path)
{
    Node current = root();
    QString reached;
    for (const QString& name : split(path)) {
        if (!current->getIsFolder())
            throw CliError(ExitCode::Failure, u"not a folder: %1"_s.arg(reached));
        Node child;
        for (const Node& candidate : children(current)) {
            if (candidate->getFileName() == name)
                child = candidate;
        }
        reached += u'/' + name;
        if (!child)
            throw CliError(ExitCode::Failure, u"no such file or folder: %1"_s.arg(reached));
        current = child;
    }
    return current;
}

RemoteTree::Node RemoteTree::folder(const QString& path)
{
    Node found = node(path);
    if (!found->getIsFolder())
        throw CliError(ExitCode::Failure, u"not a folder: %1"_s.arg(normalise(path)));
    return found;
}

QList<RemoteTree::Node> RemoteTree::children(const Node& folder, bool refresh)
{
    if (refresh || !folder->hasStatus(MFile::StatusChildrenLoaded)) {
        BTCloudManager* manager = m_session.manager();
        int status = 1;
        QObject scope;
        QObject::connect(manager, &BTCloudManager::queryChildrenFinished, &scope,
                         [&status, &folder](int answer, const QString&, MWeakFile listed) {
                             if (listed.toStrongRef() == folder) {
                                 status = answer;
                                 EventWait::wake();
                             }
                         });
        if (manager->queryChildren(m_workspace->getId(), folder, false, true)) {
            status = -2;
            m_session.await([&status] { return status != -2; }, u"listing %1"_s.arg(folder->getPath()));
        }
        if (status == 404)
            throw CliError(ExitCode::Failure, u"no such folder: %1"_s.arg(folder->getPath()));
        if (status != 200)
            m_session.fail(u"cannot list %1"_s.arg(folder->getPath()));
    }
    return folder->getChildren();
}

void RemoteTree::walk(const Node& folder, const std::function<void(const Node&, const QString&)>& visit)
{
    const std::function<void(const Node&, const QString&)> descend = [&](const Node& parent, const QString& prefix) {
        for (const Node& child : children(parent)) {
            const QString relative = prefix.isEmpty() ? child->getFileName() : prefix + u'/' + child->getFileName();
            visit(child, relative);
            if (child->getIsFolder())
                descend(child, relative);
        }
    };
    descend(folder, QString());
}

void RemoteTree::loadAttributes(const Node& node)
{
    BTCloudManager* manager = m_session.manager();
    const Node parent = node->getParent();
    if (!parent) {
        // The root's own attributes come with a listing that asks for them.
        int status = -2;
        QObject scope;
        QObject::connect(manager, &BTCloudManager::queryChildrenFinished, &scope,
                         [&status, &node](int answer, const QString&, MWeakFile listed) {
                             if (listed.toStrongRef() == node) {
                                 status = answer;
                                 EventWait::wake();
                             }
                         });
        if (manager->queryChildren(m_workspace->getId(), node, true, true))
            m_session.await([&status] { return status != -2; }, u"reading attributes"_s);
        if (!node->hasStatus(MFile::StatusAttributesLoaded))
            m_session.fail(u"cannot read the attributes of /"_s);
        return;
    }
    bool answered = false;
    QObject scope;
    QObject::connect(manager, &BTCloudManager::childrenAttributesQueried, &scope,
                     [&answered, &parent](MWeakFile folder) {
                         if (folder.toStrongRef() == parent) {
                             answered = true;
                             EventWait::wake();
                         }
                     });
    // The helper reports when every child has answered; a child whose
    // answer failed keeps the attributes it had.
    if (manager->queryChildrenAttributes(parent))
        m_session.await([&answered] { return answered; }, u"reading attributes"_s);
}

void RemoteTree::require(const Node& node, const QString& privilege) const
{
    if (node->hasStatus(MFile::StatusPrivilegesLoaded) && !node->hasPrivilege(privilege))
        throw CliError(ExitCode::NotSignedIn,
                       u"refused: you do not hold the \"%1\" privilege on %2"_s.arg(privilege, node->getPath()));
}

QString RemoteTree::privilegeLetters(const MFile& file)
{
    QString letters;
    for (const Privilege& privilege : Privileges)
        letters += file.hasPrivilege(QLatin1String(privilege.name)) ? QLatin1Char(privilege.letter) : QLatin1Char('-');
    return letters;
}

QJsonObject RemoteTree::toJson(const MFile& file)
{
    QJsonObject object{ { u"id"_s, file.getId() },
                        { u"name"_s, file.getFileName() },
                        { u"path"_s, file.getPath() },
                        { u"type"_s, file.getIsFolder() ? u"folder"_s : u"file"_s },
                        { u"size"_s, file.getSize() },
                        { u"revision"_s, file.getRevisionNumber() },
                        { u"updateTime"_s, file.getUpdateTime().toMSecsSinceEpoch() },
                        { u"privileges"_s, QJsonArray::fromStringList(file.getPrivileges()) } };
    if (!file.getIsFolder())
        object.insert(u"digest"_s, file.getDigest());
    return object;
}

} // namespace Trelan::Oku::ZYRCli
