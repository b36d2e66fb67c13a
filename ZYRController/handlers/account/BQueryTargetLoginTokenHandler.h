// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

namespace Trelan::Oku::ZYRController {

/// Handler of the target-login-token request: the 200 body, as UTF-8 text
/// and never parsed, is the login token. The target link rides along
/// untouched for the owner.
class ZYRCONTROLLER_EXPORT BQueryTargetLoginTokenHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryTargetLoginTokenHandler(BActionFinishedCallerBase* caller, const QString& targetLink);
    ~BQueryTargetLoginTokenHandler() override;

    QString loginToken() const;
    QString targetLink() const;

protected:
    void parseReply() override;

private:
    QString m_loginToken;
    QString m_targetLink;
};

} // namespace Trelan::Oku::ZYRController
