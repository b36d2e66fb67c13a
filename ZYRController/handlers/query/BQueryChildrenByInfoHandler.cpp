// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryChildrenByInfoHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryChildrenByInfoHandler::BQueryChildrenByInfoHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                                         const QString& key, bool byPath)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_key(key), m_byPath(byPath)
{
}

BQueryChildrenByInfoHandler::~BQueryChildrenByInfoHandler() = default;

QString BQueryChildrenByInfoHandler::workspaceId() const
{
    return m_workspaceId;
}

QString BQueryChildrenByInfoHandler::key() const
{
    return m_key;
}

bool BQueryChildrenByInfoHandler::isByPath() const
{
    return m_byPath;
}

const QList<QSharedPointer<ZYRModel::MFile>>& BQueryChildrenByInfoHandler::children() const
{
    return m_children;
}

void BQueryChildrenByInfoHandler::parseReply()
{
    QJsonObject data;
    if (!readDataObject(data))
        return;
    // The owner assigns workspace ids when it places the children in its tree.
    const QJsonValue items = data.value(QLatin1String("items"));
    if (!items.isArray())
        return;
    m_children.clear();
    ZYRModel::MFile::fromJson(items.toArray(), m_children);
}

} // namespace Trelan::Oku::ZYRController
