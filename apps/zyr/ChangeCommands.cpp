// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ChangeCommands.h"

#include "Arguments.h"
#include "CommandContext.h"
#include "Console.h"
#include "EventWait.h"
#include "NameRules.h"

#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MWorkspace.h>

#include <QHash>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRController::BTCloudManager;
using ZYRModel::MFile;
using ZYRModel::MWeakFile;
using Node = RemoteTree::Node;

namespace {

Node childNamed(RemoteTree& tree, const Node& folder, const QString& name)
{
    for (const Node& child : tree.children(folder)) {
        if (child->getFileName() == name)
            return child;
    }
    return Node();
}

// Nodes grouped by their folder, in the order given: the manager takes one
// source folder per call.
QList<QPair<Node, QList<QWeakPointer<MFile>>>> byParent(const QList<Node>& nodes)
{
    QList<QPair<Node, QList<QWeakPointer<MFile>>>> groups;
    for (const Node& node : nodes) {
        const Node parent = node->getParent();
        auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& g) { return g.first == parent; });
        if (group == groups.end())
            groups.append({ parent, { node } });
        else
            group->second.append(node);
    }
    return groups;
}

} // namespace

ChangeCommands::ChangeCommands(CommandContext& context) : m_context(context) { }

RemoteTree& ChangeCommands::signedInTree()
{
    m_context.signedIn(CloudSession::Store::Scratch, true);
    return m_context.tree();
}

void ChangeCommands::report(const QString& message, const QJsonObject& json)
{
    if (m_context.console.json())
        m_results.append(json);
    else
        m_context.console.print(message);
}

void ChangeCommands::publish() const
{
    if (m_context.console.json())
        m_context.console.printJson(m_results);
}

void ChangeCommands::explainRefusal(const Node& folder, const QString& name, const QString& action)
{
    RemoteTree& tree = m_context.tree();
    tree.children(folder, true);
    const QString path = RemoteTree::normalise(folder->getPath() + u'/' + name);
    if (childNamed(tree, folder, name))
        throw CliError(ExitCode::Failure, u"cannot %1: %2 already exists"_s.arg(action, path));
    const QString rule = NameRules::problem(name);
    m_context.session().fail(rule.isEmpty() ? u"the server refused to %1 %2"_s.arg(action, path)
                                            : u"the server refused to %1 \"%2\": %3"_s.arg(action, name, rule));
}

Node ChangeCommands::createFolder(const Node& parent, const QString& name)
{
    RemoteTree& tree = m_context.tree();
    tree.require(parent, u"create"_s);
    CloudSession& session = m_context.session();
    // The node the new folder's data goes into; the tree then holds it.
    auto folder = QSharedPointer<MFile>::create();
    folder->setIsFolder(true);
    const bool done = session.request(
            &BTCloudManager::createFolderFinished,
            [&folder](const QString&, MWeakFile, MWeakFile created, const auto&...) {
                return created.toStrongRef() == folder;
            },
            [&] { return session.manager()->createFolder(tree.workspace()->getId(), parent, folder, name); },
            u"creating %1"_s.arg(name));
    if (!done)
        explainRefusal(parent, name, u"create"_s);
    report(u"created %1/"_s.arg(folder->getPath()), RemoteTree::toJson(*folder));
    return folder;
}

void ChangeCommands::mkdir()
{
    RemoteTree& tree = signedInTree();
    const bool parents = m_context.args.recursive;
    for (const QString& path : m_context.paths()) {
        const QStringList names = RemoteTree::split(path);
        if (names.isEmpty())
            throw CliError(ExitCode::Usage, u"the workspace root exists already"_s);
        Node folder = tree.root();
        for (qsizetype i = 0; i < names.size(); ++i) {
            const bool last = i + 1 == names.size();
            const Node existing = childNamed(tree, folder, names[i]);
            const QString reached = RemoteTree::normalise(names.mid(0, i + 1).join(u'/'));
            if (existing && (!existing->getIsFolder() || (last && !parents)))
                throw CliError(ExitCode::Failure, u"cannot create %1: it already exists"_s.arg(reached));
            if (!existing && !last && !parents)
                throw CliError(ExitCode::Failure, u"no such folder: %1 (use -p to create it)"_s.arg(reached));
            folder = existing ? existing : createFolder(folder, names[i]);
        }
    }
    publish();
}

void ChangeCommands::rm()
{
    RemoteTree& tree = signedInTree();
    QList<Node> nodes;
    for (const QString& path : m_context.paths()) {
        const Node node = tree.node(path);
        if (!node->getParent())
            throw CliError(ExitCode::Usage, u"the workspace root cannot be deleted"_s);
        if (node->getIsFolder() && !m_context.args.recursive)
            throw CliError(ExitCode::Usage,
                           u"%1 is a folder; use -r to delete it with its content"_s.arg(node->getPath()));
        tree.require(node, u"delete"_s);
        nodes.append(node);
    }
    CloudSession& session = m_context.session();
    QHash<const MFile*, QString> paths; // the path is gone with the node
    for (const Node& node : nodes)
        paths.insert(node.data(), node->getPath());
    QHash<const MFile*, bool> answers;
    QObject scope;
    QObject::connect(session.manager(), &BTCloudManager::deleteFilesFinished, &scope,
                     [&answers](bool success, const QString&, MWeakFile, const QList<MWeakFile>& files) {
                         for (const MWeakFile& file : files) {
                             if (const QSharedPointer<MFile> node = file.toStrongRef())
                                 answers.insert(node.data(), success);
                         }
                         EventWait::wake();
                     });
    for (const auto& group : byParent(nodes))
        session.manager()->deleteFiles(tree.workspace()->getId(), group.first, group.second);
    session.await([&] { return answers.size() >= nodes.size(); }, u"deleting"_s);
    for (const Node& node : nodes) {
        if (!answers.value(node.data()))
            session.fail(u"the server refused to delete %1"_s.arg(paths.value(node.data())));
        report(u"deleted %1"_s.arg(paths.value(node.data())), { { u"deleted"_s, paths.value(node.data()) } });
    }
    publish();
}

void ChangeCommands::mv()
{
    copyOrMove(true);
}

void ChangeCommands::cp()
{
    copyOrMove(false);
}

void ChangeCommands::copyOrMove(bool move)
{
    RemoteTree& tree = signedInTree();
    QStringList paths = m_context.paths();
    const Node target = tree.folder(paths.takeLast());
    tree.require(target, u"create"_s);
    const QString verb = move ? u"move"_s : u"copy"_s;
    QList<Node> nodes;
    for (const QString& path : std::as_const(paths)) {
        const Node node = tree.node(path);
        if (!node->getParent())
            throw CliError(ExitCode::Usage, u"the workspace root cannot be %1d"_s.arg(verb));
        if (node->getParent() == target)
            throw CliError(ExitCode::Usage, u"%1 is in %2 already"_s.arg(node->getPath(), target->getPath()));
        if (move)
            tree.require(node, u"delete"_s);
        nodes.append(node);
    }
    CloudSession& session = m_context.session();
    int answers = 0;
    QList<Node> refused;
    QObject scope;
    QObject::connect(session.manager(), &BTCloudManager::addFilesFinished, &scope,
                     [&](bool success, const QString&, MWeakFile parent, const QList<MWeakFile>& files) {
                         if (parent.toStrongRef() != target)
                             return;
                         ++answers;
                         for (const MWeakFile& file : files) {
                             if (!success && file.toStrongRef())
                                 refused.append(file.toStrongRef());
                         }
                         EventWait::wake();
                     });
    QHash<const MFile*, QString> names;
    for (const Node& node : nodes)
        names.insert(node.data(), node->getFileName());
    for (const auto& group : byParent(nodes))
        session.manager()->copyFiles(tree.workspace()->getId(), group.first, target, group.second, move);
    session.await([&] { return answers >= nodes.size(); }, u"%1ing"_s.arg(verb));
    if (!refused.isEmpty())
        explainRefusal(target, refused.constFirst()->getFileName(), verb);
    for (const Node& node : nodes) {
        const QString name = names.value(node.data());
        const QString moved = RemoteTree::normalise(target->getPath() + u'/' + name);
        report(u"%1 %2 to %3"_s.arg(move ? u"moved"_s : u"copied"_s, name, moved),
               { { u"name"_s, name }, { u"path"_s, moved } });
    }
    publish();
}

void ChangeCommands::rename()
{
    RemoteTree& tree = signedInTree();
    const Node node = tree.node(m_context.path());
    const Node parent = node->getParent();
    if (!parent)
        throw CliError(ExitCode::Usage, u"the workspace root cannot be renamed"_s);
    tree.require(node, u"update"_s);
    const QString oldName = node->getFileName();
    const QString oldPath = node->getPath();
    const QString newName = QString::fromStdString(m_context.args.target);
    if (childNamed(tree, parent, newName))
        throw CliError(ExitCode::Failure,
                       u"cannot rename %1: %2 exists already"_s.arg(
                               oldPath, RemoteTree::normalise(parent->getPath() + u'/' + newName)));
    CloudSession& session = m_context.session();
    const bool done = session.request(
            &BTCloudManager::renameFileFinished,
            [&node](const QString&, MWeakFile file, const auto&...) { return file.toStrongRef() == node; },
            [&] { return session.manager()->renameName(tree.workspace()->getId(), node, oldName, newName); },
            u"renaming"_s);
    if (!done)
        explainRefusal(parent, newName, u"rename %1 to"_s.arg(oldPath));
    report(u"renamed %1 to %2"_s.arg(oldPath, newName), RemoteTree::toJson(*node));
    publish();
}

void ChangeCommands::attrGet()
{
    RemoteTree& tree = signedInTree();
    const Node node = tree.node(m_context.path());
    tree.loadAttributes(node);
    const QString key = QString::fromStdString(m_context.args.target);
    const QMap<QString, QString>& attributes = node->getAttributes();
    if (!key.isEmpty() && !attributes.contains(key))
        throw CliError(ExitCode::Failure, u"%1 has no attribute \"%2\""_s.arg(node->getPath(), key));
    QJsonObject json;
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
        if (key.isEmpty() || it.key() == key) {
            json.insert(it.key(), it.value());
            if (!m_context.console.json())
                m_context.console.print(key.isEmpty() ? it.key() + u'=' + it.value() : it.value());
        }
    }
    if (m_context.console.json())
        m_context.console.printJson(json);
}

void ChangeCommands::attrSet()
{
    const QMap<QString, QString> attributes = CommandContext::parseAttributes(m_context.args.attributes);
    RemoteTree& tree = signedInTree();
    const Node node = tree.node(m_context.path());
    tree.require(node, u"update"_s);
    CloudSession& session = m_context.session();
    if (!session.request(
                &BTCloudManager::addAttributesFinished,
                [&node](MWeakFile file, const auto&...) { return file.toStrongRef() == node; },
                [&] { return session.manager()->updateFileAttributes(node, attributes); }, u"setting attributes"_s))
        session.fail(u"the server refused the attributes of %1"_s.arg(node->getPath()));
    QJsonObject json;
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it)
        json.insert(it.key(), it.value());
    report(u"set %1 attribute(s) on %2"_s.arg(attributes.size()).arg(node->getPath()),
           { { u"path"_s, node->getPath() }, { u"attributes"_s, json } });
    publish();
}

} // namespace Trelan::Oku::ZYRCli
