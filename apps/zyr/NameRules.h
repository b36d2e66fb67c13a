// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QString>

namespace Trelan::Oku::ZYRCli {

/// The names the cloud accepts for files and folders (docs/api.md, "Valid
/// names"). zyr lets the server decide; this only explains a refusal.
class NameRules {
public:
    /// Why the server refuses \a name, or an empty string when the rules
    /// allow it.
    static QString problem(const QString& name);
};

} // namespace Trelan::Oku::ZYRCli
