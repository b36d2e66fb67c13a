// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "Dispatcher.h"

#include "AccountCommands.h"
#include "BrowseCommands.h"
#include "ChangeCommands.h"
#include "CommandContext.h"
#include "CommandLine.h"
#include "Console.h"
#include "DesktopCommands.h"
#include "ParserDocs.h"
#include "SharingCommands.h"
#include "TransferCommands.h"

#include <QHash>

#include <functional>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

namespace {

using Handler = std::function<void(CommandContext&)>;

template <typename Group, typename Method>
Handler bind(Method method)
{
    return [method](CommandContext& context) {
        Group group(context);
        (group.*method)();
    };
}

const QHash<QString, Handler>& handlers()
{
    static const QHash<QString, Handler> table{
        { u"login"_s, bind<AccountCommands>(&AccountCommands::login) },
        { u"logout"_s, bind<AccountCommands>(&AccountCommands::logout) },
        { u"whoami"_s, bind<AccountCommands>(&AccountCommands::whoami) },
        { u"workspaces"_s, bind<AccountCommands>(&AccountCommands::workspaces) },
        { u"use"_s, bind<AccountCommands>(&AccountCommands::use) },
        { u"ls"_s, bind<BrowseCommands>(&BrowseCommands::ls) },
        { u"tree"_s, bind<BrowseCommands>(&BrowseCommands::tree) },
        { u"stat"_s, bind<BrowseCommands>(&BrowseCommands::stat) },
        { u"thumbnail"_s, bind<BrowseCommands>(&BrowseCommands::thumbnail) },
        { u"viewcode"_s, bind<BrowseCommands>(&BrowseCommands::viewcode) },
        { u"mkdir"_s, bind<ChangeCommands>(&ChangeCommands::mkdir) },
        { u"rm"_s, bind<ChangeCommands>(&ChangeCommands::rm) },
        { u"mv"_s, bind<ChangeCommands>(&ChangeCommands::mv) },
        { u"cp"_s, bind<ChangeCommands>(&ChangeCommands::cp) },
        { u"rename"_s, bind<ChangeCommands>(&ChangeCommands::rename) },
        { u"attr get"_s, bind<ChangeCommands>(&ChangeCommands::attrGet) },
        { u"attr set"_s, bind<ChangeCommands>(&ChangeCommands::attrSet) },
        { u"get"_s, bind<TransferCommands>(&TransferCommands::get) },
        { u"put"_s, bind<TransferCommands>(&TransferCommands::put) },
        { u"queue"_s, bind<TransferCommands>(&TransferCommands::queueList) },
        { u"queue resume"_s, bind<TransferCommands>(&TransferCommands::queueResume) },
        { u"queue retry"_s, bind<TransferCommands>(&TransferCommands::queueRetry) },
        { u"queue clear"_s, bind<TransferCommands>(&TransferCommands::queueClear) },
        { u"fav add"_s, bind<SharingCommands>(&SharingCommands::favAdd) },
        { u"fav rm"_s, bind<SharingCommands>(&SharingCommands::favRemove) },
        { u"fav ls"_s, bind<SharingCommands>(&SharingCommands::favList) },
        { u"share create"_s, bind<SharingCommands>(&SharingCommands::shareCreate) },
        { u"share update"_s, bind<SharingCommands>(&SharingCommands::shareUpdate) },
        { u"share ls"_s, bind<SharingCommands>(&SharingCommands::shareList) },
        { u"share rm"_s, bind<SharingCommands>(&SharingCommands::shareRemove) },
        { u"edit"_s, bind<DesktopCommands>(&DesktopCommands::edit) },
        { u"backup config"_s, bind<DesktopCommands>(&DesktopCommands::backupConfig) },
        { u"backup run"_s, bind<DesktopCommands>(&DesktopCommands::backupRun) },
        { u"update check"_s, bind<DesktopCommands>(&DesktopCommands::updateCheck) },
        { u"update download"_s, bind<DesktopCommands>(&DesktopCommands::updateDownload) },
        { u"cache size"_s, bind<DesktopCommands>(&DesktopCommands::cacheSize) },
        { u"cache clear"_s, bind<DesktopCommands>(&DesktopCommands::cacheClear) },
    };
    return table;
}

} // namespace

int Dispatcher::run(const CommandLine& commandLine)
{
    const Arguments& args = commandLine.arguments();
    const Console console(args.json, args.quiet);
    const QString command = commandLine.command();
    if (command == u"completion"_s) {
        console.write(ParserDocs::bashCompletion(commandLine.app()));
        return 0;
    }
    if (command == u"man"_s) {
        console.write(ParserDocs::manPage(commandLine.app()));
        return 0;
    }
    const Handler handler = handlers().value(command);
    if (!handler) {
        console.error(u"no command \"%1\"; run 'zyr --help'"_s.arg(command));
        return int(ExitCode::Usage);
    }
    try {
        // The context ends (and with it the session, which writes the
        // transfer queue back) before a failure is reported.
        ClientSettings settings;
        CommandContext context(args, settings, console);
        handler(context);
    } catch (const CliError& error) {
        console.error(error.message());
        return int(error.code());
    }
    return 0;
}

} // namespace Trelan::Oku::ZYRCli
