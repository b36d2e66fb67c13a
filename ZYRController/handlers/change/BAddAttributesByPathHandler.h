// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BAddAttributesHandler.h>

namespace Trelan::Oku::ZYRController {

/// Handler of the add-attributes-by-path request, sent for a file whose
/// upload has just finished; parses like BAddAttributesHandler. The upload's
/// first string (its workspace) and remote path ride along, so the owner
/// can find its pending entry again.
class ZYRCONTROLLER_EXPORT BAddAttributesByPathHandler : public BAddAttributesHandler {
    Q_OBJECT
public:
    BAddAttributesByPathHandler(BActionFinishedCallerBase* caller, const QString& first, const QString& remotePath,
                                const QMap<QString, QString>& attributes);
    ~BAddAttributesByPathHandler() override;

    QString first() const;
    QString remotePath() const;

private:
    QString m_first;
    QString m_remotePath;
};

} // namespace Trelan::Oku::ZYRController
