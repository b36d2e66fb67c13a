// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QUrl>

// A zyr-cloud process for one test: started on port 0, ready once it has
// printed its "listening on" line, stopped with SIGTERM.
class ServerProcess {
public:
    static constexpr int StartTimeoutMs = 30000;
    static constexpr int StopTimeoutMs = 30000;

    ServerProcess();
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    static QString binary();
    static QString sampleSeed();

    // Starts `zyr-cloud --port 0 [--data dataDir] [--seed seed] args...` and
    // waits for the listening line; false when it did not come.
    bool start(const QString& dataDir, const QString& seed,
               const QStringList& args = { QStringLiteral("--enable-admin") });
    // SIGTERM, then the exit code (-1 when it did not exit normally).
    int stop();

    int port() const { return m_port; }
    QUrl baseUrl() const;
    QByteArray standardOutput() const { return m_stdout; }
    QByteArray standardError();
    QProcess& process() { return m_process; }

private:
    QProcess m_process;
    QByteArray m_stdout;
    QByteArray m_stderr;
    int m_port = 0;
};
