// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QSharedPointer>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the create-folder request: the root object of a 200 answer is
/// the new folder. The request's workspace, parent, placeholder node and
/// name ride along for the owner. Success: file() is non-null.
class ZYRCONTROLLER_EXPORT BCreateFolderHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BCreateFolderHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                         QWeakPointer<ZYRModel::MFile> parent, QWeakPointer<ZYRModel::MFile> newFolder,
                         const QString& folderName);
    ~BCreateFolderHandler() override;

    QString workspaceId() const;
    QWeakPointer<ZYRModel::MFile> parent() const;
    QWeakPointer<ZYRModel::MFile> newFolder() const;
    QString folderName() const;
    /// The folder as the service created it; null on failure.
    QSharedPointer<ZYRModel::MFile> file() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QWeakPointer<ZYRModel::MFile> m_parent;
    QWeakPointer<ZYRModel::MFile> m_newFolder;
    QString m_folderName;
    QSharedPointer<ZYRModel::MFile> m_file;
};

} // namespace Trelan::Oku::ZYRController
