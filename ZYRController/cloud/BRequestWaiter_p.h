// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BSyncWorker.h>

#include <functional>

namespace Trelan::Oku::ZYRController {

class BActionFinishedCallerBase;
class BReplyHandlerBase;

/// One request whose answer the sender waits for in a nested event loop
/// (a BSyncWorkerManger of at most \a timeoutMs), for the look-ups of the
/// cloud manager that have no finished function of their own. The answer
/// is handed to \a reader while its handler is alive. A request still out
/// when the wait ends is cancelled, so \a reader, which usually writes to
/// the waiting function's locals, is never called after the wait.
class BRequestWaiter {
public:
    using Reader = std::function<void(BReplyHandlerBase*)>;

    BRequestWaiter(int timeoutMs, Reader reader);
    ~BRequestWaiter();
    BRequestWaiter(const BRequestWaiter&) = delete;
    BRequestWaiter& operator=(const BRequestWaiter&) = delete;

    /// A caller for the one handler of this request (the handler owns it).
    BActionFinishedCallerBase* caller();
    /// Waits for \a handler, whose request has been sent; true when it
    /// was answered.
    bool wait(BReplyHandlerBase* handler);

    void onFinished(BReplyHandlerBase* handler);

private:
    int m_timeoutMs;
    Reader m_reader;
    BSyncWorker m_done;
    bool m_answered = false;
};

} // namespace Trelan::Oku::ZYRController
