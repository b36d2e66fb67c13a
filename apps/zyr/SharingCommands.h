// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "RemoteTree.h"

#include <ZYRModel/MFileShareLink.h>

#include <QDateTime>
#include <QSharedPointer>

namespace Trelan::Oku::ZYRCli {

class CommandContext;

/// fav add|rm|ls and share create|update|ls|rm.
class SharingCommands {
public:
    explicit SharingCommands(CommandContext& context);

    void favAdd();
    void favRemove();
    void favList();
    void shareCreate();
    void shareUpdate();
    void shareList();
    void shareRemove();

    /// Milliseconds since the epoch for "7d", "12h", "2026-12-31" (the end of
    /// that day) or an ISO date and time; 0 for "never". A usage error for
    /// anything else.
    static qint64 parseExpiry(const QString& text, const QDateTime& now);

private:
    RemoteTree& signedInTree();
    QList<QWeakPointer<ZYRModel::MFile>> nodes(RemoteTree& tree, const QString& privilege);
    void changeFavorites(bool add);
    /// The workspace's links, read from the server.
    QList<QSharedPointer<ZYRModel::MFileShareLink>> links();
    QSharedPointer<ZYRModel::MFileShareLink> link(const QString& id);
    void printLink(const ZYRModel::MFileShareLink& link, const QString& verb) const;

    CommandContext& m_context;
};

} // namespace Trelan::Oku::ZYRCli
