// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CommandContext.h"

#include "Arguments.h"
#include "RemoteTree.h"

#include <ZYRCommon/ApplicationSettings.h>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

CommandContext::CommandContext(const Arguments& args, ClientSettings& settings, const Console& console)
    : args(args), settings(settings), console(console)
{
}

CommandContext::~CommandContext() = default;

CloudSession& CommandContext::open(CloudSession::Store store)
{
    if (!m_session)
        m_session = std::make_unique<CloudSession>(args, settings, console, store);
    return *m_session;
}

CloudSession& CommandContext::signedIn(CloudSession::Store store, bool withUser)
{
    CloudSession& session = open(store);
    session.resume(withUser);
    return session;
}

RemoteTree& CommandContext::tree()
{
    if (!m_tree)
        m_tree = std::make_unique<RemoteTree>(*m_session);
    return *m_tree;
}

void CommandContext::lockQueue()
{
    const QString path = ZYRCommon::ApplicationSettings::databaseLocation() + u"/queue.lock"_s;
    m_queueLock = std::make_unique<QLockFile>(path);
    // A lock left by a zyr that crashed is taken over (its process is gone).
    if (m_queueLock->tryLock(0))
        return;
    qint64 pid = 0;
    QString host, application;
    m_queueLock->getLockInfo(&pid, &host, &application);
    m_queueLock.reset();
    throw CliError(ExitCode::Failure,
                   u"another zyr (process %1) is running the transfer queue; wait for it or stop it first"_s.arg(pid));
}

QString CommandContext::path() const
{
    return QString::fromStdString(args.path);
}

QStringList CommandContext::paths() const
{
    QStringList list;
    for (const std::string& path : args.paths)
        list.append(QString::fromStdString(path));
    return list;
}

QMap<QString, QString> CommandContext::parseAttributes(const std::vector<std::string>& pairs)
{
    QMap<QString, QString> attributes;
    for (const std::string& pair : pairs) {
        const QString text = QString::fromStdString(pair);
        const qsizetype equals = text.indexOf(u'=');
        if (equals < 1)
            throw CliError(ExitCode::Usage, u"not an attribute KEY=VALUE: %1"_s.arg(text));
        attributes.insert(text.left(equals), text.mid(equals + 1));
    }
    return attributes;
}

} // namespace Trelan::Oku::ZYRCli
