// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "Interrupts.h"

#include <QSocketNotifier>

#include <csignal>

#include <sys/socket.h>
#include <unistd.h>

namespace Trelan::Oku::ZYRCli {

namespace {

int signalPipe[2] = { -1, -1 };
volatile std::sig_atomic_t signalCount = 0;

void onPosixSignal(int)
{
    if (++signalCount > 1)
        _exit(130); // the second Ctrl-C: the user does not want to wait
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
}

} // namespace

Interrupts& Interrupts::instance()
{
    static Interrupts interrupts;
    return interrupts;
}

void Interrupts::install()
{
    if (m_notifier || ::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    m_notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &Interrupts::onSignal);
    struct sigaction action = {};
    action.sa_handler = onPosixSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void Interrupts::onSignal()
{
    char byte = 0;
    [[maybe_unused]] const ssize_t read = ::read(signalPipe[0], &byte, 1);
    if (m_requested)
        return;
    m_requested = true;
    Q_EMIT interrupted();
}

} // namespace Trelan::Oku::ZYRCli
