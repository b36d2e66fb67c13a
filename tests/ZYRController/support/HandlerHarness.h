// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <HandlerCatalogue.h>
#include <ScriptedHttpServer.h>

#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QSignalSpy>

namespace Trelan::Oku::ZYRTest {

/// Sends a handler's request through the service library, which wires the reply to it as in
/// production, to a scripted loopback server. Any request will do: a handler reads any answer.
class HandlerHarness {
public:
    /// Starts the server; also finds a port nobody listens on.
    bool start()
    {
        QTcpServer closed;
        if (!closed.listen(QHostAddress::LocalHost) || !m_server.listen())
            return false;
        m_refusingUrl = m_server.url();
        m_refusingUrl.setPort(closed.serverPort());
        return true;
    }

    /// The server answers \a status and \a body; status 0: the connection is refused.
    void send(ZYRController::BReplyHandlerBase* handler, int status, const QByteArray& body = QByteArray())
    {
        m_server.setHandler([status, body](const ScriptedRequest&) { return ScriptedResponse::json(status, body); });
        ZYRService::ZYRServiceUtil::setServerUrl(status > 0 ? m_server.url() : m_refusingUrl);
        ZYRService::ZYRAccount::GetUserInfo(QStringLiteral("token"), handler);
    }

    /// send(), then waits until the handler has deleted itself.
    bool run(ZYRController::BReplyHandlerBase* handler, int status, const QByteArray& body = QByteArray())
    {
        QSignalSpy destroyed(handler, &QObject::destroyed);
        send(handler, status, body);
        return destroyed.wait(10000);
    }

private:
    ScriptedHttpServer m_server;
    QUrl m_refusingUrl;
};

} // namespace Trelan::Oku::ZYRTest
