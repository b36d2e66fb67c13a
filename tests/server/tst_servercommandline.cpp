// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// zyr-cloud as a program: its command line, its output, its exit codes,
// signals, and a restart on the same data directory.

#include <CloudServerFixture.h>

#include <QCryptographicHash>
#include <QFile>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
// Options with stderr kept for the test; the seed written to `dir` when given.
CloudServerFixture::Options options(const QStringList& arguments = {}, const QTemporaryDir* dir = nullptr,
                                    const QByteArray& seed = {})
{
    auto result = CloudServerFixture::defaultOptions();
    result.extraArguments = arguments;
    result.captureStandardError = true;
    if (dir) {
        result.seedFile = seed.isEmpty() ? QString() : dir->filePath(u"seed.json"_s);
        QFile file(result.seedFile);
        if (!seed.isEmpty() && (!file.open(QIODevice::WriteOnly) || file.write(seed) != seed.size()))
            qFatal("cannot write the seed");
    }
    return result;
}
} // namespace

class TestServerCommandLine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void quickTryOnATemporaryDirectory();
    void stopsOnSigint();
    void refusesToStart_data();
    void refusesToStart();
    void restartKeepsDataTokensAndUnfinishedUploads();
};

void TestServerCommandLine::quickTryOnATemporaryDirectory()
{
    // No --data, a seed without versions, no admin routes.
    QTemporaryDir dir;
    auto quick = options({ u"--verbose"_s }, &dir,
                         R"({"users":[{"id":"u","account":"alice","password":"alice-pass"}],"workspaces":[],
                             "installers":[{"name":"tool.bin","content":"tool"}]})");
    quick.enableAdmin = false;
    quick.ownDataDirectory = false;
    CloudServerFixture server(quick);
    QVERIFY2(server.start(), qPrintable(server.errorString()));
    const auto data = QRegularExpression(u"data directory (\\S+) \\(temporary\\)"_s)
                              .match(QString::fromUtf8(server.standardError()))
                              .captured(1);
    QVERIFY(QFile::exists(data + u"/zyr.db"_s));
    const QString token = server.signIn();
    QCOMPARE(server.request("GET", "/api/v1/users/me", {}, token).status, 200);
    QCOMPARE(server.request("GET", "/downloads/tool.bin").body, "tool");
    for (const QByteArray route : { "/downloads/versions.xml", "/downloads/latest", "/admin/faults" })
        QCOMPARE(server.request("GET", route).status, 404);
    QCOMPARE(server.stop(), 0);
    QVERIFY(!QFile::exists(data));
    QCOMPARE(server.standardOutput(), "listening on 127.0.0.1:" + QByteArray::number(server.baseUrl().port()) + '\n');
    const QByteArray log = server.standardError();
    QVERIFY(log.contains("GET /api/v1/users/me -> 200"));
    QVERIFY(!log.contains("alice-pass") && !log.contains(token.toUtf8()));
}

void TestServerCommandLine::stopsOnSigint() // SIGTERM: every other stop()
{
    CloudServerFixture server(options());
    QVERIFY2(server.start(), qPrintable(server.errorString()));
    // An idle keep-alive connection and a held request do not keep it.
    QCOMPARE(server.request("GET", "/downloads/versions.xml").status, 200);
    server.addFault({ { "pathPrefix", "/downloads/latest" }, { "hang", true }, { "times", 2 } });
    QTcpSocket* held = server.openRaw("GET", "/downloads/latest", {}, -1, {}, this);
    QTRY_COMPARE(server.request("GET", "/admin/faults").items()[0][u"times"].toInt(), 1);
    QCOMPARE(server.stop(SIGINT), 0);
    QTRY_VERIFY(held->peek(12) == "HTTP/1.1 503"); // released
}

void TestServerCommandLine::refusesToStart_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("seed");
    QTest::addColumn<int>("exitCode");
    const auto option = [](const char* name, const QStringList& arguments) {
        QTest::newRow(name) << arguments << QByteArray() << 2;
    };
    option("unknown option", { u"--colour"_s });
    option("port not a number", { u"--port"_s, u"eighty"_s });
    option("port too large", { u"--port"_s, u"70000"_s });
    option("port without value", { u"--port"_s });
    option("zero token lifetime", { u"--token-ttl"_s, u"0"_s });
    option("token lifetime past 64 bits", { u"--token-ttl"_s, u"99999999999999999999"_s });
    const auto seed
            = [](const char* name, const QByteArray& text) { QTest::newRow(name) << QStringList() << text << 1; };
    const QByteArray user = R"({"id":"u-1","account":"one","password":"p"})";
    const auto tree = [&](const QByteArray& nodes) {
        return R"({"users":[)" + user + R"(],"workspaces":[{"id":"w","name":"W",)"
                + R"("members":[{"userId":"u-1","role":"CREATOR"}],"tree":[)" + nodes + "]}]}";
    };
    seed("no seed for a fresh directory", QByteArray());
    seed("seed not JSON", "{users:");
    seed("account twice", R"({"users":[)" + user + "," + user + R"(],"workspaces":[]})");
    seed("no creator", tree("").replace("CREATOR", "ADMIN"));
    seed("invalid name", tree(R"({"type":"folder","name":"a/b"})"));
    seed("sibling names equal", tree(R"({"type":"file","name":"a"},{"type":"folder","name":"a"})"));
    seed("node id twice", tree(R"({"type":"file","name":"a","id":"x"},{"type":"file","name":"b","id":"x"})"));
    seed("padding inside base64", tree(R"({"type":"file","name":"a","contentBase64":"QQ=A"})"));
    seed("latest installer unknown",
         R"({"users":[],"workspaces":[],"versions":{"latest":{"version":"1","installer":"x"}}})");
}

void TestServerCommandLine::refusesToStart()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, seed);
    QFETCH(int, exitCode);
    QTemporaryDir dir;
    CloudServerFixture server(options(arguments, &dir, seed));
    QVERIFY(!server.start());
    QCOMPARE(server.stop(), exitCode);
    QVERIFY(!server.standardError().isEmpty());
    // Nothing half-written that a later start would take for a database.
    QVERIFY(!QFile::exists(server.dataDirectory() + u"/zyr.db"_s));
}

void TestServerCommandLine::restartKeepsDataTokensAndUnfinishedUploads()
{
    CloudServerFixture server(options());
    QVERIFY2(server.start(), qPrintable(server.errorString()));
    const QString token = server.signIn();
    const QByteArray file
            = server.upload(token, u"w-design"_s, u"/Kept/a.txt"_s, "kept").data()[u"id"].toString().toUtf8();
    const QByteArray partial(3000, 'p');
    const QByteArray target = CloudServerFixture::uploadTarget(u"w-design"_s, u"/Kept/part.bin"_s, 10000, 0);
    QTcpSocket* socket = server.openRaw("PUT", target, token, 10000, partial, this);
    const QByteArray part = "/api/v1/workspaces/w-design/meta?path=%2FKept%2Fpart.bin";
    QTRY_COMPARE(server.request("GET", part, {}, token).data()[u"uploadedSize"].toInt(), 3000);
    socket->abort();
    QTRY_VERIFY(!server.request("GET", part, {}, token).data()[u"uploading"].toBool());
    QCOMPARE(server.stop(), 0);

    QVERIFY2(server.start(), qPrintable(server.errorString())); // the seed is ignored now
    QCOMPARE(server.request("GET", "/api/v1/workspaces/w-design/files/" + file + "/content", {}, token).body, "kept");
    QCOMPARE(server.request("GET", part, {}, token).data()[u"uploadedSize"].toInt(), 3000);
    const QByteArray rest(7000, 'r');
    const auto resumed = server.upload(token, u"w-design"_s, u"/Kept/part.bin"_s, rest, 3000);
    QCOMPARE(resumed.data()[u"digest"].toString(),
             QString::fromLatin1(QCryptographicHash::hash(partial + rest, QCryptographicHash::Sha256).toHex()));
}

QTEST_GUILESS_MAIN(TestServerCommandLine)
#include "tst_servercommandline.moc"
