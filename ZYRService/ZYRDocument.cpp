// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRService/ZYRDocument.h>

#include "ZYRNetworkAccess_p.h"
#include "ZYRRequest_p.h"
#include "ZYRServiceDefaults_p.h"

#include <QJsonArray>
#include <QJsonObject>

namespace Trelan::Oku::ZYRService {

using Verb = ZYRRequest::Verb;

namespace {

// "/api/v1/workspaces/<wid><rest>"
QByteArray workspacePath(const QString& workspaceId, const char* rest)
{
    return "/api/v1/workspaces/" + ZYRRequest::encode(workspaceId) + rest;
}

// "/api/v1/workspaces/<wid>/files/<fileId><rest>"
QByteArray filePath(const QString& workspaceId, const QString& fileId, const char* rest)
{
    return workspacePath(workspaceId, "/files/") + ZYRRequest::encode(fileId) + rest;
}

ZYRRequest get(const QString& token, const QByteArray& path)
{
    return ZYRRequest(Verb::Get, path).setBearerToken(token);
}

const char* boolText(bool value)
{
    return value ? "true" : "false";
}

QJsonObject attributesObject(const QMap<QString, QString>& attributes)
{
    QJsonObject object;
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it)
        object.insert(it.key(), it.value());
    return object;
}

} // namespace

void ZYRDocument::GetChildFiles(const QString& token, const QString& workspaceId, const QString& folderKey,
                                INetworkReplyHandler* handler, bool byPath)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/children"))
                                   .addQuery(byPath ? "path" : "id", folderKey)
                                   .setLargeListing(true),
                           handler);
}

void ZYRDocument::QueryAttributes(const QString& token, const QString& workspaceId, const QString& key, bool byPath,
                                  INetworkReplyHandler* handler, const QString& attributeKey)
{
    ZYRRequest request = get(token, workspacePath(workspaceId, "/attributes"));
    request.addQuery(byPath ? "path" : "id", key).setLargeListing(true);
    if (!attributeKey.isEmpty())
        request.addQuery("attributeKey", attributeKey);
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::GetFileMetaById(const QString& token, const QString& workspaceId, const QString& fileId,
                                  bool withPath, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/meta"))
                                   .addQuery("id", fileId)
                                   .addQuery("withPath", QString::fromLatin1(boolText(withPath))),
                           handler);
}

void ZYRDocument::GetFileMetaByPath(const QString& token, const QString& workspaceId, const QString& path,
                                    INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/meta")).addQuery("path", path), handler);
}

void ZYRDocument::GetFilePath(const QString& token, const QString& workspaceId, const QString& fileId,
                              INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/parents")).addQuery("id", fileId), handler);
}

void ZYRDocument::GetFilePathById(const QString& token, const QString& fileId, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, "/api/v1/files/path").addQuery("id", fileId), handler);
}

void ZYRDocument::GetFilePrivilege(const QString& token, const QString& workspaceId, const QString& fileId,
                                   INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/privileges")).addQuery("id", fileId), handler);
}

void ZYRDocument::GetFileThumbnailById(const QString& token, const QString& workspaceId, const QString& fileId,
                                       INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/thumbnail")).addQuery("id", fileId), handler);
}

void ZYRDocument::GetViewCode(const QString& token, const QString& workspaceId, const QString& fileId,
                              INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/viewcode")).addQuery("id", fileId), handler);
}

void ZYRDocument::CreateFolder(const QString& token, const QString& workspaceId, const QString& parentId,
                               const QString& folderName, INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Post, workspacePath(workspaceId, "/folders"));
    request.setBearerToken(token).setJsonBody(
            QJsonObject{ { QStringLiteral("parentId"), parentId }, { QStringLiteral("name"), folderName } });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::DeleteFile(const QString& token, const QString& workspaceId, const QString& fileId,
                             INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(ZYRRequest(Verb::Delete, filePath(workspaceId, fileId, "")).setBearerToken(token), handler);
}

void ZYRDocument::CopyFile(const QString& token, const QString& workspaceId, const QString& fileId,
                           const QString& targetFolderId, bool move, INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Post, filePath(workspaceId, fileId, "/copy"));
    request.setBearerToken(token).setJsonBody(
            QJsonObject{ { QStringLiteral("targetFolderId"), targetFolderId }, { QStringLiteral("move"), move } });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::RenameFile(const QString& token, const QString& workspaceId, const QString& fileId,
                             const QString& newName, INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Put, filePath(workspaceId, fileId, "/name"));
    request.setBearerToken(token).setJsonBody(QJsonObject{ { QStringLiteral("name"), newName } });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::addFavoriteFile(const QString& token, const QString& workspaceId, const QString& fileId,
                                  INetworkReplyHandler* handler)
{
    // Several ids may come joined with ","; the route takes them as a list.
    QJsonArray ids;
    const QStringList parts = fileId.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString& id : parts)
        ids.append(id);
    ZYRRequest request(Verb::Post, workspacePath(workspaceId, "/favorites"));
    request.setBearerToken(token).setJsonBody(QJsonObject{ { QStringLiteral("fileIds"), ids } });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::removeFavoriteFile(const QString& token, const QString& workspaceId, const QString& fileId,
                                     INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(ZYRRequest(Verb::Delete, workspacePath(workspaceId, "/favorites"))
                                   .setBearerToken(token)
                                   .addQuery("fileIds", fileId),
                           handler);
}

void ZYRDocument::queryFavoriteFiles(const QString& token, const QString& workspaceId, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/favorites")).setLargeListing(true), handler);
}

void ZYRDocument::QueryShareLinks(const QString& token, const QString& workspaceId, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(get(token, workspacePath(workspaceId, "/share-links")).setLargeListing(true), handler);
}

void ZYRDocument::CreateShareLink(const QString& token, const QString& workspaceId, const QList<QString>& fileIds,
                                  bool encrypt, qint64 expireTime, bool preview, bool download,
                                  INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Post, workspacePath(workspaceId, "/share-links"));
    request.setBearerToken(token).setJsonBody(QJsonObject{
            { QStringLiteral("fileIds"), QJsonArray::fromStringList(fileIds) },
            { QStringLiteral("encrypt"), encrypt },
            { QStringLiteral("expireTime"), expireTime },
            { QStringLiteral("preview"), preview },
            { QStringLiteral("download"), download },
    });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::UpdateShareLink(const QString& token, const QString& workspaceId, const QString& linkId,
                                  qint64 expireTime, bool encrypt, bool preview, bool download,
                                  INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Put, workspacePath(workspaceId, "/share-links/") + ZYRRequest::encode(linkId));
    request.setBearerToken(token).setJsonBody(QJsonObject{
            { QStringLiteral("expireTime"), expireTime },
            { QStringLiteral("encrypt"), encrypt },
            { QStringLiteral("preview"), preview },
            { QStringLiteral("download"), download },
    });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::RemoveShareLinks(const QString& token, const QString& workspaceId, const QString& linkIds,
                                   INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(ZYRRequest(Verb::Delete, workspacePath(workspaceId, "/share-links"))
                                   .setBearerToken(token)
                                   .addQuery("ids", linkIds),
                           handler);
}

void ZYRDocument::AddAttributes(const QString& token, const QString& workspaceId, const QString& fileId,
                                const QMap<QString, QString>& attributes, INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Post, workspacePath(workspaceId, "/attributes"));
    request.setBearerToken(token).setJsonBody(QJsonObject{
            { QStringLiteral("id"), fileId },
            { QStringLiteral("attributes"), attributesObject(attributes) },
    });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::AddAttributesByPath(const QString& token, const QString& workspaceId, const QString& remotePath,
                                      const QMap<QString, QString>& attributes, INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Post, workspacePath(workspaceId, "/attributes"));
    request.setBearerToken(token).setJsonBody(QJsonObject{
            { QStringLiteral("path"), remotePath },
            { QStringLiteral("attributes"), attributesObject(attributes) },
    });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::DownloadFile(const QString& token, const QString& workspaceId, const QString& fileId, qint64 offset,
                               qint64 length, INetworkReplyHandler* handler)
{
    ZYRRequest request = get(token, filePath(workspaceId, fileId, "/content"));
    // Byte ranges must mean stored bytes, so ask for no content coding even
    // from a proxy that would otherwise compress.
    request.setRawHeader("Accept-Encoding", "identity");
    if (length > 0)
        request.setRawHeader("Range",
                             "bytes=" + QByteArray::number(offset) + '-' + QByteArray::number(offset + length - 1));
    else if (offset > 0)
        request.setRawHeader("Range", "bytes=" + QByteArray::number(offset) + '-');
    if (offset > 0)
        request.setDownloadTotalOffset(offset);
    request.setReadBufferSize(Defaults::DownloadReadBufferBytes);
    ZYRNetworkAccess::send(request, handler);
}

void ZYRDocument::UploadFile(const QString& token, const QString& workspaceId, const QString& remoteParentPath,
                             const QString& remotePath, qint64 size, qint64 offset, QIODevice* source,
                             INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Put, workspacePath(workspaceId, "/upload"));
    request.setBearerToken(token)
            .addQuery("parentPath", remoteParentPath)
            .addQuery("path", remotePath)
            .addQuery("size", QString::number(size))
            .addQuery("offset", QString::number(offset))
            .setUploadSource(source, offset, size - offset);
    ZYRNetworkAccess::send(request, handler);
}

} // namespace Trelan::Oku::ZYRService
