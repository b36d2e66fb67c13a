// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "EventWait.h"

#include "CliError.h"
#include "Interrupts.h"

#include <QEventLoop>
#include <QList>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

namespace {

QList<QEventLoop*>& loops()
{
    static QList<QEventLoop*> running;
    return running;
}

} // namespace

void EventWait::until(const std::function<bool()>& done, int timeoutMs, const QString& what)
{
    Interrupts& interrupts = Interrupts::instance();
    bool timedOut = false;
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, [&timedOut] {
        timedOut = true;
        wake();
    });
    const QMetaObject::Connection onInterrupt = QObject::connect(&interrupts, &Interrupts::interrupted, &wake);
    timer.start(timeoutMs);
    QEventLoop loop;
    loops().append(&loop);
    while (!done() && !timedOut && !interrupts.requested())
        loop.exec();
    loops().removeOne(&loop);
    QObject::disconnect(onInterrupt);
    if (done())
        return;
    if (interrupts.requested())
        throw CliError(ExitCode::Interrupted, u"interrupted"_s);
    throw CliError(ExitCode::Unreachable,
                   u"no answer from the server within %1 s (%2)"_s.arg((timeoutMs + 999) / 1000).arg(what));
}

void EventWait::wake()
{
    if (!loops().isEmpty())
        loops().constLast()->quit();
}

void EventWait::sleep(int msecs)
{
    QEventLoop loop;
    QTimer::singleShot(msecs, &loop, &QEventLoop::quit);
    const QMetaObject::Connection onInterrupt
            = QObject::connect(&Interrupts::instance(), &Interrupts::interrupted, &loop, &QEventLoop::quit);
    if (!Interrupts::instance().requested())
        loop.exec();
    QObject::disconnect(onInterrupt);
}

} // namespace Trelan::Oku::ZYRCli
