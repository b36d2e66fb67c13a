// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MFile.h>

#include "ModelJson_p.h"

namespace Trelan::Oku::ZYRModel {

MFile::MFile() = default;

MFile::MFile(const MFile& other)
{
    copyOwnData(other);
}

MFile& MFile::operator=(const MFile& other)
{
    if (this != &other)
        copyOwnData(other);
    return *this;
}

MFile::~MFile() = default;

const QString& MFile::getId() const
{
    return m_id;
}

const QString& MFile::getFileName() const
{
    return m_fileName;
}

const QString& MFile::getWorkspaceId() const
{
    return m_workspaceId;
}

const QString& MFile::getParentId() const
{
    return m_parentId;
}

bool MFile::getIsFolder() const
{
    return m_isFolder;
}

qint64 MFile::getSize() const
{
    return m_size;
}

const QString& MFile::getDigest() const
{
    return m_digest;
}

qint64 MFile::getRevisionNumber() const
{
    return m_revisionNumber;
}

const QDateTime& MFile::getCreateTime() const
{
    return m_createTime;
}

const QDateTime& MFile::getUpdateTime() const
{
    return m_updateTime;
}

bool MFile::getIsUploading() const
{
    return m_isUploading;
}

qint64 MFile::getUploadedSize() const
{
    return m_uploadedSize;
}

const QString& MFile::getLocalPath() const
{
    return m_localPath;
}

const QString& MFile::getRemotePathString() const
{
    return m_remotePathString;
}

const QMap<QString, QString>& MFile::getAttributes() const
{
    return m_attributes;
}

const QList<QString>& MFile::getPrivileges() const
{
    return m_privileges;
}

const QByteArray& MFile::getThumbnailData() const
{
    return m_thumbnailData;
}

int MFile::getStatus() const
{
    return m_status;
}

const QList<QSharedPointer<MFile>>& MFile::getChildren() const
{
    return m_children;
}

void MFile::setId(const QString& id)
{
    m_id = id;
}

void MFile::setFileName(const QString& name)
{
    m_fileName = name;
}

void MFile::setWorkspaceId(const QString& workspaceId)
{
    m_workspaceId = workspaceId;
}

void MFile::setParentId(const QString& parentId)
{
    m_parentId = parentId;
}

void MFile::setIsFolder(bool isFolder)
{
    m_isFolder = isFolder;
}

void MFile::setSize(qint64 size)
{
    m_size = size;
}

void MFile::setDigest(const QString& digest)
{
    m_digest = digest;
}

void MFile::setRevisionNumber(qint64 revision)
{
    m_revisionNumber = revision;
}

void MFile::setCreateTime(const QDateTime& time)
{
    m_createTime = time;
}

void MFile::setUpdateTime(const QDateTime& time)
{
    m_updateTime = time;
}

void MFile::setIsUploading(bool uploading)
{
    m_isUploading = uploading;
}

void MFile::setUploadedSize(qint64 size)
{
    m_uploadedSize = size;
}

void MFile::setLocalPath(const QString& path)
{
    m_localPath = path;
}

void MFile::setRemotePathString(const QString& path)
{
    m_remotePathString = path;
}

void MFile::setAttributes(const QMap<QString, QString>& attributes)
{
    m_attributes = attributes;
}

void MFile::setPrivileges(const QList<QString>& privileges)
{
    m_privileges = privileges;
}

void MFile::copyOwnData(const MFile& o)
{
    m_id = o.m_id;
    m_fileName = o.m_fileName;
    m_workspaceId = o.m_workspaceId;
    m_parentId = o.m_parentId;
    m_isFolder = o.m_isFolder;
    m_size = o.m_size;
    m_digest = o.m_digest;
    m_revisionNumber = o.m_revisionNumber;
    m_createTime = o.m_createTime;
    m_updateTime = o.m_updateTime;
    m_isUploading = o.m_isUploading;
    m_uploadedSize = o.m_uploadedSize;
    m_localPath = o.m_localPath;
    m_remotePathString = o.m_remotePathString;
    m_attributes = o.m_attributes;
    m_privileges = o.m_privileges;
    m_thumbnailData = o.m_thumbnailData;
    m_status = o.m_status;
}

QString MFile::getPath() const
{
    const QSharedPointer<MFile> parent = m_parent.toStrongRef();
    if (!parent)
        return m_remotePathString.isEmpty() ? QStringLiteral("/") : m_remotePathString;
    QString base = parent->getPath();
    if (!base.endsWith(QLatin1Char('/')))
        base += QLatin1Char('/');
    return base + m_fileName;
}

void MFile::setAttribute(const QString& key, const QString& value)
{
    m_attributes.insert(key, value);
}

bool MFile::hasPrivilege(const QString& privilege) const
{
    return m_privileges.contains(privilege);
}

void MFile::setThumbnailData(const QByteArray& data)
{
    m_thumbnailData = data;
    m_status |= StatusThumbnailLoaded;
}

void MFile::setStatus(int status)
{
    m_status |= status;
}

void MFile::clearStatus(int status)
{
    m_status &= ~status;
}

bool MFile::hasStatus(int status) const
{
    return (m_status & status) == status && status != 0;
}

QSharedPointer<MFile> MFile::getParent() const
{
    return m_parent.toStrongRef();
}

QSharedPointer<MFile> MFile::getChild(const QString& name, bool caseSensitive) const
{
    const Qt::CaseSensitivity cs = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    for (const QSharedPointer<MFile>& child : m_children) {
        if (child && child->m_fileName.compare(name, cs) == 0)
            return child;
    }
    return {};
}

QSharedPointer<MFile> MFile::getChildById(const QString& id) const
{
    for (const QSharedPointer<MFile>& child : m_children) {
        if (child && child->m_id == id)
            return child;
    }
    return {};
}

namespace {

// True when \a candidate is \a node or one of its ancestors: making it a
// child of \a node would close a loop of strong pointers.
bool isSelfOrAncestor(const QSharedPointer<MFile>& candidate, const QSharedPointer<MFile>& node)
{
    for (QSharedPointer<MFile> current = node; current; current = current->getParent()) {
        if (current == candidate)
            return true;
    }
    return false;
}

// A node sits in one folder's list: moving it takes it out of the old one.
void detachFromOtherParent(const QSharedPointer<MFile>& child, const QSharedPointer<MFile>& newParent)
{
    const QSharedPointer<MFile> oldParent = child->getParent();
    if (oldParent && oldParent != newParent)
        oldParent->removeChild(child);
}

} // namespace

void MFile::setChildren(const QList<QSharedPointer<MFile>>& children, const QSharedPointer<MFile>& folder)
{
    if (!folder)
        return;
    for (const QSharedPointer<MFile>& old : std::as_const(folder->m_children)) {
        if (old && !children.contains(old))
            old->m_parent.clear();
    }
    folder->m_children.clear();
    for (const QSharedPointer<MFile>& child : children) {
        if (!child || isSelfOrAncestor(child, folder) || folder->m_children.contains(child))
            continue;
        detachFromOtherParent(child, folder);
        child->m_parent = folder;
        child->m_parentId = folder->m_id;
        if (child->m_workspaceId.isEmpty())
            child->m_workspaceId = folder->m_workspaceId;
        folder->m_children.append(child);
    }
}

void MFile::addChild(const QSharedPointer<MFile>& child, const QSharedPointer<MFile>& parent)
{
    if (!child || !parent || isSelfOrAncestor(child, parent))
        return;
    detachFromOtherParent(child, parent);
    for (qsizetype i = 0; i < parent->m_children.size(); ++i) {
        const QSharedPointer<MFile>& existing = parent->m_children.at(i);
        if (existing == child || (!child->m_id.isEmpty() && existing && existing->m_id == child->m_id)) {
            if (existing != child)
                existing->m_parent.clear();
            parent->m_children.removeAt(i);
            break;
        }
    }
    child->m_parent = parent;
    child->m_parentId = parent->m_id;
    if (child->m_workspaceId.isEmpty())
        child->m_workspaceId = parent->m_workspaceId;
    parent->m_children.append(child);
}

bool MFile::removeChild(const QSharedPointer<MFile>& child)
{
    if (!child)
        return false;
    for (qsizetype i = 0; i < m_children.size(); ++i) {
        const QSharedPointer<MFile> existing = m_children.at(i);
        if (existing == child || (!child->m_id.isEmpty() && existing && existing->m_id == child->m_id)) {
            existing->m_parent.clear();
            m_children.removeAt(i);
            return true;
        }
    }
    return false;
}

void MFile::removeAllChildren()
{
    for (const QSharedPointer<MFile>& child : std::as_const(m_children)) {
        if (child)
            child->m_parent.clear();
    }
    m_children.clear();
}

void MFile::updateMetaInfo(const MFile& meta)
{
    if (!meta.m_id.isEmpty())
        m_id = meta.m_id;
    m_fileName = meta.m_fileName;
    if (!meta.m_workspaceId.isEmpty())
        m_workspaceId = meta.m_workspaceId;
    if (!meta.m_parentId.isEmpty())
        m_parentId = meta.m_parentId;
    m_isFolder = meta.m_isFolder;
    m_size = meta.m_size;
    m_digest = meta.m_digest;
    m_revisionNumber = meta.m_revisionNumber;
    m_createTime = meta.m_createTime;
    m_updateTime = meta.m_updateTime;
    m_isUploading = meta.m_isUploading;
    m_uploadedSize = meta.m_uploadedSize;
    if (!meta.m_remotePathString.isEmpty())
        m_remotePathString = meta.m_remotePathString;
    m_status |= StatusMetaLoaded;
}

void MFile::fromJson(const QJsonObject& object, MFile& file)
{
    file.m_id = Json::string(object, "id");
    file.m_fileName = Json::string(object, "name");
    file.m_workspaceId = Json::string(object, "workspaceId");
    file.m_parentId = Json::string(object, "parentId");
    file.m_isFolder = Json::boolean(object, "isFolder");
    file.m_size = Json::int64(object, "size");
    file.m_digest = Json::string(object, "digest");
    file.m_revisionNumber = Json::int64(object, "revision");
    file.m_createTime = Json::time(object, "createTime");
    file.m_updateTime = Json::time(object, "updateTime");
    file.m_isUploading = Json::boolean(object, "uploading");
    file.m_uploadedSize = Json::int64(object, "uploadedSize");
    file.m_remotePathString = Json::string(object, "path");
}

void MFile::fromJson(const QJsonArray& array, QList<QSharedPointer<MFile>>& files)
{
    for (const QJsonValue& value : array) {
        if (!value.isObject())
            continue;
        auto file = QSharedPointer<MFile>::create();
        fromJson(value.toObject(), *file);
        files.append(file);
    }
}

QJsonObject MFile::toJson() const
{
    QJsonObject object{ { QStringLiteral("id"), m_id },
                        { QStringLiteral("name"), m_fileName },
                        { QStringLiteral("workspaceId"), m_workspaceId },
                        { QStringLiteral("parentId"), m_parentId },
                        { QStringLiteral("isFolder"), m_isFolder },
                        { QStringLiteral("size"), m_size },
                        { QStringLiteral("digest"), m_digest },
                        { QStringLiteral("revision"), m_revisionNumber },
                        { QStringLiteral("createTime"), Json::timeToJson(m_createTime) },
                        { QStringLiteral("updateTime"), Json::timeToJson(m_updateTime) },
                        { QStringLiteral("uploading"), m_isUploading },
                        { QStringLiteral("uploadedSize"), m_uploadedSize } };
    if (!m_remotePathString.isEmpty())
        object.insert(QStringLiteral("path"), m_remotePathString);
    return object;
}

void registerModelMetaTypes()
{
    qRegisterMetaType<MWeakFile>("MWeakFile");
    qRegisterMetaType<MWeakFile>("Trelan::Oku::ZYRModel::MWeakFile");
    qRegisterMetaType<QList<MWeakFile>>("QList<Trelan::Oku::ZYRModel::MWeakFile>");
    qRegisterMetaType<QList<MWeakFile>>("QList<MWeakFile>");
}

namespace {
// Registers the queued-signal types as soon as the library is loaded, so
// that string-based connections find them by name.
const bool s_metaTypesRegistered = (registerModelMetaTypes(), true);
} // namespace

} // namespace Trelan::Oku::ZYRModel
