// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <memory>

namespace Trelan::Oku::ZYRModel {
class MUser;
}

namespace Trelan::Oku::ZYRController {

/// Handler of the user-info request: a 200 JSON object becomes an MUser.
/// The handler owns the user until takeUser(true) hands it to the owner.
class ZYRCONTROLLER_EXPORT BQueryUserInfoHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    explicit BQueryUserInfoHandler(BActionFinishedCallerBase* caller);
    ~BQueryUserInfoHandler() override;

    /// The parsed user, or null. With \a release the caller becomes its
    /// owner and the handler forgets it; without, the handler keeps it.
    ZYRModel::MUser* takeUser(bool release);

protected:
    void parseReply() override;

private:
    std::unique_ptr<ZYRModel::MUser> m_user;
};

} // namespace Trelan::Oku::ZYRController
