// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryChildrenHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryChildrenHandler::BQueryChildrenHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                             const QSharedPointer<ZYRModel::MFile>& folder)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_folder(folder)
{
}

BQueryChildrenHandler::~BQueryChildrenHandler() = default;

QString BQueryChildrenHandler::workspaceId() const
{
    return m_workspaceId;
}

QSharedPointer<ZYRModel::MFile> BQueryChildrenHandler::folder() const
{
    return m_folder;
}

const QList<QSharedPointer<ZYRModel::MFile>>& BQueryChildrenHandler::children() const
{
    return m_children;
}

void BQueryChildrenHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    // An "items" that is not an array is not an error: the listing is empty.
    const QJsonValue items = root.value(QLatin1String("items"));
    if (items.isArray()) {
        m_children.clear();
        ZYRModel::MFile::fromJson(items.toArray(), m_children);
    }
    for (const QSharedPointer<ZYRModel::MFile>& child : std::as_const(m_children))
        child->setWorkspaceId(m_workspaceId);
}

} // namespace Trelan::Oku::ZYRController
