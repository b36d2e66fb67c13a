// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MDocumentViewcode.h>

#include "ModelJson_p.h"

namespace Trelan::Oku::ZYRModel {

MDocumentViewcode::MDocumentViewcode() = default;

const QString& MDocumentViewcode::getViewcode() const
{
    return m_viewcode;
}

const QString& MDocumentViewcode::getViewURL() const
{
    return m_viewURL;
}

void MDocumentViewcode::setViewcode(const QString& viewcode)
{
    m_viewcode = viewcode;
}

void MDocumentViewcode::setViewURL(const QString& url)
{
    m_viewURL = url;
}

void MDocumentViewcode::fromJson(const QJsonObject& object, MDocumentViewcode& viewcode)
{
    viewcode.m_viewcode = Json::string(object, "viewcode");
    viewcode.m_viewURL = Json::string(object, "viewURL");
}

QJsonObject MDocumentViewcode::toJson() const
{
    return QJsonObject{ { QStringLiteral("viewcode"), m_viewcode }, { QStringLiteral("viewURL"), m_viewURL } };
}

} // namespace Trelan::Oku::ZYRModel
