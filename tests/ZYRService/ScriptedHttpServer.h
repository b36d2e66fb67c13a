// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPair>
#include <QTcpServer>
#include <QUrl>

#include <functional>

class QTcpSocket;

/// One HTTP request as the scripted server received it.
struct ScriptedRequest {
    QByteArray method;
    QByteArray target; ///< path and query exactly as sent
    QByteArray path; ///< target up to '?'
    QByteArray query; ///< target after '?', still encoded
    QHash<QByteArray, QByteArray> headers; ///< names in lower case
    QByteArray body;

    QByteArray header(const QByteArray& name) const { return headers.value(name.toLower()); }
    bool hasHeader(const QByteArray& name) const { return headers.contains(name.toLower()); }
};

/// What the scripted server does with one request.
struct ScriptedResponse {
    int status = 200;
    QByteArray body = QByteArrayLiteral("{\"result\":\"success\"}");
    QList<QPair<QByteArray, QByteArray>> headers;
    bool hold = false; ///< never answer; keep the connection open
    bool withoutLength = false; ///< no Content-Length: the body ends when the connection closes
    bool leaveOpen = false; ///< with withoutLength: close only on closeConnections()

    static ScriptedResponse json(int status, const QByteArray& body);
    ScriptedResponse& withHeader(const QByteArray& name, const QByteArray& value)
    {
        headers.append(qMakePair(name, value));
        return *this;
    }
    static ScriptedResponse held();
};

/// A loopback HTTP/1.1 server for tests, on a free port: each request goes
/// to a callback that decides the answer. Requests are parsed by
/// Content-Length (no chunked bodies); answers always carry Content-Length.
/// Lives on the thread that made it; its event loop must run.
class ScriptedHttpServer : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<ScriptedResponse(const ScriptedRequest&)>;

    explicit ScriptedHttpServer(QObject* parent = nullptr);
    ~ScriptedHttpServer() override;

    bool listen();
    QUrl url() const;
    void setHandler(Handler handler);
    /// Writes \a bytes to every open connection (more of a body sent
    /// without length).
    void writeToConnections(const QByteArray& bytes);
    /// Closes every open connection from the server's side.
    void closeConnections();

    QList<ScriptedRequest> requests() const { return m_requests; }
    /// Requests whose answer is being held.
    int heldCount() const { return m_held; }
    /// Connections the client has closed so far.
    int closedConnections() const { return m_closed; }

private:
    void onNewConnection();
    void onReadyRead(QTcpSocket* socket);

    QTcpServer m_server;
    Handler m_handler;
    QHash<QTcpSocket*, QByteArray> m_buffers;
    QList<ScriptedRequest> m_requests;
    int m_held = 0;
    int m_closed = 0;
};
