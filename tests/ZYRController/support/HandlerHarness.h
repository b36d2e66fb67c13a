// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <HandlerCatalogue.h>

#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>

namespace Trelan::Oku::ZYRTest {

/// Sends a handler's request through the service library, which wires the reply to it as in
/// production, to a loopback server that answers every request alike. Any request will do: a
/// handler reads any answer. The requests are GETs, so a request ends with its header.
class HandlerHarness {
public:
    /// Starts the server; also finds a port nobody listens on.
    bool start()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    for (qsizetype end; (end = socket->peek(socket->bytesAvailable()).indexOf("\r\n\r\n")) >= 0;) {
                        socket->read(end + 4);
                        socket->write(m_answer);
                    }
                });
            }
        });
        QTcpServer closed;
        if (!closed.listen(QHostAddress::LocalHost) || !m_server.listen(QHostAddress::LocalHost))
            return false;
        m_refusingPort = closed.serverPort();
        return true;
    }

    /// The server answers \a status and \a body; status 0: the connection is refused.
    void send(ZYRController::BReplyHandlerBase* handler, int status, const QByteArray& body = QByteArray())
    {
        m_answer = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\nContent-Type: application/json\r\n"
                + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
        const quint16 port = status > 0 ? m_server.serverPort() : m_refusingPort;
        ZYRService::ZYRServiceUtil::setServerUrl(QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port)));
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
    QTcpServer m_server;
    QByteArray m_answer;
    quint16 m_refusingPort = 0;
};

} // namespace Trelan::Oku::ZYRTest
