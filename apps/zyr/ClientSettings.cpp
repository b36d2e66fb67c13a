// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ClientSettings.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

namespace {

QString configDirectory()
{
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QDir().mkpath(dir);
    // Only the user may list what is kept here.
    QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return dir;
}

} // namespace

ClientSettings::ClientSettings()
    : m_directory(configDirectory()), m_settings(m_directory + u"/zyr.conf"_s, QSettings::IniFormat)
{
}

QString ClientSettings::sessionPath() const
{
    return m_directory + u"/session"_s;
}

QString ClientSettings::value(const QString& key) const
{
    return m_settings.value(key).toString();
}

QStringList ClientSettings::list(const QString& key) const
{
    return m_settings.value(key).toStringList();
}

void ClientSettings::setValue(const QString& key, const QString& value)
{
    if (value.isEmpty())
        m_settings.remove(key);
    else
        m_settings.setValue(key, value);
    m_settings.sync();
}

void ClientSettings::setList(const QString& key, const QStringList& values)
{
    m_settings.setValue(key, values);
    m_settings.sync();
}

std::optional<ClientSettings::Session> ClientSettings::readSession() const
{
    QFile file(sessionPath());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
    Session session;
    session.server = object.value(u"server"_s).toString();
    session.accessToken = object.value(u"accessToken"_s).toString();
    session.userId = object.value(u"userId"_s).toString();
    session.account = object.value(u"account"_s).toString();
    session.displayName = object.value(u"displayName"_s).toString();
    if (session.accessToken.isEmpty())
        return std::nullopt;
    return session;
}

bool ClientSettings::writeSession(const Session& session) const
{
    const QJsonObject object{ { u"server"_s, session.server },
                              { u"accessToken"_s, session.accessToken },
                              { u"userId"_s, session.userId },
                              { u"account"_s, session.account },
                              { u"displayName"_s, session.displayName } };
    // Made 0600 before the token is written, then put in place at once.
    const QString partial = sessionPath() + u".new"_s;
    QFile::remove(partial);
    QFile file(partial);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly, QFile::ReadOwner | QFile::WriteOwner))
        return false;
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Compact);
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    file.close();
    if (!written
        || std::rename(QFile::encodeName(partial).constData(), QFile::encodeName(sessionPath()).constData()) != 0) {
        QFile::remove(partial);
        return false;
    }
    return true;
}

void ClientSettings::removeSession() const
{
    QFile::remove(sessionPath());
}

} // namespace Trelan::Oku::ZYRCli
