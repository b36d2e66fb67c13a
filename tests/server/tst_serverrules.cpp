// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The status of each kind of request (tokens, validation, the privilege
// each role holds, checks on the tree, in the documented order) and what
// the changes that pass them do to the tree.

#include <CloudServerFixture.h>

#include <QFile>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {
const QByteArray D = "/api/v1/workspaces/w-design";
const QByteArray P = "/api/v1/workspaces/w-projects";

QByteArray meta(const char* path)
{
    return D + "/meta?path=" + QUrl::toPercentEncoding(QString::fromUtf8(path));
}

QByteArray folder(const QByteArray& name, const QByteArray& parent = "f-empty")
{
    return R"({"parentId":")" + parent + R"(","name":")" + name + "\"}";
}

QByteArray copyTo(const QByteArray& target, bool move)
{
    return R"({"targetFolderId":")" + target + R"(","move":)" + (move ? "true}" : "false}");
}

QByteArray share(const QByteArray& fileIds, const QByteArray& expireTime = "0")
{
    return R"({"fileIds":[)" + fileIds + R"(],"encrypt":false,"expireTime":)" + expireTime
            + R"(,"preview":true,"download":true})";
}

// `who`: an account whose token is sent, "" for no Authorization header,
// or the header's whole value.
void row(const char* name, const char* who, const char* method, const QByteArray& target, const QByteArray& body,
         int status)
{
    QTest::newRow(name) << QByteArray(who) << QByteArray(method) << target << body << status;
}

// Members of w-projects on either side of each threshold, and an ADMIN of
// value 0: a privileged request for an unknown file is a 404, not a 403.
struct Edge {
    const char* account;
    const char* role;
    int value;
    const char* method;
    QByteArray target;
    QByteArray body;
    int status;
};
const QList<Edge> Edges{ { "v7", "MEMBER", 7, "GET", P + "/children?id=f-none", {}, 404 },
                         { "d46", "MEMBER", 46, "GET", P + "/files/f-none/content", {}, 403 },
                         { "d47", "MEMBER", 47, "GET", P + "/files/f-none/content", {}, 404 },
                         { "c45358", "MEMBER", 45358, "POST", P + "/folders", folder("x", "f-none"), 403 },
                         { "c45359", "MEMBER", 45359, "POST", P + "/folders", folder("x", "f-none"), 404 },
                         { "u48942", "MEMBER", 48942, "PUT", P + "/files/f-none/name", R"({"name":"x"})", 403 },
                         { "x1425198", "MEMBER", 1425198, "DELETE", P + "/files/f-none", {}, 403 },
                         { "x1425199", "MEMBER", 1425199, "DELETE", P + "/files/f-none", {}, 404 },
                         { "admin", "ADMIN", 0, "DELETE", P + "/files/f-none", {}, 404 } };

} // namespace

class TestServerRules : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void statusOfEachRequest_data();
    void statusOfEachRequest();
    void tokensExpire();
    void subtreesAreCopiedAndDeletedWhole();
    void shareLinkPasswordsAndOwners();

private:
    CloudServerFixture::Reply as(const char* who, const QByteArray& method, const QByteArray& target,
                                 const QJsonObject& body = {});
    QString makeFolder(const QString& parentId, const QString& name);

    QTemporaryDir m_dir;
    std::unique_ptr<CloudServerFixture> m_cloud;
    QHash<QByteArray, QString> m_tokens;
};

void TestServerRules::initTestCase()
{
    // The sample seed plus carol, a member of w-projects below "view" (7).
    QFile sample(CloudServerFixture::defaultOptions().seedFile);
    QVERIFY(sample.open(QIODevice::ReadOnly));
    const QByteArray bob = R"({"userId": "u-bob", "role": "CREATOR"})";
    QByteArray members = R"(,{"userId":"u-carol","role":"MEMBER","maxPrivilegeValue":6})";
    QByteArray users = R"({"id":"u-carol","account":"carol","password":"c"},)";
    for (const Edge& e : Edges) {
        members += QStringLiteral(R"(,{"userId":"u-%1","role":"%2","maxPrivilegeValue":%3})")
                           .arg(QLatin1String(e.account), QLatin1String(e.role))
                           .arg(e.value)
                           .toUtf8();
        users += QStringLiteral(R"({"id":"u-%1","account":"%1","password":"p"},)")
                         .arg(QLatin1String(e.account))
                         .toUtf8();
    }
    const QByteArray seed
            = sample.readAll().replace(bob, bob + members).replace(R"("users": [)", R"("users": [)" + users);
    QFile file(m_dir.filePath(QStringLiteral("seed.json")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(seed) > 0);
    file.close();
    auto options = CloudServerFixture::defaultOptions();
    options.seedFile = file.fileName();
    m_cloud = std::make_unique<CloudServerFixture>(options);
    QVERIFY2(m_cloud->start(), qPrintable(m_cloud->errorString()));
    m_tokens = { { "alice", m_cloud->signIn() },
                 { "bob", m_cloud->signIn(QStringLiteral("bob"), QStringLiteral("bob-pass")) },
                 { "carol", m_cloud->signIn(QStringLiteral("carol"), QStringLiteral("c")) } };
    for (const Edge& e : Edges)
        m_tokens.insert(e.account, m_cloud->signIn(QLatin1String(e.account), QStringLiteral("p")));
    QVERIFY(!m_tokens.values().contains(QString()));
}

CloudServerFixture::Reply TestServerRules::as(const char* who, const QByteArray& method, const QByteArray& target,
                                              const QJsonObject& body)
{
    const QByteArray text = body.isEmpty() ? QByteArray() : QJsonDocument(body).toJson(QJsonDocument::Compact);
    return m_cloud->request(method, target, text, m_tokens.value(who));
}

QString TestServerRules::makeFolder(const QString& parentId, const QString& name)
{
    return as("alice", "POST", D + "/folders", { { "parentId", parentId }, { "name", name } }).json()[u"id"].toString();
}

void TestServerRules::statusOfEachRequest_data()
{
    QTest::addColumn<QByteArray>("who");
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");

    row("no token", "", "GET", "/api/v1/users/me", "", 401);
    row("basic credentials", "Basic YWxpY2U6YWxpY2UtcGFzcw==", "GET", D + "/children?id=", "", 401);
    row("unknown token", "Bearer at-00000000000000000000000000000000", "DELETE", D + "/files/f-readme", "", 401);
    row("unknown token, upload", "Bearer at-0", "PUT", D + "/upload?path=%2Fx&size=0&offset=0", "", 401);
    row("wrong password", "", "POST", "/api/v1/auth/login", R"({"account":"alice","password":"bob-pass"})", 401);
    row("body not an object", "", "POST", "/api/v1/auth/login", "[1]", 400);
    row("version list ignores a token", "Bearer x", "GET", "/downloads/versions.xml", "", 200);
    row("install report over 1 MiB", "", "POST", "/api/v1/install-info", QByteArray(1048577, ' ') + "{}", 400);
    row("unknown route", "alice", "PUT", "/api/v1/nothing", QByteArray(2 * 1048576, ' '), 404);
    row("fault without pathPrefix", "", "POST", "/admin/faults", R"({"status":500})", 400);
    row("fault status not a number", "", "POST", "/admin/faults", R"({"pathPrefix":"/","status":"500"})", 400);
    row("fault with negative delay", "", "POST", "/admin/faults", R"({"pathPrefix":"/","delayMs":-1})", 400);

    row("name empty", "alice", "POST", D + "/folders", folder(""), 400);
    row("name dot", "alice", "POST", D + "/folders", folder("."), 400);
    row("name with slash", "alice", "POST", D + "/folders", folder("a/b"), 400);
    row("name with backslash", "alice", "POST", D + "/folders", folder(R"(a\\b)"), 400);
    row("name with two dots inside", "alice", "POST", D + "/folders", folder("a..b"), 400);
    row("name with tab", "alice", "POST", D + "/folders", folder(R"(a\tb)"), 400);
    row("name of 256 bytes", "alice", "POST", D + "/folders", folder(QByteArray(256, 'n')), 400);
    row("name of 86 characters in 258 bytes", "alice", "POST", D + "/folders",
        folder(QByteArray(86, 'x').replace("x", "文")), 400);
    row("name of 255 bytes", "alice", "POST", D + "/folders", folder(QByteArray(255, 'n')), 200);
    row("name with punctuation", "alice", "POST", D + "/folders", folder("a.b %&+#=?;"), 200);
    row("path without leading slash", "alice", "GET", meta("Design/2019/plan.dwg"), "", 200);
    row("path with doubled slashes", "alice", "GET", meta("//Design//2019///plan.dwg/"), "", 200);
    row("path with backslashes", "alice", "GET", meta(R"(\Design\2019\plan.dwg)"), "", 200);
    row("path in another case", "alice", "GET", meta("/design/2019/plan.dwg"), "", 404);
    row("path with dot segment", "alice", "GET", meta("/Design/./2019"), "", 400);
    row("path through a file", "alice", "GET", meta("/readme.md/x"), "", 404);
    row("children of another workspace's folder", "alice", "GET", D + "/children?id=f-p-alpha", "", 404);

    row("upload body shorter than size", "alice", "PUT", D + "/upload?path=%2Fu&size=10&offset=0", "xxxxx", 400);
    row("upload offset past size", "alice", "PUT", D + "/upload?path=%2Fu&size=3&offset=4", "", 400);
    row("upload to the root", "alice", "PUT", D + "/upload?path=%2F&size=1&offset=0", "x", 400);
    row("upload over the quota", "alice", "PUT", D + "/upload?path=%2Fu&size=20000000000&offset=19999999999", "x", 400);
    row("upload onto a folder", "alice", "PUT", D + "/upload?path=%2FDesign&size=1&offset=0", "x", 409);
    row("upload through a file", "alice", "PUT", D + "/upload?path=%2Freadme.md%2Fx&size=1&offset=0", "x", 409);
    row("resume without an upload", "alice", "PUT", D + "/upload?path=%2Fnever&size=4&offset=2", "xx", 409);

    row("bob (47) lists", "bob", "GET", D + "/children?id=f-design", "", 200);
    row("bob (47) downloads", "bob", "GET", D + "/files/f-readme/content", "", 200);
    row("bob (47) shares", "bob", "POST", D + "/share-links", share(R"("f-readme")"), 200);
    row("bob (47) makes no folder", "bob", "POST", D + "/folders", folder("bobs"), 403);
    row("bob (47) uploads nothing", "bob", "PUT", D + "/upload?path=%2Fb&size=1&offset=0", "b", 403);
    row("bob (47) renames nothing", "bob", "PUT", D + "/files/f-readme/name", R"({"name":"x.md"})", 403);
    row("bob (47) deletes nothing", "bob", "DELETE", D + "/files/f-readme", "", 403);
    row("alice (48943) makes a folder", "alice", "POST", P + "/folders", folder("alices", ""), 200);
    row("alice (48943) uploads", "alice", "PUT", P + "/upload?path=%2FAlpha%2Fa.txt&size=1&offset=0", "a", 200);
    row("alice (48943) copies", "alice", "POST", P + "/files/f-p-alpha/copy", copyTo("", false), 409);
    row("alice (48943) renames", "alice", "PUT", P + "/files/f-p-alpha/name", R"({"name":"Beta"})", 200);
    row("alice (48943) moves nothing", "alice", "POST", P + "/files/f-p-notes/copy", copyTo("", true), 403);
    row("alice (48943) deletes nothing", "alice", "DELETE", P + "/files/f-p-notes", "", 403);
    row("carol (6) reads the quota", "carol", "GET", P + "/quota", "", 200);
    row("carol (6) lists nothing", "carol", "GET", P + "/children?id=", "", 403);
    row("carol is no member of w-design", "carol", "GET", D + "/quota", "", 403);
    row("carol asks the path of a w-design file", "carol", "GET", "/api/v1/files/path?id=f-plan", "", 403);
    row("unknown workspace before membership", "carol", "GET", "/api/v1/workspaces/w-none/quota", "", 404);
    for (const Edge& e : Edges)
        row(e.account, e.account, e.method, e.target, e.body, e.status);

    row("folder name taken", "alice", "POST", D + "/folders", folder("overview.txt", "f-design"), 409);
    row("folder in a file", "alice", "POST", D + "/folders", folder("x", "f-readme"), 400);
    row("folder parent not a string", "alice", "POST", D + "/folders", R"({"parentId":7,"name":"x"})", 400);
    row("rename the root", "alice", "PUT", D + "/files/w-design-root/name", R"({"name":"x"})", 400);
    row("rename to a sibling's name", "alice", "PUT", D + "/files/f-overview/name", R"({"name":"2019"})", 409);
    row("move into its own subtree", "alice", "POST", D + "/files/f-design/copy", copyTo("f-2019", true), 400);
    row("copy into itself", "alice", "POST", D + "/files/f-design/copy", copyTo("f-design", false), 400);
    row("move to where it is", "alice", "POST", D + "/files/f-overview/copy", copyTo("f-design", true), 409);
    row("delete the root", "alice", "DELETE", D + "/files/w-design-root", "", 400);
    row("share nothing", "alice", "POST", D + "/share-links", share(""), 400);
    row("share until the past", "alice", "POST", D + "/share-links", share(R"("f-plan")", "1000"), 400);
    row("favourite an unknown file", "alice", "POST", D + "/favorites", R"({"fileIds":["f-plan","f-none"]})", 404);
    row("unfavourite nothing", "alice", "DELETE", D + "/favorites?fileIds=", "", 400);
    row("attribute with empty key", "alice", "POST", D + "/attributes", R"({"id":"","attributes":{"":"x"}})", 400);
    row("attributes by id and path", "alice", "POST", D + "/attributes", R"({"id":"","path":"/","attributes":{}})",
        400);
}

void TestServerRules::statusOfEachRequest()
{
    QFETCH(QByteArray, who);
    QFETCH(QByteArray, method);
    QFETCH(QByteArray, target);
    QFETCH(QByteArray, body);
    QFETCH(int, status);
    CloudServerFixture::Headers headers;
    if (!who.isEmpty() && !m_tokens.contains(who))
        headers.append({ "Authorization", who });
    QSignalSpy askedForCredentials(&m_cloud->manager(), &QNetworkAccessManager::authenticationRequired);

    const auto reply = m_cloud->request(method, target, body, m_tokens.value(who), "application/json", headers);
    QCOMPARE(reply.status, status);
    if (status >= 400)
        QCOMPARE(reply.json().value(u"code").toInt(), status);
    // Short headers: Qt reads them one byte per system call.
    if (!reply.json().isEmpty())
        QCOMPARE(reply.header("Content-Type"), "application/json");
    QVERIFY(reply.header("Keep-Alive").isEmpty());
    if (status == 401) { // the scheme is named, yet nothing asks for credentials
        QVERIFY(reply.header("WWW-Authenticate").startsWith("Bearer realm="));
        QCOMPARE(reply.error, QNetworkReply::AuthenticationRequiredError);
        QCOMPARE(askedForCredentials.count(), 0);
    }
}

void TestServerRules::tokensExpire()
{
    auto options = CloudServerFixture::defaultOptions();
    options.extraArguments = QStringList{ QStringLiteral("--token-ttl"), QStringLiteral("1") };
    CloudServerFixture shortLived(options);
    QVERIFY2(shortLived.start(), qPrintable(shortLived.errorString()));
    const QString token = shortLived.signIn();
    QCOMPARE(shortLived.request("GET", "/api/v1/users/me", {}, token).status, 200);
    QTRY_COMPARE_WITH_TIMEOUT(shortLived.request("GET", "/api/v1/users/me", {}, token).status, 401, 10000);
}

void TestServerRules::subtreesAreCopiedAndDeletedWhole()
{
    QCOMPARE(as("alice", "GET", D + "/favorites").items(), QJsonArray()); // none from the refused request above
    const QString target = makeFolder(QString(), QStringLiteral("Target"));
    const QJsonObject request{ { "targetFolderId", target }, { "move", false } };
    const auto copied = as("alice", "POST", D + "/files/f-2019/copy", request).data()[u"success"][0][u"id"].toString();
    const QJsonObject plan = as("alice", "GET", D + "/children?id=" + copied.toUtf8()).items().at(0).toObject();
    const QByteArray planId = plan[u"id"].toString().toUtf8();
    QVERIFY(copied != u"f-2019" && planId != "f-plan" && plan[u"revision"] == 1);
    QCOMPARE(as("alice", "GET", D + "/attributes?id=" + planId).json()[u"data"].toArray().size(), 2);
    QCOMPARE(as("alice", "POST", D + "/favorites", { { "fileIds", QJsonArray{ plan[u"id"] } } }).status, 200);
    QCOMPARE(as("alice", "DELETE", D + "/files/" + target.toUtf8()).json()[u"successItems"], QJsonArray{ target });
    QCOMPARE(as("alice", "GET", D + "/meta?id=" + planId).status, 404);
    QCOMPARE(as("alice", "GET", D + "/favorites").items(), QJsonArray());
}

void TestServerRules::shareLinkPasswordsAndOwners()
{
    const QByteArray route = P + "/share-links"; // bob is its CREATOR, alice a MEMBER
    QJsonObject settings{ { "expireTime", 0 }, { "encrypt", true }, { "preview", true }, { "download", false } };
    QJsonObject create = settings;
    create.insert(u"fileIds", QJsonArray{ "f-p-notes" });
    const QJsonObject alices = as("alice", "POST", route, create).data();
    const QJsonObject bobs = as("bob", "POST", route, create).data();
    const QByteArray alicesLink = route + "/" + alices[u"id"].toString().toUtf8();
    const QString password = alices[u"password"].toString();
    QCOMPARE(password.size(), 4);
    QCOMPARE(as("alice", "PUT", alicesLink, settings).data()[u"password"].toString(), password); // kept
    QCOMPARE(as("alice", "GET", route).items().size(), 1); // only the caller's own
    QCOMPARE(as("alice", "PUT", route + "/" + bobs[u"token"].toString().toUtf8(), settings).status, 403);
    QCOMPARE(as("bob", "PUT", alicesLink, settings).status, 200); // the CREATOR may
    const QByteArray both = "?ids=" + alices[u"id"].toString().toUtf8() + "%2C" + bobs[u"id"].toString().toUtf8();
    QCOMPARE(as("alice", "DELETE", route + both).status, 403);
    QCOMPARE(as("alice", "GET", route).items().size(), 1); // nothing removed
    QCOMPARE(as("bob", "DELETE", route + both).status, 200);
    QCOMPARE(as("bob", "GET", route).items().size() + as("alice", "GET", route).items().size(), 0);
}

QTEST_GUILESS_MAIN(TestServerRules)
#include "tst_serverrules.moc"
