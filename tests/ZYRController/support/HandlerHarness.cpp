// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <HandlerHarness.h>

#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QSignalSpy>
#include <QTcpServer>

namespace Trelan::Oku::ZYRTest {

using ZYRService::ZYRServiceUtil;

bool HandlerHarness::start()
{
    QTcpServer closed; // a port nobody listens on once it is closed again
    if (!closed.listen(QHostAddress::LocalHost) || !m_server.listen())
        return false;
    m_refusingUrl = m_server.url();
    m_refusingUrl.setPort(closed.serverPort());
    return true;
}

void HandlerHarness::send(ZYRController::BReplyHandlerBase* handler, int status, const QByteArray& body)
{
    m_server.setHandler([status, body](const ScriptedRequest&) { return ScriptedResponse::json(status, body); });
    ZYRServiceUtil::setServerUrl(status > 0 ? m_server.url() : m_refusingUrl);
    ZYRService::ZYRAccount::GetUserInfo(QStringLiteral("token"), handler);
}

bool HandlerHarness::run(ZYRController::BReplyHandlerBase* handler, int status, const QByteArray& body)
{
    QSignalSpy destroyed(handler, &QObject::destroyed);
    send(handler, status, body);
    return destroyed.wait(10000);
}

} // namespace Trelan::Oku::ZYRTest
