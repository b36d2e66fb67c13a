// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "AccountCommands.h"

#include "Arguments.h"
#include "CommandContext.h"
#include "Console.h"
#include "EventWait.h"

#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspace.h>
#include <ZYRModel/MWorkspaceQuota.h>

#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>
#include <iostream>
#include <string>

#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRController::BTCloudManager;
using ZYRModel::MWorkspace;

namespace {

QString readLine()
{
    std::string line;
    std::getline(std::cin, line);
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return QString::fromStdString(line);
}

// Asks on the terminal without echoing what is typed.
QString promptHidden(const char* prompt)
{
    std::fputs(prompt, stderr);
    std::fflush(stderr);
    termios saved = {};
    const bool hidden = tcgetattr(STDIN_FILENO, &saved) == 0;
    if (hidden) {
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    const QString answer = readLine();
    if (hidden)
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    std::fputs("\n", stderr);
    return answer;
}

QString roleOf(const MWorkspace& workspace)
{
    return workspace.getRole().isEmpty() ? u"-"_s : workspace.getRole();
}

QJsonObject workspaceJson(const MWorkspace& workspace, bool active)
{
    QJsonObject object{ { u"id"_s, workspace.getId() },
                        { u"name"_s, workspace.getName() },
                        { u"role"_s, workspace.getRole() },
                        { u"default"_s, workspace.isDefaultWorkspace() },
                        { u"active"_s, active } };
    if (const ZYRModel::MWorkspaceQuota* quota = workspace.getQuota()) {
        object.insert(u"quota"_s,
                      QJsonObject{ { u"usedSize"_s, quota->getUsedSize() },
                                   { u"totalSize"_s, quota->getTotalSize() },
                                   { u"fileCount"_s, quota->getFileCount() } });
    }
    return object;
}

// The workspace later commands use, without failing when the one chosen
// earlier is gone (these commands are how the user chooses another).
MWorkspace* chosenWorkspace(CommandContext& context, CloudSession& session)
{
    const QString wanted = context.args.workspace.empty() ? context.settings.value(u"workspace"_s)
                                                          : QString::fromStdString(context.args.workspace);
    MWorkspace* workspace = wanted.isEmpty() ? nullptr : session.findWorkspace(wanted);
    return workspace ? workspace : session.manager()->getActiveWorkspace();
}

} // namespace

AccountCommands::AccountCommands(CommandContext& context) : m_context(context) { }

QString AccountCommands::password() const
{
    if (!m_context.args.password.empty())
        return QString::fromStdString(m_context.args.password);
    if (m_context.args.passwordStdin || !Console::stdinIsTerminal())
        return readLine();
    return promptHidden("Password: ");
}

void AccountCommands::login()
{
    const QString account = QString::fromStdString(m_context.args.account);
    const QString secret = password();
    const std::optional<ClientSettings::Session> previous = m_context.settings.readSession();
    CloudSession& session = m_context.open(CloudSession::Store::Scratch);
    session.login(account, secret);
    // A workspace chosen for another account means nothing to this one.
    if (!previous || previous->account != account)
        m_context.settings.setValue(u"workspace"_s, QString());

    const ZYRModel::MUser* user = session.manager()->getCurrentUser();
    MWorkspace* active = chosenWorkspace(m_context, session);
    if (m_context.console.json()) {
        m_context.console.printJson(
                QJsonObject{ { u"server"_s, session.serverUrl().toString() },
                             { u"user"_s, user->toJson() },
                             { u"workspace"_s, active ? workspaceJson(*active, true) : QJsonObject() } });
        return;
    }
    m_context.console.print(
            u"Signed in to %1 as %2 (%3)."_s.arg(session.serverUrl().toString(), user->getDisplayName(), account));
    if (active)
        m_context.console.print(u"Workspace: %1 (%2)"_s.arg(active->getName(), active->getId()));
}

void AccountCommands::logout()
{
    const bool had = m_context.settings.readSession().has_value();
    m_context.settings.removeSession();
    // The interface has no sign-out request: the token is forgotten here
    // and ends on the server when it expires.
    if (m_context.console.json())
        m_context.console.printJson(QJsonObject{ { u"signedOut"_s, had } });
    else
        m_context.console.print(had ? u"Signed out."_s : u"Not signed in."_s);
}

void AccountCommands::whoami()
{
    CloudSession& session = m_context.signedIn(CloudSession::Store::Scratch, true);
    BTCloudManager* manager = session.manager();
    const QList<MWorkspace*> workspaces = *manager->getWorkspaces();
    int answers = 0;
    QObject scope;
    QObject::connect(manager, &BTCloudManager::queryWorkspaceQuotaFinished, &scope, [&answers] {
        ++answers;
        EventWait::wake();
    });
    int asked = 0;
    for (MWorkspace* workspace : workspaces)
        asked += manager->queryWorkspaceQuota(workspace->getId()) ? 1 : 0;
    session.await([&] { return answers >= asked; }, u"reading the quota"_s);

    const ZYRModel::MUser* user = manager->getCurrentUser();
    MWorkspace* active = chosenWorkspace(m_context, session);
    if (m_context.console.json()) {
        QJsonArray list;
        for (const MWorkspace* workspace : workspaces)
            list.append(workspaceJson(*workspace, workspace == active));
        m_context.console.printJson(QJsonObject{ { u"server"_s, session.serverUrl().toString() },
                                                 { u"user"_s, user->toJson() },
                                                 { u"workspaces"_s, list } });
        return;
    }
    m_context.console.print(
            u"%1 (%2), %3, id %4"_s.arg(user->getFullName(), user->getAccount(), user->getEmail(), user->getId()));
    m_context.console.print(u"Server: %1"_s.arg(session.serverUrl().toString()));
    QList<QStringList> rows;
    for (const MWorkspace* workspace : workspaces) {
        const ZYRModel::MWorkspaceQuota* quota = workspace->getQuota();
        const QString usage = quota
                ? u"%1 of %2 used, %3 files"_s
                          .arg(Console::size(quota->getUsedSize()), Console::size(quota->getTotalSize()))
                          .arg(quota->getFileCount())
                : u"quota unknown"_s;
        rows.append({ workspace == active ? u"*"_s : u" "_s, workspace->getName(), workspace->getId(),
                      roleOf(*workspace), usage });
    }
    m_context.console.printTable(rows);
}

void AccountCommands::workspaces()
{
    CloudSession& session = m_context.signedIn(CloudSession::Store::Scratch, false);
    const QList<MWorkspace*> workspaces = *session.manager()->getWorkspaces();
    MWorkspace* active = chosenWorkspace(m_context, session);
    if (m_context.console.json()) {
        QJsonArray list;
        for (const MWorkspace* workspace : workspaces)
            list.append(workspaceJson(*workspace, workspace == active));
        m_context.console.printJson(list);
        return;
    }
    QList<QStringList> rows;
    for (const MWorkspace* workspace : workspaces) {
        rows.append({ workspace == active ? u"*"_s : u" "_s, workspace->getName(), workspace->getId(),
                      roleOf(*workspace), workspace->isDefaultWorkspace() ? u"default"_s : QString() });
    }
    m_context.console.printTable(rows);
}

void AccountCommands::use()
{
    CloudSession& session = m_context.signedIn(CloudSession::Store::Scratch, false);
    const QString wanted = QString::fromStdString(m_context.args.target);
    MWorkspace* workspace = session.findWorkspace(wanted);
    if (!workspace)
        throw CliError(ExitCode::Failure, u"no workspace \"%1\" in this account; see 'zyr workspaces'"_s.arg(wanted));
    m_context.settings.setValue(u"workspace"_s, workspace->getId());
    if (m_context.console.json())
        m_context.console.printJson(workspaceJson(*workspace, true));
    else
        m_context.console.print(u"Using %1 (%2)."_s.arg(workspace->getName(), workspace->getId()));
}

} // namespace Trelan::Oku::ZYRCli
