// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "CloudSession.h"

#include <QLockFile>
#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>
#include <string>
#include <vector>

namespace Trelan::Oku::ZYRCli {

struct Arguments;
class ClientSettings;
class Console;
class RemoteTree;

/// What every command works with: its arguments, the settings, the console
/// and, made on demand, the cloud session and the workspace's tree.
class CommandContext {
public:
    CommandContext(const Arguments& args, ClientSettings& settings, const Console& console);
    ~CommandContext();

    const Arguments& args;
    ClientSettings& settings;
    const Console& console;

    /// The cloud manager, not signed in yet.
    CloudSession& open(CloudSession::Store store);
    /// open(), then the kept session with the workspaces (and the user when
    /// \a withUser).
    CloudSession& signedIn(CloudSession::Store store, bool withUser);
    /// The session made by open() or signedIn().
    CloudSession& session() { return *m_session; }
    /// The tree of the command's workspace (signedIn() first).
    RemoteTree& tree();
    /// Only one zyr at a time runs the transfer queue: the lock is held
    /// until the command ends. Ends the command when another zyr holds it.
    void lockQueue();

    QString path() const;
    QStringList paths() const;
    /// KEY=VALUE arguments as a map; a usage error for anything else.
    static QMap<QString, QString> parseAttributes(const std::vector<std::string>& pairs);

private:
    std::unique_ptr<QLockFile> m_queueLock; // released after the session
    std::unique_ptr<CloudSession> m_session;
    std::unique_ptr<RemoteTree> m_tree;
};

} // namespace Trelan::Oku::ZYRCli
