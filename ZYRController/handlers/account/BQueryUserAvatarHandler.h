// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

namespace Trelan::Oku::ZYRController {

/// Handler of the avatar request: keeps the image bytes as sent, and the id
/// of the user it was asked for, so that an answer for a user who has
/// meanwhile signed out can be dropped.
class ZYRCONTROLLER_EXPORT BQueryUserAvatarHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryUserAvatarHandler(BActionFinishedCallerBase* caller, const QString& userId);
    ~BQueryUserAvatarHandler() override;

    QString userId() const;
    QByteArray avatarData() const;

protected:
    void parseReply() override;

private:
    QString m_userId;
    QByteArray m_avatarData;
};

} // namespace Trelan::Oku::ZYRController
