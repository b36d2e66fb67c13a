// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MInstallInfo.h>

#include "ModelJson_p.h"

#include <QJsonDocument>

namespace Trelan::Oku::ZYRModel {

MInstallInfo::MInstallInfo() = default;

const QString& MInstallInfo::getMachineId() const
{
    return m_machineId;
}

const QString& MInstallInfo::getOsName() const
{
    return m_osName;
}

const QString& MInstallInfo::getOsVersion() const
{
    return m_osVersion;
}

const QString& MInstallInfo::getClientVersion() const
{
    return m_clientVersion;
}

const QDateTime& MInstallInfo::getInstallTime() const
{
    return m_installTime;
}

void MInstallInfo::setMachineId(const QString& id)
{
    m_machineId = id;
}

void MInstallInfo::setOsName(const QString& name)
{
    m_osName = name;
}

void MInstallInfo::setOsVersion(const QString& version)
{
    m_osVersion = version;
}

void MInstallInfo::setClientVersion(const QString& version)
{
    m_clientVersion = version;
}

void MInstallInfo::setInstallTime(const QDateTime& time)
{
    m_installTime = time;
}

QJsonObject MInstallInfo::toJson() const
{
    return QJsonObject{ { QStringLiteral("machineId"), m_machineId },
                        { QStringLiteral("osName"), m_osName },
                        { QStringLiteral("osVersion"), m_osVersion },
                        { QStringLiteral("clientVersion"), m_clientVersion },
                        { QStringLiteral("installTime"), Json::timeToJson(m_installTime) } };
}

QString MInstallInfo::toJsonString() const
{
    return QString::fromUtf8(QJsonDocument(toJson()).toJson(QJsonDocument::Compact));
}

void MInstallInfo::fromJson(const QJsonObject& object, MInstallInfo& info)
{
    info.m_machineId = Json::string(object, "machineId");
    info.m_osName = Json::string(object, "osName");
    info.m_osVersion = Json::string(object, "osVersion");
    info.m_clientVersion = Json::string(object, "clientVersion");
    info.m_installTime = Json::time(object, "installTime");
}

} // namespace Trelan::Oku::ZYRModel
