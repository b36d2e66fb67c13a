// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BAddAttributesByPathHandler.h>

namespace Trelan::Oku::ZYRController {

BAddAttributesByPathHandler::BAddAttributesByPathHandler(BActionFinishedCallerBase* caller, const QString& first,
                                                         const QString& remotePath,
                                                         const QMap<QString, QString>& attributes)
    : BAddAttributesHandler(caller, QWeakPointer<ZYRModel::MFile>(), attributes), m_first(first),
      m_remotePath(remotePath)
{
}

BAddAttributesByPathHandler::~BAddAttributesByPathHandler() = default;

QString BAddAttributesByPathHandler::first() const
{
    return m_first;
}

QString BAddAttributesByPathHandler::remotePath() const
{
    return m_remotePath;
}

} // namespace Trelan::Oku::ZYRController
