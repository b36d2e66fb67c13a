// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BAddAttributesHandler.h>

namespace Trelan::Oku::ZYRController {

BAddAttributesHandler::BAddAttributesHandler(BActionFinishedCallerBase* caller, QWeakPointer<ZYRModel::MFile> file,
                                             const QMap<QString, QString>& attributes)
    : BReplyHandlerBase(caller), m_file(std::move(file)), m_attributes(attributes)
{
}

BAddAttributesHandler::~BAddAttributesHandler() = default;

QWeakPointer<ZYRModel::MFile> BAddAttributesHandler::file() const
{
    return m_file;
}

const QMap<QString, QString>& BAddAttributesHandler::attributes() const
{
    return m_attributes;
}

bool BAddAttributesHandler::isSuccess() const
{
    return m_success;
}

void BAddAttributesHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    const QJsonValue message = root.value(QLatin1String("message"));
    if (message.isString())
        m_success = message.toString().compare(QLatin1String("success"), Qt::CaseInsensitive) == 0;
}

} // namespace Trelan::Oku::ZYRController
