// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "ClientSettings.h"
#include "CliError.h"
#include "EventWait.h"

#include <ZYRController/BTCloudManager.h>

#include <QObject>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

#include <functional>
#include <memory>

namespace Trelan::Oku::ZYRModel {
class MWorkspace;
}

namespace Trelan::Oku::ZYRCli {

class Console;
struct Arguments;

/// zyr's one BTCloudManager, as a desktop view would hold it: the server
/// address and request timeout set through it, the session taken from the
/// settings (or signed in), the user and workspaces read, the command's
/// workspace made active. Also the waiting around its asynchronous
/// operations, and the diagnosis that turns a failed operation into the
/// right message and exit code.
class CloudSession : public QObject {
    Q_OBJECT
public:
    /// Which transfer store the controller opens.
    enum class Store {
        /// An empty store of this process: the command can neither start nor
        /// change the transfer queue of another zyr (which would then run
        /// the same records twice).
        Scratch,
        /// The client's store: the queue and the cache records.
        Client,
    };

    CloudSession(const Arguments& args, ClientSettings& settings, const Console& console, Store store);
    /// Deletes the manager (the queue writes its records back and marks the
    /// running ones interrupted), then waits for its threads to end.
    ~CloudSession() override;

    ZYRController::BTCloudManager* manager() const { return m_manager; }
    const QUrl& serverUrl() const { return m_serverUrl; }
    int requestTimeoutMs() const { return m_timeoutMs; }
    /// The longest wait for one operation of the manager with everything it
    /// waits for itself (the request, then metadata and privileges).
    int operationWaitMs() const { return 5 * m_timeoutMs + 2000; }

    /// Signs in, reads the user and the workspaces, keeps the session.
    void login(const QString& account, const QString& password);
    /// Takes the kept session. \a withUser reads the user first (the
    /// privileges shown on files depend on it; it also starts the transfer
    /// queue of that user), then the workspaces.
    void resume(bool withUser);
    const ClientSettings::Session& session() const { return m_session; }

    /// The workspace of this command, active: --workspace, else the one
    /// chosen with 'zyr use', else the account's default.
    ZYRModel::MWorkspace* workspace();
    /// By id, else by name; null when none matches.
    ZYRModel::MWorkspace* findWorkspace(const QString& idOrName) const;

    /// Waits (EventWait) for \a done, at most operationWaitMs().
    void await(const std::function<bool()>& done, const QString& what) const;
    /// Calls \a send, which starts an operation of the manager, and waits
    /// for the manager's \a signal whose first argument is the success: the
    /// first emission whose other arguments \a accept takes. False when
    /// \a send started nothing or the operation failed.
    template <typename Signal, typename Accept>
    bool request(Signal signal, Accept accept, const std::function<bool()>& send, const QString& what)
    {
        int result = -1;
        QObject scope;
        connect(m_manager, signal, &scope, [&](bool success, const auto&... rest) {
            if (accept(rest...)) {
                result = success ? 1 : 0;
                EventWait::wake();
            }
        });
        if (!send())
            return false;
        await([&result] { return result != -1; }, what);
        return result == 1;
    }
    /// Accepts every emission.
    static constexpr auto any = [](const auto&...) { return true; };
    /// Ends the command after a failed operation: with ExitCode::Unreachable
    /// when the server does not answer, with ExitCode::NotSignedIn when it
    /// refuses the session, else with \a code and \a message. \a remark is
    /// added to the first two messages.
    [[noreturn]] void fail(const QString& message, ExitCode code = ExitCode::Failure,
                           const QString& remark = QString());

private:
    QUrl resolveServer() const;
    void requireServer() const;
    void readUserAndWorkspaces(bool withUser);
    [[noreturn]] void failUnreachable(bool timedOut, const QString& remark = QString()) const;
    [[noreturn]] void failLogin(int networkError) const;
    static void waitForControllerThreads();

    const Arguments& m_args;
    ClientSettings& m_settings;
    const Console& m_console;
    QUrl m_serverUrl;
    int m_timeoutMs;
    ClientSettings::Session m_session;
    std::unique_ptr<QTemporaryDir> m_scratchStore;
    ZYRController::BTCloudManager* m_manager = nullptr;
};

} // namespace Trelan::Oku::ZYRCli
