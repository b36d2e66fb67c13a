// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BTCloudManager.h>

#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BAddAttributesHandler.h>
#include <ZYRController/BAddFavoriteFilesHandler.h>
#include <ZYRController/BCloudHandler_p.h>
#include <ZYRController/BCopyFilesHandler.h>
#include <ZYRController/BCreateFolderHandler.h>
#include <ZYRController/BCreateShareLinkHandler.h>
#include <ZYRController/BDeleteFilesHandler.h>
#include <ZYRController/BFileAttributeUpdateHelper.h>
#include <ZYRController/BFileOpenManager.h>
#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BGetFilePathHandler.h>
#include <ZYRController/BGetFilePrivilegeHandler.h>
#include <ZYRController/BLoginHandler.h>
#include <ZYRController/BQueryAllWorkspaceHandler.h>
#include <ZYRController/BQueryAttributesHandler.h>
#include <ZYRController/BQueryChildrenAttributesHelper.h>
#include <ZYRController/BQueryChildrenByInfoHandler.h>
#include <ZYRController/BQueryChildrenHandler.h>
#include <ZYRController/BQueryFavoriteFilesHandler.h>
#include <ZYRController/BQueryFileMetaHandler.h>
#include <ZYRController/BQueryFileThumbnailHandler.h>
#include <ZYRController/BQueryShareLinksHandler.h>
#include <ZYRController/BQueryTargetLoginTokenHandler.h>
#include <ZYRController/BQueryUserAvatarHandler.h>
#include <ZYRController/BQueryUserInfoHandler.h>
#include <ZYRController/BQueryViewcodeHandler.h>
#include <ZYRController/BQueryWorkspaceLogoHandler.h>
#include <ZYRController/BPrivilegeBatch_p.h>
#include <ZYRController/BQueryWorkspaceQuotaHandler.h>
#include <ZYRController/BRemoveFavoriteFilesHandler.h>
#include <ZYRController/BRemoveShareLinksHandler.h>
#include <ZYRController/BRenameFileHandler.h>
#include <ZYRController/BRequestWaiter_p.h>
#include <ZYRController/BSyncWorkerManger.h>
#include <ZYRController/BTCloudManager_p.h>
#include <ZYRController/BUpdateShareLinkHandler.h>
#include <ZYRModel/MDocumentViewcode.h>
#include <ZYRModel/MFilePath.h>
#include <ZYRModel/MInstallInfo.h>
#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspaceQuota.h>
#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRDocument.h>
#include <ZYRService/ZYRServiceUtil.h>
#include <ZYRService/ZYRWorkspace.h>

#include <QHash>
#include <QLoggingCategory>
#include <QPointer>
#include <QStringList>

#include <algorithm>

namespace Trelan::Oku::ZYRController {

Q_LOGGING_CATEGORY(lcCloud, "zyr.controller.cloud", QtWarningMsg)

using ZYRCommon::FileUtils;
using ZYRModel::MFile;
using ZYRModel::MFilePath;
using ZYRModel::MFileShareLink;
using ZYRModel::MToken;
using ZYRModel::MUser;
using ZYRModel::MWeakFile;
using ZYRModel::MWorkspace;
using ZYRService::ZYRAccount;
using ZYRService::ZYRDocument;
using ZYRService::ZYRWorkspace;
using FilePtr = QSharedPointer<MFile>;

namespace {

using Caller = BActionFinishedCaller<BTCloudManager>;

BActionFinishedCallerBase* callerFor(BTCloudManager* owner, Caller::FinishedFunction finished)
{
    return new Caller(owner, finished);
}

// The status a listing reports: a 200 whose body was not JSON counts as not
// applied, so that an unreadable answer never empties a folder.
template <typename Handler>
int listingStatus(const BCloudHandler<Handler>* handler)
{
    if (handler->isStatusOk() && !handler->isAnswerReadable())
        return BTCloudManager::AnswerNotApplied;
    return handler->statusCode();
}

QList<MWeakFile> weakList(const QList<FilePtr>& files)
{
    QList<MWeakFile> weak;
    weak.reserve(files.size());
    for (const FilePtr& file : files)
        weak.append(file);
    return weak;
}

QString joinedIds(const QList<MWeakFile>& files)
{
    QStringList ids;
    for (const MWeakFile& file : files) {
        if (const FilePtr node = file.toStrongRef())
            ids.append(node->getId());
    }
    return ids.join(QLatin1Char(','));
}

FilePtr newRootFolder(const QString& workspaceId)
{
    auto root = FilePtr::create();
    root->setWorkspaceId(workspaceId);
    root->setIsFolder(true);
    return root;
}

} // namespace

// ---- private part ------------------------------------------------------------

BTCloudManagerPrivate::BTCloudManagerPrivate(BTCloudManager* q) : q(q), timings(BTimings::current()) { }

bool BTCloudManagerPrivate::hasToken() const
{
    return token && !token->getAccessToken().isEmpty();
}

QString BTCloudManagerPrivate::accessToken() const
{
    return token ? token->getAccessToken() : QString();
}

QString BTCloudManagerPrivate::userId() const
{
    return currentUser ? currentUser->getId() : QString();
}

void BTCloudManagerPrivate::placeChildren(const FilePtr& folder, const QList<FilePtr>& children) const
{
    QHash<QString, FilePtr> known;
    for (const FilePtr& child : folder->getChildren()) {
        if (child && !child->getId().isEmpty())
            known.insert(child->getId(), child);
    }
    QList<FilePtr> placed;
    placed.reserve(children.size());
    for (const FilePtr& child : children) {
        if (!child)
            continue;
        const FilePtr old = known.value(child->getId());
        if (old) {
            old->updateMetaInfo(*child);
            placed.append(old);
        } else {
            placed.append(child);
        }
    }
    MFile::setChildren(placed, folder);
    folder->setStatus(MFile::StatusChildrenLoaded);
}

void BTCloudManagerPrivate::queryPrivilegesAndWait(const QList<FilePtr>& files, const QWeakPointer<MFile>& parent)
{
    const QPointer<BTCloudManager> guard(q);
    BPrivilegeBatch batch(files, [this, guard, parent](const FilePtr& file) -> ISyncWorker* {
        if (!guard)
            return nullptr; // the manager went while the batch was out
        auto* handler = new BGetFilePrivilegeHandler(callerFor(q, &BTCloudManager::onQueryFilePrivilegeFinished),
                                                     userId(), parent, file);
        ZYRDocument::GetFilePrivilege(accessToken(), file->getWorkspaceId(), file->getId(), handler);
        return handler->notifier();
    });
    BSyncWorkerManger waiter(timings.syncWaitMs);
    waiter.addWorker(batch.done());
    batch.start();
    waiter.wait();
}

void BTCloudManagerPrivate::queryFolderAttributesAndWait(const QString& workspaceId, const FilePtr& folder)
{
    // The root, before its metadata is known, has no id: it is "/" by path.
    QString key = folder->getId();
    const bool byPath = key.isEmpty();
    if (byPath)
        key = QStringLiteral("/");
    const QWeakPointer<MFile> target = folder;
    BRequestWaiter request(timings.syncWaitMs, [target](BReplyHandlerBase* handler) {
        auto* answer = BCloudHandler<BQueryAttributesHandler>::from(handler);
        const FilePtr node = target.toStrongRef();
        if (node && answer->isStatusOk() && answer->isAnswerReadable()) {
            node->setAttributes(answer->attributes());
            node->setStatus(MFile::StatusAttributesLoaded);
        }
    });
    auto* handler = new BCloudHandler<BQueryAttributesHandler>(request.caller(), folder);
    ZYRDocument::QueryAttributes(accessToken(), workspaceId, key, byPath, handler, QString());
    request.wait(handler);
}

bool BTCloudManagerPrivate::queryPathAndWait(const QString& workspaceId, const QString& fileId, MFilePath& path)
{
    bool found = false;
    BRequestWaiter request(timings.syncWaitMs, [&](BReplyHandlerBase* handler) {
        auto* answer = static_cast<BGetFilePathHandler*>(handler);
        found = answer->isStatusOk();
        path = answer->filePath();
    });
    auto* handler = new BGetFilePathHandler(request.caller(), workspaceId, fileId);
    ZYRDocument::GetFilePath(accessToken(), workspaceId, fileId, handler);
    request.wait(handler);
    return found;
}

FilePtr BTCloudManagerPrivate::queryMetaByPathAndWait(const QString& workspaceId, const QString& path)
{
    FilePtr meta;
    BRequestWaiter request(timings.syncWaitMs, [&](BReplyHandlerBase* handler) {
        auto* answer = static_cast<BQueryFileMetaHandler*>(handler);
        if (answer->isStatusOk())
            meta = answer->file();
    });
    auto* handler = new BQueryFileMetaHandler(request.caller(), QWeakPointer<MFile>(), path);
    ZYRDocument::GetFileMetaByPath(accessToken(), workspaceId, path, handler);
    request.wait(handler);
    return meta;
}

FilePtr BTCloudManagerPrivate::resolveFolder(const QString& workspaceId, const QString& key, bool byPath)
{
    MWorkspace* workspace = q->getWorkspaceById(workspaceId);
    if (!workspace)
        return FilePtr();
    const FilePtr root = workspace->getRootFolder();
    if (key.isEmpty())
        return root; // an empty id or path names the root
    if (!byPath) {
        if (FilePtr known = findById(root, key))
            return known;
    } else if (FilePtr known = q->getFileByPath(workspaceId, key).toStrongRef()) {
        return known;
    }

    // Missing from the tree: learn the chain of ancestors and the folder's
    // own metadata, then build the missing nodes.
    QPointer<BTCloudManager> guard(q);
    MFilePath chain;
    FilePtr meta;
    if (byPath) {
        meta = queryMetaByPathAndWait(workspaceId, key);
        if (!guard || !meta || !queryPathAndWait(workspaceId, meta->getId(), chain) || !guard)
            return FilePtr();
    } else {
        if (!queryPathAndWait(workspaceId, key, chain) || !guard)
            return FilePtr();
        meta = queryMetaByPathAndWait(workspaceId, chain.toNamePath());
        if (!guard)
            return FilePtr();
    }
    // The look-ups ran the event loop: the workspace may be gone.
    workspace = q->getWorkspaceById(workspaceId);
    if (!workspace)
        return FilePtr();
    const FilePtr folder = q->createFileByPath(workspace, workspace->getRootFolder(), &chain);
    if (folder && meta)
        folder->updateMetaInfo(*meta);
    return folder;
}

void BTCloudManagerPrivate::showInFolder(const QString& workspaceId, const FilePtr& folder, const FilePtr& meta)
{
    if (const FilePtr existing = folder->getChild(meta->getFileName(), true)) {
        const QString oldId = existing->getId();
        existing->updateMetaInfo(*meta);
        // A new version: what was fetched for the old one no longer holds.
        existing->clearStatus(MFile::StatusThumbnailLoaded);
        refreshFavorites(workspaceId, oldId, *existing);
        Q_EMIT q->updateFilesFinished(true, workspaceId, folder, { existing });
        return;
    }
    // Privileges come from the workspace membership: the folder's hold.
    meta->setPrivileges(folder->getPrivileges());
    if (folder->hasStatus(MFile::StatusPrivilegesLoaded))
        meta->setStatus(MFile::StatusPrivilegesLoaded);
    MFile::addChild(meta, folder);
    Q_EMIT q->addFilesFinished(true, workspaceId, folder, { meta });
}

void BTCloudManagerPrivate::refreshFavorites(const QString& workspaceId, const QString& id, const MFile& node) const
{
    MWorkspace* workspace = q->getWorkspaceById(workspaceId);
    if (!workspace || id.isEmpty())
        return;
    for (const FilePtr& favorite : workspace->getFavoriteFiles()) {
        if (favorite && favorite->getId() == id && favorite.data() != &node)
            favorite->updateMetaInfo(node);
    }
}

FilePtr BTCloudManagerPrivate::findById(const FilePtr& root, const QString& id)
{
    if (!root)
        return FilePtr();
    if (root->getId() == id)
        return root;
    for (const FilePtr& child : root->getChildren()) {
        if (FilePtr found = findById(child, id))
            return found;
    }
    return FilePtr();
}

// ---- construction ------------------------------------------------------------

BTCloudManager::BTCloudManager() : QObject(nullptr), d(std::make_unique<BTCloudManagerPrivate>(this))
{
    ZYRModel::registerModelMetaTypes();
    d->transferManager = new BFileTransferManager(true);
    d->openManager = new BFileOpenManager(this);
    d->childrenAttributesHelper = new BQueryChildrenAttributesHelper(this);
    d->attributeUpdateHelper = new BFileAttributeUpdateHelper(this);
    // A child object: deleted after the destructor's body, whose last step
    // cancels every request, so none of its requests can still answer.
    d->attributeUpdateHelper->setParent(this);

    connect(d->transferManager, &BFileTransferManager::fileUploaded, this, &BTCloudManager::slotFileUploaded);
    connect(d->openManager, &BFileOpenManager::uploadModifiedFileMetaAvailable, this,
            &BTCloudManager::slotUploadModifiedFileMetaAvailable);
    connect(d->childrenAttributesHelper, &BQueryChildrenAttributesHelper::childrenAttributesQueried, this,
            &BTCloudManager::childrenAttributesQueried);
    connect(d->transferManager, &BFileTransferManager::fileUploaded, d->attributeUpdateHelper,
            &BFileAttributeUpdateHelper::slotFileUploaded);
    connect(d->attributeUpdateHelper, &BFileAttributeUpdateHelper::addAttributesByPathFinished, this,
            &BTCloudManager::slotAddAttributesByPathFinished);
}

BTCloudManager::~BTCloudManager()
{
    delete d->token;
    d->token = nullptr;
    delete d->currentUser;
    d->currentUser = nullptr;
    clearWorkspaceList();
    delete d->transferManager;
    d->transferManager = nullptr;
    delete d->openManager;
    d->openManager = nullptr;
    delete d->childrenAttributesHelper;
    d->childrenAttributesHelper = nullptr;
    // Cancelled requests never call their owners back; the requests of the
    // helpers just deleted are cancelled before the event loop runs again.
    ZYRService::ZYRServiceUtil::CancelUnfinishedRequests();
}

MToken* BTCloudManager::getToken() const
{
    return d->token;
}

MUser* BTCloudManager::getCurrentUser() const
{
    return d->currentUser;
}

QList<MWorkspace*>* BTCloudManager::getWorkspaces()
{
    return &d->workspaces;
}

MWorkspace* BTCloudManager::getActiveWorkspace() const
{
    return d->activeWorkspace;
}

QWeakPointer<MFile> BTCloudManager::getActiveFolder() const
{
    return d->activeFolder;
}

QString& BTCloudManager::getWorkspaceId()
{
    return d->workspaceId;
}

void BTCloudManager::setWorkspaceId(const QString& workspaceId)
{
    d->workspaceId = workspaceId;
}

BFileTransferManager* BTCloudManager::getFileTransferManager() const
{
    return d->transferManager;
}

BFileOpenManager* BTCloudManager::getFileOpenManager() const
{
    return d->openManager;
}

BFileAttributeUpdateHelper* BTCloudManager::getFileAttributeUpdateHelper() const
{
    return d->attributeUpdateHelper;
}

void BTCloudManager::reportInstallInfo(const ZYRModel::MInstallInfo& info)
{
    ZYRWorkspace::PostInstallInfo(info.toJsonString(), nullptr);
}

void BTCloudManager::setServerUrl(const QUrl& url)
{
    ZYRService::ZYRServiceUtil::setServerUrl(url);
}

void BTCloudManager::setRequestTimeout(int msecs)
{
    ZYRService::ZYRServiceUtil::setRequestTimeout(msecs);
}

// ---- session -------------------------------------------------------------------

void BTCloudManager::login(const QString& account, const QString& password)
{
    auto* handler = new BLoginHandler(callerFor(this, &BTCloudManager::onLoginFinished));
    ZYRAccount::Login(account, password, handler);
}

void BTCloudManager::onLoginFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* login = static_cast<BLoginHandler*>(handler);
    const int status = login->errorCode();
    if (login->isStatusOk()) {
        if (MToken* token = login->takeToken(true))
            setToken(token);
    }
    Q_EMIT loginFinished(status);
}

void BTCloudManager::setToken(MToken* token)
{
    if (token == d->token)
        return;
    delete d->token;
    d->token = token;
    if (!token || token->getAccessToken().isEmpty())
        return;
    d->transferManager->setAccessToken(token->getAccessToken());
    d->openManager->setAccessToken(token->getAccessToken());
}

void BTCloudManager::logout()
{
    delete d->token;
    d->token = nullptr;
    clearWorkspaceList();
    delete d->currentUser;
    d->currentUser = nullptr;
    setActiveWorkspace(nullptr);
    Q_EMIT logoutFinished();
}

bool BTCloudManager::queryUserInfo()
{
    if (!d->hasToken())
        return false;
    auto* handler = new BQueryUserInfoHandler(callerFor(this, &BTCloudManager::onQueryUserInfoFinished));
    ZYRAccount::GetUserInfo(d->accessToken(), handler);
    return true;
}

void BTCloudManager::onQueryUserInfoFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* info = static_cast<BQueryUserInfoHandler*>(handler);
    bool success = false;
    if (info->isStatusOk()) {
        if (MUser* user = info->takeUser(true)) {
            setCurrentUser(user);
            success = true;
            // Both on their way before the signal is seen.
            queryUserAvatar();
            queryAllWorkspace(false);
        }
    }
    Q_EMIT queryUserInfoFinished(success);
}

void BTCloudManager::setCurrentUser(MUser* user)
{
    if (user == d->currentUser)
        return;
    delete d->currentUser;
    d->currentUser = user;
    if (!user || user->getId().isEmpty())
        return;
    const QString accessToken = d->accessToken();
    d->transferManager->setUserId(user->getId(), accessToken);
    d->transferManager->setUserName(user->getDisplayName());
    d->openManager->setUserId(user->getId(), accessToken, user->getFullName());
}

bool BTCloudManager::queryUserAvatar()
{
    if (!d->hasToken() || !d->currentUser || d->currentUser->getAvatarPaths().isEmpty())
        return false;
    auto* handler = new BQueryUserAvatarHandler(callerFor(this, &BTCloudManager::onQueryUserAvatarFinished),
                                                d->currentUser->getId());
    ZYRAccount::GetUserAvatar(d->accessToken(), d->currentUser->getAvatarPaths().constFirst(), handler);
    return true;
}

void BTCloudManager::onQueryUserAvatarFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* avatar = static_cast<BQueryUserAvatarHandler*>(handler);
    // An answer for a user who has signed out or changed meanwhile is dropped.
    if (avatar->isStatusOk() && d->currentUser && avatar->userId() == d->currentUser->getId())
        d->currentUser->setAvatarData32(avatar->avatarData());
}

bool BTCloudManager::queryTargetLoginToken(const QString& targetLink)
{
    if (!d->hasToken() || targetLink.isEmpty())
        return false;
    auto* handler = new BQueryTargetLoginTokenHandler(callerFor(this, &BTCloudManager::onQueryTargetLoginTokenFinished),
                                                      targetLink);
    ZYRAccount::GetLoginToken(d->accessToken(), handler);
    return true;
}

void BTCloudManager::onQueryTargetLoginTokenFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BQueryTargetLoginTokenHandler*>(handler);
    const bool success = answer->isStatusOk();
    Q_EMIT queryTargetLoginTokenFinished(success, success ? answer->loginToken() : QString(), answer->targetLink());
}

// ---- workspaces ------------------------------------------------------------------

bool BTCloudManager::queryAllWorkspace(bool merge)
{
    if (!d->hasToken())
        return false;
    auto* handler = new BCloudHandler<BQueryAllWorkspaceHandler>(
            callerFor(this, &BTCloudManager::onQueryAllWorkspaceFinished), merge);
    ZYRWorkspace::GetAllWorkspaces(d->accessToken(), handler);
    return true;
}

void BTCloudManager::onQueryAllWorkspaceFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = BCloudHandler<BQueryAllWorkspaceHandler>::from(handler);
    // An unreadable list is not an empty one: the workspaces stay.
    const bool success = answer->isStatusOk() && answer->isAnswerReadable();
    QPointer<BTCloudManager> guard(this);
    if (success)
        updateWorkspaceList(answer->workspaces(), answer->isMerge());
    if (guard)
        Q_EMIT queryAllWorkspaceFinished(success);
}

void BTCloudManager::updateWorkspaceList(QList<MWorkspace*>* list, bool merge)
{
    if (!merge)
        clearWorkspaceList();
    // The first oldCount entries are old workspaces not matched yet.
    qsizetype oldCount = d->workspaces.size();
    for (const MWorkspace* incoming : std::as_const(*list)) {
        if (!incoming)
            continue;
        qsizetype match = -1;
        for (qsizetype i = 0; merge && i < oldCount && match < 0; ++i) {
            if (d->workspaces.at(i)->getId() == incoming->getId())
                match = i;
        }
        if (match >= 0) {
            MWorkspace* old = d->workspaces.takeAt(match);
            old->copyInformation(*incoming);
            d->workspaces.append(old);
            --oldCount;
            continue;
        }
        auto* workspace = new MWorkspace(*incoming);
        workspace->setRootFolder(newRootFolder(workspace->getId()));
        d->workspaces.append(workspace);
    }

    QPointer<BTCloudManager> guard(this);
    if (oldCount > 0) {
        // Workspaces the server no longer lists.
        const QList<MWorkspace*> gone = d->workspaces.mid(0, oldCount);
        d->workspaces.remove(0, oldCount);
        bool activeGone = false;
        for (MWorkspace* workspace : gone) {
            if (workspace == d->activeWorkspace) {
                activeGone = true;
                d->activeWorkspace = nullptr;
                d->activeWorkspaceLost = true;
            }
            delete workspace;
        }
        if (activeGone)
            setActiveWorkspace(d->workspaces.value(0, nullptr));
        if (!guard)
            return;
    }
    if (merge && d->activeWorkspace)
        return;

    MWorkspace* choice = d->workspaces.value(0, nullptr);
    for (MWorkspace* workspace : std::as_const(d->workspaces)) {
        if (workspace->isDefaultWorkspace()) {
            choice = workspace;
            break;
        }
    }
    setActiveWorkspace(choice);
}

void BTCloudManager::clearWorkspaceList()
{
    // The active workspace is cleared with its object, never left dangling:
    // a new workspace made at the same address must not pass for it.
    if (d->activeWorkspace) {
        d->activeWorkspace = nullptr;
        d->activeWorkspaceLost = true;
    }
    qDeleteAll(d->workspaces);
    d->workspaces.clear();
}

MWorkspace* BTCloudManager::getWorkspaceById(const QString& id) const
{
    if (id.isEmpty())
        return nullptr;
    for (MWorkspace* workspace : std::as_const(d->workspaces)) {
        if (workspace->getId() == id)
            return workspace;
    }
    return nullptr;
}

void BTCloudManager::setActiveWorkspace(MWorkspace* workspace)
{
    if (workspace == d->activeWorkspace && !d->activeWorkspaceLost)
        return;
    if (workspace) {
        QPointer<BTCloudManager> guard(this);
        queryFileMeta(workspace->getId(), workspace->getRootFolder());
        // The wait ran the event loop: a newer list may have replaced this one.
        if (!guard || !d->workspaces.contains(workspace)) {
            qCDebug(lcCloud) << "workspace left the list while its root was read; not activated";
            return;
        }
    }
    d->activeWorkspace = workspace;
    d->activeWorkspaceLost = false;
    Q_EMIT activeWorkspaceChanged(workspace);
}

void BTCloudManager::setActiveFolder(const QWeakPointer<MFile>& folder)
{
    const FilePtr node = folder.toStrongRef();
    if (!node || node == d->activeFolder.toStrongRef())
        return;
    d->activeFolder = folder;
    if (d->activeWorkspace)
        Q_EMIT activeFolderChanged(d->activeWorkspace, d->activeFolder);
}

bool BTCloudManager::isActiveFolder(const QWeakPointer<MFile>& folder) const
{
    const FilePtr node = folder.toStrongRef();
    return node && node == d->activeFolder.toStrongRef();
}

bool BTCloudManager::isWorkingWorkspace(MWorkspace* workspace) const
{
    return workspace && workspace == d->activeWorkspace;
}

bool BTCloudManager::isWorkingDir(MWorkspace* workspace, const QWeakPointer<MFile>& folder) const
{
    return isWorkingWorkspace(workspace) && isActiveFolder(folder);
}

bool BTCloudManager::isWorkingDir(const QString& workspaceId, const QString& key, bool byPath) const
{
    const FilePtr active = d->activeFolder.toStrongRef();
    if (!active)
        return false;
    if (byPath)
        return d->activeWorkspace && d->activeWorkspace->getId() == workspaceId && active->getPath() == key;
    // Deliberately without the workspace: ids are unique across workspaces.
    return active->getId() == key;
}

bool BTCloudManager::queryWorkspaceQuota(const QString& workspaceId)
{
    if (!d->hasToken())
        return false;
    auto* handler = new BQueryWorkspaceQuotaHandler(callerFor(this, &BTCloudManager::onQueryWorkspaceQuotaFinished),
                                                    workspaceId);
    ZYRWorkspace::GetWorkspaceQuota(d->accessToken(), workspaceId, handler);
    return true;
}

void BTCloudManager::onQueryWorkspaceQuotaFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BQueryWorkspaceQuotaHandler*>(handler);
    const QString id = answer->workspaceId();
    bool success = false;
    MWorkspace* workspace = answer->isStatusOk() ? getWorkspaceById(id) : nullptr;
    if (workspace) {
        if (ZYRModel::MWorkspaceQuota* quota = answer->takeQuota(true)) {
            workspace->setQuota(quota);
            success = true;
        }
    }
    Q_EMIT queryWorkspaceQuotaFinished(success, id);
}

bool BTCloudManager::queryWorkspaceLogo(const QString& workspaceId)
{
    // Deliberately weaker than the other queries: "and", not "or".
    if (!d->hasToken() && workspaceId.isEmpty())
        return false;
    const MWorkspace* workspace = getWorkspaceById(workspaceId);
    if (!workspace)
        return false;
    QString url = workspace->getLogoUrl();
    if (url.isEmpty())
        return false;
    // The service may send the address without a scheme ("//host/...").
    if (!url.startsWith(QLatin1String("https:"), Qt::CaseInsensitive))
        url.prepend(QLatin1String("https:"));
    if (!d->hasToken())
        return false;
    auto* handler = new BQueryWorkspaceLogoHandler(callerFor(this, &BTCloudManager::onQueryWorkspaceLogoFinished),
                                                   workspaceId);
    ZYRWorkspace::GetWorkspaceLogo(d->accessToken(), workspaceId, url, handler);
    return true;
}

void BTCloudManager::onQueryWorkspaceLogoFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BQueryWorkspaceLogoHandler*>(handler);
    const QString id = answer->workspaceId();
    MWorkspace* workspace = answer->isStatusOk() ? getWorkspaceById(id) : nullptr;
    if (workspace)
        workspace->setLogoData(answer->logoData());
    Q_EMIT queryWorkspaceLogoFinished(workspace != nullptr, id);
}

// ---- browsing ----------------------------------------------------------------------

bool BTCloudManager::queryChildren(const QString& workspaceId, QWeakPointer<MFile> folder, bool queryAttributes,
                                   bool refresh)
{
    FilePtr node = folder.toStrongRef();
    if (!node || !d->hasToken() || workspaceId.isEmpty())
        return false;
    if (!refresh && node->hasStatus(MFile::StatusChildrenLoaded))
        return false;
    if (queryAttributes) {
        QPointer<BTCloudManager> guard(this);
        d->queryFolderAttributesAndWait(workspaceId, node);
        if (!guard || !d->hasToken())
            return false;
    }
    auto* handler = new BCloudHandler<BQueryChildrenHandler>(callerFor(this, &BTCloudManager::onQueryChildrenFinished),
                                                             workspaceId);
    handler->setNode(folder);
    ZYRDocument::GetChildFiles(d->accessToken(), workspaceId, node->getId(), handler, false);
    return true;
}

void BTCloudManager::onQueryChildrenFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = BCloudHandler<BQueryChildrenHandler>::from(handler);
    // Nobody shows a folder that is gone.
    const FilePtr folder = answer->node().toStrongRef();
    if (!folder)
        return;
    const int status = listingStatus(answer);
    if (status != 200)
        qCDebug(lcCloud) << "listing of folder" << folder->getId() << "not applied, status" << status;
    if (status == 200) {
        d->placeChildren(folder, answer->children());
        QPointer<BTCloudManager> guard(this);
        d->queryPrivilegesAndWait(folder->getChildren(), folder);
        if (!guard)
            return;
    }
    Q_EMIT queryChildrenFinished(status, answer->workspaceId(), folder);
}

bool BTCloudManager::queryChildrenByInfo(const QString& workspaceId, const QString& key, bool byPath)
{
    if (!d->hasToken() || workspaceId.isEmpty() || isWorkingDir(workspaceId, key, byPath))
        return false;
    auto* handler = new BCloudHandler<BQueryChildrenByInfoHandler>(
            callerFor(this, &BTCloudManager::onQueryChildrenByInfoFinished), workspaceId, key, byPath);
    ZYRDocument::GetChildFiles(d->accessToken(), workspaceId, key, handler, byPath);
    return true;
}

void BTCloudManager::onQueryChildrenByInfoFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = BCloudHandler<BQueryChildrenByInfoHandler>::from(handler);
    const QString workspaceId = answer->workspaceId();
    int status = listingStatus(answer);
    FilePtr folder;
    QPointer<BTCloudManager> guard(this);
    if (status == 200) {
        folder = d->resolveFolder(workspaceId, answer->key(), answer->isByPath());
        if (!guard)
            return;
        if (!folder) {
            qCDebug(lcCloud) << "listed folder" << answer->key() << "could not be placed in the tree";
            status = AnswerNotApplied;
        }
    }
    if (folder) {
        d->placeChildren(folder, answer->children());
        d->queryPrivilegesAndWait(folder->getChildren(), folder);
        if (!guard)
            return;
        // The folder asked for is the one the view goes to.
        MWorkspace* workspace = getWorkspaceById(workspaceId);
        if (workspace && workspace != d->activeWorkspace)
            setActiveWorkspace(workspace);
        if (!guard)
            return;
        setActiveFolder(folder);
    }
    Q_EMIT queryChildrenByInfoFinished(status, workspaceId, folder);
}

bool BTCloudManager::queryFileMeta(const QString& workspaceId, QWeakPointer<MFile> file)
{
    BQueryFileMetaHandler* handler = nullptr;
    {
        const FilePtr node = file.toStrongRef();
        if (!node || !d->hasToken() || workspaceId.isEmpty())
            return false;
        if (node->getWorkspaceId().isEmpty())
            node->setWorkspaceId(workspaceId);
        handler = new BQueryFileMetaHandler(callerFor(this, &BTCloudManager::onQueryFileMetaFinished), file);
        ZYRDocument::GetFileMetaById(d->accessToken(), workspaceId, node->getId(), false, handler);
    }
    // Not holding the node while waiting: it may go meanwhile.
    BSyncWorkerManger waiter(d->timings.syncWaitMs);
    waiter.addWorker(handler->notifier());
    waiter.wait();
    return true;
}

void BTCloudManager::onQueryFileMetaFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BQueryFileMetaHandler*>(handler);
    const FilePtr target = answer->targetFile().toStrongRef();
    bool success = false;
    QPointer<BTCloudManager> guard(this);
    if (answer->isStatusOk() && target) {
        if (const FilePtr meta = answer->file()) {
            target->updateMetaInfo(*meta);
            success = true;
        }
        d->queryPrivilegesAndWait({ target }, target->getParent());
    }
    // Only now does the wait in queryFileMeta() end.
    answer->notifyEnded();
    if (guard && target)
        Q_EMIT queryFileMetaFinished(success, target);
}

void BTCloudManager::onQueryFilePrivilegeFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BGetFilePrivilegeHandler*>(handler);
    const FilePtr file = answer->file().toStrongRef();
    if (answer->isStatusOk() && file && answer->hasPrivileges()) {
        file->setPrivileges(answer->privileges());
        file->setStatus(MFile::StatusPrivilegesLoaded);
    }
    answer->notifyEnded();
}

bool BTCloudManager::queryFileThumbnail(const QString& workspaceId, QWeakPointer<MFile> file)
{
    const FilePtr node = file.toStrongRef();
    if (!node || !d->hasToken() || workspaceId.isEmpty() || node->hasStatus(MFile::StatusThumbnailLoaded))
        return false;
    auto* handler
            = new BQueryFileThumbnailHandler(callerFor(this, &BTCloudManager::onQueryFileThumbnailFinished), file);
    ZYRDocument::GetFileThumbnailById(d->accessToken(), workspaceId, node->getId(), handler);
    return true;
}

void BTCloudManager::onQueryFileThumbnailFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BQueryFileThumbnailHandler*>(handler);
    const FilePtr file = answer->file().toStrongRef();
    if (!file)
        return;
    if (answer->isStatusOk())
        file->setThumbnailData(answer->thumbnailData());
    Q_EMIT queryFileThumbnailFinished(answer->isStatusOk(), file);
}

bool BTCloudManager::queryViewCode(const QString& workspaceId, QWeakPointer<MFile> file)
{
    const FilePtr node = file.toStrongRef();
    if (!node || !d->hasToken() || workspaceId.isEmpty())
        return false;
    auto* handler
            = new BQueryViewcodeHandler(callerFor(this, &BTCloudManager::onQueryViewcodeFinished), workspaceId, file);
    ZYRDocument::GetViewCode(d->accessToken(), workspaceId, node->getId(), handler);
    return true;
}

void BTCloudManager::onQueryViewcodeFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BQueryViewcodeHandler*>(handler);
    const ZYRModel::MDocumentViewcode* viewcode = answer->isStatusOk() ? answer->takeViewcode(false) : nullptr;
    Q_EMIT queryViewcodeFinished(viewcode != nullptr, answer->workspaceId(), answer->file(),
                                 viewcode ? viewcode->getViewcode() : QString(),
                                 viewcode ? viewcode->getViewURL() : QString());
}

QWeakPointer<MFile> BTCloudManager::getFileByPath(const QString& workspaceId, const QString& path) const
{
    const MWorkspace* workspace = getWorkspaceById(workspaceId);
    if (!workspace || path.isEmpty())
        return QWeakPointer<MFile>();
    FilePtr node = workspace->getRootFolder();
    QString normal = path;
    normal.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QStringList parts = normal.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString& part : parts) {
        if (!node)
            break;
        node = node->getChild(FileUtils::removeContinuousSpacesInFileName(part), true);
    }
    return node;
}

FilePtr BTCloudManager::createFileByPath(MWorkspace* workspace, FilePtr root, MFilePath* path) const
{
    if (!workspace || !root || !path)
        return FilePtr();
    FilePtr node = root;
    for (const MFilePath::Item& item : path->getPath()) {
        FilePtr child = node->getChildById(item.id);
        if (!child)
            child = node->getChild(item.name, true);
        if (!child) {
            child = FilePtr::create();
            child->setId(item.id);
            child->setFileName(item.name);
            child->setIsFolder(true);
            child->setWorkspaceId(workspace->getId());
            MFile::addChild(child, node);
        }
        node = child;
    }
    return node;
}

// ---- file operations -----------------------------------------------------------------

bool BTCloudManager::createFolder(const QString& workspaceId, QWeakPointer<MFile> parent, QWeakPointer<MFile> newFolder,
                                  const QString& folderName)
{
    const FilePtr parentNode = parent.toStrongRef();
    if (!parentNode || newFolder.isNull() || !d->hasToken() || workspaceId.isEmpty() || folderName.isEmpty())
        return false;
    auto* handler = new BCreateFolderHandler(callerFor(this, &BTCloudManager::onCreateFolderFinished), workspaceId,
                                             parent, newFolder, folderName);
    ZYRDocument::CreateFolder(d->accessToken(), workspaceId, parentNode->getId(), folderName, handler);
    return true;
}

void BTCloudManager::onCreateFolderFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BCreateFolderHandler*>(handler);
    const FilePtr parent = answer->parent().toStrongRef();
    FilePtr folder = answer->newFolder().toStrongRef();
    const FilePtr created = answer->isStatusOk() ? answer->file() : FilePtr();
    if (created && parent) {
        if (folder)
            folder->updateMetaInfo(*created);
        else
            folder = created;
        // A new folder is empty, and its privileges are those of the workspace.
        folder->setStatus(MFile::StatusChildrenLoaded);
        folder->setPrivileges(parent->getPrivileges());
        if (parent->hasStatus(MFile::StatusPrivilegesLoaded))
            folder->setStatus(MFile::StatusPrivilegesLoaded);
        MFile::addChild(folder, parent);
    } else if (!created && parent && folder) {
        // The view's placeholder does not stay in the tree.
        parent->removeChild(folder);
    }
    Q_EMIT createFolderFinished(created != nullptr, answer->workspaceId(), answer->parent(), answer->newFolder(),
                                answer->folderName());
}

bool BTCloudManager::deleteFiles(const QString& workspaceId, QWeakPointer<MFile> parent,
                                 const QList<QWeakPointer<MFile>>& files)
{
    if (parent.isNull() || !d->hasToken() || workspaceId.isEmpty())
        return false;
    bool sent = false;
    for (const QWeakPointer<MFile>& file : files) {
        const FilePtr node = file.toStrongRef();
        if (!node)
            continue;
        auto* handler = new BDeleteFilesHandler(callerFor(this, &BTCloudManager::onDeleteFilesFinished), workspaceId,
                                                parent, { file });
        ZYRDocument::DeleteFile(d->accessToken(), workspaceId, node->getId(), handler);
        sent = true;
    }
    return sent;
}

void BTCloudManager::onDeleteFilesFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BDeleteFilesHandler*>(handler);
    const bool success = answer->isStatusOk() && answer->isSuccess();
    if (success) {
        for (const QWeakPointer<MFile>& file : answer->filesToDelete()) {
            const FilePtr node = file.toStrongRef();
            if (const FilePtr parent = node ? node->getParent() : FilePtr())
                parent->removeChild(node);
        }
        if (MWorkspace* workspace = getWorkspaceById(answer->workspaceId()))
            workspace->removeFavoriteFiles(answer->filesToDelete());
    }
    Q_EMIT deleteFilesFinished(success, answer->workspaceId(), answer->parent(), answer->filesToDelete());
}

bool BTCloudManager::copyFiles(const QString& workspaceId, QWeakPointer<MFile> sourceParent,
                               QWeakPointer<MFile> targetParent, const QList<QWeakPointer<MFile>>& files, bool move)
{
    const FilePtr source = sourceParent.toStrongRef();
    const FilePtr target = targetParent.toStrongRef();
    if (!source || !target || source == target || files.isEmpty() || !d->hasToken() || workspaceId.isEmpty())
        return false;
    bool sent = false;
    for (const QWeakPointer<MFile>& file : files) {
        const FilePtr node = file.toStrongRef();
        if (!node)
            continue;
        auto* handler = new BCopyFilesHandler(callerFor(this, &BTCloudManager::onCopyFilesFinished), workspaceId,
                                              sourceParent, targetParent, { file }, move);
        ZYRDocument::CopyFile(d->accessToken(), workspaceId, node->getId(), target->getId(), move, handler);
        sent = true;
    }
    return sent;
}

void BTCloudManager::onCopyFilesFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BCopyFilesHandler*>(handler);
    const QString workspaceId = answer->workspaceId();
    if (!answer->isStatusOk() || !answer->file()) {
        // Nothing moved or copied; the tree stays as it was.
        Q_EMIT addFilesFinished(false, workspaceId, answer->targetParent(), answer->filesToCopy());
        return;
    }
    if (answer->isMove()) {
        for (const QWeakPointer<MFile>& file : answer->filesToCopy()) {
            const FilePtr node = file.toStrongRef();
            if (const FilePtr parent = node ? node->getParent() : FilePtr())
                parent->removeChild(node);
        }
        Q_EMIT deleteFilesFinished(true, workspaceId, answer->sourceParent(), answer->filesToCopy());
        for (const FilePtr& moved : answer->files())
            d->refreshFavorites(workspaceId, moved->getId(), *moved);
    }
    const FilePtr target = answer->targetParent().toStrongRef();
    for (const FilePtr& file : answer->files()) {
        if (target)
            MFile::addChild(file, target);
    }
    QPointer<BTCloudManager> guard(this);
    for (const FilePtr& file : answer->files()) {
        queryFileMeta(workspaceId, file);
        if (!guard)
            return;
    }
    Q_EMIT addFilesFinished(true, workspaceId, answer->targetParent(), weakList(answer->files()));
}

bool BTCloudManager::renameName(const QString& workspaceId, QWeakPointer<MFile> file, const QString& oldName,
                                const QString& newName)
{
    const FilePtr node = file.toStrongRef();
    if (!node || !d->hasToken() || workspaceId.isEmpty())
        return false;
    // Shown at once; put back if the cloud refuses.
    node->setFileName(newName);
    auto* handler = new BRenameFileHandler(callerFor(this, &BTCloudManager::onRenameFileFinished), workspaceId, file,
                                           oldName, newName);
    ZYRDocument::RenameFile(d->accessToken(), workspaceId, node->getId(), newName, handler);
    return true;
}

void BTCloudManager::onRenameFileFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BRenameFileHandler*>(handler);
    const FilePtr node = answer->targetFile().toStrongRef();
    const FilePtr renamed = answer->isStatusOk() ? answer->file() : FilePtr();
    if (node && renamed) {
        node->updateMetaInfo(*renamed);
        d->refreshFavorites(answer->workspaceId(), node->getId(), *node);
    } else if (node) {
        node->setFileName(answer->oldName());
    }
    Q_EMIT renameFileFinished(renamed != nullptr, answer->workspaceId(), answer->targetFile(), answer->oldName(),
                              answer->newName());
}

bool BTCloudManager::addFavoriteFiles(const QString& workspaceId, const QList<QWeakPointer<MFile>>& files)
{
    const QString ids = joinedIds(files);
    if (!d->hasToken() || workspaceId.isEmpty() || ids.isEmpty())
        return false;
    auto* handler = new BAddFavoriteFilesHandler(callerFor(this, &BTCloudManager::onAddFavoriteFilesFinished),
                                                 workspaceId, files);
    ZYRDocument::addFavoriteFile(d->accessToken(), workspaceId, ids, handler);
    return true;
}

void BTCloudManager::onAddFavoriteFilesFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BAddFavoriteFilesHandler*>(handler);
    MWorkspace* workspace = answer->isStatusOk() ? getWorkspaceById(answer->workspaceId()) : nullptr;
    if (workspace) {
        QList<FilePtr> favorites = workspace->getFavoriteFiles();
        for (const QWeakPointer<MFile>& file : answer->filesToAdd()) {
            const FilePtr node = file.toStrongRef();
            const bool known = node && std::any_of(favorites.cbegin(), favorites.cend(), [&](const FilePtr& f) {
                                   return f && f->getId() == node->getId();
                               });
            if (node && !known)
                favorites.append(node);
        }
        workspace->setFavoriteFiles(favorites);
    }
    Q_EMIT addFavoriteFilesFinished(answer->isStatusOk(), answer->workspaceId(), answer->filesToAdd());
}

bool BTCloudManager::removeFavoriteFiles(const QString& workspaceId, const QList<QWeakPointer<MFile>>& files)
{
    const QString ids = joinedIds(files);
    if (!d->hasToken() || workspaceId.isEmpty() || ids.isEmpty())
        return false;
    auto* handler = new BRemoveFavoriteFilesHandler(callerFor(this, &BTCloudManager::onRemoveFavoriteFilesFinished),
                                                    workspaceId, files);
    ZYRDocument::removeFavoriteFile(d->accessToken(), workspaceId, ids, handler);
    return true;
}

void BTCloudManager::onRemoveFavoriteFilesFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BRemoveFavoriteFilesHandler*>(handler);
    MWorkspace* workspace = answer->isStatusOk() ? getWorkspaceById(answer->workspaceId()) : nullptr;
    if (workspace)
        workspace->removeFavoriteFiles(answer->filesToRemove());
    Q_EMIT removeFavoriteFilesFinished(answer->isStatusOk(), answer->workspaceId(), answer->filesToRemove());
}

bool BTCloudManager::queryFavoriteFiles(const QString& workspaceId)
{
    if (!d->hasToken() || workspaceId.isEmpty())
        return false;
    auto* handler = new BCloudHandler<BQueryFavoriteFilesHandler>(
            callerFor(this, &BTCloudManager::onQueryFavoriteFilesFinished), workspaceId);
    ZYRDocument::queryFavoriteFiles(d->accessToken(), workspaceId, handler);
    return true;
}

void BTCloudManager::onQueryFavoriteFilesFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = BCloudHandler<BQueryFavoriteFilesHandler>::from(handler);
    const QString workspaceId = answer->workspaceId();
    bool success = answer->isStatusOk() && answer->isAnswerReadable();
    if (success) {
        QPointer<BTCloudManager> guard(this);
        d->queryPrivilegesAndWait(answer->files(), QWeakPointer<MFile>());
        if (!guard)
            return;
        // Looked up after the wait, which may have replaced the list.
        MWorkspace* workspace = getWorkspaceById(workspaceId);
        if (workspace)
            workspace->setFavoriteFiles(answer->files());
        success = workspace != nullptr;
    }
    Q_EMIT queryFavoriteFilesFinished(success, workspaceId);
}

bool BTCloudManager::queryShareLinks(const QString& workspaceId)
{
    if (!d->hasToken() || workspaceId.isEmpty())
        return false;
    auto* handler = new BCloudHandler<BQueryShareLinksHandler>(
            callerFor(this, &BTCloudManager::onQueryShareLinksFinished), workspaceId);
    ZYRDocument::QueryShareLinks(d->accessToken(), workspaceId, handler);
    return true;
}

void BTCloudManager::onQueryShareLinksFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = BCloudHandler<BQueryShareLinksHandler>::from(handler);
    MWorkspace* workspace
            = answer->isStatusOk() && answer->isAnswerReadable() ? getWorkspaceById(answer->workspaceId()) : nullptr;
    if (workspace)
        workspace->setShareLinks(answer->shareLinks());
    Q_EMIT queryShareLinksFinished(workspace != nullptr, answer->workspaceId());
}

bool BTCloudManager::createShareLink(const QString& workspaceId, const MFileShareLink& link)
{
    if (!d->hasToken() || workspaceId.isEmpty() || link.getFileIds().isEmpty())
        return false;
    auto* handler
            = new BCreateShareLinkHandler(callerFor(this, &BTCloudManager::onCreateShareLinkFinished), workspaceId);
    ZYRDocument::CreateShareLink(d->accessToken(), workspaceId, link.getFileIds(), link.getEncrypt(),
                                 link.getExpireTime(),
                                 link.hasPrivilege(QLatin1String(MFileShareLink::PrivilegePreview)),
                                 link.hasPrivilege(QLatin1String(MFileShareLink::PrivilegeDownload)), handler);
    return true;
}

void BTCloudManager::onCreateShareLinkFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BCreateShareLinkHandler*>(handler);
    const QSharedPointer<MFileShareLink> link = answer->isStatusOk() ? answer->shareLink() : nullptr;
    if (link) {
        if (MWorkspace* workspace = getWorkspaceById(answer->workspaceId()))
            workspace->addShareLink(link);
    }
    Q_EMIT createShareLinkFinished(link != nullptr, answer->workspaceId(), link);
}

bool BTCloudManager::updateShareLink(const QString& workspaceId, const MFileShareLink& link,
                                     QWeakPointer<MFileShareLink> target)
{
    const QSharedPointer<MFileShareLink> targetLink = target.toStrongRef();
    const QString id = !link.getId().isEmpty() ? link.getId() : (targetLink ? targetLink->getId() : QString());
    if (!d->hasToken() || workspaceId.isEmpty() || id.isEmpty())
        return false;
    auto* handler = new BUpdateShareLinkHandler(callerFor(this, &BTCloudManager::onUpdateShareLinkFinished),
                                                workspaceId, target);
    ZYRDocument::UpdateShareLink(d->accessToken(), workspaceId, id, link.getExpireTime(), link.getEncrypt(),
                                 link.hasPrivilege(QLatin1String(MFileShareLink::PrivilegePreview)),
                                 link.hasPrivilege(QLatin1String(MFileShareLink::PrivilegeDownload)), handler);
    return true;
}

void BTCloudManager::onUpdateShareLinkFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BUpdateShareLinkHandler*>(handler);
    const QSharedPointer<MFileShareLink> updated = answer->isStatusOk() ? answer->shareLink() : nullptr;
    QSharedPointer<MFileShareLink> target = answer->target().toStrongRef();
    if (updated && !target) {
        // The view's object is gone: the workspace's link of that id takes the news.
        if (MWorkspace* workspace = getWorkspaceById(answer->workspaceId())) {
            for (const QSharedPointer<MFileShareLink>& known : workspace->getShareLinks()) {
                if (known && known->getId() == updated->getId())
                    target = known;
            }
        }
    }
    if (updated && target)
        *target = *updated;
    Q_EMIT updateShareLinkFinished(updated != nullptr, answer->workspaceId(), target);
}

bool BTCloudManager::removeShareLinks(const QString& workspaceId, const QList<QWeakPointer<MFileShareLink>>& links)
{
    QStringList ids;
    for (const QWeakPointer<MFileShareLink>& link : links) {
        if (const QSharedPointer<MFileShareLink> live = link.toStrongRef())
            ids.append(live->getId());
    }
    if (!d->hasToken() || workspaceId.isEmpty() || ids.isEmpty())
        return false;
    auto* handler = new BRemoveShareLinksHandler(callerFor(this, &BTCloudManager::onRemoveShareLinksFinished),
                                                 workspaceId, links);
    ZYRDocument::RemoveShareLinks(d->accessToken(), workspaceId, ids.join(QLatin1Char(',')), handler);
    return true;
}

void BTCloudManager::onRemoveShareLinksFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BRemoveShareLinksHandler*>(handler);
    MWorkspace* workspace = answer->isStatusOk() ? getWorkspaceById(answer->workspaceId()) : nullptr;
    if (workspace)
        workspace->removeShareLinks(answer->sharesToRemove());
    Q_EMIT removeShareLinksFinished(answer->isStatusOk(), answer->workspaceId(), answer->sharesToRemove());
}

bool BTCloudManager::updateFileAttributes(QWeakPointer<MFile> file, const QMap<QString, QString>& attributes)
{
    const FilePtr node = file.toStrongRef();
    if (!node || !d->hasToken() || node->getWorkspaceId().isEmpty())
        return false;
    auto* handler
            = new BAddAttributesHandler(callerFor(this, &BTCloudManager::onAddAttributesFinished), file, attributes);
    ZYRDocument::AddAttributes(d->accessToken(), node->getWorkspaceId(), node->getId(), attributes, handler);
    return true;
}

void BTCloudManager::onAddAttributesFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BAddAttributesHandler*>(handler);
    const bool success = answer->isStatusOk() && answer->isSuccess();
    const FilePtr node = answer->file().toStrongRef();
    if (success && node) {
        for (auto it = answer->attributes().cbegin(); it != answer->attributes().cend(); ++it)
            node->setAttribute(it.key(), it.value());
    }
    Q_EMIT addAttributesFinished(success, answer->file(), answer->attributes());
}

bool BTCloudManager::queryChildrenAttributes(QWeakPointer<MFile> folder)
{
    return d->childrenAttributesHelper->queryChildrenAttributes(folder);
}

// ---- transfers -------------------------------------------------------------------------

bool BTCloudManager::downloadFile(QWeakPointer<MFile> file, const QString& localDir, const QString& newName)
{
    if (!d->hasToken() || file.isNull() || localDir.isEmpty())
        return false;
    d->transferManager->download(file, localDir, newName);
    return true;
}

bool BTCloudManager::downloadFiles(const QList<QWeakPointer<MFile>>& files, const QString& localDir)
{
    if (!d->hasToken() || files.isEmpty() || localDir.isEmpty())
        return false;
    d->transferManager->download(files, localDir);
    return true;
}

bool BTCloudManager::uploadFiles(const QList<QString>& localPaths, const QString& workspaceId,
                                 const QString& remoteParentPath)
{
    if (!d->hasToken() || localPaths.isEmpty() || workspaceId.isEmpty())
        return false;
    d->transferManager->upload(localPaths, workspaceId, remoteParentPath);
    return true;
}

bool BTCloudManager::uploadFilesWithAttributes(const QList<QString>& localPaths, const QString& workspaceId,
                                               const QString& remoteParentPath,
                                               const QMap<QString, QMap<QString, QString>>& attributesByLocalFile)
{
    if (!d->hasToken() || localPaths.isEmpty() || workspaceId.isEmpty())
        return false;
    // The queue reports uploaded files by their full path from the root
    // ("/A/b.txt"); the keys of the attributes must be made the same way.
    QString remoteFolder = FileUtils::formatPath(remoteParentPath);
    if (!remoteFolder.startsWith(QLatin1Char('/')))
        remoteFolder.prepend(QLatin1Char('/'));
    // Recorded before the upload is queued, so that no report comes first.
    d->attributeUpdateHelper->addUploadedFileAttributes(workspaceId, remoteFolder, localPaths, attributesByLocalFile);
    return uploadFiles(localPaths, workspaceId, remoteFolder);
}

void BTCloudManager::slotFileUploaded(const QString& workspaceId, const QString& remotePath)
{
    const MWorkspace* workspace = getWorkspaceById(workspaceId);
    if (!workspace || !d->hasToken())
        return;
    // The deepest folder of the path that the tree holds shows the next
    // element: the file itself, or the first folder the upload created.
    QString normal = remotePath;
    normal.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QStringList parts = normal.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (parts.isEmpty())
        return;
    FilePtr folder = workspace->getRootFolder();
    qsizetype shown = 0;
    for (; shown < parts.size() - 1; ++shown) {
        const FilePtr child = folder->getChild(parts.at(shown), true);
        if (!child)
            break;
        folder = child;
    }
    if (!folder->hasStatus(MFile::StatusChildrenLoaded))
        return; // its children are listed when it is opened
    const QString shownPath = QLatin1Char('/') + parts.mid(0, shown + 1).join(QLatin1Char('/'));
    auto* handler = new BQueryFileMetaHandler(callerFor(this, &BTCloudManager::onUploadedFileMetaFinished),
                                              folder.toWeakRef(), shownPath);
    ZYRDocument::GetFileMetaByPath(d->accessToken(), workspaceId, shownPath, handler);
}

void BTCloudManager::onUploadedFileMetaFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BQueryFileMetaHandler*>(handler);
    const FilePtr folder = answer->targetFile().toStrongRef();
    const FilePtr meta = answer->isStatusOk() ? answer->file() : FilePtr();
    if (folder && meta)
        d->showInFolder(folder->getWorkspaceId(), folder, meta);
}

void BTCloudManager::slotUploadModifiedFileMetaAvailable(const QString& workspaceId, const QString& remoteFolderPath,
                                                         MWeakFile newFile)
{
    const FilePtr meta = newFile.toStrongRef();
    const FilePtr folder
            = getFileByPath(workspaceId, remoteFolderPath.isEmpty() ? QStringLiteral("/") : remoteFolderPath)
                      .toStrongRef();
    if (!meta || !folder)
        return;
    if (!folder->getChild(meta->getFileName(), true) && !folder->hasStatus(MFile::StatusChildrenLoaded))
        return;
    // The open manager's node stays its own; the tree takes a copy.
    d->showInFolder(workspaceId, folder, FilePtr::create(*meta));
}

void BTCloudManager::slotAddAttributesByPathFinished(const QString& first, const QString& remotePath,
                                                     const QMap<QString, QString>& attributes)
{
    const FilePtr node = getFileByPath(first, remotePath).toStrongRef();
    if (!node)
        return;
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it)
        node->setAttribute(it.key(), it.value());
    Q_EMIT addAttributesFinished(true, node, attributes);
}

} // namespace Trelan::Oku::ZYRController
