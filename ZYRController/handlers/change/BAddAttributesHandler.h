// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QMap>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the add-attributes request. Success is a 200 body whose
/// "message" (not "result") is "success" in any letter case. The node and
/// the attributes sent ride along for the owner.
class ZYRCONTROLLER_EXPORT BAddAttributesHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BAddAttributesHandler(BActionFinishedCallerBase* caller, QWeakPointer<ZYRModel::MFile> file,
                          const QMap<QString, QString>& attributes);
    ~BAddAttributesHandler() override;

    QWeakPointer<ZYRModel::MFile> file() const;
    const QMap<QString, QString>& attributes() const;
    bool isSuccess() const;

protected:
    void parseReply() override;

private:
    QWeakPointer<ZYRModel::MFile> m_file;
    QMap<QString, QString> m_attributes;
    bool m_success = false;
};

} // namespace Trelan::Oku::ZYRController
