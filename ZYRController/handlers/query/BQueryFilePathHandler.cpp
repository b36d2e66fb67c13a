// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryFilePathHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryFilePathHandler::BQueryFilePathHandler(BActionFinishedCallerBase* caller) : BReplyHandlerBase(caller) { }

BQueryFilePathHandler::~BQueryFilePathHandler() = default;

QString BQueryFilePathHandler::namePath() const
{
    return m_namePath;
}

QString BQueryFilePathHandler::parentNamePath() const
{
    return m_parentNamePath;
}

QString BQueryFilePathHandler::idPath() const
{
    return m_idPath;
}

QString BQueryFilePathHandler::parentIdPath() const
{
    return m_parentIdPath;
}

void BQueryFilePathHandler::setTransferContext(BFileTransferWorker* worker, ZYRModel::MFileTransferItem* item,
                                               int status, const QString& fileId)
{
    m_worker = worker;
    m_transferItem = item;
    m_transferStatus = status;
    m_fileId = fileId;
}

BFileTransferWorker* BQueryFilePathHandler::worker() const
{
    return m_worker;
}

ZYRModel::MFileTransferItem* BQueryFilePathHandler::transferItem() const
{
    return m_transferItem;
}

int BQueryFilePathHandler::transferStatus() const
{
    return m_transferStatus;
}

QString BQueryFilePathHandler::fileId() const
{
    return m_fileId;
}

void BQueryFilePathHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    const QJsonValue pathValue = root.value(QLatin1String("path"));
    if (!pathValue.isArray())
        return;

    const QJsonArray path = pathValue.toArray();
    const qsizetype last = path.size() - 1;
    for (qsizetype i = 0; i < path.size(); ++i) {
        const QJsonValue element = path.at(i);
        if (!element.isObject())
            continue;
        const QJsonObject object = element.toObject();
        const QString id = jsonString(object.value(QLatin1String("id")));
        const QString name = jsonString(object.value(QLatin1String("name")));
        if (name == QLatin1String("/"))
            continue;
        // "Last" is the array's last index: when that is the skipped root,
        // the parent chains equal the full ones.
        const bool isLast = i == last;
        if (m_idPath.isEmpty()) {
            m_idPath = id;
            m_namePath = name;
            if (!isLast) {
                m_parentIdPath = id;
                m_parentNamePath = name;
            }
        } else {
            m_idPath += QLatin1Char('/') + id;
            m_namePath += QLatin1Char('/') + name;
            if (!isLast) {
                m_parentIdPath += QLatin1Char('/') + id;
                m_parentNamePath += QLatin1Char('/') + name;
            }
        }
    }
}

} // namespace Trelan::Oku::ZYRController
