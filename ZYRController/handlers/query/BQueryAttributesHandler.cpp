// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryAttributesHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryAttributesHandler::BQueryAttributesHandler(BActionFinishedCallerBase* caller, QWeakPointer<ZYRModel::MFile> child)
    : BReplyHandlerBase(caller), m_child(std::move(child))
{
}

BQueryAttributesHandler::~BQueryAttributesHandler() = default;

QWeakPointer<ZYRModel::MFile> BQueryAttributesHandler::child() const
{
    return m_child;
}

const QMap<QString, QString>& BQueryAttributesHandler::attributes() const
{
    return m_attributes;
}

void BQueryAttributesHandler::parseReply()
{
    QJsonArray data;
    if (!readDataArray(data))
        return;
    m_attributes.clear();
    for (const QJsonValue& value : std::as_const(data)) {
        const QJsonObject element = value.toObject();
        if (element.isEmpty())
            continue;
        const QString key = jsonString(element.value(QLatin1String("key")));
        const QString attributeValue = jsonString(element.value(QLatin1String("value")));
        // A missing value is dropped, an empty one is a value like any other.
        if (key.isEmpty() || attributeValue.isNull())
            continue;
        m_attributes.insert(key, attributeValue);
    }
}

} // namespace Trelan::Oku::ZYRController
