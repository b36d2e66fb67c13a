// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <functional>

// Answers zyr-cloud never gives (hostile names, odd version lists, a held body) on a free
// loopback port. Requests are GETs; `answer` gets each one's target, returns the raw reply.
class LoopbackServer : public QTcpServer {
public:
    std::function<QByteArray(const QByteArray& target)> answer;
    QPointer<QTcpSocket> last; // the connection of the latest request; null once closed
    int requests = 0;

    LoopbackServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
        listen(QHostAddress::LocalHost);
    }

    QString url(const char* path) const { return QStringLiteral("http://127.0.0.1:%1").arg(serverPort()) + path; }

    // A reply announcing \a length bytes (-1: those of \a body) and sending \a body.
    static QByteArray reply(int status, const QByteArray& body, qint64 length = -1)
    {
        return "HTTP/1.1 " + QByteArray::number(status)
                + " X\r\nContent-Length: " + QByteArray::number(length < 0 ? body.size() : length) + "\r\n\r\n" + body;
    }

private:
    void read(QTcpSocket* socket)
    {
        QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
        for (qsizetype end; (end = buffer.indexOf("\r\n\r\n")) >= 0; buffer.remove(0, end + 4)) {
            last = socket;
            ++requests;
            socket->write(answer(buffer.left(buffer.indexOf(' ', 4)).mid(4))); // GET <target> HTTP/1.1
        }
        socket->setProperty("buffer", buffer);
    }
};
