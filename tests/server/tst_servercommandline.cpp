// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// zyr-cloud as a program: its command line, its output, its exit codes,
// signals, and a restart on the same data directory.

#include "HttpClient.h"
#include "ServerProcess.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

namespace {
const QString Alice = QStringLiteral("alice");
const QString AlicePassword = QStringLiteral("alice-pass");

QString writeSeed(const QTemporaryDir& dir, const QByteArray& text)
{
    const QString path = dir.filePath(QStringLiteral("seed.json"));
    QFile file(path);
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    file.write(text);
    return path;
}

int runToExit(const QStringList& arguments, QByteArray* standardError = nullptr)
{
    QProcess process;
    process.start(ServerProcess::binary(), arguments);
    process.waitForFinished(ServerProcess::StartTimeoutMs);
    if (standardError) {
        *standardError = process.readAllStandardError();
    }
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}
} // namespace

class TestServerCommandLine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void printsOnlyTheListeningLine();
    void stopsOnSignal_data();
    void stopsOnSignal();
    void rejectsBadOptions_data();
    void rejectsBadOptions();
    void rejectsInvalidSeeds_data();
    void rejectsInvalidSeeds();
    void needsSeedForFreshDirectory();
    void temporaryDataDirectoryWithoutOption();
    void curlSignInFromReadme();
    void restartKeepsEverything();
};

void TestServerCommandLine::printsOnlyTheListeningLine()
{
    QTemporaryDir dir;
    ServerProcess server;
    QVERIFY(server.start(dir.filePath(QStringLiteral("data")), ServerProcess::sampleSeed(), {}));
    QCOMPARE(server.standardOutput(), QByteArray("listening on 127.0.0.1:" + QByteArray::number(server.port()) + "\n"));
    HttpClient client(server.baseUrl());
    QVERIFY(!client.signIn(Alice, AlicePassword).isEmpty());
    QCOMPARE(server.stop(), 0);
    QCOMPARE(server.standardOutput(), QByteArray("listening on 127.0.0.1:" + QByteArray::number(server.port()) + "\n"));
    QVERIFY(!server.standardError().contains("alice-pass"));
    QVERIFY(!server.standardError().contains(client.token().toUtf8()));
}

void TestServerCommandLine::stopsOnSignal_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << int(SIGTERM);
    QTest::newRow("SIGINT") << int(SIGINT);
}

void TestServerCommandLine::stopsOnSignal()
{
    QFETCH(int, signal);
    QTemporaryDir dir;
    ServerProcess server;
    QVERIFY(server.start(dir.filePath(QStringLiteral("data")), ServerProcess::sampleSeed()));
    // An idle keep-alive connection and a held request must not delay the stop.
    HttpClient client(server.baseUrl());
    QVERIFY(!client.signIn(Alice, AlicePassword).isEmpty());
    client.addFault(
            { { QStringLiteral("pathPrefix"), QStringLiteral("/api/v1/users/me") }, { QStringLiteral("hang"), true } });
    QNetworkReply* held = client.manager().get(client.request(QStringLiteral("/api/v1/users/me")));
    QTRY_VERIFY(held->isRunning());

    ::kill(pid_t(server.process().processId()), signal);
    QVERIFY(server.process().waitForFinished(ServerProcess::StopTimeoutMs));
    QCOMPARE(server.process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(server.process().exitCode(), 0);
    const HttpReply reply = HttpClient::collect(held);
    QCOMPARE(reply.status, 0); // closed without an answer
    QVERIFY(reply.error != QNetworkReply::NoError);
}

void TestServerCommandLine::rejectsBadOptions_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QString data = QStringLiteral("--data");
    const QString dir = QDir::tempPath() + QStringLiteral("/zyr-cloud-unused");
    QTest::newRow("unknown option") << QStringList{ data, dir, QStringLiteral("--colour") };
    QTest::newRow("port not a number") << QStringList{ data, dir, QStringLiteral("--port"), QStringLiteral("eighty") };
    QTest::newRow("port too large") << QStringList{ data, dir, QStringLiteral("--port"), QStringLiteral("70000") };
    QTest::newRow("port without value") << QStringList{ data, dir, QStringLiteral("--port") };
    QTest::newRow("zero token lifetime") << QStringList{ data, dir, QStringLiteral("--token-ttl"),
                                                         QStringLiteral("0") };
    QTest::newRow("negative token lifetime")
            << QStringList{ data, dir, QStringLiteral("--token-ttl"), QStringLiteral("-5") };
}

void TestServerCommandLine::rejectsBadOptions()
{
    QFETCH(QStringList, arguments);
    QByteArray error;
    QCOMPARE(runToExit(arguments, &error), 2);
    QVERIFY(!error.isEmpty());
}

void TestServerCommandLine::rejectsInvalidSeeds_data()
{
    QTest::addColumn<QByteArray>("seed");
    const QByteArray user = R"({"id":"u-1","account":"one","password":"p"})";
    const QByteArray creator = R"("members":[{"userId":"u-1","role":"CREATOR"}])";
    auto workspace = [&](const QByteArray& extra) {
        return R"({"users":[)" + user + R"(],"workspaces":[{"id":"w","name":"W",)" + creator + extra + "}]}";
    };
    QTest::newRow("not JSON") << QByteArray("{users:");
    QTest::newRow("no users") << QByteArray(R"({"workspaces":[]})");
    QTest::newRow("users not an array") << QByteArray(R"({"users":{},"workspaces":[]})");
    QTest::newRow("password missing") << QByteArray(R"({"users":[{"id":"u","account":"a"}],"workspaces":[]})");
    QTest::newRow("account twice") << QByteArray(
            R"({"users":[{"id":"u","account":"a","password":"p"},{"id":"v","account":"a","password":"p"}],"workspaces":[]})");
    QTest::newRow("no creator") << QByteArray(
            R"({"users":[)" + user
            + R"(],"workspaces":[{"id":"w","name":"W","members":[{"userId":"u-1","role":"ADMIN"}]}]})");
    QTest::newRow("unknown member") << QByteArray(
            R"({"users":[)" + user
            + R"(],"workspaces":[{"id":"w","name":"W","members":[{"userId":"u-9","role":"CREATOR"}]}]})");
    QTest::newRow("member without value") << QByteArray(
            R"({"users":[)" + user
            + R"(,{"id":"u-2","account":"two","password":"p"}],"workspaces":[{"id":"w","name":"W","members":[{"userId":"u-1","role":"CREATOR"},{"userId":"u-2","role":"MEMBER"}]}]})");
    QTest::newRow("name with slash") << workspace(R"(,"tree":[{"type":"folder","name":"a/b"}])");
    QTest::newRow("name dot dot") << workspace(R"(,"tree":[{"type":"file","name":".."}])");
    QTest::newRow("name with control character") << workspace(R"(,"tree":[{"type":"file","name":"a\u0001"}])");
    QTest::newRow("sibling names equal") << workspace(
            R"(,"tree":[{"type":"file","name":"a"},{"type":"folder","name":"a"}])");
    QTest::newRow("node id twice") << workspace(
            R"(,"tree":[{"type":"file","name":"a","id":"x"},{"type":"file","name":"b","id":"x"}])");
    QTest::newRow("content and size") << workspace(R"(,"tree":[{"type":"file","name":"a","content":"x","size":3}])");
    QTest::newRow("bad base64") << workspace(R"(,"tree":[{"type":"file","name":"a","contentBase64":"!!"}])");
    QTest::newRow("folder with content") << workspace(R"(,"tree":[{"type":"folder","name":"a","content":"x"}])");
    QTest::newRow("revision zero") << workspace(R"(,"tree":[{"type":"file","name":"a","revision":0}])");
    QTest::newRow("unknown type") << workspace(R"(,"tree":[{"type":"link","name":"a"}])");
    QTest::newRow("latest installer unknown") << QByteArray(
            R"({"users":[],"workspaces":[],"versions":{"latest":{"version":"1.0","installer":"x.exe"}}})");
}

void TestServerCommandLine::rejectsInvalidSeeds()
{
    QFETCH(QByteArray, seed);
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    QByteArray error;
    QCOMPARE(runToExit({ QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--data"), data,
                         QStringLiteral("--seed"), writeSeed(dir, seed) },
                       &error),
             1);
    QVERIFY(!error.isEmpty());
    // Nothing half-written that a later start would take for a database.
    QVERIFY(!QFile::exists(data + QStringLiteral("/zyr.db")));
}

void TestServerCommandLine::needsSeedForFreshDirectory()
{
    QTemporaryDir dir;
    QCOMPARE(runToExit({ QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--data"),
                         dir.filePath(QStringLiteral("data")) }),
             1);
}

void TestServerCommandLine::temporaryDataDirectoryWithoutOption()
{
    ServerProcess server;
    QVERIFY(server.start(QString(), ServerProcess::sampleSeed(), {}));
    const QRegularExpression line(QStringLiteral("data directory (\\S+) \\(temporary\\)"));
    QTRY_VERIFY(line.match(QString::fromUtf8(server.standardError())).hasMatch());
    const auto match = line.match(QString::fromUtf8(server.standardError()));
    const QString data = match.captured(1);
    QVERIFY(QFile::exists(data + QStringLiteral("/zyr.db")));
    HttpClient client(server.baseUrl());
    QVERIFY(!client.signIn(Alice, AlicePassword).isEmpty());
    QCOMPARE(server.stop(), 0);
    QVERIFY(!QFile::exists(data));
}

void TestServerCommandLine::curlSignInFromReadme()
{
    // As in server/README.md: no --data, the sample seed, a free port.
    ServerProcess server;
    QVERIFY(server.start(QString(), ServerProcess::sampleSeed(), {}));
    // The line of server/README.md, with this server's port.
    QProcess curl;
    curl.start(QStringLiteral("curl"),
               { QStringLiteral("-s"), QStringLiteral("-H"), QStringLiteral("Content-Type: application/json"),
                 QStringLiteral("-d"), QStringLiteral(R"({"account":"alice","password":"alice-pass"})"),
                 QStringLiteral("http://127.0.0.1:%1/api/v1/auth/login").arg(server.port()) });
    if (!curl.waitForStarted()) {
        QSKIP("curl is not installed");
    }
    QVERIFY(curl.waitForFinished());
    const QJsonObject token = HttpReply{ 200, QNetworkReply::NoError, curl.readAllStandardOutput(), {} }.object();
    QVERIFY(QRegularExpression(QStringLiteral("^at-[0-9a-f]{32}$"))
                    .match(token.value(QStringLiteral("accessToken")).toString())
                    .hasMatch());
    QCOMPARE(token.value(QStringLiteral("tokenType")).toString(), QStringLiteral("Bearer"));
    QCOMPARE(token.value(QStringLiteral("expiresIn")).toInt(), 86400);
}

void TestServerCommandLine::restartKeepsEverything()
{
    QTemporaryDir dir;
    const QString data = dir.filePath(QStringLiteral("data"));
    auto server = std::make_unique<ServerProcess>();
    QVERIFY(server->start(data, ServerProcess::sampleSeed()));
    QString token;
    const QByteArray content = "kept across restarts";
    const QByteArray partial(3000, 'p');
    {
        HttpClient client(server->baseUrl());
        token = client.signIn(Alice, AlicePassword);
        QCOMPARE(client.postJson(QStringLiteral("/api/v1/workspaces/w-design/folders"),
                                 { { QStringLiteral("parentId"), QString() },
                                   { QStringLiteral("name"), QStringLiteral("Kept") } })
                         .status,
                 200);
        const HttpReply upload = client.send(
                "PUT",
                HttpClient::uploadTarget(QStringLiteral("w-design"), QStringLiteral("/Kept/a.txt"), content.size(), 0),
                content, { { "Content-Type", "application/octet-stream" } });
        QVERIFY2(upload.status == 200, upload.body.constData());
        QCOMPARE(client.postJson(QStringLiteral("/api/v1/workspaces/w-design/attributes"),
                                 { { QStringLiteral("path"), QStringLiteral("/Kept/a.txt") },
                                   { QStringLiteral("attributes"),
                                     QJsonObject{ { QStringLiteral("k"), QStringLiteral("v") } } } })
                         .status,
                 200);
        // An upload cut off after 3000 of 10000 bytes.
        QObject owner;
        QTcpSocket* socket = client.startPartialUpload(QStringLiteral("w-design"), QStringLiteral("/Kept/part.bin"),
                                                       10000, 0, partial, &owner);
        QTRY_COMPARE(client.get(QStringLiteral("/api/v1/workspaces/w-design/meta?path=%1")
                                        .arg(HttpClient::q(QStringLiteral("/Kept/part.bin"))))
                             .data()
                             .value(QStringLiteral("uploadedSize"))
                             .toInt(),
                     3000);
        socket->abort();
        QTRY_VERIFY(!client.get(QStringLiteral("/api/v1/workspaces/w-design/meta?path=%1")
                                        .arg(HttpClient::q(QStringLiteral("/Kept/part.bin"))))
                             .data()
                             .value(QStringLiteral("uploading"))
                             .toBool());
    }
    QCOMPARE(server->stop(), 0);

    server = std::make_unique<ServerProcess>();
    QVERIFY(server->start(data, ServerProcess::sampleSeed())); // seed ignored now
    HttpClient client(server->baseUrl());
    client.setToken(token); // tokens outlive the restart
    const HttpReply file = client.get(QStringLiteral("/api/v1/workspaces/w-design/meta?path=%1")
                                              .arg(HttpClient::q(QStringLiteral("/Kept/a.txt"))));
    QCOMPARE(file.status, 200);
    const QString fileId = file.data().value(QStringLiteral("id")).toString();
    QCOMPARE(client.get(QStringLiteral("/api/v1/workspaces/w-design/files/%1/content").arg(fileId)).body, content);
    QCOMPARE(client.get(QStringLiteral("/api/v1/workspaces/w-design/attributes?id=%1").arg(fileId))
                     .object()
                     .value(QStringLiteral("data"))
                     .toArray()
                     .size(),
             1);

    const HttpReply part = client.get(QStringLiteral("/api/v1/workspaces/w-design/meta?path=%1")
                                              .arg(HttpClient::q(QStringLiteral("/Kept/part.bin"))));
    QCOMPARE(part.data().value(QStringLiteral("uploading")).toBool(), false);
    QCOMPARE(part.data().value(QStringLiteral("uploadedSize")).toInt(), 3000);
    const QByteArray rest(7000, 'r');
    const HttpReply resumed = client.send(
            "PUT", HttpClient::uploadTarget(QStringLiteral("w-design"), QStringLiteral("/Kept/part.bin"), 10000, 3000),
            rest, { { "Content-Type", "application/octet-stream" } });
    QCOMPARE(resumed.status, 200);
    QCOMPARE(resumed.data().value(QStringLiteral("digest")).toString(),
             QString::fromLatin1(QCryptographicHash::hash(partial + rest, QCryptographicHash::Sha256).toHex()));
    QCOMPARE(server->stop(), 0);
}

QTEST_GUILESS_MAIN(TestServerCommandLine)
#include "tst_servercommandline.moc"
