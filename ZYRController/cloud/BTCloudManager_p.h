// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BTimings.h>
#include <ZYRModel/MFile.h>

#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRModel {
class MFilePath;
class MToken;
class MUser;
class MWorkspace;
} // namespace Trelan::Oku::ZYRModel

namespace Trelan::Oku::ZYRController {

class BFileAttributeUpdateHelper;
class BFileOpenManager;
class BFileTransferManager;
class BQueryChildrenAttributesHelper;
class BTCloudManager;

/// The state of a BTCloudManager and the steps its operations share: the
/// waits for privileges and look-ups, and the changes to the tree that
/// answers make.
class BTCloudManagerPrivate {
public:
    using FilePtr = QSharedPointer<ZYRModel::MFile>;

    explicit BTCloudManagerPrivate(BTCloudManager* q);

    /// A usable token: present and not blank.
    bool hasToken() const;
    QString accessToken() const;
    /// The identity whose entry of a privilege answer counts.
    QString userId() const;

    /// Puts \a children into \a folder; a child already there by id keeps its
    /// node (and what was loaded below it) and takes the new metadata.
    void placeChildren(const FilePtr& folder, const QList<FilePtr>& children) const;
    /// Sends one privilege query per file (a window of them at a time) and
    /// waits for all of them.
    void queryPrivilegesAndWait(const QList<FilePtr>& files, const QWeakPointer<ZYRModel::MFile>& parent);
    /// Reads \a folder's own attributes, waiting for them.
    void queryFolderAttributesAndWait(const QString& workspaceId, const FilePtr& folder);
    /// The folder a listing by id or path names, placed in the tree (with any
    /// missing ancestors, through look-ups that are waited for); null when
    /// it cannot be placed.
    FilePtr resolveFolder(const QString& workspaceId, const QString& key, bool byPath);
    bool queryPathAndWait(const QString& workspaceId, const QString& fileId, ZYRModel::MFilePath& path);
    FilePtr queryMetaByPathAndWait(const QString& workspaceId, const QString& path);
    /// Shows \a meta in \a folder: replaces the child of that name (a new
    /// version) or adds it; emits updateFilesFinished() or addFilesFinished().
    void showInFolder(const QString& workspaceId, const FilePtr& folder, const FilePtr& meta);
    /// Gives the favourites of \a workspaceId with id \a id the data of \a node.
    void refreshFavorites(const QString& workspaceId, const QString& id, const ZYRModel::MFile& node) const;

    static FilePtr findById(const FilePtr& root, const QString& id);

    BTCloudManager* const q;
    ZYRModel::MToken* token = nullptr; // owned
    ZYRModel::MUser* currentUser = nullptr; // owned
    QList<ZYRModel::MWorkspace*> workspaces; // entries owned
    ZYRModel::MWorkspace* activeWorkspace = nullptr; // an entry of workspaces, or null
    // The active workspace was deleted (and activeWorkspace cleared) without
    // a new one being set: the next setActiveWorkspace() reports a change.
    bool activeWorkspaceLost = false;
    QWeakPointer<ZYRModel::MFile> activeFolder;
    BFileTransferManager* transferManager = nullptr; // owned
    BFileOpenManager* openManager = nullptr; // owned
    BQueryChildrenAttributesHelper* childrenAttributesHelper = nullptr; // owned
    BFileAttributeUpdateHelper* attributeUpdateHelper = nullptr; // a child object
    QString workspaceId;
    const BTimings timings;
};

} // namespace Trelan::Oku::ZYRController
