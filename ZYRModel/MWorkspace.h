// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileShareLink.h>

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QWeakPointer>
#include <memory>

namespace Trelan::Oku::ZYRModel {

class MWorkspaceQuota;

/// A workspace of the account, with its folder tree, favourites and share
/// links. Owns its quota and holds its root folder.
/// JSON (one workspace): {"id": s, "name": s, "isDefault": b, "logoUrl": s,
///        "role": s, "ownerId": s, "createTime": ms}
/// JSON (the list): {"items": [workspace, ...]}
class ZYRMODEL_EXPORT MWorkspace {
public:
    MWorkspace();
    /// Copies the information (not the quota, logo, tree, favourites or links).
    MWorkspace(const MWorkspace& other);
    MWorkspace& operator=(const MWorkspace&) = delete;
    ~MWorkspace();

    const QString& getId() const;
    void setId(const QString& id);
    const QString& getName() const;
    void setName(const QString& name);
    bool isDefaultWorkspace() const;
    void setDefaultWorkspace(bool isDefault);
    const QString& getLogoUrl() const;
    void setLogoUrl(const QString& url);
    const QString& getRole() const;
    void setRole(const QString& role);
    const QString& getOwnerId() const;
    void setOwnerId(const QString& ownerId);
    qint64 getCreateTime() const;
    void setCreateTime(qint64 msecsSinceEpoch);

    /// Takes the fields that fromJson reads from \a other; keeps the tree,
    /// quota, logo, favourites and share links of this object.
    void copyInformation(const MWorkspace& other);

    MWorkspaceQuota* getQuota() const;
    /// Takes ownership of \a quota (null allowed), deleting the previous one.
    void setQuota(MWorkspaceQuota* quota);
    const QByteArray& getLogoData() const;
    void setLogoData(const QByteArray& data);

    QSharedPointer<MFile> getRootFolder() const;
    void setRootFolder(const QSharedPointer<MFile>& root);

    const QList<QSharedPointer<MFile>>& getFavoriteFiles() const;
    void setFavoriteFiles(const QList<QSharedPointer<MFile>>& files);
    /// Removes the favourites with the ids of \a files.
    void removeFavoriteFiles(const QList<QWeakPointer<MFile>>& files);

    const QList<QSharedPointer<MFileShareLink>>& getShareLinks() const;
    void setShareLinks(const QList<QSharedPointer<MFileShareLink>>& links);
    void addShareLink(const QSharedPointer<MFileShareLink>& link);
    void removeShareLinks(const QList<QWeakPointer<MFileShareLink>>& links);

    static void fromJson(const QJsonObject& object, MWorkspace& workspace);
    /// Appends one new MWorkspace per element of \a root's "items" array, in
    /// order; the caller owns them.
    static void fromJson(const QJsonObject& root, QList<MWorkspace*>& workspaces);
    QJsonObject toJson() const;

private:
    QString m_id;
    QString m_name;
    bool m_isDefault = false;
    QString m_logoUrl;
    QString m_role;
    QString m_ownerId;
    qint64 m_createTime = 0;
    std::unique_ptr<MWorkspaceQuota> m_quota;
    QByteArray m_logoData;
    QSharedPointer<MFile> m_rootFolder;
    QList<QSharedPointer<MFile>> m_favoriteFiles;
    QList<QSharedPointer<MFileShareLink>> m_shareLinks;
};

} // namespace Trelan::Oku::ZYRModel
