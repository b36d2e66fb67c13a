// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QList>
#include <QString>

namespace Trelan::Oku::ZYRCli {

class Console;

/// How transfers look, the way rclone and curl do it: on a terminal one
/// status area, redrawn in place, with each running transfer and the total;
/// otherwise one plain line per file that ended. Lines of ended files stay
/// above the area.
class ProgressView {
public:
    struct Running {
        QString name;
        qint64 bytes = 0;
        qint64 size = 0;
    };
    struct Totals {
        int filesDone = 0;
        int files = 0;
        qint64 bytesDone = 0;
        qint64 bytes = 0;
        qint64 bytesPerSecond = 0;
    };

    explicit ProgressView(const Console& console);

    /// One file ended: "downloaded NAME (SIZE)", or "failed: NAME".
    void fileEnded(bool download, const QString& name, qint64 size, bool success);
    /// Redraws the status area (terminal only).
    void show(const QList<Running>& running, const Totals& totals);
    /// Removes the status area.
    void close();

    /// "45%  4.5 MiB / 10.0 MiB" and the total line, as shown.
    static QString runningLine(const Running& running, int width);
    static QString totalLine(const Totals& totals);

private:
    void clearArea();

    const Console& m_console;
    bool m_terminal;
    int m_lines = 0;
};

} // namespace Trelan::Oku::ZYRCli
