// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "Console.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

namespace {

void put(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

bool isWide(char32_t c)
{
    return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF && c != 0x303F) || (c >= 0xAC00 && c <= 0xD7A3)
            || (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60)
            || (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1F64F) || (c >= 0x20000 && c <= 0x3FFFD);
}

} // namespace

Console::Console(bool json, bool quiet) : m_json(json), m_quiet(quiet) { }

bool Console::interactive() const
{
    return !m_json && !m_quiet && stdoutIsTerminal();
}

void Console::print(const QString& line) const
{
    if (!m_quiet)
        put(stdout, line + u'\n');
}

void Console::note(const QString& line) const
{
    if (!m_quiet && !m_json)
        put(stdout, line + u'\n');
}

void Console::error(const QString& message) const
{
    put(stderr, u"zyr: "_s + message + u'\n');
}

void Console::printJson(const QJsonValue& value) const
{
    QJsonDocument document;
    if (value.isArray())
        document.setArray(value.toArray());
    else
        document.setObject(value.toObject());
    put(stdout, QString::fromUtf8(document.toJson(QJsonDocument::Indented)));
}

void Console::write(const QString& text) const
{
    put(stdout, text);
}

void Console::printTable(const QList<QStringList>& rows) const
{
    QList<int> widths;
    for (const QStringList& row : rows) {
        for (int i = 0; i < row.size(); ++i) {
            if (widths.size() <= i)
                widths.append(0);
            widths[i] = qMax(widths[i], displayWidth(row[i]));
        }
    }
    for (const QStringList& row : rows) {
        QString line;
        for (int i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size())
                line += QString(widths[i] - displayWidth(row[i]) + 2, u' ');
        }
        while (line.endsWith(u' '))
            line.chop(1);
        print(line);
    }
}

bool Console::stdoutIsTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

bool Console::stdinIsTerminal()
{
    return isatty(STDIN_FILENO) == 1;
}

int Console::terminalWidth()
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

int Console::displayWidth(const QString& text)
{
    int width = 0;
    for (const char32_t c : text.toUcs4())
        width += isWide(c) ? 2 : 1;
    return width;
}

QString Console::elide(const QString& text, int width)
{
    if (displayWidth(text) <= width)
        return text;
    // Keep the end: the file name matters more than the folders before it.
    const QList<uint> chars = text.toUcs4();
    QString kept;
    int used = 1;
    for (qsizetype i = chars.size() - 1; i >= 0; --i) {
        const int w = isWide(chars[i]) ? 2 : 1;
        if (used + w > width)
            break;
        used += w;
        kept.prepend(QString::fromUcs4(reinterpret_cast<const char32_t*>(&chars[i]), 1));
    }
    return u"…"_s + kept;
}

QString Console::size(qint64 bytes)
{
    if (bytes < 1024)
        return QString::number(bytes) + u" B"_s;
    static const char* const units[] = { "KiB", "MiB", "GiB", "TiB" };
    double value = double(bytes);
    int unit = -1;
    while (value >= 1024.0 && unit < 3) {
        value /= 1024.0;
        ++unit;
    }
    return QString::number(value, 'f', value < 10 ? 1 : 0) + u' ' + QLatin1String(units[unit]);
}

QString Console::time(qint64 msecsSinceEpoch)
{
    if (msecsSinceEpoch <= 0)
        return u"-"_s;
    return QDateTime::fromMSecsSinceEpoch(msecsSinceEpoch).toString(u"yyyy-MM-dd HH:mm"_s);
}

QString Console::duration(qint64 seconds)
{
    if (seconds < 60)
        return QString::number(seconds) + u's';
    if (seconds < 3600)
        return u"%1m%2s"_s.arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
    return u"%1h%2m"_s.arg(seconds / 3600).arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'));
}

} // namespace Trelan::Oku::ZYRCli
