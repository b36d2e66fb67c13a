// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileShareLink.h>
#include <ZYRModel/MWorkspace.h>

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QWeakPointer>

#include <memory>

namespace Trelan::Oku::ZYRModel {
class MFilePath;
class MInstallInfo;
class MToken;
class MUser;
} // namespace Trelan::Oku::ZYRModel

namespace Trelan::Oku::ZYRController {

class BFileAttributeUpdateHelper;
class BFileOpenManager;
class BFileTransferManager;
class BQueryChildrenAttributesHelper;
class BReplyHandlerBase;
class BTCloudManagerPrivate;

/// The façade through which the views reach the cloud: the session (token
/// and user), the account's workspaces with their folder trees, the active
/// workspace and folder, and the operations on the tree. It owns the
/// transfer queue, the open-for-editing manager and the two attribute
/// helpers. Lives on the thread that made it, whose event loop it needs.
///
/// Requests are asynchronous: an operation sends its request and returns,
/// and a signal reports the answer. Exceptions: queryFileMeta(), and
/// queryChildren() with attributes, wait for their answers in a nested event
/// loop (at most BTimings::syncWaitMs, ten minutes), as do the finishing
/// steps that fetch privileges; other replies and signals are delivered
/// meanwhile. Operations that send requests return true when they sent one;
/// without a token, or with an argument they cannot use (a gone node, an
/// empty id), they return false and emit nothing.
///
/// Nodes are held by the tree as QSharedPointer<MFile> and handed out as
/// QWeakPointer<MFile> (MWeakFile in signals). Every "finished" signal
/// carrying a bool reports success; the int of loginFinished() is the
/// QNetworkReply::NetworkError (0 for success), and the int of
/// queryChildrenFinished() and queryChildrenByInfoFinished() is the HTTP
/// status of the listing (200 when the children were applied, 0 when no
/// answer came) or AnswerNotApplied.
class ZYRCONTROLLER_EXPORT BTCloudManager : public QObject {
    Q_OBJECT
public:
    /// Status of a listing answered 200 whose body could not be read, or
    /// whose folder could not be placed in the tree.
    static constexpr int AnswerNotApplied = -1;

    /// Makes the transfer queue, the open manager and the two helpers.
    BTCloudManager();
    /// Drops the session and the workspaces, deletes what it owns and
    /// cancels every unfinished request, so that none calls back.
    ~BTCloudManager() override;

    // ---- session and user --------------------------------------------------

    ZYRModel::MToken* getToken() const;
    ZYRModel::MUser* getCurrentUser() const;
    /// Signs in: POST of account and password; answered by loginFinished(),
    /// after which the token is set (and handed to the transfer and open
    /// managers). An existing session is neither checked nor cleared.
    void login(const QString& account, const QString& password);
    /// Takes ownership of \a token (null allowed), deleting the old one.
    void setToken(ZYRModel::MToken* token);
    /// Drops token, workspaces and user without any request; emits
    /// activeWorkspaceChanged(nullptr) if a workspace was active, then
    /// logoutFinished().
    void logout();
    /// Reads the signed-in user; answered by queryUserInfoFinished(), which
    /// comes after the avatar and the workspace list have been asked for.
    bool queryUserInfo();
    /// Takes ownership of \a user (null allowed) and hands its id and names
    /// to the transfer and open managers.
    void setCurrentUser(ZYRModel::MUser* user);
    /// Reads the current user's first avatar into MUser::getAvatarData32();
    /// no signal. False for a user without avatar.
    bool queryUserAvatar();
    /// Asks for a one-time login token for \a targetLink (which is not
    /// sent); answered by queryTargetLoginTokenFinished().
    bool queryTargetLoginToken(const QString& targetLink);
    /// Reports the installation; no token, no answer, no signal.
    static void reportInstallInfo(const ZYRModel::MInstallInfo& info);
    /// The cloud's address for every request sent afterwards; without it
    /// the address comes from the environment variable ZYR_SERVER_URL.
    static void setServerUrl(const QUrl& url);
    /// Requests sent afterwards that see no network activity for \a msecs
    /// are aborted and fail as unanswered; 0 (the default) waits for ever.
    static void setRequestTimeout(int msecs);

    // ---- workspaces ----------------------------------------------------------

    /// The list itself; entries are owned by the manager.
    QList<ZYRModel::MWorkspace*>* getWorkspaces();
    ZYRModel::MWorkspace* getActiveWorkspace() const;
    QWeakPointer<ZYRModel::MFile> getActiveFolder() const;
    /// A workspace id kept for the views; the manager does not read it.
    QString& getWorkspaceId();
    void setWorkspaceId(const QString& workspaceId);
    /// Reads the workspace list; answered by queryAllWorkspaceFinished().
    /// With \a merge, known workspaces keep their objects and trees and the
    /// active one stays active if listed; without, the list is rebuilt and
    /// the default workspace becomes active.
    bool queryAllWorkspace(bool merge);
    ZYRModel::MWorkspace* getWorkspaceById(const QString& id) const;
    /// Reads the root folder's metadata and privileges (waiting for them),
    /// then stores \a workspace and emits activeWorkspaceChanged().
    void setActiveWorkspace(ZYRModel::MWorkspace* workspace);
    /// Stores a live \a folder and emits activeFolderChanged() when it
    /// changed and a workspace is active.
    void setActiveFolder(const QWeakPointer<ZYRModel::MFile>& folder);
    bool isActiveFolder(const QWeakPointer<ZYRModel::MFile>& folder) const;
    bool isWorkingWorkspace(ZYRModel::MWorkspace* workspace) const;
    bool isWorkingDir(ZYRModel::MWorkspace* workspace, const QWeakPointer<ZYRModel::MFile>& folder) const;
    /// The active folder named by path (in the active workspace \a
    /// workspaceId) or, with \a byPath false, by id in any workspace.
    bool isWorkingDir(const QString& workspaceId, const QString& key, bool byPath) const;
    /// Reads a workspace's quota into MWorkspace::getQuota(); answered by
    /// queryWorkspaceQuotaFinished().
    bool queryWorkspaceQuota(const QString& workspaceId);
    /// Reads a workspace's logo into MWorkspace::getLogoData(); answered by
    /// queryWorkspaceLogoFinished(). "https:" is put in front of a logo URL
    /// that does not start with it. False without logo URL.
    bool queryWorkspaceLogo(const QString& workspaceId);

    // ---- browsing --------------------------------------------------------------

    /// Lists \a folder's children into the tree, then reads each child's
    /// privileges (waiting for them); answered by queryChildrenFinished().
    /// With \a queryAttributes the folder's own attributes are read first,
    /// waiting for them. A folder already listed (status flag 8) is not
    /// listed again unless \a refresh. Known children keep their nodes.
    bool queryChildren(const QString& workspaceId, QWeakPointer<ZYRModel::MFile> folder, bool queryAttributes = false,
                       bool refresh = false);
    /// Lists the folder named by id or, with \a byPath, by remote path, puts
    /// it and any missing ancestors into the tree, reads the children's
    /// privileges and makes it the active folder (and its workspace the
    /// active one); answered by queryChildrenByInfoFinished(). Nothing is
    /// sent for the folder that is active already.
    bool queryChildrenByInfo(const QString& workspaceId, const QString& key, bool byPath);
    /// Reads \a file's metadata and then its privileges, and returns only
    /// when both have been applied (or after the sync wait); answered, before
    /// it returns, by queryFileMetaFinished().
    bool queryFileMeta(const QString& workspaceId, QWeakPointer<ZYRModel::MFile> file);
    /// Reads a file's thumbnail into MFile::getThumbnailData() unless it has
    /// one (status flag 16); answered by queryFileThumbnailFinished().
    bool queryFileThumbnail(const QString& workspaceId, QWeakPointer<ZYRModel::MFile> file);
    /// Asks for a viewcode of a document; answered by queryViewcodeFinished().
    bool queryViewCode(const QString& workspaceId, QWeakPointer<ZYRModel::MFile> file);

    // ---- file operations ---------------------------------------------------------

    /// Creates \a folderName in \a parent; on success \a newFolder (a node the
    /// view made) takes the new folder's data and becomes \a parent's child.
    /// Answered by createFolderFinished().
    bool createFolder(const QString& workspaceId, QWeakPointer<ZYRModel::MFile> parent,
                      QWeakPointer<ZYRModel::MFile> newFolder, const QString& folderName);
    /// One delete request per live file; each answered by its own
    /// deleteFilesFinished() naming that one file.
    bool deleteFiles(const QString& workspaceId, QWeakPointer<ZYRModel::MFile> parent,
                     const QList<QWeakPointer<ZYRModel::MFile>>& files);
    /// One copy (or, with \a move, move) request per live file into
    /// \a targetParent; each answered by addFilesFinished() (a move first by
    /// deleteFilesFinished() for \a sourceParent). Nothing is sent into the
    /// folder the files come from.
    bool copyFiles(const QString& workspaceId, QWeakPointer<ZYRModel::MFile> sourceParent,
                   QWeakPointer<ZYRModel::MFile> targetParent, const QList<QWeakPointer<ZYRModel::MFile>>& files,
                   bool move);
    /// Shows \a newName on the node at once and renames it in the cloud;
    /// answered by renameFileFinished(). A failed rename puts \a oldName back.
    bool renameName(const QString& workspaceId, QWeakPointer<ZYRModel::MFile> file, const QString& oldName,
                    const QString& newName);
    /// Marks the live files as favourites (one request); answered by
    /// addFavoriteFilesFinished().
    bool addFavoriteFiles(const QString& workspaceId, const QList<QWeakPointer<ZYRModel::MFile>>& files);
    /// Unmarks them (one request); answered by removeFavoriteFilesFinished().
    bool removeFavoriteFiles(const QString& workspaceId, const QList<QWeakPointer<ZYRModel::MFile>>& files);
    /// Reads the favourites into MWorkspace::getFavoriteFiles(), with their
    /// privileges; answered by queryFavoriteFilesFinished().
    bool queryFavoriteFiles(const QString& workspaceId);
    /// Reads the caller's share links into MWorkspace::getShareLinks();
    /// answered by queryShareLinksFinished().
    bool queryShareLinks(const QString& workspaceId);
    /// Creates a link for link.getFileIds() with its password flag, expiry
    /// and "preview"/"download" privileges; answered by
    /// createShareLinkFinished() with the new link, added to the workspace.
    bool createShareLink(const QString& workspaceId, const ZYRModel::MFileShareLink& link);
    /// Gives the link \a target (or, if it is gone, the one with link's id)
    /// the expiry, password flag and privileges of \a link; answered by
    /// updateShareLinkFinished().
    bool updateShareLink(const QString& workspaceId, const ZYRModel::MFileShareLink& link,
                         QWeakPointer<ZYRModel::MFileShareLink> target);
    /// Removes the live links (one request, their ids joined by ","); answered
    /// by removeShareLinksFinished().
    bool removeShareLinks(const QString& workspaceId, const QList<QWeakPointer<ZYRModel::MFileShareLink>>& links);
    /// Merges \a attributes into a file's attributes; answered by
    /// addAttributesFinished().
    bool updateFileAttributes(QWeakPointer<ZYRModel::MFile> file, const QMap<QString, QString>& attributes);
    /// Reads the attributes of each child of \a folder; answered once by
    /// childrenAttributesQueried(). False when nothing was started.
    bool queryChildrenAttributes(QWeakPointer<ZYRModel::MFile> folder);

    // ---- transfers -------------------------------------------------------------

    BFileTransferManager* getFileTransferManager() const;
    BFileOpenManager* getFileOpenManager() const;
    BFileAttributeUpdateHelper* getFileAttributeUpdateHelper() const;
    /// Queues a download of \a file (a folder: all of it) into \a localDir,
    /// named \a newName when given; the transfer queue reports progress.
    bool downloadFile(QWeakPointer<ZYRModel::MFile> file, const QString& localDir, const QString& newName = QString());
    bool downloadFiles(const QList<QWeakPointer<ZYRModel::MFile>>& files, const QString& localDir);
    /// Queues uploads of local files and folders into \a remoteParentPath. A
    /// file landing in a folder the tree has listed appears there
    /// (addFilesFinished(), or updateFilesFinished() for a new version).
    bool uploadFiles(const QList<QString>& localPaths, const QString& workspaceId, const QString& remoteParentPath);
    /// uploadFiles(), and once each file of \a attributesByLocalFile (local
    /// path → attributes) is uploaded its attributes are added by path
    /// (reported by getFileAttributeUpdateHelper()'s addAttributesByPathFinished()
    /// and, for a node in the tree, addAttributesFinished()).
    bool uploadFilesWithAttributes(const QList<QString>& localPaths, const QString& workspaceId,
                                   const QString& remoteParentPath,
                                   const QMap<QString, QMap<QString, QString>>& attributesByLocalFile);

public Q_SLOTS:
    /// The transfer queue finished an upload: the file (or the first folder
    /// of its path the tree lacks) is shown in a listed folder.
    void slotFileUploaded(const QString& workspaceId, const QString& remotePath);
    /// A new version from the open-for-editing flow replaces the old node.
    void slotUploadModifiedFileMetaAvailable(const QString& workspaceId, const QString& remoteFolderPath,
                                             Trelan::Oku::ZYRModel::MWeakFile newFile);
    /// Attributes added after an upload go onto the node, if it is shown.
    void slotAddAttributesByPathFinished(const QString& first, const QString& remotePath,
                                         const QMap<QString, QString>& attributes);

Q_SIGNALS:
    void activeWorkspaceChanged(Trelan::Oku::ZYRModel::MWorkspace* workspace);
    void activeFolderChanged(Trelan::Oku::ZYRModel::MWorkspace* workspace,
                             const Trelan::Oku::ZYRModel::MWeakFile& folder);
    void loginFinished(int status);
    void logoutFinished();
    void queryUserInfoFinished(bool bSuccess);
    void queryTargetLoginTokenFinished(bool success, const QString& loginToken, const QString& targetLink);
    void queryAllWorkspaceFinished(bool success);
    void queryWorkspaceQuotaFinished(bool success, const QString& workspaceId);
    void queryWorkspaceLogoFinished(bool success, const QString& workspaceId);

    void queryChildrenFinished(int status, const QString& workspaceId, Trelan::Oku::ZYRModel::MWeakFile folder);
    void queryChildrenByInfoFinished(int status, const QString& workspaceId, Trelan::Oku::ZYRModel::MWeakFile folder);
    void queryFileMetaFinished(bool success, Trelan::Oku::ZYRModel::MWeakFile file);
    void queryFileThumbnailFinished(bool success, Trelan::Oku::ZYRModel::MWeakFile file);
    void queryViewcodeFinished(bool success, const QString& workspaceId, Trelan::Oku::ZYRModel::MWeakFile file,
                               const QString& viewcode, const QString& viewURL);

    void createFolderFinished(bool success, const QString& workspaceId, Trelan::Oku::ZYRModel::MWeakFile parent,
                              Trelan::Oku::ZYRModel::MWeakFile newFolder, const QString& folderName);
    void deleteFilesFinished(bool success, const QString& workspaceId, Trelan::Oku::ZYRModel::MWeakFile parent,
                             const QList<Trelan::Oku::ZYRModel::MWeakFile>& filesToDelete);
    void addFilesFinished(bool success, const QString& workspaceId, Trelan::Oku::ZYRModel::MWeakFile targetParent,
                          const QList<Trelan::Oku::ZYRModel::MWeakFile>& filesCreated);
    void updateFilesFinished(bool success, const QString& workspaceId, Trelan::Oku::ZYRModel::MWeakFile parent,
                             const QList<Trelan::Oku::ZYRModel::MWeakFile>& filesUpdated);
    void renameFileFinished(bool success, const QString& workspaceId, Trelan::Oku::ZYRModel::MWeakFile file,
                            const QString& oldName, const QString& newName);
    void addFavoriteFilesFinished(bool success, const QString& workspaceId,
                                  const QList<Trelan::Oku::ZYRModel::MWeakFile>& filesToAdd);
    void removeFavoriteFilesFinished(bool success, const QString& workspaceId,
                                     const QList<Trelan::Oku::ZYRModel::MWeakFile>& filesToRemove);
    void queryFavoriteFilesFinished(bool success, const QString& workspaceId);
    void queryShareLinksFinished(bool success, const QString& workspaceId);
    void createShareLinkFinished(bool success, const QString& workspaceId,
                                 QWeakPointer<Trelan::Oku::ZYRModel::MFileShareLink> shareLink);
    void updateShareLinkFinished(bool success, const QString& workspaceId,
                                 QWeakPointer<Trelan::Oku::ZYRModel::MFileShareLink> shareLink);
    void removeShareLinksFinished(bool success, const QString& workspaceId,
                                  const QList<QWeakPointer<Trelan::Oku::ZYRModel::MFileShareLink>>& sharesToRemove);
    void addAttributesFinished(bool success, Trelan::Oku::ZYRModel::MWeakFile file,
                               const QMap<QString, QString>& attributes);
    /// Relayed from the children-attributes helper.
    void childrenAttributesQueried(Trelan::Oku::ZYRModel::MWeakFile folder);

protected:
    // Finished functions of the requests (through BActionFinishedCaller);
    // virtual, so that a subclass's override receives the call.
    virtual void onLoginFinished(BReplyHandlerBase* handler);
    virtual void onQueryUserInfoFinished(BReplyHandlerBase* handler);
    virtual void onQueryUserAvatarFinished(BReplyHandlerBase* handler);
    virtual void onQueryTargetLoginTokenFinished(BReplyHandlerBase* handler);
    virtual void onQueryAllWorkspaceFinished(BReplyHandlerBase* handler);
    virtual void onQueryWorkspaceQuotaFinished(BReplyHandlerBase* handler);
    virtual void onQueryWorkspaceLogoFinished(BReplyHandlerBase* handler);
    virtual void onQueryChildrenFinished(BReplyHandlerBase* handler);
    virtual void onQueryChildrenByInfoFinished(BReplyHandlerBase* handler);
    virtual void onQueryFileMetaFinished(BReplyHandlerBase* handler);
    virtual void onQueryFilePrivilegeFinished(BReplyHandlerBase* handler);
    virtual void onQueryFileThumbnailFinished(BReplyHandlerBase* handler);
    virtual void onQueryViewcodeFinished(BReplyHandlerBase* handler);
    virtual void onCreateFolderFinished(BReplyHandlerBase* handler);
    virtual void onDeleteFilesFinished(BReplyHandlerBase* handler);
    virtual void onCopyFilesFinished(BReplyHandlerBase* handler);
    virtual void onRenameFileFinished(BReplyHandlerBase* handler);
    virtual void onAddFavoriteFilesFinished(BReplyHandlerBase* handler);
    virtual void onRemoveFavoriteFilesFinished(BReplyHandlerBase* handler);
    virtual void onQueryFavoriteFilesFinished(BReplyHandlerBase* handler);
    virtual void onQueryShareLinksFinished(BReplyHandlerBase* handler);
    virtual void onCreateShareLinkFinished(BReplyHandlerBase* handler);
    virtual void onUpdateShareLinkFinished(BReplyHandlerBase* handler);
    virtual void onRemoveShareLinksFinished(BReplyHandlerBase* handler);
    virtual void onAddAttributesFinished(BReplyHandlerBase* handler);
    virtual void onUploadedFileMetaFinished(BReplyHandlerBase* handler);

private:
    friend class BTCloudManagerPrivate;

    void updateWorkspaceList(QList<ZYRModel::MWorkspace*>* list, bool merge);
    void clearWorkspaceList();
    QWeakPointer<ZYRModel::MFile> getFileByPath(const QString& workspaceId, const QString& path) const;
    QSharedPointer<ZYRModel::MFile> createFileByPath(ZYRModel::MWorkspace* workspace,
                                                     QSharedPointer<ZYRModel::MFile> root,
                                                     ZYRModel::MFilePath* path) const;

    std::unique_ptr<BTCloudManagerPrivate> d;
};

} // namespace Trelan::Oku::ZYRController
