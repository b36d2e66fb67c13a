// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ScriptedHttpServer.h"

#include <QTcpSocket>

ScriptedResponse ScriptedResponse::json(int status, const QByteArray& body)
{
    ScriptedResponse response;
    response.status = status;
    response.body = body;
    return response;
}

ScriptedResponse ScriptedResponse::held()
{
    ScriptedResponse response;
    response.hold = true;
    return response;
}

ScriptedHttpServer::ScriptedHttpServer(QObject* parent) : QObject(parent)
{
    m_handler = [](const ScriptedRequest&) { return ScriptedResponse(); };
    connect(&m_server, &QTcpServer::newConnection, this, &ScriptedHttpServer::onNewConnection);
}

ScriptedHttpServer::~ScriptedHttpServer() = default;

bool ScriptedHttpServer::listen()
{
    return m_server.listen(QHostAddress::LocalHost, 0);
}

QUrl ScriptedHttpServer::url() const
{
    QUrl url;
    url.setScheme(QStringLiteral("http"));
    url.setHost(QStringLiteral("127.0.0.1"));
    url.setPort(m_server.serverPort());
    return url;
}

void ScriptedHttpServer::setHandler(Handler handler)
{
    m_handler = std::move(handler);
}

void ScriptedHttpServer::writeToConnections(const QByteArray& bytes)
{
    const QList<QTcpSocket*> sockets = m_buffers.keys();
    for (QTcpSocket* socket : sockets)
        socket->write(bytes);
}

void ScriptedHttpServer::closeConnections()
{
    const QList<QTcpSocket*> sockets = m_buffers.keys();
    for (QTcpSocket* socket : sockets)
        socket->disconnectFromHost();
}

void ScriptedHttpServer::onNewConnection()
{
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        m_buffers.insert(socket, QByteArray());
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            ++m_closed;
            m_buffers.remove(socket);
            socket->deleteLater();
        });
    }
}

void ScriptedHttpServer::onReadyRead(QTcpSocket* socket)
{
    QByteArray& buffer = m_buffers[socket];
    buffer += socket->readAll();
    for (;;) {
        const int headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        ScriptedRequest request;
        const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
        request.method = requestLine.value(0);
        request.target = requestLine.value(1);
        const int question = request.target.indexOf('?');
        request.path = question < 0 ? request.target : request.target.left(question);
        request.query = question < 0 ? QByteArray() : request.target.mid(question + 1);
        for (int i = 1; i < lines.size(); ++i) {
            const int colon = lines.at(i).indexOf(':');
            if (colon > 0)
                request.headers.insert(lines.at(i).left(colon).trimmed().toLower(),
                                       lines.at(i).mid(colon + 1).trimmed());
        }
        const qint64 length = request.header("Content-Length").toLongLong();
        if (buffer.size() < headerEnd + 4 + length)
            return; // wait for the rest of the body
        request.body = buffer.mid(headerEnd + 4, length);
        buffer.remove(0, headerEnd + 4 + length);

        m_requests.append(request);
        const ScriptedResponse response = m_handler(request);
        if (response.hold) {
            ++m_held;
            continue;
        }
        QByteArray out = "HTTP/1.1 " + QByteArray::number(response.status) + " Scripted\r\n";
        bool hasType = false;
        for (const auto& header : response.headers) {
            out += header.first + ": " + header.second + "\r\n";
            hasType = hasType || header.first.toLower() == "content-type";
        }
        if (!hasType)
            out += "Content-Type: application/json; charset=utf-8\r\n";
        if (response.withoutLength) {
            out += "Connection: close\r\n\r\n" + response.body;
            socket->write(out);
            if (!response.leaveOpen)
                socket->disconnectFromHost();
            return;
        }
        out += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n\r\n";
        out += response.body;
        socket->write(out);
    }
}
