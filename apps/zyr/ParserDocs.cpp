// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ParserDocs.h"

#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include <QList>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

namespace {

struct Command {
    QString path; ///< "" for zyr itself, "queue resume", ...
    const CLI::App* app;
};

QString text(const std::string& s)
{
    return QString::fromStdString(s);
}

void collect(const CLI::App* app, const QString& path, QList<Command>& commands)
{
    commands.append({ path, app });
    for (const CLI::App* sub : app->get_subcommands([](const CLI::App*) { return true; })) {
        const QString name = text(sub->get_name());
        collect(sub, path.isEmpty() ? name : path + u' ' + name, commands);
    }
}

QList<Command> commands(const CLI::App& app)
{
    QList<Command> list;
    collect(&app, QString(), list);
    return list;
}

QStringList optionNames(const CLI::Option* option)
{
    QStringList names;
    for (const std::string& name : option->get_snames())
        names.append(u"-"_s + text(name));
    for (const std::string& name : option->get_lnames())
        names.append(u"--"_s + text(name));
    return names;
}

QStringList words(const CLI::App* app)
{
    QStringList list;
    for (const CLI::App* sub : app->get_subcommands([](const CLI::App*) { return true; }))
        list.append(text(sub->get_name()));
    for (const CLI::Option* option : app->get_options())
        list += optionNames(option);
    return list;
}

// Text for roff: backslashes escaped, no line taken for a request.
QString roff(const QString& input)
{
    QString escaped = input;
    escaped.replace(u'\\', u"\\e"_s);
    escaped.replace(u'-', u"\\-"_s);
    QStringList lines = escaped.split(u'\n');
    for (QString& line : lines) {
        if (line.startsWith(u'.') || line.startsWith(u'\''))
            line.prepend(u"\\&"_s);
    }
    return lines.join(u'\n');
}

QString optionItems(const CLI::App* app)
{
    QString page;
    for (const CLI::Option* option : app->get_options()) {
        QStringList names;
        for (const QString& name : optionNames(option))
            names.append(u"\\fB"_s + roff(name) + u"\\fR"_s);
        if (app->get_parent() && option->get_name() == "--help")
            continue; // every command has it; said once in the description
        QString term = names.isEmpty() ? u"\\fI"_s + roff(text(option->get_name())) + u"\\fR"_s : names.join(u", "_s);
        const std::string value
                = option->get_option_text().empty() ? option->get_type_name() : option->get_option_text();
        if (!names.isEmpty() && !value.empty())
            term += u" \\fI"_s + roff(text(value)) + u"\\fR"_s;
        page += u".TP\n"_s + term + u'\n' + roff(text(option->get_description())) + u'\n';
    }
    return page;
}

} // namespace

QString ParserDocs::bashCompletion(const CLI::App& app)
{
    const QList<Command> all = commands(app);
    QStringList paths;
    for (const Command& command : all) {
        if (!command.path.isEmpty())
            paths.append(u'/' + QString(command.path).replace(u' ', u'/'));
    }
    const QStringList globals = words(&app).filter(u"-"_s);
    QString script = u"# bash completion for zyr, written by 'zyr completion bash' from its parser.\n"
                     "_zyr()\n{\n"
                     "    local cur=\"${COMP_WORDS[COMP_CWORD]}\" path=\"\" word i words\n"
                     "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
                     "        word=\"${COMP_WORDS[i]}\"\n"
                     "        case \"$path/$word\" in\n"
                     "            "_s
            + paths.join(u'|') + u") path=\"$path/$word\" ;;\n        esac\n    done\n    case \"$path\" in\n"_s;
    for (const Command& command : all) {
        QStringList choices = words(command.app);
        if (!command.path.isEmpty())
            choices += globals;
        choices.removeDuplicates();
        script += u"        \"%1\") words=\"%2\" ;;\n"_s.arg(
                command.path.isEmpty() ? QString() : u'/' + QString(command.path).replace(u' ', u'/'),
                choices.join(u' '));
    }
    script += u"    esac\n"
              "    COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
              "}\n"
              "complete -o default -F _zyr zyr\n"_s;
    return script;
}

QString ParserDocs::manPage(const CLI::App& app)
{
    QString page = u".TH ZYR 1 \"\" \"zyr %1\" \"User Commands\"\n"_s.arg(QStringLiteral(ZYR_VERSION));
    page += u".SH NAME\nzyr \\- the command\\-line client of the ZYR cloud document store\n"_s;
    page += u".SH SYNOPSIS\n.B zyr\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n"_s;
    page += u".SH DESCRIPTION\n"_s + roff(text(app.get_description())) + u'\n';
    page += u"Every command has its own \\fB\\-\\-help\\fR. Global options may also follow the command.\n"_s;
    page += u".SH OPTIONS\n"_s + optionItems(&app);
    page += u".SH COMMANDS\n"_s;
    for (const Command& command : commands(app)) {
        if (command.path.isEmpty())
            continue;
        QString usage = u"zyr "_s + command.path;
        for (const CLI::Option* option : command.app->get_options()) {
            if (option->get_positional())
                usage += u' ' + text(option->get_name()).toUpper();
        }
        page += u".SS \""_s + roff(usage) + u"\"\n"_s + roff(text(command.app->get_description())) + u'\n';
        page += optionItems(command.app);
    }
    QString exitStatus = QString::fromLatin1(CommandLine::exitStatusText()).section(u'\n', 1);
    page += u".SH \"EXIT STATUS\"\n.nf\n"_s + roff(exitStatus) + u"\n.fi\n"_s;
    page += u".SH ENVIRONMENT\n"
            ".TP\n\\fBZYR_SERVER\\fR\nServer address when \\fB\\-\\-server\\fR is not given.\n"
            ".TP\n\\fBZYR_DATA_DIR\\fR\nWhere the transfer store and the cache go "
            "(default: $XDG_DATA_HOME/zyr).\n"
            ".TP\n\\fBXDG_CONFIG_HOME\\fR\nThe settings and the session are kept in $XDG_CONFIG_HOME/zyr "
            "(default: ~/.config/zyr).\n"
            ".SH FILES\n"
            ".TP\n\\fI~/.config/zyr/zyr.conf\\fR\nSettings: server, workspace, backup, version list.\n"
            ".TP\n\\fI~/.config/zyr/session\\fR\nThe access token, readable by the user only.\n"_s;
    return page;
}

} // namespace Trelan::Oku::ZYRCli
