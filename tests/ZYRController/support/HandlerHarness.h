// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <HandlerCatalogue.h>
#include <ScriptedHttpServer.h>

namespace Trelan::Oku::ZYRTest {

/// Sends a handler's request through the service library, which wires the
/// reply to the handler as in production, to a scripted loopback server.
/// A handler does not care which request it answers, so every handler is
/// sent as the same request.
class HandlerHarness {
public:
    /// Starts the server and points the service library at it.
    bool start();
    /// The server answers with \a status and \a body; a status of 0 means no
    /// answer at all: the connection is refused.
    void send(ZYRController::BReplyHandlerBase* handler, int status, const QByteArray& body = QByteArray());
    /// send(), then waits until the handler has deleted itself.
    bool run(ZYRController::BReplyHandlerBase* handler, int status, const QByteArray& body = QByteArray());

private:
    ScriptedHttpServer m_server;
    QUrl m_refusingUrl;
};

} // namespace Trelan::Oku::ZYRTest
