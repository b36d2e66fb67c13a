// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ProgressView.h"

#include "Console.h"

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

namespace {

// Each running transfer's line shows at most this many, then "… and N more".
constexpr int MaxRunningLines = 8;

int percent(qint64 done, qint64 total)
{
    return total > 0 ? int(qMin<qint64>(100, done * 100 / total)) : 100;
}

} // namespace

ProgressView::ProgressView(const Console& console) : m_console(console), m_terminal(console.interactive()) { }

void ProgressView::fileEnded(bool download, const QString& name, qint64 size, bool success)
{
    if (m_console.quiet() || m_console.json())
        return;
    clearArea();
    if (success)
        m_console.print(u"%1 %2 (%3)"_s.arg(download ? u"downloaded"_s : u"uploaded"_s, name, Console::size(size)));
    else
        m_console.print(u"failed: %1 %2"_s.arg(download ? u"download of"_s : u"upload of"_s, name));
}

void ProgressView::show(const QList<Running>& running, const Totals& totals)
{
    if (!m_terminal)
        return;
    const int width = Console::terminalWidth() - 1; // a full line would wrap
    QString area;
    int lines = 0;
    for (const Running& transfer : running) {
        if (lines == MaxRunningLines) {
            area += u"  … and %1 more\n"_s.arg(running.size() - lines);
            ++lines;
            break;
        }
        area += runningLine(transfer, width) + u'\n';
        ++lines;
    }
    area += Console::elide(totalLine(totals), width) + u'\n';
    ++lines;
    clearArea();
    m_console.write(area);
    m_lines = lines;
}

void ProgressView::close()
{
    clearArea();
}

void ProgressView::clearArea()
{
    if (!m_terminal || m_lines == 0)
        return;
    // Up to the area's first line, then erase to the end of the screen.
    m_console.write(u"\x1b[%1A\r\x1b[J"_s.arg(m_lines));
    m_lines = 0;
}

QString ProgressView::runningLine(const Running& running, int width)
{
    const QString figures = u"%1%  %2 / %3"_s.arg(percent(running.bytes, running.size), 3)
                                    .arg(Console::size(running.bytes), 9)
                                    .arg(Console::size(running.size));
    // "100%  1023 KiB / 1023 KiB": the names end in one column.
    constexpr int FiguresWidth = 26;
    const int nameWidth = qMax(10, width - 4 - FiguresWidth);
    const QString name = Console::elide(running.name, nameWidth);
    return u"  "_s + name + QString(nameWidth - Console::displayWidth(name) + 2, u' ') + figures;
}

QString ProgressView::totalLine(const Totals& totals)
{
    QString line = u"Transferred: %1 / %2 files, %3 / %4"_s.arg(totals.filesDone)
                           .arg(totals.files)
                           .arg(Console::size(totals.bytesDone), Console::size(totals.bytes));
    line += u", %1/s"_s.arg(Console::size(totals.bytesPerSecond));
    if (totals.bytesPerSecond > 0 && totals.bytes > totals.bytesDone)
        line += u", ETA %1"_s.arg(Console::duration((totals.bytes - totals.bytesDone) / totals.bytesPerSecond + 1));
    return line;
}

} // namespace Trelan::Oku::ZYRCli
