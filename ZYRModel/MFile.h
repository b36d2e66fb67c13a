// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QSharedPointer>
#include <QString>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRModel {

/// A file or folder node of a workspace's folder tree.
///
/// Trees hold their nodes as QSharedPointer<MFile>: a parent owns its
/// children, a child refers to its parent weakly. Everything outside the tree
/// (operations, signals) passes nodes as QWeakPointer<MFile>, registered for
/// queued signals as MWeakFile.
///
/// JSON (one node): {"id": s, "name": s, "workspaceId": s, "parentId": s,
///   "isFolder": b, "size": n, "digest": s, "revision": n,
///   "createTime": ms, "updateTime": ms (milliseconds since the epoch, UTC),
///   "uploading": b, "uploadedSize": n, "path": s (the node's remote path,
///   "/A/B/name", present where the service reports it)}
class ZYRMODEL_EXPORT MFile {
public:
    /// Status flags, combined in one integer.
    enum Status {
        StatusNone = 0,
        StatusMetaLoaded = 2, ///< metadata read from the service
        StatusPrivilegesLoaded = 4, ///< privileges read from the service
        StatusChildrenLoaded = 8, ///< children listed; a new listing may be skipped
        StatusThumbnailLoaded = 16, ///< thumbnail fetched; not asked for again
        StatusAttributesLoaded = 32, ///< attributes known; not asked for again
    };

    MFile();
    /// Copies the node's own data (not its parent link nor its children).
    MFile(const MFile& other);
    MFile& operator=(const MFile& other);
    ~MFile();

    const QString& getId() const;
    void setId(const QString& id);
    const QString& getFileName() const;
    void setFileName(const QString& name);
    const QString& getWorkspaceId() const;
    void setWorkspaceId(const QString& workspaceId);
    const QString& getParentId() const;
    void setParentId(const QString& parentId);
    bool getIsFolder() const;
    void setIsFolder(bool isFolder);
    qint64 getSize() const;
    void setSize(qint64 size);
    const QString& getDigest() const;
    void setDigest(const QString& digest);
    qint64 getRevisionNumber() const;
    void setRevisionNumber(qint64 revision);
    const QDateTime& getCreateTime() const;
    void setCreateTime(const QDateTime& time);
    const QDateTime& getUpdateTime() const;
    void setUpdateTime(const QDateTime& time);
    bool getIsUploading() const;
    void setIsUploading(bool uploading);
    qint64 getUploadedSize() const;
    void setUploadedSize(qint64 size);
    /// Local path (set on copies made for downloads).
    const QString& getLocalPath() const;
    void setLocalPath(const QString& path);
    /// The remote path as the service reported it ("path"); may be empty.
    const QString& getRemotePathString() const;
    void setRemotePathString(const QString& path);

    /// The node's remote path: "/" for a root, "/A/B" for B inside A.
    /// Walks up through the parents; a parentless node that is not a root
    /// (it has a reported remote path) answers with that path.
    QString getPath() const;

    const QMap<QString, QString>& getAttributes() const;
    void setAttributes(const QMap<QString, QString>& attributes);
    void setAttribute(const QString& key, const QString& value);

    const QList<QString>& getPrivileges() const;
    void setPrivileges(const QList<QString>& privileges);
    bool hasPrivilege(const QString& privilege) const;

    const QByteArray& getThumbnailData() const;
    /// Stores the bytes and sets StatusThumbnailLoaded.
    void setThumbnailData(const QByteArray& data);

    int getStatus() const;
    /// Adds the flags in \a status to the node's flags.
    void setStatus(int status);
    void clearStatus(int status);
    bool hasStatus(int status) const;

    // Tree
    QSharedPointer<MFile> getParent() const;
    const QList<QSharedPointer<MFile>>& getChildren() const;
    /// The first child named \a name (exact comparison, or case-insensitive
    /// when \a caseSensitive is false); null when there is none.
    QSharedPointer<MFile> getChild(const QString& name, bool caseSensitive = true) const;
    QSharedPointer<MFile> getChildById(const QString& id) const;
    /// Replaces \a folder's children with \a children: each gets \a folder as
    /// parent, its parent id and, when empty, the folder's workspace id, and
    /// leaves the folder it was in before. Children of the old list that are
    /// not in the new one lose their parent. Null entries, repeats, the
    /// folder itself and its ancestors (which would form a loop) are skipped.
    static void setChildren(const QList<QSharedPointer<MFile>>& children, const QSharedPointer<MFile>& folder);
    /// Appends \a child to \a parent (replacing a child with the same id),
    /// taking it out of its previous parent; an ancestor of \a parent is
    /// refused.
    static void addChild(const QSharedPointer<MFile>& child, const QSharedPointer<MFile>& parent);
    /// Removes \a child (by identity, or by id) from this node's children.
    bool removeChild(const QSharedPointer<MFile>& child);
    void removeAllChildren();

    /// Copies the metadata of \a meta (id, name, workspace, parent id, folder
    /// flag, size, digest, revision, times, upload state, reported path) into
    /// this node and sets StatusMetaLoaded. Tree links, privileges,
    /// attributes, thumbnail and status flags otherwise stay as they are.
    void updateMetaInfo(const MFile& meta);

    static void fromJson(const QJsonObject& object, MFile& file);
    static void fromJson(const QJsonArray& array, QList<QSharedPointer<MFile>>& files);
    QJsonObject toJson() const;

private:
    void copyOwnData(const MFile& other);

    QString m_id;
    QString m_fileName;
    QString m_workspaceId;
    QString m_parentId;
    bool m_isFolder = false;
    qint64 m_size = 0;
    QString m_digest;
    qint64 m_revisionNumber = 0;
    QDateTime m_createTime;
    QDateTime m_updateTime;
    bool m_isUploading = false;
    qint64 m_uploadedSize = 0;
    QString m_localPath;
    QString m_remotePathString;
    QMap<QString, QString> m_attributes;
    QList<QString> m_privileges;
    QByteArray m_thumbnailData;
    int m_status = StatusNone;
    QWeakPointer<MFile> m_parent;
    QList<QSharedPointer<MFile>> m_children;
};

using MWeakFile = QWeakPointer<MFile>;

/// Registers MWeakFile and QList<MWeakFile> for queued signals. Safe to call
/// more than once; the library also calls it when it is loaded.
ZYRMODEL_EXPORT void registerModelMetaTypes();

} // namespace Trelan::Oku::ZYRModel

Q_DECLARE_METATYPE(Trelan::Oku::ZYRModel::MWeakFile)
