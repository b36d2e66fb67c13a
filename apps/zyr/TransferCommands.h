// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "RemoteTree.h"
#include "TransferRunner.h"

#include <QString>
#include <QStringList>

#include <memory>

namespace Trelan::Oku::ZYRCli {

class CommandContext;

/// get, put and the queue commands: every transfer goes through the user's
/// persisted transfer queue, so that one interrupted (Ctrl-C, a crash, a
/// lost network) is finished by 'zyr queue resume'.
class TransferCommands {
public:
    explicit TransferCommands(CommandContext& context);
    ~TransferCommands();

    void get();
    void put();
    void queueList();
    void queueResume();
    void queueRetry();
    void queueClear();

private:
    /// Takes the queue lock, signs in with the client's store and adopts
    /// what the queue loaded; returns how many earlier transfers run along.
    int startQueue();
    void queueDownload(RemoteTree& tree, const RemoteTree::Node& node, const QString& localDir);
    void waitForAttributes(int expected);
    void finish(const QString& nothingMessage);
    QString storedUserId() const;

    CommandContext& m_context;
    std::unique_ptr<TransferRunner> m_runner;
    int m_attributesAdded = 0;
};

} // namespace Trelan::Oku::ZYRCli
