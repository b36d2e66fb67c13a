// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include <QStringList>

#include <iostream>

namespace Trelan::Oku::ZYRCli {

namespace {

const char* const Description = "zyr: the command-line client of the ZYR cloud document store.\n"
                                "Sign in once, then browse, upload, download and share files of a workspace.";

CLI::App* group(CLI::App& parent, const std::string& name, const std::string& description)
{
    CLI::App* sub = parent.add_subcommand(name, description);
    sub->require_subcommand(1);
    return sub;
}

} // namespace

const char* CommandLine::exitStatusText()
{
    return "Exit status:\n"
           "  0    success\n"
           "  1    the operation failed (unknown path, refused name, failed transfer)\n"
           "  2    usage error\n"
           "  3    not signed in, session expired, wrong password or missing privilege\n"
           "  4    server unreachable or not answering in time\n"
           "  130  interrupted (Ctrl-C); unfinished transfers stay queued";
}

CommandLine::CommandLine() : m_app(std::make_unique<CLI::App>(Description, "zyr"))
{
    CLI::App& app = *m_app;
    // Global options may also follow the subcommand ("zyr ls --json").
    app.fallthrough();
    app.require_subcommand(1);
    app.set_version_flag("--version", ZYR_VERSION);
    app.footer(exitStatusText());
    app.add_option("-s,--server", m_args.server,
                   "Server address, e.g. http://127.0.0.1:8080 (else $ZYR_SERVER, else the one signed in to)");
    app.add_option("-w,--workspace", m_args.workspace, "Workspace id or name for this command (see 'zyr use')");
    app.add_flag("--json", m_args.json, "Machine-readable output of listings and summaries");
    app.add_flag("-q,--quiet", m_args.quiet, "Print nothing but errors");
    app.add_option("--timeout", m_args.timeoutSeconds,
                   "Seconds a request may go without any answer before the server counts as unreachable "
                   "(default 30)")
            ->check(CLI::Range(1, 3600))
            ->option_text("SECONDS");

    addAccountCommands();
    addBrowseCommands();
    addChangeCommands();
    addTransferCommands();
    addSharingCommands();
    addDesktopCommands();
}

CommandLine::~CommandLine() = default;

void CommandLine::addAccountCommands()
{
    CLI::App& app = *m_app;
    CLI::App* login = app.add_subcommand("login", "Sign in; the session is kept for later commands");
    login->add_option("account", m_args.account, "Account name")->required();
    login->add_option("-p,--password", m_args.password,
                      "Password (visible to other users of this machine; prefer the prompt or --password-stdin)");
    login->add_flag("--password-stdin", m_args.passwordStdin, "Read the password from the first line of stdin");
    app.add_subcommand("logout", "Sign out: forget the session kept on this machine");
    app.add_subcommand("whoami", "The signed-in user, the workspaces and their quota");
    app.add_subcommand("workspaces", "List the workspaces of the account");
    CLI::App* use = app.add_subcommand("use", "Choose the workspace later commands work in");
    use->add_option("workspace", m_args.target, "Workspace id or name")->required();
}

void CommandLine::addBrowseCommands()
{
    CLI::App& app = *m_app;
    CLI::App* ls = app.add_subcommand("ls", "List a folder");
    ls->add_flag("-l,--long", m_args.longListing, "With size, date, revision and the privileges held");
    ls->add_option("path", m_args.path, "Remote folder or file (default: the workspace root)");
    CLI::App* tree = app.add_subcommand("tree", "Show a folder tree");
    tree->add_option("path", m_args.path, "Remote folder (default: the workspace root)");
    CLI::App* stat = app.add_subcommand("stat", "Everything known about one file or folder");
    stat->add_option("path", m_args.path, "Remote path")->required();
    CLI::App* thumbnail = app.add_subcommand("thumbnail", "Save a file's thumbnail image");
    thumbnail->add_option("path", m_args.path, "Remote file")->required();
    thumbnail->add_option("out", m_args.target, "Local file to write the image to")->required();
    CLI::App* viewcode = app.add_subcommand("viewcode", "A one-time view code and address of a document");
    viewcode->add_option("path", m_args.path, "Remote file")->required();
}

void CommandLine::addChangeCommands()
{
    CLI::App& app = *m_app;
    CLI::App* mkdir = app.add_subcommand("mkdir", "Create folders");
    mkdir->add_flag("-p,--parents", m_args.recursive, "Create missing parent folders too; no error if it exists");
    mkdir->add_option("paths", m_args.paths, "Remote folders to create")->required();
    CLI::App* rm = app.add_subcommand("rm", "Delete files and folders");
    rm->add_flag("-r,--recursive", m_args.recursive, "Delete folders with everything in them");
    rm->add_option("paths", m_args.paths, "Remote paths")->required();
    CLI::App* mv = app.add_subcommand("mv", "Move files and folders into a folder");
    mv->add_option("paths", m_args.paths, "SOURCE... FOLDER")->required()->expected(2, -1);
    CLI::App* cp = app.add_subcommand("cp", "Copy files and folders into a folder");
    cp->add_option("paths", m_args.paths, "SOURCE... FOLDER")->required()->expected(2, -1);
    CLI::App* rename = app.add_subcommand("rename", "Give a file or folder a new name in its folder");
    rename->add_option("path", m_args.path, "Remote path")->required();
    rename->add_option("name", m_args.target, "New name")->required();
}

void CommandLine::addTransferCommands()
{
    CLI::App& app = *m_app;
    CLI::App* get = app.add_subcommand("get", "Download files and folders through the transfer queue");
    get->add_option("paths", m_args.paths, "REMOTE... [LOCALDIR]")->required();
    get->footer("With more than one argument the last one is the local folder (default: the current folder).\n"
                "Ctrl-C stops; 'zyr queue resume' finishes what was left.");
    CLI::App* put = app.add_subcommand("put", "Upload local files and folders through the transfer queue");
    put->add_option("paths", m_args.paths, "LOCAL... [REMOTEDIR]")->required();
    put->footer("With more than one argument the last one is the remote folder (default: the workspace root).\n"
                "Hidden files and empty folders are not uploaded. Ctrl-C stops; 'zyr queue resume' finishes what "
                "was left.");
    put->add_option("--attr", m_args.attributes, "Attribute KEY=VALUE for every uploaded file (repeatable)");

    CLI::App* queue = app.add_subcommand("queue", "List the transfer queue kept on this machine");
    queue->add_flag("-a,--all", m_args.all, "Also the finished transfers");
    queue->add_subcommand("resume", "Finish the interrupted and waiting transfers");
    queue->add_subcommand("retry", "Try the failed transfers again, then finish the queue");
    CLI::App* clear = queue->add_subcommand("clear", "Forget the finished transfers");
    clear->add_flag("-a,--all", m_args.all, "Also cancel every unfinished one (partial downloads are deleted)");
}

void CommandLine::addSharingCommands()
{
    CLI::App& app = *m_app;
    CLI::App* fav = group(app, "fav", "Favourite files");
    fav->add_subcommand("add", "Mark as favourites")->add_option("paths", m_args.paths, "Remote paths")->required();
    fav->add_subcommand("rm", "Unmark")->add_option("paths", m_args.paths, "Remote paths")->required();
    fav->add_subcommand("ls", "List the favourites of the workspace");

    CLI::App* share = group(app, "share", "Share links");
    const char* expiresHelp = "Expiry: a number of days (7d), hours (12h), a date (2026-12-31) or 'never'";
    CLI::App* create = share->add_subcommand("create", "Create one link for the given files");
    create->add_option("paths", m_args.paths, "Remote files")->required();
    create->add_option("--expires", m_args.expires, expiresHelp);
    create->add_flag("--password", m_args.withPassword, "Protect the link with a password (the server makes it)");
    create->add_flag("--no-preview", m_args.noPreview, "Do not allow previews");
    create->add_flag("--no-download", m_args.noDownload, "Do not allow downloads");
    CLI::App* update = share->add_subcommand("update", "Change a link's expiry, password or rights");
    update->add_option("id", m_args.target, "Link id (see 'zyr share ls')")->required();
    update->add_option("--expires", m_args.expires, expiresHelp);
    update->add_flag("--password", m_args.withPassword, "Protect the link with a password");
    update->add_flag("--no-password", m_args.noPassword, "Remove the password");
    update->add_flag("--preview", m_args.preview, "Allow previews");
    update->add_flag("--no-preview", m_args.noPreview, "Do not allow previews");
    update->add_flag("--download", m_args.download, "Allow downloads");
    update->add_flag("--no-download", m_args.noDownload, "Do not allow downloads");
    share->add_subcommand("ls", "List your share links in the workspace");
    share->add_subcommand("rm", "Remove share links")->add_option("ids", m_args.paths, "Link ids")->required();

    CLI::App* attr = group(app, "attr", "File attributes");
    CLI::App* attrGet = attr->add_subcommand("get", "Show the attributes of a file or folder");
    attrGet->add_option("path", m_args.path, "Remote path")->required();
    attrGet->add_option("key", m_args.target, "Only this attribute");
    CLI::App* attrSet = attr->add_subcommand("set", "Set attributes of a file or folder");
    attrSet->add_option("path", m_args.path, "Remote path")->required();
    attrSet->add_option("attributes", m_args.attributes, "KEY=VALUE...")->required();
}

void CommandLine::addDesktopCommands()
{
    CLI::App& app = *m_app;
    CLI::App* edit = app.add_subcommand(
            "edit",
            "Open a file in the desktop's program for it, wait until the program is closed and upload "
            "the changed file as a new version");
    edit->add_option("path", m_args.path, "Remote file")->required();

    CLI::App* backup = group(app, "backup", "Local backup of chosen workspaces");
    CLI::App* config = backup->add_subcommand("config", "Show or change the backup settings");
    config->add_option("--dir", m_args.backupDir, "Local directory the backups go to");
    config->add_option("--workspaces", m_args.backupWorkspaces, "Workspace ids or names to back up ('' for none)");
    config->add_option("--time", m_args.backupTime, "Time of day of the daily backup, HH:MM");
    config->add_flag("--auto", m_args.autoBackup, "Mark the daily backup as on");
    config->add_flag("--no-auto", m_args.noAutoBackup, "Mark the daily backup as off");
    backup->add_subcommand("run", "Back up the chosen workspaces now");

    CLI::App* update = group(app, "update", "Newer versions of the desktop client");
    const char* listHelp = "Address of the version list (default: /downloads/versions.xml on the server)";
    const char* currentHelp = "Version to compare with (default: this client's)";
    CLI::App* check = update->add_subcommand("check", "Tell whether a newer version exists");
    check->add_option("--list", m_args.listAddress, listHelp);
    check->add_option("--current", m_args.currentVersion, currentHelp);
    CLI::App* download = update->add_subcommand("download", "Download the newer version's installer");
    download->add_option("--list", m_args.listAddress, listHelp);
    download->add_option("--current", m_args.currentVersion, currentHelp);
    download->add_option("-o,--output", m_args.outputDir, "Folder to put the installer in");

    CLI::App* cache = group(app, "cache", "Copies kept for editing");
    cache->add_subcommand("size", "Bytes held by the cache");
    cache->add_subcommand("clear", "Empty the cache");

    CLI::App* completion = app.add_subcommand("completion", "Print the shell completion script");
    completion->group("Documentation");
    completion->add_option("shell", m_args.shell, "Shell (bash)")->check(CLI::IsMember({ "bash" }));
    app.add_subcommand("man", "Print the manual page (roff)")->group("Documentation");
}

int CommandLine::parse(int argc, char** argv)
{
    try {
        m_app->parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return m_app->exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return m_app->exit(e);
    } catch (const CLI::CallForVersion& e) {
        return m_app->exit(e);
    } catch (const CLI::ParseError& e) {
        std::cerr << "zyr: " << e.what() << "\nRun 'zyr --help' or 'zyr COMMAND --help' for more information.\n";
        return 2;
    }
    return -1;
}

QString CommandLine::command() const
{
    QStringList names;
    const CLI::App* current = m_app.get();
    while (current) {
        const std::vector<CLI::App*> chosen = current->get_subcommands();
        current = chosen.empty() ? nullptr : chosen.front();
        if (current)
            names.append(QString::fromStdString(current->get_name()));
    }
    return names.join(QLatin1Char(' '));
}

} // namespace Trelan::Oku::ZYRCli
