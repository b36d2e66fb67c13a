// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// Faults on demand: injected statuses, delays, cut-off bodies and held
// requests, and the admin routes that set them.

#include "HttpClient.h"
#include "ServerProcess.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QString Faults = "/admin/faults";
} // namespace

class TestServerFaults : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void adminNeedsOption();
    void injectedStatus_data();
    void injectedStatus();
    void statusFaultHasNoSideEffect();
    void faultsCountDown();
    void firstMatchingFaultWins();
    void adminRoutesAreNeverFaulted();
    void delayPostponesTheAnswer();
    void cutBodyClosesConnection_data();
    void cutBodyClosesConnection();
    void heldRequestEndsWithClientTimeout();
    void heldRequestReleasedByClear();
    void heldUploadLeavesNothingBehind();
    void malformedFaults_data();
    void malformedFaults();

private:
    // Remaining times of the only fault set, -1 when none.
    int remainingTimes();

    QTemporaryDir m_dir;
    ServerProcess m_server;
    std::unique_ptr<HttpClient> m_client;
};

void TestServerFaults::initTestCase()
{
    QVERIFY(m_server.start(m_dir.filePath("data"), ServerProcess::sampleSeed()));
    m_client = std::make_unique<HttpClient>(m_server.baseUrl());
    QVERIFY(!m_client->signIn("alice", "alice-pass").isEmpty());
}

void TestServerFaults::cleanup()
{
    m_client->clearFaults();
}

int TestServerFaults::remainingTimes()
{
    const QJsonArray items = m_client->get(Faults).items();
    return items.isEmpty() ? -1 : items.at(0).toObject().value("times").toInt();
}

void TestServerFaults::adminNeedsOption()
{
    QTemporaryDir dir;
    ServerProcess plain;
    QVERIFY(plain.start(dir.filePath("data"), ServerProcess::sampleSeed(), {}));
    HttpClient client(plain.baseUrl());
    QCOMPARE(client.postJson(Faults, { { "pathPrefix", "/" }, { "status", 500 } }).status, 404);
    QCOMPARE(client.get(Faults).status, 404);
    QCOMPARE(client.get("/admin/install-info").status, 404);
}

void TestServerFaults::injectedStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("500") << 500;
    QTest::newRow("503") << 503;
    QTest::newRow("404") << 404;
    QTest::newRow("401") << 401;
    QTest::newRow("429") << 429;
}

void TestServerFaults::injectedStatus()
{
    QFETCH(int, status);
    const HttpReply added = m_client->postJson(
            Faults, { { "method", "GET" }, { "pathPrefix", "/api/v1/users/" }, { "status", status } });
    QCOMPARE(added.status, 200);
    QCOMPARE(added.object().value("result").toString(), QString("success"));
    QVERIFY(!added.object().value("id").toString().isEmpty());
    const HttpReply reply = m_client->get("/api/v1/users/me");
    QCOMPARE(reply.status, status);
    QCOMPARE(reply.object(), (QJsonObject{ { "code", status }, { "message", "injected fault" } }));
    QCOMPARE(m_client->get("/api/v1/workspaces").status, 200); // other paths untouched
}

void TestServerFaults::statusFaultHasNoSideEffect()
{
    m_client->addFault({ { "method", "POST" },
                         { "pathPrefix", "/api/v1/workspaces/w-design/folders" },
                         { "status", 500 },
                         { "times", 1 } });
    const QJsonObject folder{ { "parentId", "" }, { "name", "NotMade" } };
    QCOMPARE(m_client->postJson("/api/v1/workspaces/w-design/folders", folder).status, 500);
    QCOMPARE(m_client->get("/api/v1/workspaces/w-design/meta?path=%2FNotMade").status, 404);
    QCOMPARE(m_client->postJson("/api/v1/workspaces/w-design/folders", folder).status, 200);
}

void TestServerFaults::faultsCountDown()
{
    m_client->addFault({ { "pathPrefix", "/api/v1/users/me" }, { "status", 503 }, { "times", 2 } });
    QCOMPARE(remainingTimes(), 2);
    QCOMPARE(m_client->get("/api/v1/users/me").status, 503);
    QCOMPARE(remainingTimes(), 1);
    QCOMPARE(m_client->get("/api/v1/users/me").status, 503);
    QCOMPARE(remainingTimes(), -1); // used up and removed
    QCOMPARE(m_client->get("/api/v1/users/me").status, 200);
}

void TestServerFaults::firstMatchingFaultWins()
{
    m_client->addFault({ { "method", "POST" }, { "pathPrefix", "/api/v1" }, { "status", 418 } });
    m_client->addFault({ { "pathPrefix", "/api/v1/workspaces" }, { "status", 500 }, { "times", 1 } });
    m_client->addFault({ { "pathPrefix", "/api/v1" }, { "status", 502 } });
    QCOMPARE(m_client->get("/api/v1/workspaces").status, 500);
    QCOMPARE(m_client->get("/api/v1/workspaces").status, 502);
    QCOMPARE(m_client->postJson("/api/v1/install-info", { { "a", "b" } }).status, 418);
    const QJsonArray items = m_client->get(Faults).items();
    QCOMPARE(items.size(), 2);
    QCOMPARE(items.at(0).toObject().value("method").toString(), QString("POST"));
    QCOMPARE(items.at(1).toObject().value("status").toInt(), 502);
}

void TestServerFaults::adminRoutesAreNeverFaulted()
{
    m_client->addFault({ { "pathPrefix", "/" }, { "status", 500 } });
    QCOMPARE(m_client->get("/downloads/versions.xml").status, 500);
    QCOMPARE(m_client->get(Faults).status, 200);
    QCOMPARE(m_client->get("/admin/install-info").status, 200);
    QCOMPARE(m_client->del(Faults).status, 200);
    QCOMPARE(m_client->get("/downloads/versions.xml").status, 200);
}

void TestServerFaults::delayPostponesTheAnswer()
{
    constexpr int DelayMs = 600;
    m_client->addFault({ { "pathPrefix", "/api/v1/workspaces" }, { "delayMs", DelayMs }, { "times", 1 } });
    QElapsedTimer timer;
    timer.start();
    const HttpReply reply = m_client->get("/api/v1/workspaces");
    QVERIFY(timer.elapsed() >= DelayMs);
    QCOMPARE(reply.status, 200); // delayed, then handled normally
    QCOMPARE(reply.items().size(), 2);

    // A delay combined with a status answers that status after the delay.
    m_client->addFault(
            { { "pathPrefix", "/api/v1/workspaces" }, { "delayMs", DelayMs }, { "status", 504 }, { "times", 1 } });
    timer.restart();
    QCOMPARE(m_client->get("/api/v1/workspaces").status, 504);
    QVERIFY(timer.elapsed() >= DelayMs);
}

void TestServerFaults::cutBodyClosesConnection_data()
{
    QTest::addColumn<QString>("route");
    QTest::addColumn<int>("cutAfter");
    QTest::addColumn<qint64>("fullLength");
    QTest::newRow("file download") << "/api/v1/workspaces/w-design/files/f-big/content" << 1000 << qint64(1048576);
    QTest::newRow("JSON reply") << "/api/v1/users/me" << 5 << qint64(-1);
    QTest::newRow("nothing of the body") << "/api/v1/workspaces/w-design/files/f-overview/content" << 0 << qint64(11);
}

void TestServerFaults::cutBodyClosesConnection()
{
    QFETCH(QString, route);
    QFETCH(int, cutAfter);
    QFETCH(qint64, fullLength);
    m_client->addFault({ { "method", "GET" }, { "pathPrefix", route }, { "cutAfterBytes", cutAfter }, { "times", 1 } });
    // A raw socket shows exactly what arrives before the server closes;
    // QNetworkAccessManager may report such a short body as a success.
    QObject owner;
    QTcpSocket* socket = m_client->sendRawGet(route, &owner);
    QByteArray received;
    while (socket->state() == QAbstractSocket::ConnectedState && socket->waitForReadyRead(HttpClient::ReplyTimeoutMs)) {
        received += socket->readAll();
    }
    received += socket->readAll();
    QCOMPARE(socket->state(), QAbstractSocket::UnconnectedState); // the server closed
    const qsizetype headerEnd = received.indexOf("\r\n\r\n");
    QVERIFY(headerEnd > 0);
    const QByteArray head = received.left(headerEnd);
    QVERIFY(head.startsWith("HTTP/1.1 200"));
    const QByteArray body = received.mid(headerEnd + 4);
    QCOMPARE(body.size(), cutAfter);

    const HttpReply whole = m_client->get(route);
    QCOMPARE(whole.error, QNetworkReply::NoError);
    QVERIFY(whole.body.startsWith(body));
    QVERIFY(whole.body.size() > cutAfter);
    if (fullLength > 0) {
        QCOMPARE(whole.body.size(), fullLength);
    }
    QVERIFY(head.contains("Content-Length: " + QByteArray::number(whole.body.size())));
}

void TestServerFaults::heldRequestEndsWithClientTimeout()
{
    m_client->addFault({ { "pathPrefix", "/api/v1/auth/login-token" }, { "hang", true } });
    QNetworkRequest request = m_client->request("/api/v1/auth/login-token");
    request.setTransferTimeout(300);
    const HttpReply held = HttpClient::collect(m_client->manager().get(request));
    QVERIFY2(held.error == QNetworkReply::OperationCanceledError || held.error == QNetworkReply::TimeoutError,
             QByteArray::number(int(held.error)).constData());
    QCOMPARE(held.status, 0);
    // Held requests occupy no thread others need: many at once, and the
    // server still answers.
    std::vector<QNetworkReply*> replies;
    HttpClient other(m_server.baseUrl());
    other.setToken(m_client->token());
    for (int i = 0; i < 20; ++i) {
        QNetworkRequest r = (i % 2 ? other : *m_client).request("/api/v1/auth/login-token");
        r.setTransferTimeout(1000);
        replies.push_back((i % 2 ? other : *m_client).manager().get(r));
    }
    HttpClient third(m_server.baseUrl());
    third.setToken(m_client->token());
    QCOMPARE(third.get("/api/v1/users/me").status, 200);
    for (QNetworkReply* reply : replies) {
        QCOMPARE(HttpClient::collect(reply).status, 0);
    }
    QCOMPARE(third.get("/api/v1/workspaces").status, 200);
}

void TestServerFaults::heldRequestReleasedByClear()
{
    m_client->addFault({ { "pathPrefix", "/api/v1/users/me" }, { "hang", true }, { "times", 5 } });
    QObject owner;
    QTcpSocket* socket = m_client->sendRawGet("/api/v1/users/me", &owner);
    QTRY_COMPARE(remainingTimes(), 4); // the request is held
    QVERIFY(!socket->waitForReadyRead(100));
    QCOMPARE(m_client->del(Faults).object(), (QJsonObject{ { "result", "success" } }));
    if (socket->state() != QAbstractSocket::UnconnectedState) {
        QVERIFY(socket->waitForDisconnected(HttpClient::ReplyTimeoutMs));
    }
    QCOMPARE(socket->readAll(), QByteArray()); // closed without an answer
    QCOMPARE(m_client->get("/api/v1/users/me").status, 200);
}

void TestServerFaults::heldUploadLeavesNothingBehind()
{
    m_client->addFault({ { "method", "PUT" },
                         { "pathPrefix", "/api/v1/workspaces/w-design/upload" },
                         { "hang", true },
                         { "times", 1 } });
    const QByteArray bytes(100000, 'h');
    QNetworkRequest request = m_client->request(HttpClient::uploadTarget("w-design", "/held.bin", bytes.size(), 0));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/octet-stream"));
    request.setTransferTimeout(500);
    const HttpReply held = HttpClient::collect(m_client->manager().put(request, bytes));
    QCOMPARE(held.status, 0);
    QCOMPARE(m_client->get("/api/v1/workspaces/w-design/meta?path=%2Fheld.bin").status, 404);
    const HttpReply retry = m_client->send("PUT", HttpClient::uploadTarget("w-design", "/held.bin", bytes.size(), 0),
                                           bytes, { { "Content-Type", "application/octet-stream" } });
    QCOMPARE(retry.status, 200);
}

void TestServerFaults::malformedFaults_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("not JSON") << QByteArray("{");
    QTest::newRow("no pathPrefix") << QByteArray(R"({"status":500})");
    QTest::newRow("status not a number") << QByteArray(R"({"pathPrefix":"/","status":"500"})");
    QTest::newRow("hang not a boolean") << QByteArray(R"({"pathPrefix":"/","hang":1})");
    QTest::newRow("negative delay") << QByteArray(R"({"pathPrefix":"/","delayMs":-1})");
}

void TestServerFaults::malformedFaults()
{
    QFETCH(QByteArray, body);
    QCOMPARE(m_client->send("POST", Faults, body).status, 400);
    QCOMPARE(m_client->get(Faults).items(), QJsonArray());
}

QTEST_GUILESS_MAIN(TestServerFaults)
#include "tst_serverfaults.moc"
