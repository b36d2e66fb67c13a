// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <memory>

namespace Trelan::Oku::ZYRModel {
class MToken;
}

namespace Trelan::Oku::ZYRController {

/// Handler of the sign-in request: a 200 JSON object becomes an MToken.
/// The handler owns the token until takeToken(true) hands it to the owner.
class ZYRCONTROLLER_EXPORT BLoginHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    explicit BLoginHandler(BActionFinishedCallerBase* caller);
    ~BLoginHandler() override;

    /// The parsed token, or null. With \a release the caller becomes its
    /// owner and the handler forgets it; without, the handler keeps it.
    ZYRModel::MToken* takeToken(bool release);

protected:
    void parseReply() override;

private:
    std::unique_ptr<ZYRModel::MToken> m_token;
};

} // namespace Trelan::Oku::ZYRController
