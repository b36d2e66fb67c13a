// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/ApplicationSettings.h>

#include <QDir>
#include <QLoggingCategory>
#include <QMutex>
#include <QMutexLocker>
#include <QStandardPaths>

namespace Trelan::Oku::ZYRCommon {

namespace {

Q_LOGGING_CATEGORY(lcSettings, "zyr.common.settings", QtWarningMsg)

enum class Location { Cache, Temp, Database };

struct Overrides {
    QMutex mutex;
    QString cache;
    QString temp;
    QString database;

    QString& of(Location location)
    {
        switch (location) {
        case Location::Cache:
            return cache;
        case Location::Temp:
            return temp;
        case Location::Database:
            break;
        }
        return database;
    }
};

// Function-local so that the overrides exist before any caller's static
// initialiser can reach them.
Overrides& overrides()
{
    static Overrides instance;
    return instance;
}

QLatin1String subdirectoryOf(Location location)
{
    switch (location) {
    case Location::Cache:
        return QLatin1String("cache");
    case Location::Temp:
        return QLatin1String("temp");
    case Location::Database:
        break;
    }
    return QLatin1String("db");
}

QString baseDataDirectory()
{
    const QString fromEnvironment = qEnvironmentVariable("ZYR_DATA_DIR");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    QString base = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    if (base.isEmpty()) // no writable home: still give the client somewhere to write
        base = QDir::tempPath() + QStringLiteral("/zyr");
    return base;
}

QString resolve(Location location)
{
    QString dir;
    {
        Overrides& o = overrides();
        QMutexLocker lock(&o.mutex);
        dir = o.of(location);
    }
    if (dir.isEmpty())
        dir = baseDataDirectory() + QLatin1Char('/') + subdirectoryOf(location);
    dir = QDir::cleanPath(QDir::fromNativeSeparators(dir));
    if (!QDir().mkpath(dir))
        qCWarning(lcSettings) << "cannot create directory" << dir;
    return dir;
}

void setOverride(Location location, const QString& dir)
{
    Overrides& o = overrides();
    QMutexLocker lock(&o.mutex);
    o.of(location) = dir;
}

} // namespace

QString ApplicationSettings::fileCacheLocation()
{
    return resolve(Location::Cache);
}

QString ApplicationSettings::tempDataLocation()
{
    return resolve(Location::Temp);
}

QString ApplicationSettings::databaseLocation()
{
    return resolve(Location::Database);
}

void ApplicationSettings::setFileCacheLocation(const QString& dir)
{
    setOverride(Location::Cache, dir);
}

void ApplicationSettings::setTempDataLocation(const QString& dir)
{
    setOverride(Location::Temp, dir);
}

void ApplicationSettings::setDatabaseLocation(const QString& dir)
{
    setOverride(Location::Database, dir);
}

} // namespace Trelan::Oku::ZYRCommon
