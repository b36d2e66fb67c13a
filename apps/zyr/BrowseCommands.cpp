// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "BrowseCommands.h"

#include "Arguments.h"
#include "CommandContext.h"
#include "Console.h"
#include "EventWait.h"

#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MWorkspace.h>

#include <QJsonArray>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRController::BTCloudManager;
using ZYRModel::MWeakFile;
using Node = RemoteTree::Node;

namespace {

QString displayName(const ZYRModel::MFile& file)
{
    return file.getIsFolder() ? file.getFileName() + u'/' : file.getFileName();
}

QStringList longRow(const ZYRModel::MFile& file)
{
    return { file.getIsFolder() ? u"d"_s : u"-"_s,
             RemoteTree::privilegeLetters(file),
             file.getIsFolder() ? u"-"_s : Console::size(file.getSize()),
             Console::time(file.getUpdateTime().toMSecsSinceEpoch()),
             file.getIsFolder() ? u"-"_s : u"r%1"_s.arg(file.getRevisionNumber()),
             displayName(file) };
}

} // namespace

BrowseCommands::BrowseCommands(CommandContext& context) : m_context(context) { }

RemoteTree& BrowseCommands::signedInTree()
{
    // The user is read so that the privileges held can be shown.
    m_context.signedIn(CloudSession::Store::Scratch, true);
    return m_context.tree();
}

void BrowseCommands::ls()
{
    RemoteTree& tree = signedInTree();
    const Node node = tree.node(m_context.path());
    const QList<Node> entries = node->getIsFolder() ? tree.children(node) : QList<Node>{ node };
    const Console& console = m_context.console;
    if (console.json()) {
        QJsonArray list;
        for (const Node& entry : entries)
            list.append(RemoteTree::toJson(*entry));
        console.printJson(list);
        return;
    }
    QList<QStringList> rows;
    for (const Node& entry : entries)
        rows.append(m_context.args.longListing ? longRow(*entry) : QStringList{ displayName(*entry) });
    console.printTable(rows);
}

void BrowseCommands::tree()
{
    RemoteTree& tree = signedInTree();
    const Node folder = tree.folder(m_context.path());
    if (m_context.console.json()) {
        m_context.console.printJson(treeJson(tree, folder));
        return;
    }
    m_context.console.print(folder->getPath());
    int folders = 0;
    int files = 0;
    printTree(tree, folder, QString(), folders, files);
    m_context.console.print(u"\n%1 folders, %2 files"_s.arg(folders).arg(files));
}

void BrowseCommands::printTree(RemoteTree& tree, const Node& folder, const QString& indent, int& folders, int& files)
{
    const QList<Node> children = tree.children(folder);
    for (qsizetype i = 0; i < children.size(); ++i) {
        const Node& child = children[i];
        const bool last = i + 1 == children.size();
        m_context.console.print(indent + (last ? u"└── "_s : u"├── "_s) + displayName(*child));
        if (child->getIsFolder()) {
            ++folders;
            printTree(tree, child, indent + (last ? u"    "_s : u"│   "_s), folders, files);
        } else {
            ++files;
        }
    }
}

QJsonObject BrowseCommands::treeJson(RemoteTree& tree, const Node& node)
{
    QJsonObject object = RemoteTree::toJson(*node);
    if (node->getIsFolder()) {
        QJsonArray children;
        for (const Node& child : tree.children(node))
            children.append(treeJson(tree, child));
        object.insert(u"children"_s, children);
    }
    return object;
}

void BrowseCommands::stat()
{
    RemoteTree& tree = signedInTree();
    const Node node = tree.node(m_context.path());
    tree.loadAttributes(node);
    QJsonObject attributes;
    QStringList pairs;
    for (auto it = node->getAttributes().cbegin(); it != node->getAttributes().cend(); ++it) {
        attributes.insert(it.key(), it.value());
        pairs.append(it.key() + u'=' + it.value());
    }
    if (m_context.console.json()) {
        QJsonObject object = RemoteTree::toJson(*node);
        object.insert(u"createTime"_s, node->getCreateTime().toMSecsSinceEpoch());
        object.insert(u"attributes"_s, attributes);
        m_context.console.printJson(object);
        return;
    }
    QList<QStringList> rows{ { u"path:"_s, node->getPath() },
                             { u"id:"_s, node->getId() },
                             { u"type:"_s, node->getIsFolder() ? u"folder"_s : u"file"_s } };
    if (!node->getIsFolder()) {
        rows.append({ u"size:"_s, u"%1 (%2 bytes)"_s.arg(Console::size(node->getSize())).arg(node->getSize()) });
        rows.append({ u"revision:"_s, QString::number(node->getRevisionNumber()) });
        rows.append({ u"digest:"_s, node->getDigest() });
    }
    rows.append({ u"created:"_s, Console::time(node->getCreateTime().toMSecsSinceEpoch()) });
    rows.append({ u"updated:"_s, Console::time(node->getUpdateTime().toMSecsSinceEpoch()) });
    rows.append({ u"privileges:"_s, node->getPrivileges().isEmpty() ? u"none"_s : node->getPrivileges().join(u' ') });
    rows.append({ u"attributes:"_s, pairs.isEmpty() ? u"none"_s : pairs.join(u", "_s) });
    m_context.console.printTable(rows);
}

void BrowseCommands::thumbnail()
{
    RemoteTree& tree = signedInTree();
    const Node node = tree.node(m_context.path());
    if (node->getIsFolder())
        throw CliError(ExitCode::Failure, u"%1 is a folder; folders have no thumbnail"_s.arg(node->getPath()));
    tree.require(node, u"view"_s);
    CloudSession& session = m_context.session();
    const bool done = session.request(
            &BTCloudManager::queryFileThumbnailFinished,
            [&node](MWeakFile file, const auto&...) { return file.toStrongRef() == node; },
            [&] { return session.manager()->queryFileThumbnail(tree.workspace()->getId(), node); },
            u"reading the thumbnail"_s);
    if (!done || node->getThumbnailData().isEmpty())
        session.fail(u"%1 has no thumbnail"_s.arg(node->getPath()));

    const QString out = QString::fromStdString(m_context.args.target);
    QSaveFile file(out);
    if (!file.open(QIODevice::WriteOnly) || file.write(node->getThumbnailData()) != node->getThumbnailData().size()
        || !file.commit())
        throw CliError(ExitCode::Failure, u"cannot write %1: %2"_s.arg(out, file.errorString()));
    if (m_context.console.json())
        m_context.console.printJson(QJsonObject{
                { u"path"_s, node->getPath() }, { u"file"_s, out }, { u"bytes"_s, node->getThumbnailData().size() } });
    else
        m_context.console.print(u"Saved the thumbnail of %1 to %2 (%3)."_s.arg(
                node->getPath(), out, Console::size(node->getThumbnailData().size())));
}

void BrowseCommands::viewcode()
{
    RemoteTree& tree = signedInTree();
    const Node node = tree.node(m_context.path());
    if (node->getIsFolder())
        throw CliError(ExitCode::Failure, u"%1 is a folder; only documents have a view code"_s.arg(node->getPath()));
    tree.require(node, u"view"_s);
    CloudSession& session = m_context.session();
    QString code;
    QString url;
    const bool done = session.request(
            &BTCloudManager::queryViewcodeFinished,
            [&](const QString&, MWeakFile file, const QString& viewcode, const QString& viewUrl) {
                code = viewcode;
                url = viewUrl;
                return file.toStrongRef() == node;
            },
            [&] { return session.manager()->queryViewCode(tree.workspace()->getId(), node); },
            u"asking for a view code"_s);
    if (!done)
        session.fail(u"the server gave no view code for %1"_s.arg(node->getPath()));
    if (m_context.console.json()) {
        m_context.console.printJson(
                QJsonObject{ { u"path"_s, node->getPath() }, { u"viewcode"_s, code }, { u"viewURL"_s, url } });
        return;
    }
    m_context.console.printTable({ { u"viewcode:"_s, code }, { u"address:"_s, url } });
}

} // namespace Trelan::Oku::ZYRCli
