// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QString>

namespace CLI {
class App;
}

namespace Trelan::Oku::ZYRCli {

/// The bash completion script and the manual page, written from the
/// parser's own description of the commands and options (CLI11 2.1 has no
/// generator of its own), so that they never disagree with --help.
class ParserDocs {
public:
    static QString bashCompletion(const CLI::App& app);
    static QString manPage(const CLI::App& app);
};

} // namespace Trelan::Oku::ZYRCli
