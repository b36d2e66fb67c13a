// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BCopyFilesHandler.h>

namespace Trelan::Oku::ZYRController {

BCopyFilesHandler::BCopyFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                     QWeakPointer<ZYRModel::MFile> sourceParent,
                                     QWeakPointer<ZYRModel::MFile> targetParent,
                                     const QList<QWeakPointer<ZYRModel::MFile>>& files, bool move)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_sourceParent(std::move(sourceParent)),
      m_targetParent(std::move(targetParent)), m_filesToCopy(files), m_move(move)
{
}

BCopyFilesHandler::~BCopyFilesHandler() = default;

QString BCopyFilesHandler::workspaceId() const
{
    return m_workspaceId;
}

QWeakPointer<ZYRModel::MFile> BCopyFilesHandler::sourceParent() const
{
    return m_sourceParent;
}

QWeakPointer<ZYRModel::MFile> BCopyFilesHandler::targetParent() const
{
    return m_targetParent;
}

const QList<QWeakPointer<ZYRModel::MFile>>& BCopyFilesHandler::filesToCopy() const
{
    return m_filesToCopy;
}

bool BCopyFilesHandler::isMove() const
{
    return m_move;
}

QSharedPointer<ZYRModel::MFile> BCopyFilesHandler::file() const
{
    return m_file;
}

const QList<QSharedPointer<ZYRModel::MFile>>& BCopyFilesHandler::files() const
{
    return m_files;
}

void BCopyFilesHandler::parseReply()
{
    QJsonObject data;
    if (!readDataObject(data))
        return;
    const QJsonArray copied = data.value(QLatin1String("success")).toArray();
    if (copied.isEmpty())
        return;
    // Requests are sent one file at a time, so the first node is the one
    // this request copied; further entries are not read.
    auto file = QSharedPointer<ZYRModel::MFile>::create();
    ZYRModel::MFile::fromJson(copied.at(0).toObject(), *file);
    m_file = file;
    m_files.append(file);
}

} // namespace Trelan::Oku::ZYRController
