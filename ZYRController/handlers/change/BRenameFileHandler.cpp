// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BRenameFileHandler.h>

namespace Trelan::Oku::ZYRController {

BRenameFileHandler::BRenameFileHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                       QWeakPointer<ZYRModel::MFile> file, const QString& oldName,
                                       const QString& newName)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_targetFile(std::move(file)), m_oldName(oldName),
      m_newName(newName)
{
}

BRenameFileHandler::~BRenameFileHandler() = default;

QString BRenameFileHandler::workspaceId() const
{
    return m_workspaceId;
}

QWeakPointer<ZYRModel::MFile> BRenameFileHandler::targetFile() const
{
    return m_targetFile;
}

QString BRenameFileHandler::oldName() const
{
    return m_oldName;
}

QString BRenameFileHandler::newName() const
{
    return m_newName;
}

QSharedPointer<ZYRModel::MFile> BRenameFileHandler::file() const
{
    return m_file;
}

void BRenameFileHandler::parseReply()
{
    QJsonObject data;
    if (!readDataObject(data))
        return;
    auto file = QSharedPointer<ZYRModel::MFile>::create();
    ZYRModel::MFile::fromJson(data, *file);
    m_file = file;
}

} // namespace Trelan::Oku::ZYRController
