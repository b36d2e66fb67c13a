// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "RemoteTree.h"

#include <QJsonObject>

namespace Trelan::Oku::ZYRCli {

class CommandContext;

/// ls, tree, stat, thumbnail, viewcode: reading the workspace's tree.
class BrowseCommands {
public:
    explicit BrowseCommands(CommandContext& context);

    void ls();
    void tree();
    void stat();
    void thumbnail();
    void viewcode();

private:
    RemoteTree& signedInTree();
    void printTree(RemoteTree& tree, const RemoteTree::Node& folder, const QString& indent, int& folders, int& files);
    QJsonObject treeJson(RemoteTree& tree, const RemoteTree::Node& node);

    CommandContext& m_context;
};

} // namespace Trelan::Oku::ZYRCli
