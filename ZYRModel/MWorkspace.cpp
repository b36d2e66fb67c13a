// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MWorkspace.h>

#include <ZYRModel/MWorkspaceQuota.h>

#include "ModelJson_p.h"

namespace Trelan::Oku::ZYRModel {

MWorkspace::MWorkspace() = default;

MWorkspace::MWorkspace(const MWorkspace& other)
{
    copyInformation(other);
}

MWorkspace::~MWorkspace() = default;

const QString& MWorkspace::getId() const
{
    return m_id;
}

const QString& MWorkspace::getName() const
{
    return m_name;
}

const QString& MWorkspace::getLogoUrl() const
{
    return m_logoUrl;
}

const QString& MWorkspace::getRole() const
{
    return m_role;
}

const QString& MWorkspace::getOwnerId() const
{
    return m_ownerId;
}

qint64 MWorkspace::getCreateTime() const
{
    return m_createTime;
}

const QByteArray& MWorkspace::getLogoData() const
{
    return m_logoData;
}

QSharedPointer<MFile> MWorkspace::getRootFolder() const
{
    return m_rootFolder;
}

const QList<QSharedPointer<MFile>>& MWorkspace::getFavoriteFiles() const
{
    return m_favoriteFiles;
}

const QList<QSharedPointer<MFileShareLink>>& MWorkspace::getShareLinks() const
{
    return m_shareLinks;
}

void MWorkspace::setId(const QString& id)
{
    m_id = id;
}

void MWorkspace::setName(const QString& name)
{
    m_name = name;
}

void MWorkspace::setLogoUrl(const QString& url)
{
    m_logoUrl = url;
}

void MWorkspace::setRole(const QString& role)
{
    m_role = role;
}

void MWorkspace::setOwnerId(const QString& ownerId)
{
    m_ownerId = ownerId;
}

void MWorkspace::setCreateTime(qint64 msecsSinceEpoch)
{
    m_createTime = msecsSinceEpoch;
}

void MWorkspace::setLogoData(const QByteArray& data)
{
    m_logoData = data;
}

void MWorkspace::setRootFolder(const QSharedPointer<MFile>& root)
{
    m_rootFolder = root;
}

void MWorkspace::setFavoriteFiles(const QList<QSharedPointer<MFile>>& files)
{
    m_favoriteFiles = files;
}

void MWorkspace::setShareLinks(const QList<QSharedPointer<MFileShareLink>>& links)
{
    m_shareLinks = links;
}

bool MWorkspace::isDefaultWorkspace() const
{
    return m_isDefault;
}

void MWorkspace::setDefaultWorkspace(bool isDefault)
{
    m_isDefault = isDefault;
}

void MWorkspace::copyInformation(const MWorkspace& other)
{
    m_id = other.m_id;
    m_name = other.m_name;
    m_isDefault = other.m_isDefault;
    m_logoUrl = other.m_logoUrl;
    m_role = other.m_role;
    m_ownerId = other.m_ownerId;
    m_createTime = other.m_createTime;
}

MWorkspaceQuota* MWorkspace::getQuota() const
{
    return m_quota.get();
}

void MWorkspace::setQuota(MWorkspaceQuota* quota)
{
    if (quota != m_quota.get())
        m_quota.reset(quota);
}

void MWorkspace::removeFavoriteFiles(const QList<QWeakPointer<MFile>>& files)
{
    for (const QWeakPointer<MFile>& weak : files) {
        const QSharedPointer<MFile> file = weak.toStrongRef();
        if (!file)
            continue;
        m_favoriteFiles.removeIf([&file](const QSharedPointer<MFile>& f) {
            return f == file || (f && !file->getId().isEmpty() && f->getId() == file->getId());
        });
    }
}

void MWorkspace::addShareLink(const QSharedPointer<MFileShareLink>& link)
{
    if (link)
        m_shareLinks.append(link);
}

void MWorkspace::removeShareLinks(const QList<QWeakPointer<MFileShareLink>>& links)
{
    for (const QWeakPointer<MFileShareLink>& weak : links) {
        const QSharedPointer<MFileShareLink> link = weak.toStrongRef();
        if (!link)
            continue;
        m_shareLinks.removeIf([&link](const QSharedPointer<MFileShareLink>& l) {
            return l == link || (l && !link->getId().isEmpty() && l->getId() == link->getId());
        });
    }
}

void MWorkspace::fromJson(const QJsonObject& object, MWorkspace& workspace)
{
    workspace.m_id = Json::string(object, "id");
    workspace.m_name = Json::string(object, "name");
    workspace.m_isDefault = Json::boolean(object, "isDefault");
    workspace.m_logoUrl = Json::string(object, "logoUrl");
    workspace.m_role = Json::string(object, "role");
    workspace.m_ownerId = Json::string(object, "ownerId");
    workspace.m_createTime = Json::int64(object, "createTime");
}

void MWorkspace::fromJson(const QJsonObject& root, QList<MWorkspace*>& workspaces)
{
    const QJsonArray items = root.value(QLatin1String("items")).toArray();
    for (const QJsonValue& value : items) {
        if (!value.isObject())
            continue;
        auto* workspace = new MWorkspace;
        fromJson(value.toObject(), *workspace);
        workspaces.append(workspace);
    }
}

QJsonObject MWorkspace::toJson() const
{
    return QJsonObject{ { QStringLiteral("id"), m_id },
                        { QStringLiteral("name"), m_name },
                        { QStringLiteral("isDefault"), m_isDefault },
                        { QStringLiteral("logoUrl"), m_logoUrl },
                        { QStringLiteral("role"), m_role },
                        { QStringLiteral("ownerId"), m_ownerId },
                        { QStringLiteral("createTime"), m_createTime } };
}

} // namespace Trelan::Oku::ZYRModel
