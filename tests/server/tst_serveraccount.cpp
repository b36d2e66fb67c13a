// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// Sign-in, tokens, the user and workspace requests, install reports.

#include "HttpClient.h"
#include "ServerProcess.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {
// The one-pixel PNG of the sample seed's avatar and logo.
const QByteArray SamplePng = QByteArray::fromBase64(
        "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==");
} // namespace

class TestServerAccount : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void signInReturnsBareToken();
    void signInRejects_data();
    void signInRejects();
    void tokenlessRequestsAreRefused_data();
    void tokenlessRequestsAreRefused();
    void publicRoutesIgnoreTokens();
    void tokensExpire();
    void currentUser();
    void avatars();
    void loginTokenIsPlainText();
    void workspaceList();
    void outsiderGetsNoWorkspaces();
    void quotaAndLogo();
    void installReports();
    void unknownRoutes();

private:
    QTemporaryDir m_dir;
    ServerProcess m_server;
};

void TestServerAccount::initTestCase()
{
    // The sample seed plus carol, who belongs to no workspace.
    QFile sample(ServerProcess::sampleSeed());
    QVERIFY(sample.open(QIODevice::ReadOnly));
    QJsonObject seed = QJsonDocument::fromJson(sample.readAll()).object();
    QJsonArray users = seed.value(QStringLiteral("users")).toArray();
    users.append(QJsonObject{ { QStringLiteral("id"), QStringLiteral("u-carol") },
                              { QStringLiteral("account"), QStringLiteral("carol") },
                              { QStringLiteral("password"), QStringLiteral("carol-pass") } });
    seed.insert(QStringLiteral("users"), users);
    QFile file(m_dir.filePath(QStringLiteral("seed.json")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QJsonDocument(seed).toJson());
    file.close();
    QVERIFY(m_server.start(m_dir.filePath(QStringLiteral("data")), file.fileName()));
}

void TestServerAccount::signInReturnsBareToken()
{
    HttpClient client(m_server.baseUrl());
    const HttpReply reply = client.postJson(QStringLiteral("/api/v1/auth/login"),
                                            { { QStringLiteral("account"), QStringLiteral("alice") },
                                              { QStringLiteral("password"), QStringLiteral("alice-pass") } });
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.header("Content-Type"), QByteArray("application/json; charset=utf-8"));
    const QJsonObject token = reply.object();
    QVERIFY(QRegularExpression(QStringLiteral("^at-[0-9a-f]{32}$"))
                    .match(token.value(QStringLiteral("accessToken")).toString())
                    .hasMatch());
    QVERIFY(QRegularExpression(QStringLiteral("^rt-[0-9a-f]{32}$"))
                    .match(token.value(QStringLiteral("refreshToken")).toString())
                    .hasMatch());
    QCOMPARE(token.value(QStringLiteral("tokenType")).toString(), QStringLiteral("Bearer"));
    QCOMPARE(token.value(QStringLiteral("expiresIn")).toInt(), 86400);

    // A second sign-in leaves the first token valid.
    HttpClient second(m_server.baseUrl());
    QVERIFY(!second.signIn(QStringLiteral("alice"), QStringLiteral("alice-pass")).isEmpty());
    QVERIFY(second.token() != token.value(QStringLiteral("accessToken")).toString());
    client.setToken(token.value(QStringLiteral("accessToken")).toString());
    QCOMPARE(client.get(QStringLiteral("/api/v1/users/me")).status, 200);
}

void TestServerAccount::signInRejects_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    QTest::newRow("wrong password") << QByteArray(R"({"account":"alice","password":"bob-pass"})") << 401;
    QTest::newRow("unknown account") << QByteArray(R"({"account":"mallory","password":"x"})") << 401;
    QTest::newRow("account differs in case") << QByteArray(R"({"account":"Alice","password":"alice-pass"})") << 401;
    QTest::newRow("malformed JSON") << QByteArray(R"({"account":"alice",)") << 400;
    QTest::newRow("password missing") << QByteArray(R"({"account":"alice"})") << 400;
    QTest::newRow("password not a string") << QByteArray(R"({"account":"alice","password":5})") << 400;
    QTest::newRow("array body") << QByteArray(R"(["alice","alice-pass"])") << 400;
    QTest::newRow("empty body") << QByteArray() << 400;
}

void TestServerAccount::signInRejects()
{
    QFETCH(QByteArray, body);
    QFETCH(int, status);
    HttpClient client(m_server.baseUrl());
    const HttpReply reply = client.send("POST", QStringLiteral("/api/v1/auth/login"), body,
                                        { { "Content-Type", "application/json" } });
    QCOMPARE(reply.status, status);
    QCOMPARE(reply.object().value(QStringLiteral("code")).toInt(), status);
    QVERIFY(!reply.object().value(QStringLiteral("message")).toString().isEmpty());
    QVERIFY(reply.header("WWW-Authenticate").isEmpty());
}

void TestServerAccount::tokenlessRequestsAreRefused_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QString>("route");
    QTest::addColumn<QByteArray>("authorization");
    const QList<QPair<QByteArray, QString>> routes{
        { "GET", QStringLiteral("/api/v1/users/me") },
        { "GET", QStringLiteral("/api/v1/users/u-alice/avatar") },
        { "GET", QStringLiteral("/api/v1/auth/login-token") },
        { "GET", QStringLiteral("/api/v1/workspaces") },
        { "GET", QStringLiteral("/api/v1/workspaces/w-design/children?id=") },
        { "GET", QStringLiteral("/api/v1/files/path?id=f-plan") },
        { "POST", QStringLiteral("/api/v1/workspaces/w-design/folders") },
        { "DELETE", QStringLiteral("/api/v1/workspaces/w-design/files/f-readme") },
        { "PUT", QStringLiteral("/api/v1/workspaces/w-design/upload?path=%2Fx&size=0&offset=0") },
        { "GET", QStringLiteral("/api/v1/workspaces/w-design/files/f-readme/content") },
    };
    const QList<QPair<const char*, QByteArray>> credentials{
        { "none", QByteArray() },
        { "scheme only", "Bearer" },
        { "basic", "Basic YWxpY2U6YWxpY2UtcGFzcw==" },
        { "unknown token", "Bearer at-00000000000000000000000000000000" },
    };
    for (const auto& route : routes) {
        for (const auto& credential : credentials) {
            QTest::addRow("%s %s, %s", route.first.constData(), qPrintable(route.second), credential.first)
                    << route.first << route.second << credential.second;
        }
    }
}

void TestServerAccount::tokenlessRequestsAreRefused()
{
    QFETCH(QByteArray, method);
    QFETCH(QString, route);
    QFETCH(QByteArray, authorization);
    HttpClient client(m_server.baseUrl());
    RawHeaders headers;
    if (!authorization.isEmpty()) {
        headers.append({ "Authorization", authorization });
    }
    const HttpReply reply = client.send(method, route, method == "GET" ? QByteArray() : QByteArray("{}"), headers);
    QCOMPARE(reply.status, 401);
    QCOMPARE(reply.error, QNetworkReply::AuthenticationRequiredError);
    QCOMPARE(reply.object().value(QStringLiteral("code")).toInt(), 401);
    QVERIFY(reply.header("WWW-Authenticate").isEmpty());
}

void TestServerAccount::publicRoutesIgnoreTokens()
{
    HttpClient client(m_server.baseUrl());
    client.setToken(QStringLiteral("at-not-a-real-token"));
    QCOMPARE(client.get(QStringLiteral("/downloads/versions.xml")).status, 200);
    QCOMPARE(client.postJson(QStringLiteral("/api/v1/install-info"),
                             { { QStringLiteral("machineId"), QStringLiteral("m") } })
                     .status,
             200);
    QVERIFY(!client.signIn(QStringLiteral("bob"), QStringLiteral("bob-pass")).isEmpty());
}

void TestServerAccount::tokensExpire()
{
    QTemporaryDir dir;
    ServerProcess shortLived;
    QVERIFY(shortLived.start(dir.filePath(QStringLiteral("data")), ServerProcess::sampleSeed(),
                             { QStringLiteral("--token-ttl"), QStringLiteral("1") }));
    HttpClient client(shortLived.baseUrl());
    const HttpReply login = client.postJson(QStringLiteral("/api/v1/auth/login"),
                                            { { QStringLiteral("account"), QStringLiteral("bob") },
                                              { QStringLiteral("password"), QStringLiteral("bob-pass") } });
    QCOMPARE(login.object().value(QStringLiteral("expiresIn")).toInt(), 1);
    client.setToken(login.object().value(QStringLiteral("accessToken")).toString());
    QCOMPARE(client.get(QStringLiteral("/api/v1/users/me")).status, 200);
    QTRY_COMPARE_WITH_TIMEOUT(client.get(QStringLiteral("/api/v1/users/me")).status, 401, 10000);
}

void TestServerAccount::currentUser()
{
    HttpClient client(m_server.baseUrl());
    client.signIn(QStringLiteral("alice"), QStringLiteral("alice-pass"));
    const QJsonObject alice = client.get(QStringLiteral("/api/v1/users/me")).object();
    QCOMPARE(alice,
             (QJsonObject{ { QStringLiteral("id"), QStringLiteral("u-alice") },
                           { QStringLiteral("account"), QStringLiteral("alice") },
                           { QStringLiteral("displayName"), QStringLiteral("Alice") },
                           { QStringLiteral("fullName"), QStringLiteral("Alice Zhang") },
                           { QStringLiteral("email"), QStringLiteral("alice@example.com") },
                           { QStringLiteral("avatarPaths"),
                             QJsonArray{ QStringLiteral("/api/v1/users/u-alice/avatar") } } }));
    client.signIn(QStringLiteral("carol"), QStringLiteral("carol-pass"));
    const QJsonObject carol = client.get(QStringLiteral("/api/v1/users/me")).object();
    QCOMPARE(carol.value(QStringLiteral("displayName")).toString(), QStringLiteral("carol")); // defaults to account
    QCOMPARE(carol.value(QStringLiteral("avatarPaths")).toArray(), QJsonArray());
}

void TestServerAccount::avatars()
{
    HttpClient client(m_server.baseUrl());
    client.signIn(QStringLiteral("bob"), QStringLiteral("bob-pass"));
    const HttpReply avatar = client.get(QStringLiteral("/api/v1/users/u-alice/avatar"));
    QCOMPARE(avatar.status, 200);
    QCOMPARE(avatar.header("Content-Type"), QByteArray("image/png"));
    QCOMPARE(avatar.body, SamplePng);
    QCOMPARE(client.get(QStringLiteral("/api/v1/users/u-bob/avatar")).status, 404);
    QCOMPARE(client.get(QStringLiteral("/api/v1/users/u-nobody/avatar")).status, 404);
}

void TestServerAccount::loginTokenIsPlainText()
{
    HttpClient client(m_server.baseUrl());
    client.signIn(QStringLiteral("alice"), QStringLiteral("alice-pass"));
    const HttpReply first = client.get(QStringLiteral("/api/v1/auth/login-token"));
    const HttpReply second = client.get(QStringLiteral("/api/v1/auth/login-token"));
    QCOMPARE(first.header("Content-Type"), QByteArray("text/plain; charset=utf-8"));
    QVERIFY(QRegularExpression(QStringLiteral("^lt-[0-9a-f]{32}$")).match(QString::fromUtf8(first.body)).hasMatch());
    QVERIFY(first.body != second.body);
}

void TestServerAccount::workspaceList()
{
    HttpClient client(m_server.baseUrl());
    client.signIn(QStringLiteral("alice"), QStringLiteral("alice-pass"));
    const QString host = QStringLiteral("127.0.0.1:%1").arg(m_server.port());
    const QJsonArray items = client.get(QStringLiteral("/api/v1/workspaces")).items();
    QCOMPARE(items,
             (QJsonArray{
                     QJsonObject{ { QStringLiteral("id"), QStringLiteral("w-design") },
                                  { QStringLiteral("name"), QStringLiteral("设计部") },
                                  { QStringLiteral("isDefault"), true },
                                  { QStringLiteral("logoUrl"),
                                    QStringLiteral("//") + host + QStringLiteral("/api/v1/workspaces/w-design/logo") },
                                  { QStringLiteral("role"), QStringLiteral("CREATOR") },
                                  { QStringLiteral("ownerId"), QStringLiteral("u-alice") },
                                  { QStringLiteral("createTime"), 1735689600000LL } },
                     QJsonObject{ { QStringLiteral("id"), QStringLiteral("w-projects") },
                                  { QStringLiteral("name"), QStringLiteral("Projects") },
                                  { QStringLiteral("isDefault"), false },
                                  { QStringLiteral("logoUrl"), QString() },
                                  { QStringLiteral("role"), QStringLiteral("MEMBER") },
                                  { QStringLiteral("ownerId"), QStringLiteral("u-bob") },
                                  { QStringLiteral("createTime"), 1735776000000LL } } }));
    client.signIn(QStringLiteral("bob"), QStringLiteral("bob-pass"));
    const QJsonArray bobs = client.get(QStringLiteral("/api/v1/workspaces")).items();
    QCOMPARE(bobs.size(), 2);
    QCOMPARE(bobs.at(0).toObject().value(QStringLiteral("role")).toString(), QStringLiteral("MEMBER"));
    QCOMPARE(bobs.at(1).toObject().value(QStringLiteral("role")).toString(), QStringLiteral("CREATOR"));
}

void TestServerAccount::outsiderGetsNoWorkspaces()
{
    HttpClient client(m_server.baseUrl());
    client.signIn(QStringLiteral("carol"), QStringLiteral("carol-pass"));
    const HttpReply list = client.get(QStringLiteral("/api/v1/workspaces"));
    QCOMPARE(list.object(), (QJsonObject{ { QStringLiteral("items"), QJsonArray() } }));
    for (const QString& route :
         { QStringLiteral("/api/v1/workspaces/w-design/quota"), QStringLiteral("/api/v1/workspaces/w-design/logo"),
           QStringLiteral("/api/v1/workspaces/w-design/privileges?id="),
           QStringLiteral("/api/v1/workspaces/w-design/children?id="),
           QStringLiteral("/api/v1/files/path?id=f-plan") }) {
        QCOMPARE(client.get(route).status, 403);
    }
    // An unknown workspace is a 404 before membership is looked at.
    QCOMPARE(client.get(QStringLiteral("/api/v1/workspaces/w-none/quota")).status, 404);
}

void TestServerAccount::quotaAndLogo()
{
    HttpClient client(m_server.baseUrl());
    client.signIn(QStringLiteral("bob"), QStringLiteral("bob-pass"));
    QCOMPARE(client.get(QStringLiteral("/api/v1/workspaces/w-design/quota")).object(),
             (QJsonObject{ { QStringLiteral("workspaceId"), QStringLiteral("w-design") },
                           { QStringLiteral("usedSize"), 1048632 },
                           { QStringLiteral("totalSize"), 10737418240LL },
                           { QStringLiteral("fileCount"), 5 } }));
    QCOMPARE(client.get(QStringLiteral("/api/v1/workspaces/w-projects/quota"))
                     .object()
                     .value(QStringLiteral("totalSize"))
                     .toInteger(),
             1073741824);
    const HttpReply logo = client.get(QStringLiteral("/api/v1/workspaces/w-design/logo"));
    QCOMPARE(logo.body, SamplePng);
    QCOMPARE(logo.header("Content-Type"), QByteArray("image/png"));
    QCOMPARE(client.get(QStringLiteral("/api/v1/workspaces/w-projects/logo")).status, 404);
}

void TestServerAccount::installReports()
{
    HttpClient client(m_server.baseUrl());
    const QJsonObject info{ { QStringLiteral("machineId"), QStringLiteral("m-1") },
                            { QStringLiteral("osName"), QStringLiteral("Debian") },
                            { QStringLiteral("osVersion"), QStringLiteral("12") },
                            { QStringLiteral("clientVersion"), QStringLiteral("1.3.0") },
                            { QStringLiteral("installTime"), 1735689600000LL } };
    const HttpReply reply = client.postJson(QStringLiteral("/api/v1/install-info"), info);
    QCOMPARE(reply.object(), (QJsonObject{ { QStringLiteral("result"), QStringLiteral("success") } }));
    QCOMPARE(client.send("POST", QStringLiteral("/api/v1/install-info"), "[1,2]").status, 400);
    QCOMPARE(client.send("POST", QStringLiteral("/api/v1/install-info"), "not json").status, 400);
    const QByteArray oversize = "{\"pad\":\"" + QByteArray(1048577, 'x') + "\"}";
    QCOMPARE(client.send("POST", QStringLiteral("/api/v1/install-info"), oversize).status, 400);
    // The connection that carried the oversize body is still usable or was
    // closed cleanly: the next request goes through either way.
    QCOMPARE(client.postJson(QStringLiteral("/api/v1/install-info"), info).status, 200);

    const QJsonArray received = client.get(QStringLiteral("/admin/install-info")).items();
    QJsonObject last = received.last().toObject();
    QVERIFY(last.value(QStringLiteral("receivedTime")).toInteger() > 1735689600000LL);
    last.remove(QStringLiteral("receivedTime"));
    QCOMPARE(last, info);
}

void TestServerAccount::unknownRoutes()
{
    HttpClient client(m_server.baseUrl());
    client.signIn(QStringLiteral("alice"), QStringLiteral("alice-pass"));
    for (const QByteArray& method :
         { QByteArray("GET"), QByteArray("POST"), QByteArray("PUT"), QByteArray("DELETE") }) {
        const HttpReply reply = client.send(method, QStringLiteral("/api/v1/nothing/here"),
                                            method == "GET" ? QByteArray() : QByteArray(2 * 1048576, ' '));
        QCOMPARE(reply.status, 404);
        QCOMPARE(reply.object().value(QStringLiteral("code")).toInt(), 404);
    }
    QCOMPARE(client.get(QStringLiteral("/api/v1/users/me")).status, 200);
}

QTEST_GUILESS_MAIN(TestServerAccount)
#include "tst_serveraccount.moc"
