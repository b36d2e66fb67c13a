// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "TestOwner.h"

#include <ReplyWiring.h>
#include <ScriptedReply.h>

#include <ZYRController/BReplyHandlerBase.h>

#include <QPointer>
#include <QSignalSpy>

namespace Trelan::Oku::ZYRTest {

/// Longest wait for one scripted request; replies play in a few event-loop
/// turns, so this only bounds a broken run.
inline constexpr int RequestTimeoutMs = 5000;

/// Wires \a reply to \a handler as the service library does, plays the
/// reply and waits until the handler has deleted itself. False when it did
/// not within the time limit.
inline bool runToCompletion(ZYRController::BReplyHandlerBase* handler, ScriptedReply* reply)
{
    QSignalSpy destroyed(handler, &QObject::destroyed);
    wireReply(handler, reply);
    reply->start();
    return destroyed.wait(RequestTimeoutMs);
}

/// Runs \a handler (made with owner.caller()) against a reply answering
/// \a status and \a body; \a inspect sees the handler, as its concrete
/// type, inside the owner's callback.
template <typename Handler>
bool answer(Handler* handler, TestOwner& owner, int status, const QByteArray& body,
            std::function<void(Handler*)> inspect)
{
    owner.inspect = [inspect](ZYRController::BReplyHandlerBase* base) {
        auto* concrete = qobject_cast<Handler*>(base);
        if (concrete && inspect)
            inspect(concrete);
    };
    return runToCompletion(handler, new ScriptedReply(status, body));
}

} // namespace Trelan::Oku::ZYRTest
