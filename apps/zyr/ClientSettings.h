// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QSettings>
#include <QString>
#include <QStringList>

#include <optional>

namespace Trelan::Oku::ZYRCli {

/// zyr's own files in the user's configuration directory
/// ($XDG_CONFIG_HOME/zyr, usually ~/.config/zyr, kept 0700):
/// - zyr.conf, the settings (server address, workspace, backup, version list);
/// - session, the access token and who it belongs to, 0600, never printed.
class ClientSettings {
public:
    /// One signed-in session.
    struct Session {
        QString server; ///< the address it was signed in at
        QString accessToken;
        QString userId;
        QString account;
        QString displayName;
    };

    ClientSettings();

    QString directory() const { return m_directory; }
    QString sessionPath() const;

    QString value(const QString& key) const;
    QStringList list(const QString& key) const;
    void setValue(const QString& key, const QString& value);
    void setList(const QString& key, const QStringList& values);

    /// The session on file, if there is a readable one.
    std::optional<Session> readSession() const;
    /// Writes the session, readable by the user only; false on failure.
    bool writeSession(const Session& session) const;
    void removeSession() const;

private:
    QString m_directory;
    mutable QSettings m_settings;
};

} // namespace Trelan::Oku::ZYRCli
