// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "RemoteTree.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

namespace Trelan::Oku::ZYRCli {

class CommandContext;

/// mkdir, rm, mv, cp, rename, attr get and attr set: the commands that
/// change the tree, each through the cloud manager's operation.
class ChangeCommands {
public:
    explicit ChangeCommands(CommandContext& context);

    void mkdir();
    void rm();
    void mv();
    void cp();
    void rename();
    void attrGet();
    void attrSet();

private:
    RemoteTree& signedInTree();
    RemoteTree::Node createFolder(const RemoteTree::Node& parent, const QString& name);
    void copyOrMove(bool move);
    /// Ends the command after the server refused to give \a name to a node
    /// in \a folder: already taken, an invalid name, or another reason.
    [[noreturn]] void explainRefusal(const RemoteTree::Node& folder, const QString& name, const QString& action);
    /// A change made: a line for people, a JSON object for --json (printed
    /// together by publish()).
    void report(const QString& message, const QJsonObject& json);
    void publish() const;

    CommandContext& m_context;
    QJsonArray m_results;
};

} // namespace Trelan::Oku::ZYRCli
