// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QJsonValue>
#include <QList>
#include <QString>
#include <QStringList>

namespace Trelan::Oku::ZYRCli {

/// Where zyr's output goes: results on stdout (as JSON with --json),
/// messages for people on stdout unless --quiet or --json, errors on
/// stderr. Also the formatting shared by the commands.
class Console {
public:
    Console(bool json, bool quiet);

    bool json() const { return m_json; }
    bool quiet() const { return m_quiet; }
    /// Whether the status area may be drawn: stdout is a terminal and
    /// neither --json nor --quiet was given.
    bool interactive() const;

    /// A result line (suppressed by --quiet; not used with --json).
    void print(const QString& line) const;
    /// A remark for people, not part of the result (suppressed by --quiet
    /// and by --json).
    void note(const QString& line) const;
    /// "zyr: <message>" on stderr, always.
    void error(const QString& message) const;
    /// The JSON document of a result, on stdout.
    void printJson(const QJsonValue& value) const;
    /// Raw text on stdout, flushed (the status area).
    void write(const QString& text) const;
    /// Rows as aligned columns; the last column is not padded.
    void printTable(const QList<QStringList>& rows) const;

    static bool stdoutIsTerminal();
    static bool stdinIsTerminal();
    /// Columns of the terminal on stdout, 80 when unknown.
    static int terminalWidth();
    /// Columns \a text takes on a terminal (wide East Asian characters
    /// count two).
    static int displayWidth(const QString& text);
    /// \a text cut to \a width columns, with "…" where it was cut.
    static QString elide(const QString& text, int width);
    /// "512 B", "1.5 KiB", "3.2 MiB", ...
    static QString size(qint64 bytes);
    /// Local date and time "2026-01-31 14:05"; "-" for 0.
    static QString time(qint64 msecsSinceEpoch);
    /// "4s", "2m05s", "1h02m".
    static QString duration(qint64 seconds);

private:
    bool m_json;
    bool m_quiet;
};

} // namespace Trelan::Oku::ZYRCli
