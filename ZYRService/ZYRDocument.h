// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRService/zyrservice_export.h>

#include <QList>
#include <QMap>
#include <QString>

class QIODevice;
namespace Trelan::Oku::ZYRInterface {
class INetworkReplyHandler;
}

namespace Trelan::Oku::ZYRService {

using Trelan::Oku::ZYRInterface::INetworkReplyHandler;

/// Document requests; see ZYRAccount for the common contract and docs/api.md
/// for what each one sends and answers.
class ZYRSERVICE_EXPORT ZYRDocument {
public:
    ZYRDocument() = delete;

    /// Children of a folder named by id, or by path when \a byPath.
    static void GetChildFiles(const QString& token, const QString& workspaceId, const QString& folderKey,
                              INetworkReplyHandler* handler, bool byPath);
    /// Attributes of a file named by id, or by path when \a byPath.
    static void QueryAttributes(const QString& token, const QString& workspaceId, const QString& key, bool byPath,
                                INetworkReplyHandler* handler, const QString& attributeKey);
    /// Metadata of a file; with \a withPath the reply carries its remote path.
    static void GetFileMetaById(const QString& token, const QString& workspaceId, const QString& fileId, bool withPath,
                                INetworkReplyHandler* handler);
    static void GetFileMetaByPath(const QString& token, const QString& workspaceId, const QString& path,
                                  INetworkReplyHandler* handler);
    /// The chain of ancestors of a file ("parents").
    static void GetFilePath(const QString& token, const QString& workspaceId, const QString& fileId,
                            INetworkReplyHandler* handler);
    /// The path of a file, by id alone ("path").
    static void GetFilePathById(const QString& token, const QString& fileId, INetworkReplyHandler* handler);
    static void GetFilePrivilege(const QString& token, const QString& workspaceId, const QString& fileId,
                                 INetworkReplyHandler* handler);
    static void GetFileThumbnailById(const QString& token, const QString& workspaceId, const QString& fileId,
                                     INetworkReplyHandler* handler);
    static void GetViewCode(const QString& token, const QString& workspaceId, const QString& fileId,
                            INetworkReplyHandler* handler);

    static void CreateFolder(const QString& token, const QString& workspaceId, const QString& parentId,
                             const QString& folderName, INetworkReplyHandler* handler);
    static void DeleteFile(const QString& token, const QString& workspaceId, const QString& fileId,
                           INetworkReplyHandler* handler);
    /// Copies, or moves when \a move, one file into \a targetFolderId.
    static void CopyFile(const QString& token, const QString& workspaceId, const QString& fileId,
                         const QString& targetFolderId, bool move, INetworkReplyHandler* handler);
    static void RenameFile(const QString& token, const QString& workspaceId, const QString& fileId,
                           const QString& newName, INetworkReplyHandler* handler);

    static void addFavoriteFile(const QString& token, const QString& workspaceId, const QString& fileId,
                                INetworkReplyHandler* handler);
    static void removeFavoriteFile(const QString& token, const QString& workspaceId, const QString& fileId,
                                   INetworkReplyHandler* handler);
    static void queryFavoriteFiles(const QString& token, const QString& workspaceId, INetworkReplyHandler* handler);

    static void QueryShareLinks(const QString& token, const QString& workspaceId, INetworkReplyHandler* handler);
    /// \a expireTime in ms since the epoch (0 = never); \a preview and \a download grant those privileges.
    static void CreateShareLink(const QString& token, const QString& workspaceId, const QList<QString>& fileIds,
                                bool encrypt, qint64 expireTime, bool preview, bool download,
                                INetworkReplyHandler* handler);
    static void UpdateShareLink(const QString& token, const QString& workspaceId, const QString& linkId,
                                qint64 expireTime, bool encrypt, bool preview, bool download,
                                INetworkReplyHandler* handler);
    /// \a linkIds: the ids of the links to remove, joined with ",".
    static void RemoveShareLinks(const QString& token, const QString& workspaceId, const QString& linkIds,
                                 INetworkReplyHandler* handler);

    static void AddAttributes(const QString& token, const QString& workspaceId, const QString& fileId,
                              const QMap<QString, QString>& attributes, INetworkReplyHandler* handler);
    static void AddAttributesByPath(const QString& token, const QString& workspaceId, const QString& remotePath,
                                    const QMap<QString, QString>& attributes, INetworkReplyHandler* handler);

    /// Downloads from byte \a offset; \a length 0 means to the end. The body
    /// arrives through the handler's slotReadyRead, which must drain the
    /// reply each time: the reply buffers at most 1 MiB, so that memory
    /// stays flat, and waits for the handler beyond that. Progress reports
    /// this reply's bytes received against the whole file's size (offset
    /// plus this reply's length; -1 when unknown).
    static void DownloadFile(const QString& token, const QString& workspaceId, const QString& fileId, qint64 offset,
                             qint64 length, INetworkReplyHandler* handler);
    /// Uploads the bytes of \a source from \a offset to \a size into
    /// \a remotePath (the full remote path of the file) below
    /// \a remoteParentPath. \a source must stay open until the handler has
    /// finished; it is streamed, never read whole into memory.
    static void UploadFile(const QString& token, const QString& workspaceId, const QString& remoteParentPath,
                           const QString& remotePath, qint64 size, qint64 offset, QIODevice* source,
                           INetworkReplyHandler* handler);
};

} // namespace Trelan::Oku::ZYRService
