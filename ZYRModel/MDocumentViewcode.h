// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QJsonObject>
#include <QString>

namespace Trelan::Oku::ZYRModel {

/// A code with which a web viewer shows a document.
/// JSON: {"viewcode": s, "viewURL": s}
class ZYRMODEL_EXPORT MDocumentViewcode {
public:
    MDocumentViewcode();

    const QString& getViewcode() const;
    void setViewcode(const QString& viewcode);
    const QString& getViewURL() const;
    void setViewURL(const QString& url);

    static void fromJson(const QJsonObject& object, MDocumentViewcode& viewcode);
    QJsonObject toJson() const;

private:
    QString m_viewcode;
    QString m_viewURL;
};

} // namespace Trelan::Oku::ZYRModel
