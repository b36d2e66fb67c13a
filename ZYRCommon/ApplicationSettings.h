// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRCommon/zyrcommon_export.h>

#include <QString>

namespace Trelan::Oku::ZYRCommon {

/// Where the client keeps its files. Each location comes from the
/// platform's standard locations unless an override is set; the command-line
/// client and the tests set overrides (or the environment variable
/// ZYR_DATA_DIR, under which all three locations then lie). Each getter
/// creates its directory when it does not exist.
class ZYRCOMMON_EXPORT ApplicationSettings {
public:
    ApplicationSettings() = delete;

    /// Directory of downloaded copies opened for editing.
    static QString fileCacheLocation();
    /// Directory of temporary downloads (installers).
    static QString tempDataLocation();
    /// Directory of the client's databases.
    static QString databaseLocation();

    /// Overrides; an empty string restores the standard location.
    static void setFileCacheLocation(const QString& dir);
    static void setTempDataLocation(const QString& dir);
    static void setDatabaseLocation(const QString& dir);
};

} // namespace Trelan::Oku::ZYRCommon
