// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QDateTime>
#include <QString>

namespace Trelan::Oku::ZYRModel {

/// One cached local copy of a cloud file, at the digest it had when copied.
class ZYRMODEL_EXPORT MFileCacheItem {
public:
    MFileCacheItem();

    const QString& getId() const;
    void setId(const QString& id);
    const QString& getFileId() const;
    void setFileId(const QString& fileId);
    const QString& getDigest() const;
    void setDigest(const QString& digest);
    const QString& getLocalDir() const;
    void setLocalDir(const QString& dir);
    const QString& getLocalName() const;
    void setLocalName(const QString& name);
    /// Last-modified time of the local copy when the record was made.
    const QDateTime& getCachedTime() const;
    void setCachedTime(const QDateTime& time);

    bool operator==(const MFileCacheItem& other) const;
    bool operator!=(const MFileCacheItem& other) const { return !(*this == other); }

private:
    QString m_id;
    QString m_fileId;
    QString m_digest;
    QString m_localDir;
    QString m_localName;
    QDateTime m_cachedTime;
};

} // namespace Trelan::Oku::ZYRModel
