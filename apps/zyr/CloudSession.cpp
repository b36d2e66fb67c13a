// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudSession.h"

#include "Arguments.h"
#include "Console.h"
#include "EventWait.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspace.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QNetworkReply>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRController::BTCloudManager;
using ZYRModel::MWorkspace;

namespace {

// A workspace id no server has: the listing asked for it answers 401 for a
// refused session and 404 otherwise (the token is checked first).
const QString ProbeWorkspace = u"zyr-connection-check"_s;

// Threads the controller made (transfer, open and backup workers) carry the
// class name, cut by the kernel to 15 characters.
int controllerThreadCount()
{
    const QDir tasks(u"/proc/self/task"_s);
    int count = 0;
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + u"/comm"_s));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().startsWith("Trelan::Oku::ZY"))
            ++count;
    }
    return count;
}

} // namespace

CloudSession::CloudSession(const Arguments& args, ClientSettings& settings, const Console& console, Store store)
    : m_args(args), m_settings(settings), m_console(console), m_serverUrl(resolveServer()),
      m_timeoutMs(args.timeoutSeconds * 1000)
{
    if (store == Store::Scratch) {
        m_scratchStore = std::make_unique<QTemporaryDir>();
        ZYRCommon::ApplicationSettings::setDatabaseLocation(m_scratchStore->path());
    }
    if (!m_serverUrl.isEmpty())
        BTCloudManager::setServerUrl(m_serverUrl);
    BTCloudManager::setRequestTimeout(m_timeoutMs);
    m_manager = new BTCloudManager;
}

CloudSession::~CloudSession()
{
    delete m_manager;
    waitForControllerThreads();
}

void CloudSession::waitForControllerThreads()
{
    // A worker ends its thread soon after the queue lets it go; it deletes
    // itself through the event loop, which must still run for that.
    QDeadlineTimer deadline(10000);
    while (controllerThreadCount() > 0 && !deadline.hasExpired())
        EventWait::sleep(20);
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QUrl CloudSession::resolveServer() const
{
    QString address = QString::fromStdString(m_args.server);
    if (address.isEmpty())
        address = qEnvironmentVariable("ZYR_SERVER");
    if (address.isEmpty())
        address = m_settings.value(u"server"_s);
    if (address.isEmpty())
        return QUrl(); // enough for the commands that need no server
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != u"http"_s && url.scheme() != u"https"_s) || url.host().isEmpty())
        throw CliError(ExitCode::Usage, u"not an http(s) address: %1"_s.arg(address));
    return url.adjusted(QUrl::StripTrailingSlash);
}

void CloudSession::requireServer() const
{
    if (m_serverUrl.isEmpty())
        throw CliError(ExitCode::Usage,
                       u"no server address: give --server URL or set ZYR_SERVER (it is kept after 'zyr login')"_s);
}

void CloudSession::login(const QString& account, const QString& password)
{
    requireServer();
    int status = -1;
    QObject scope;
    connect(m_manager, &BTCloudManager::loginFinished, &scope, [&status](int error) {
        status = error;
        EventWait::wake();
    });
    m_manager->login(account, password);
    await([&] { return status >= 0; }, u"signing in"_s);
    if (status != 0)
        failLogin(status);
    if (!m_manager->getToken() || m_manager->getToken()->getAccessToken().isEmpty())
        throw CliError(ExitCode::Failure, u"the server's answer to the sign-in could not be read"_s);

    readUserAndWorkspaces(true);
    const ZYRModel::MUser* user = m_manager->getCurrentUser();
    m_session = { m_serverUrl.toString(), m_manager->getToken()->getAccessToken(), user->getId(), account,
                  user->getDisplayName() };
    if (!m_settings.writeSession(m_session))
        throw CliError(ExitCode::Failure, u"cannot write the session to %1"_s.arg(m_settings.sessionPath()));
    m_settings.setValue(u"server"_s, m_serverUrl.toString());
}

void CloudSession::failLogin(int networkError) const
{
    switch (networkError) {
    case QNetworkReply::AuthenticationRequiredError:
        throw CliError(ExitCode::NotSignedIn, u"wrong account or password"_s);
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError:
        failUnreachable(false);
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError:
        failUnreachable(true);
    default:
        throw CliError(ExitCode::Failure, u"the server refused the sign-in (network error %1)"_s.arg(networkError));
    }
}

void CloudSession::resume(bool withUser)
{
    requireServer();
    const std::optional<ClientSettings::Session> kept = m_settings.readSession();
    if (!kept)
        throw CliError(ExitCode::NotSignedIn, u"not signed in; run 'zyr login ACCOUNT' first"_s);
    if (QUrl(kept->server).adjusted(QUrl::StripTrailingSlash) != m_serverUrl)
        throw CliError(ExitCode::NotSignedIn,
                       u"not signed in at %1 (the session kept is for %2); run 'zyr login'"_s.arg(
                               m_serverUrl.toString(), kept->server));
    m_session = *kept;
    auto* token = new ZYRModel::MToken;
    token->setAccessToken(m_session.accessToken);
    m_manager->setToken(token);
    readUserAndWorkspaces(withUser);
}

void CloudSession::readUserAndWorkspaces(bool withUser)
{
    int userRead = withUser ? -1 : 1;
    int workspacesRead = -1;
    QObject onUser;
    connect(m_manager, &BTCloudManager::queryUserInfoFinished, &onUser, [&userRead](bool success) {
        userRead = success ? 1 : 0;
        EventWait::wake();
    });
    QObject onWorkspaces;
    connect(m_manager, &BTCloudManager::queryAllWorkspaceFinished, &onWorkspaces, [&workspacesRead](bool success) {
        workspacesRead = success ? 1 : 0;
        EventWait::wake();
    });
    // The user's answer asks for the workspaces by itself.
    if (withUser)
        m_manager->queryUserInfo();
    else
        m_manager->queryAllWorkspace(false);
    await([&] { return userRead == 0 || (userRead == 1 && workspacesRead >= 0); }, u"reading the account"_s);
    if (userRead == 0)
        fail(u"cannot read the signed-in user"_s);
    if (workspacesRead == 0)
        fail(u"cannot read the workspaces"_s);
}

MWorkspace* CloudSession::findWorkspace(const QString& idOrName) const
{
    if (MWorkspace* byId = m_manager->getWorkspaceById(idOrName))
        return byId;
    for (MWorkspace* workspace : *m_manager->getWorkspaces()) {
        if (workspace->getName() == idOrName)
            return workspace;
    }
    return nullptr;
}

MWorkspace* CloudSession::workspace()
{
    const bool fromOption = !m_args.workspace.empty();
    const QString wanted = fromOption ? QString::fromStdString(m_args.workspace) : m_settings.value(u"workspace"_s);
    MWorkspace* workspace = wanted.isEmpty() ? m_manager->getActiveWorkspace() : findWorkspace(wanted);
    if (!workspace) {
        if (wanted.isEmpty())
            throw CliError(ExitCode::Failure, u"the account has no workspace"_s);
        throw CliError(ExitCode::Failure,
                       u"no workspace \"%1\" in this account%2; see 'zyr workspaces'"_s.arg(
                               wanted, fromOption ? QString() : u" (chosen with 'zyr use')"_s));
    }
    if (workspace != m_manager->getActiveWorkspace())
        m_manager->setActiveWorkspace(workspace); // waits for the root folder's metadata
    if (m_manager->getActiveWorkspace() != workspace)
        fail(u"cannot open the workspace \"%1\""_s.arg(workspace->getName()));
    return workspace;
}

void CloudSession::await(const std::function<bool()>& done, const QString& what) const
{
    EventWait::until(done, operationWaitMs(), what);
}

void CloudSession::fail(const QString& message, ExitCode code, const QString& remark)
{
    int status = -1;
    QObject scope;
    connect(m_manager, &BTCloudManager::queryChildrenByInfoFinished, &scope,
            [&status](int answer, const QString& workspaceId) {
                if (workspaceId == ProbeWorkspace) {
                    status = answer;
                    EventWait::wake();
                }
            });
    QElapsedTimer elapsed;
    elapsed.start();
    if (!m_manager->queryChildrenByInfo(ProbeWorkspace, u"/"_s, true))
        throw CliError(ExitCode::NotSignedIn, u"not signed in; run 'zyr login ACCOUNT' first"_s);
    await([&status] { return status != -1; }, u"checking the connection"_s);
    if (status == 0)
        failUnreachable(elapsed.elapsed() >= m_timeoutMs - 200, remark);
    if (status == 401)
        throw CliError(ExitCode::NotSignedIn,
                       u"the server no longer accepts the session (expired or revoked); run 'zyr login' again"_s
                               + (remark.isEmpty() ? QString() : u"; "_s + remark));
    throw CliError(code, message);
}

void CloudSession::failUnreachable(bool timedOut, const QString& remark) const
{
    QString message = timedOut
            ? u"no answer from the server at %1 within %2 s"_s.arg(m_serverUrl.toString()).arg(m_timeoutMs / 1000)
            : u"cannot connect to the server at %1"_s.arg(m_serverUrl.toString());
    if (!remark.isEmpty())
        message += u"; "_s + remark;
    throw CliError(ExitCode::Unreachable, message);
}

} // namespace Trelan::Oku::ZYRCli
