// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QString>

namespace Trelan::Oku::ZYRCli {

class CommandContext;

/// login, logout, whoami, workspaces, use.
class AccountCommands {
public:
    explicit AccountCommands(CommandContext& context);

    void login();
    void logout();
    void whoami();
    void workspaces();
    void use();

private:
    QString password() const;

    CommandContext& m_context;
};

} // namespace Trelan::Oku::ZYRCli
