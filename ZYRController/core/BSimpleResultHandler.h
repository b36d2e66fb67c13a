// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

namespace Trelan::Oku::ZYRController {

/// Handler of a request whose answer only says whether it worked: success
/// is a 200 body {"result": "success"}, the word in any letter case.
class ZYRCONTROLLER_EXPORT BSimpleResultHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    explicit BSimpleResultHandler(BActionFinishedCallerBase* caller);
    ~BSimpleResultHandler() override;

    bool isSuccess() const;

protected:
    void parseReply() override;

private:
    bool m_success = false;
};

} // namespace Trelan::Oku::ZYRController
