// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QJsonObject>
#include <QString>

namespace Trelan::Oku::ZYRModel {

/// Storage use of one workspace.
/// JSON: {"workspaceId": s, "usedSize": n, "totalSize": n, "fileCount": n}
class ZYRMODEL_EXPORT MWorkspaceQuota {
public:
    MWorkspaceQuota();

    const QString& getWorkspaceId() const;
    void setWorkspaceId(const QString& id);
    qint64 getUsedSize() const;
    void setUsedSize(qint64 bytes);
    qint64 getTotalSize() const;
    void setTotalSize(qint64 bytes);
    qint64 getFileCount() const;
    void setFileCount(qint64 count);

    static void fromJson(const QJsonObject& object, MWorkspaceQuota& quota);
    QJsonObject toJson() const;

private:
    QString m_workspaceId;
    qint64 m_usedSize = 0;
    qint64 m_totalSize = 0;
    qint64 m_fileCount = 0;
};

} // namespace Trelan::Oku::ZYRModel
