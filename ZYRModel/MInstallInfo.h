// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QDateTime>
#include <QJsonObject>
#include <QString>

namespace Trelan::Oku::ZYRModel {

/// What the client reports about its installation.
/// JSON: {"machineId": s, "osName": s, "osVersion": s, "clientVersion": s,
///        "installTime": ms}
class ZYRMODEL_EXPORT MInstallInfo {
public:
    MInstallInfo();

    const QString& getMachineId() const;
    void setMachineId(const QString& id);
    const QString& getOsName() const;
    void setOsName(const QString& name);
    const QString& getOsVersion() const;
    void setOsVersion(const QString& version);
    const QString& getClientVersion() const;
    void setClientVersion(const QString& version);
    const QDateTime& getInstallTime() const;
    void setInstallTime(const QDateTime& time);

    QJsonObject toJson() const;
    /// Compact JSON text of toJson().
    QString toJsonString() const;
    static void fromJson(const QJsonObject& object, MInstallInfo& info);

private:
    QString m_machineId;
    QString m_osName;
    QString m_osVersion;
    QString m_clientVersion;
    QDateTime m_installTime;
};

} // namespace Trelan::Oku::ZYRModel
