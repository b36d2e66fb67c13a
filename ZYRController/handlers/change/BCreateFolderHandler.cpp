// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BCreateFolderHandler.h>

namespace Trelan::Oku::ZYRController {

BCreateFolderHandler::BCreateFolderHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                           QWeakPointer<ZYRModel::MFile> parent,
                                           QWeakPointer<ZYRModel::MFile> newFolder, const QString& folderName)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_parent(std::move(parent)),
      m_newFolder(std::move(newFolder)), m_folderName(folderName)
{
}

BCreateFolderHandler::~BCreateFolderHandler() = default;

QString BCreateFolderHandler::workspaceId() const
{
    return m_workspaceId;
}

QWeakPointer<ZYRModel::MFile> BCreateFolderHandler::parent() const
{
    return m_parent;
}

QWeakPointer<ZYRModel::MFile> BCreateFolderHandler::newFolder() const
{
    return m_newFolder;
}

QString BCreateFolderHandler::folderName() const
{
    return m_folderName;
}

QSharedPointer<ZYRModel::MFile> BCreateFolderHandler::file() const
{
    return m_file;
}

void BCreateFolderHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    auto file = QSharedPointer<ZYRModel::MFile>::create();
    ZYRModel::MFile::fromJson(root, *file);
    m_file = file;
}

} // namespace Trelan::Oku::ZYRController
