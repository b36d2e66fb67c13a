// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BGetFilePathHandler.h>

namespace Trelan::Oku::ZYRController {

BGetFilePathHandler::BGetFilePathHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                         const QString& fileId)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_fileId(fileId)
{
}

BGetFilePathHandler::~BGetFilePathHandler() = default;

QString BGetFilePathHandler::workspaceId() const
{
    return m_workspaceId;
}

QString BGetFilePathHandler::fileId() const
{
    return m_fileId;
}

const ZYRModel::MFilePath& BGetFilePathHandler::filePath() const
{
    return m_filePath;
}

QString BGetFilePathHandler::namePath() const
{
    return m_namePath;
}

void BGetFilePathHandler::parseReply()
{
    QJsonObject data;
    if (!readDataObject(data))
        return;
    const QJsonArray parents = data.value(QLatin1String("parents")).toArray();
    if (parents.isEmpty())
        return;

    QString namePath;
    QList<ZYRModel::MFilePath::Item> items;
    for (const QJsonValue& value : parents) {
        const QJsonObject parent = value.toObject();
        if (parent.isEmpty())
            continue;
        const QString id = jsonString(parent.value(QLatin1String("fileId")));
        const QString name = jsonString(parent.value(QLatin1String("name")));
        if (id.isEmpty() || name.isEmpty() || name == QLatin1String("/"))
            continue;
        namePath += QLatin1Char('/') + name;
        items.append(ZYRModel::MFilePath::Item{ id, name });
    }
    m_namePath = namePath;
    m_filePath.setPath(items);
}

} // namespace Trelan::Oku::ZYRController
