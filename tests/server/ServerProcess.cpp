// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ServerProcess.h"

#include <QDeadlineTimer>
#include <QRegularExpression>

ServerProcess::ServerProcess() = default;

ServerProcess::~ServerProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        stop();
    }
}

QString ServerProcess::binary()
{
    return QStringLiteral(ZYR_CLOUD_BINARY);
}

QString ServerProcess::sampleSeed()
{
    return QStringLiteral(ZYR_SAMPLE_SEED);
}

bool ServerProcess::start(const QString& dataDir, const QString& seed, const QStringList& args)
{
    m_stdout.clear();
    m_stderr.clear();
    m_port = 0;
    QStringList arguments{ QStringLiteral("--port"), QStringLiteral("0") };
    if (!dataDir.isEmpty()) {
        arguments << QStringLiteral("--data") << dataDir;
    }
    if (!seed.isEmpty()) {
        arguments << QStringLiteral("--seed") << seed;
    }
    arguments << args;
    m_process.start(binary(), arguments);
    if (!m_process.waitForStarted(StartTimeoutMs)) {
        return false;
    }
    static const QRegularExpression line(QStringLiteral("^listening on 127\\.0\\.0\\.1:(\\d+)\\n"));
    QDeadlineTimer deadline(StartTimeoutMs);
    while (!deadline.hasExpired()) {
        m_stdout += m_process.readAllStandardOutput();
        const auto match = line.match(QString::fromUtf8(m_stdout));
        if (match.hasMatch()) {
            m_port = match.captured(1).toInt();
            return true;
        }
        if (m_process.state() == QProcess::NotRunning) {
            return false;
        }
        m_process.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
    }
    return false;
}

int ServerProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning) {
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    m_process.terminate();
    if (!m_process.waitForFinished(StopTimeoutMs)) {
        m_process.kill();
        m_process.waitForFinished(StopTimeoutMs);
        return -1;
    }
    m_stdout += m_process.readAllStandardOutput();
    m_stderr += m_process.readAllStandardError();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QUrl ServerProcess::baseUrl() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_port));
}

QByteArray ServerProcess::standardError()
{
    m_stderr += m_process.readAllStandardError();
    return m_stderr;
}
