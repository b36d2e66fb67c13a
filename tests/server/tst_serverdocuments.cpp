// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// Document queries and changes, favourites, share links and the privilege
// rules, against the sample seed.

#include "HttpClient.h"
#include "ServerProcess.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QString Design = "/api/v1/workspaces/w-design";
const QString Projects = "/api/v1/workspaces/w-projects";

QStringList names(const QJsonArray& items)
{
    QStringList result;
    for (const auto& item : items) {
        result << item.toObject().value("name").toString();
    }
    return result;
}
} // namespace

class TestServerDocuments : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void rootListing();
    void folderListing();
    void childrenErrors_data();
    void childrenErrors();
    void pathForms_data();
    void pathForms();
    void metadataById();
    void parentChains();
    void privilegeList();
    void thumbnailsAndViewCodes();
    void attributeQueries();
    void attributeChanges();
    void createFolder();
    void invalidNames_data();
    void invalidNames();
    void renameRules();
    void copyAndMove();
    void deleteSubtree();
    void favourites();
    void shareLinks();
    void shareLinkOwnership();
    void privilegeThresholds_data();
    void privilegeThresholds();

private:
    HttpClient& as(const QString& account);

    QTemporaryDir m_dir;
    ServerProcess m_server;
    std::unique_ptr<HttpClient> m_alice;
    std::unique_ptr<HttpClient> m_bob;
};

void TestServerDocuments::initTestCase()
{
    QVERIFY(m_server.start(m_dir.filePath("data"), ServerProcess::sampleSeed()));
    m_alice = std::make_unique<HttpClient>(m_server.baseUrl());
    m_bob = std::make_unique<HttpClient>(m_server.baseUrl());
    QVERIFY(!m_alice->signIn("alice", "alice-pass").isEmpty());
    QVERIFY(!m_bob->signIn("bob", "bob-pass").isEmpty());
}

HttpClient& TestServerDocuments::as(const QString& account)
{
    return account == "bob" ? *m_bob : *m_alice;
}

void TestServerDocuments::rootListing()
{
    const HttpReply reply = m_alice->get(Design + "/children?id=");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.object().value("code").toInt(), 0);
    QCOMPARE(reply.object().value("message").toString(), QString("success"));
    QCOMPARE(names(reply.items()), (QStringList{ "Design", "Empty", "应用数据", "big.bin", "readme.md" }));
    QCOMPARE(reply.data().value("items").toArray(), reply.items());
    const QJsonObject root = reply.data().value("folder").toObject();
    QCOMPARE(root.value("id").toString(), QString("w-design-root"));
    QCOMPARE(root.value("name").toString(), QString("/"));
    QCOMPARE(root.value("parentId").toString(), QString());
    QCOMPARE(root.value("path").toString(), QString("/"));
    QCOMPARE(m_alice->get(Design + "/children?path=").items(), reply.items());
    QCOMPARE(m_alice->get(Design + "/children?path=%2F").items(), reply.items());
}

void TestServerDocuments::folderListing()
{
    const HttpReply design = m_alice->get(Design + "/children?path=" + HttpClient::q("/Design"));
    const QJsonArray items = design.items();
    QCOMPARE(names(items), (QStringList{ "2019", "overview.txt" }));
    QJsonObject overview = items.at(1).toObject();
    QVERIFY(overview.value("createTime").toInteger() > 0);
    overview.remove("createTime");
    overview.remove("updateTime");
    QCOMPARE(overview,
             (QJsonObject{ { "id", "f-overview" },
                           { "name", "overview.txt" },
                           { "workspaceId", "w-design" },
                           { "parentId", "f-design" },
                           { "isFolder", false },
                           { "size", 11 },
                           { "digest", "b94d27b9934d3e08a52e52d7da7dabfac484efe37a5380ee9088f7ace2efcde9" },
                           { "revision", 1 },
                           { "uploading", false },
                           { "uploadedSize", 11 },
                           { "path", "/Design/overview.txt" } }));
    const QJsonObject folder = items.at(0).toObject();
    QCOMPARE(folder.value("size").toInt(), 0);
    QCOMPARE(folder.value("digest").toString(), QString());
    QCOMPARE(folder.value("revision").toInt(), 0);
    QCOMPARE(design.data().value("folder").toObject().value("path").toString(), QString("/Design"));
    QCOMPARE(m_alice->get(Design + "/children?id=f-design").items(), items);

    const HttpReply empty = m_alice->get(Design + "/children?id=f-empty");
    QCOMPARE(empty.items(), QJsonArray());
    QCOMPARE(empty.data().value("items").toArray(), QJsonArray());
}

void TestServerDocuments::childrenErrors_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<int>("status");
    QTest::newRow("neither id nor path") << QString() << 400;
    QTest::newRow("both id and path") << "id=f-design&path=%2FDesign" << 400;
    QTest::newRow("key names a file") << "id=f-plan" << 400;
    QTest::newRow("unknown id") << "id=f-nothing" << 404;
    QTest::newRow("unknown path") << "path=%2FNothing" << 404;
    QTest::newRow("path through a file") << "path=%2Freadme.md%2Fx" << 404;
    QTest::newRow("dot-dot segment") << "path=%2FDesign%2F..%2FEmpty" << 400;
    QTest::newRow("id of another workspace") << "id=f-p-alpha" << 404;
}

void TestServerDocuments::childrenErrors()
{
    QFETCH(QString, query);
    QFETCH(int, status);
    const HttpReply reply = m_alice->get(Design + "/children?" + query);
    QCOMPARE(reply.status, status);
    QCOMPARE(reply.object().value("code").toInt(), status);
}

void TestServerDocuments::pathForms_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("status");
    QTest::newRow("normal form") << "/Design/2019/plan.dwg" << 200;
    QTest::newRow("no leading slash") << "Design/2019/plan.dwg" << 200;
    QTest::newRow("doubled slashes") << "//Design//2019///plan.dwg" << 200;
    QTest::newRow("backslashes") << "\\Design\\2019\\plan.dwg" << 200;
    QTest::newRow("trailing slash") << "/Design/2019/plan.dwg/" << 200;
    QTest::newRow("other case") << "/design/2019/plan.dwg" << 404;
    QTest::newRow("dot segment") << "/Design/./2019/plan.dwg" << 400;
    QTest::newRow("dot-dot segment") << "/Design/2019/../2019/plan.dwg" << 400;
    QTest::newRow("dot-dot inside a name") << "/Design/2019/plan..dwg" << 400;
    QTest::newRow("control character") << "/Design/2019/pl\nan.dwg" << 400;
}

void TestServerDocuments::pathForms()
{
    QFETCH(QString, path);
    QFETCH(int, status);
    const HttpReply reply = m_alice->get(Design + "/meta?path=" + HttpClient::q(path));
    QCOMPARE(reply.status, status);
    if (status == 200) {
        QCOMPARE(reply.data().value("id").toString(), QString("f-plan"));
        QCOMPARE(reply.data().value("path").toString(), QString("/Design/2019/plan.dwg"));
        QCOMPARE(reply.data().value("revision").toInt(), 3);
        QCOMPARE(reply.data().value("digest").toString(),
                 QString("9b1022b002f956256313f73b4d922d8ed5fa05bfd97bddc24b2b65e5bdb6191f"));
        QCOMPARE(reply.data().value("createTime").toInteger(), 1735689600000LL);
        QCOMPARE(reply.data().value("updateTime").toInteger(), 1735776000000LL);
    }
}

void TestServerDocuments::metadataById()
{
    const QJsonObject bare = m_alice->get(Design + "/meta?id=&withPath=false").data();
    QCOMPARE(bare.value("id").toString(), QString("w-design-root"));
    QVERIFY(!bare.contains("path"));
    QCOMPARE(bare.value("createTime").toInteger(), 1735689600000LL);
    QCOMPARE(m_alice->get(Design + "/meta?id=&withPath=true").data().value("path").toString(), QString("/"));
    QCOMPARE(m_alice->get(Design + "/meta?id=f-2019&withPath=1").data().value("path").toString(),
             QString("/Design/2019"));
    QCOMPARE(m_alice->get(Design + "/meta?id=f-2019&withPath=maybe").status, 400);
    QCOMPARE(m_alice->get(Design + "/meta?id=f-none&withPath=true").status, 404);
    QCOMPARE(m_alice->get(Design + "/meta?path=%2F").data().value("id").toString(), QString("w-design-root"));
}

void TestServerDocuments::parentChains()
{
    QCOMPARE(m_alice->get(Design + "/parents?id=f-2019").data().value("parents").toArray(),
             (QJsonArray{ QJsonObject{ { "fileId", "w-design-root" }, { "name", "/" } },
                          QJsonObject{ { "fileId", "f-design" }, { "name", "Design" } },
                          QJsonObject{ { "fileId", "f-2019" }, { "name", "2019" } } }));
    QCOMPARE(m_alice->get(Design + "/parents?id=").data().value("parents").toArray(),
             (QJsonArray{ QJsonObject{ { "fileId", "w-design-root" }, { "name", "/" } } }));
    QCOMPARE(m_alice->get("/api/v1/files/path?id=f-plan").object(),
             (QJsonObject{ { "path",
                             QJsonArray{ QJsonObject{ { "id", "w-design-root" }, { "name", "/" } },
                                         QJsonObject{ { "id", "f-design" }, { "name", "Design" } },
                                         QJsonObject{ { "id", "f-2019" }, { "name", "2019" } },
                                         QJsonObject{ { "id", "f-plan" }, { "name", "plan.dwg" } } } } }));
    QCOMPARE(m_alice->get("/api/v1/files/path?id=f-p-notes").object().value("path").toArray().size(), 3);
    QCOMPARE(m_alice->get("/api/v1/files/path?id=").status, 400);
    QCOMPARE(m_alice->get("/api/v1/files/path?id=f-none").status, 404);
    QCOMPARE(m_alice->get(Design + "/parents?id=f-none").status, 404);
}

void TestServerDocuments::privilegeList()
{
    const QJsonObject expected{
        { "authorityList",
          QJsonArray{
                  QJsonObject{ { "authorityId", "u-alice" }, { "role", "CREATOR" }, { "maxPrivilegeValue", 5619503 } },
                  QJsonObject{ { "authorityId", "u-bob" }, { "role", "MEMBER" }, { "maxPrivilegeValue", 47 } } } }
    };
    QCOMPARE(m_alice->get(Design + "/privileges?id=").object(), expected);
    QCOMPARE(m_bob->get(Design + "/privileges?id=f-plan").object(), expected);
    QCOMPARE(m_bob->get(Design + "/privileges?id=f-none").status, 404);
}

void TestServerDocuments::thumbnailsAndViewCodes()
{
    const HttpReply thumbnail = m_bob->get(Design + "/thumbnail?id=f-plan");
    QCOMPARE(thumbnail.status, 200);
    QCOMPARE(thumbnail.header("Content-Type"), QByteArray("image/png"));
    QVERIFY(thumbnail.body.startsWith("\x89PNG"));
    QCOMPARE(m_bob->get(Design + "/thumbnail?id=f-overview").status, 404);
    QCOMPARE(m_bob->get(Design + "/thumbnail?id=f-design").status, 404);

    const QJsonObject code = m_bob->get(Design + "/viewcode?id=f-plan").object();
    const QString viewcode = code.value("viewcode").toString();
    QVERIFY(QRegularExpression("^vc-[0-9a-f]{32}$").match(viewcode).hasMatch());
    QCOMPARE(code.value("viewURL").toString(),
             QString("http://127.0.0.1:%1/view/%2").arg(m_server.port()).arg(viewcode));
    QVERIFY(m_bob->get(Design + "/viewcode?id=f-plan").object().value("viewcode").toString() != viewcode);
    QCOMPARE(m_bob->get(Design + "/viewcode?id=f-design").status, 400);
}

void TestServerDocuments::attributeQueries()
{
    const QJsonArray all{ QJsonObject{ { "key", "author" }, { "value", "Alice" } },
                          QJsonObject{ { "key", "stage" }, { "value", "" } } };
    const HttpReply byId = m_bob->get(Design + "/attributes?id=f-plan");
    QCOMPARE(byId.object(), (QJsonObject{ { "code", 0 }, { "message", "success" }, { "data", all } }));
    QCOMPARE(m_bob->get(Design + "/attributes?path=" + HttpClient::q("Design/2019/plan.dwg"))
                     .object()
                     .value("data")
                     .toArray(),
             all);
    QCOMPARE(m_bob->get(Design + "/attributes?id=f-plan&attributeKey=stage").object().value("data").toArray(),
             QJsonArray{ all.at(1) });
    QCOMPARE(m_bob->get(Design + "/attributes?id=f-plan&attributeKey=colour").object().value("data").toArray(),
             QJsonArray());
    QCOMPARE(m_bob->get(Design + "/attributes?id=f-design").object().value("data").toArray(),
             (QJsonArray{ QJsonObject{ { "key", "owner" }, { "value", "alice" } } }));
    QCOMPARE(m_bob->get(Design + "/attributes?id=").object().value("data").toArray(), QJsonArray());
    QCOMPARE(m_bob->get(Design + "/attributes?id=f-none").status, 404);
}

void TestServerDocuments::attributeChanges()
{
    const QString route = Design + "/attributes";
    QCOMPARE(m_alice->postJson(route,
                               { { "id", "f-overview" }, { "attributes", QJsonObject{ { "b", "2" }, { "a", "1" } } } })
                     .object(),
             (QJsonObject{ { "code", 0 }, { "message", "success" } }));
    QCOMPARE(m_alice->postJson(route,
                               { { "path", "Design\\overview.txt" },
                                 { "attributes", QJsonObject{ { "a", "one" }, { "c", "" } } } })
                     .status,
             200);
    QCOMPARE(m_alice->get(Design + "/attributes?id=f-overview").object().value("data").toArray(),
             (QJsonArray{ QJsonObject{ { "key", "a" }, { "value", "one" } },
                          QJsonObject{ { "key", "b" }, { "value", "2" } },
                          QJsonObject{ { "key", "c" }, { "value", "" } } }));
    QCOMPARE(m_alice->postJson(route, { { "id", "f-overview" }, { "attributes", QJsonObject() } }).status, 200);
    QCOMPARE(m_alice->postJson(route, { { "id", "f-overview" }, { "attributes", QJsonObject{ { "", "x" } } } }).status,
             400);
    QCOMPARE(m_alice->postJson(route, { { "id", "f-overview" }, { "attributes", QJsonObject{ { "n", 5 } } } }).status,
             400);
    QCOMPARE(m_alice->postJson(route,
                               { { "id", "f-overview" },
                                 { "path", "/Design/overview.txt" },
                                 { "attributes", QJsonObject() } })
                     .status,
             400);
    QCOMPARE(m_alice->postJson(route, { { "attributes", QJsonObject() } }).status, 400);
    QCOMPARE(m_alice->postJson(route, { { "path", "/Design/none.txt" }, { "attributes", QJsonObject{ { "a", "b" } } } })
                     .status,
             404);
    QCOMPARE(m_bob->postJson(route, { { "id", "f-overview" }, { "attributes", QJsonObject{ { "a", "b" } } } }).status,
             403);
}

void TestServerDocuments::createFolder()
{
    const HttpReply created
            = m_alice->postJson(Design + "/folders", { { "parentId", "f-design" }, { "name", "Reviews" } });
    QCOMPARE(created.status, 200);
    const QJsonObject folder = created.object(); // bare: the root object is the folder
    QVERIFY(QRegularExpression("^f-\\d{6}$").match(folder.value("id").toString()).hasMatch());
    QCOMPARE(folder.value("name").toString(), QString("Reviews"));
    QCOMPARE(folder.value("parentId").toString(), QString("f-design"));
    QCOMPARE(folder.value("isFolder").toBool(), true);
    QCOMPARE(folder.value("path").toString(), QString("/Design/Reviews"));
    QVERIFY(qAbs(folder.value("createTime").toInteger() - QDateTime::currentMSecsSinceEpoch()) < 60000);

    QCOMPARE(m_alice->postJson(Design + "/folders", { { "parentId", "f-design" }, { "name", "Reviews" } }).status, 409);
    QCOMPARE(m_alice->postJson(Design + "/folders", { { "parentId", "f-design" }, { "name", "overview.txt" } }).status,
             409);
    QCOMPARE(m_alice->postJson(Design + "/folders", { { "parentId", "f-readme" }, { "name", "x" } }).status, 400);
    QCOMPARE(m_alice->postJson(Design + "/folders", { { "parentId", "f-none" }, { "name", "x" } }).status, 404);
    QCOMPARE(m_alice->postJson(Design + "/folders", { { "parentId", "" }, { "name", "Top" } })
                     .object()
                     .value("path")
                     .toString(),
             QString("/Top"));
    QCOMPARE(m_alice->postJson(Design + "/folders", { { "name", "NoParent" } }).status, 400);
    QCOMPARE(m_alice->postJson(Design + "/folders", { { "parentId", 7 }, { "name", "x" } }).status, 400);
}

void TestServerDocuments::invalidNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("status");
    QTest::newRow("empty") << QString() << 400;
    QTest::newRow("dot") << "." << 400;
    QTest::newRow("dot dot") << ".." << 400;
    QTest::newRow("slash") << "a/b" << 400;
    QTest::newRow("backslash") << "a\\b" << 400;
    QTest::newRow("two dots inside") << "a..b" << 400;
    QTest::newRow("tab") << "a\tb" << 400;
    QTest::newRow("NUL") << QString(QChar(0)) + "x" << 400;
    QTest::newRow("DEL") << QString(QChar(0x7f)) << 400;
    QTest::newRow("256 bytes") << QString(256, 'n') << 400;
    QTest::newRow("86 three-byte characters") << QString(86, QChar(0x6587)) << 400;
    QTest::newRow("255 bytes") << QString(255, 'n') << 200;
    QTest::newRow("85 three-byte characters") << QString(85, QChar(0x6587)) << 200;
    QTest::newRow("punctuation") << "a.b %&+#=?;" << 200;
    QTest::newRow("leading dot") << ".hidden" << 200;
    QTest::newRow("emoji") << QString::fromUtf8("\xF0\x9F\x93\x81 files") << 200;
}

void TestServerDocuments::invalidNames()
{
    QFETCH(QString, name);
    QFETCH(int, status);
    const HttpReply created = m_alice->postJson(Design + "/folders", { { "parentId", "f-empty" }, { "name", name } });
    QCOMPARE(created.status, status);
    if (status == 200) {
        QCOMPARE(created.object().value("name").toString(), name);
        const HttpReply byPath = m_alice->get(Design + "/meta?path=" + HttpClient::q("/Empty/" + name));
        QCOMPARE(byPath.data().value("id").toString(), created.object().value("id").toString());
        QCOMPARE(m_alice->del(Design + "/files/" + created.object().value("id").toString()).status, 200);
    }
}

void TestServerDocuments::renameRules()
{
    const QString id = m_alice->postJson(Design + "/folders", { { "parentId", "f-empty" }, { "name", "before" } })
                               .object()
                               .value("id")
                               .toString();
    m_alice->postJson(Design + "/folders", { { "parentId", "f-empty" }, { "name", "taken" } });
    const HttpReply renamed = m_alice->putJson(Design + "/files/" + id + "/name", { { "name", "after" } });
    QCOMPARE(renamed.status, 200);
    QCOMPARE(renamed.data().value("id").toString(), id);
    QCOMPARE(renamed.data().value("name").toString(), QString("after"));
    QCOMPARE(renamed.data().value("path").toString(), QString("/Empty/after"));
    QCOMPARE(m_alice->putJson(Design + "/files/" + id + "/name", { { "name", "after" } }).status, 200);
    QCOMPARE(m_alice->putJson(Design + "/files/" + id + "/name", { { "name", "taken" } }).status, 409);
    QCOMPARE(m_alice->putJson(Design + "/files/" + id + "/name", { { "name", "a/b" } }).status, 400);
    QCOMPARE(m_alice->putJson(Design + "/files/w-design-root/name", { { "name", "x" } }).status, 400);
    QCOMPARE(m_alice->putJson(Design + "/files/f-none/name", { { "name", "x" } }).status, 404);
    // The plan keeps its id and revision.
    const HttpReply plan = m_alice->putJson(Design + "/files/f-plan/name", { { "name", "plan-v3.dwg" } });
    QCOMPARE(plan.data().value("revision").toInt(), 3);
    QVERIFY(plan.data().value("updateTime").toInteger() > 1735776000000LL);
    QCOMPARE(m_alice->putJson(Design + "/files/f-plan/name", { { "name", "plan.dwg" } }).status, 200);
}

void TestServerDocuments::copyAndMove()
{
    const QString target = m_alice->postJson(Design + "/folders", { { "parentId", "" }, { "name", "Target" } })
                                   .object()
                                   .value("id")
                                   .toString();
    const HttpReply copy
            = m_alice->postJson(Design + "/files/f-overview/copy", { { "targetFolderId", target }, { "move", false } });
    QCOMPARE(copy.status, 200);
    const QJsonObject copied = copy.data().value("success").toArray().at(0).toObject();
    QCOMPARE(copy.data().value("failed").toArray(), QJsonArray());
    QVERIFY(copied.value("id").toString() != QString("f-overview"));
    QCOMPARE(copied.value("parentId").toString(), target);
    QCOMPARE(copied.value("revision").toInt(), 1);
    QCOMPARE(copied.value("digest").toString(),
             QString("b94d27b9934d3e08a52e52d7da7dabfac484efe37a5380ee9088f7ace2efcde9"));
    QCOMPARE(copied.value("path").toString(), QString("/Target/overview.txt"));
    QCOMPARE(m_alice->get(Design + "/files/" + copied.value("id").toString() + "/content").body,
             QByteArray("hello world"));

    // A folder copy is deep, with new ids, attributes copied.
    const QJsonObject folderCopy
            = m_alice->postJson(Design + "/files/f-2019/copy", { { "targetFolderId", target }, { "move", false } })
                      .data()
                      .value("success")
                      .toArray()
                      .at(0)
                      .toObject();
    const QJsonArray inside = m_alice->get(Design + "/children?id=" + folderCopy.value("id").toString()).items();
    QCOMPARE(names(inside), QStringList{ "plan.dwg" });
    const QString planCopy = inside.at(0).toObject().value("id").toString();
    QVERIFY(planCopy != QString("f-plan"));
    QCOMPARE(inside.at(0).toObject().value("revision").toInt(), 1);
    QCOMPARE(m_alice->get(Design + "/attributes?id=" + planCopy).object().value("data").toArray().size(), 2);

    QCOMPARE(m_alice->postJson(Design + "/files/f-overview/copy", { { "targetFolderId", target }, { "move", false } })
                     .status,
             409);
    QCOMPARE(
            m_alice->postJson(Design + "/files/f-overview/copy", { { "targetFolderId", "f-design" }, { "move", true } })
                    .status,
            409);
    QCOMPARE(m_alice->postJson(Design + "/files/f-design/copy", { { "targetFolderId", "f-2019" }, { "move", true } })
                     .status,
             400);
    QCOMPARE(m_alice->postJson(Design + "/files/f-design/copy", { { "targetFolderId", "f-design" }, { "move", false } })
                     .status,
             400);
    QCOMPARE(m_alice->postJson(Design + "/files/f-overview/copy",
                               { { "targetFolderId", "f-readme" }, { "move", false } })
                     .status,
             400);
    QCOMPARE(
            m_alice->postJson(Design + "/files/w-design-root/copy", { { "targetFolderId", target }, { "move", false } })
                    .status,
            400);
    QCOMPARE(m_alice->postJson(Design + "/files/f-overview/copy", { { "targetFolderId", "f-none" }, { "move", false } })
                     .status,
             404);
    QCOMPARE(m_alice->postJson(Design + "/files/f-overview/copy", { { "targetFolderId", target } }).status, 400);

    // A move keeps the id; the node leaves its old folder.
    const QString moving = m_alice->postJson(Design + "/folders", { { "parentId", "f-empty" }, { "name", "Moving" } })
                                   .object()
                                   .value("id")
                                   .toString();
    const HttpReply moved = m_alice->postJson(Design + "/files/" + moving + "/copy",
                                              { { "targetFolderId", target }, { "move", true } });
    const QJsonObject node = moved.data().value("success").toArray().at(0).toObject();
    QCOMPARE(node.value("id").toString(), moving);
    QCOMPARE(node.value("path").toString(), QString("/Target/Moving"));
    QVERIFY(!names(m_alice->get(Design + "/children?id=f-empty").items()).contains("Moving"));
}

void TestServerDocuments::deleteSubtree()
{
    const QString folder = m_alice->postJson(Design + "/folders", { { "parentId", "" }, { "name", "Doomed" } })
                                   .object()
                                   .value("id")
                                   .toString();
    const QString child = m_alice->postJson(Design + "/folders", { { "parentId", folder }, { "name", "Child" } })
                                  .object()
                                  .value("id")
                                  .toString();
    QCOMPARE(m_alice->postJson(Design + "/favorites", { { "fileIds", QJsonArray{ child } } }).status, 200);
    const HttpReply removed = m_alice->del(Design + "/files/" + folder);
    QCOMPARE(removed.object(),
             (QJsonObject{ { "successItems", QJsonArray{ folder } }, { "failedItems", QJsonArray() } }));
    QCOMPARE(m_alice->get(Design + "/meta?id=" + child).status, 404);
    QCOMPARE(m_alice->get(Design + "/meta?path=%2FDoomed%2FChild").status, 404);
    QVERIFY(!names(m_alice->get(Design + "/favorites").items()).contains("Child"));
    QCOMPARE(m_alice->del(Design + "/files/" + folder).status, 404);
    QCOMPARE(m_alice->del(Design + "/files/w-design-root").status, 400);
    QCOMPARE(m_alice->del(Design + "/files/").status, 400);
}

void TestServerDocuments::favourites()
{
    const QString route = Projects + "/favorites";
    QCOMPARE(m_bob->get(route).items(), QJsonArray());
    QCOMPARE(m_bob->postJson(route, { { "fileIds", QJsonArray{ "f-p-notes", "f-none" } } }).status, 404);
    QCOMPARE(m_bob->get(route).items(), QJsonArray()); // all or nothing
    QCOMPARE(m_bob->postJson(route, { { "fileIds", QJsonArray{ "f-p-notes" } } }).object(),
             (QJsonObject{ { "code", 0 }, { "message", "success" } }));
    QCOMPARE(m_bob->postJson(route, { { "fileIds", QJsonArray{ "f-p-alpha", "f-p-notes" } } }).status, 200);
    const QJsonArray items = m_bob->get(route).items();
    QCOMPARE(names(items), (QStringList{ "notes.txt", "Alpha" })); // oldest first, no duplicate
    QCOMPARE(items.at(0).toObject().value("path").toString(), QString("/Alpha/notes.txt"));
    QCOMPARE(m_alice->get(route).items(), QJsonArray()); // per user
    QCOMPARE(m_bob->postJson(route, { { "fileIds", QJsonArray() } }).status, 400);

    QCOMPARE(m_bob->del(route + "?fileIds=" + HttpClient::q("f-p-notes,f-unknown")).status, 200);
    QCOMPARE(names(m_bob->get(route).items()), QStringList{ "Alpha" });
    QCOMPARE(m_bob->del(route + "?fileIds=").status, 400);
}

void TestServerDocuments::shareLinks()
{
    const QString route = Design + "/share-links";
    const qint64 tomorrow = QDateTime::currentMSecsSinceEpoch() + 86400000LL;
    const HttpReply created = m_alice->postJson(route,
                                                { { "fileIds", QJsonArray{ "f-plan", "f-overview" } },
                                                  { "encrypt", true },
                                                  { "expireTime", tomorrow },
                                                  { "preview", true },
                                                  { "download", true } });
    QCOMPARE(created.status, 200);
    const QJsonObject link = created.data();
    const QString token = link.value("token").toString();
    QVERIFY(QRegularExpression("^sl-").match(link.value("id").toString()).hasMatch());
    QVERIFY(QRegularExpression("^[0-9a-f]{16}$").match(token).hasMatch());
    QCOMPARE(link.value("url").toString(), QString("http://127.0.0.1:%1/s/%2").arg(m_server.port()).arg(token));
    QCOMPARE(link.value("fileIds").toArray(), (QJsonArray{ "f-plan", "f-overview" }));
    QVERIFY(QRegularExpression("^[a-z0-9]{4}$").match(link.value("password").toString()).hasMatch());
    QCOMPARE(link.value("expireTime").toInteger(), tomorrow);
    QCOMPARE(link.value("privileges").toArray(), (QJsonArray{ "preview", "download" }));

    const QJsonObject plain = m_alice->postJson(route,
                                                { { "fileIds", QJsonArray{ "f-readme" } },
                                                  { "encrypt", false },
                                                  { "expireTime", 0 },
                                                  { "preview", false },
                                                  { "download", true } })
                                      .data();
    QCOMPARE(plain.value("password").toString(), QString());
    QCOMPARE(plain.value("privileges").toArray(), QJsonArray{ "download" });

    QCOMPARE(m_alice->postJson(route,
                               { { "fileIds", QJsonArray() },
                                 { "encrypt", false },
                                 { "expireTime", 0 },
                                 { "preview", true },
                                 { "download", true } })
                     .status,
             400);
    QCOMPARE(m_alice->postJson(route,
                               { { "fileIds", QJsonArray{ "f-plan" } },
                                 { "encrypt", false },
                                 { "expireTime", 1000 },
                                 { "preview", true },
                                 { "download", true } })
                     .status,
             400);
    QCOMPARE(m_alice->postJson(route,
                               { { "fileIds", QJsonArray{ "f-plan" } },
                                 { "encrypt", false },
                                 { "expireTime", -1 },
                                 { "preview", true },
                                 { "download", true } })
                     .status,
             400);
    QCOMPARE(m_alice->postJson(route,
                               { { "fileIds", QJsonArray{ "f-none" } },
                                 { "encrypt", false },
                                 { "expireTime", 0 },
                                 { "preview", true },
                                 { "download", true } })
                     .status,
             404);

    const QJsonArray mine = m_alice->get(route).items();
    QCOMPARE(mine.size(), 2);
    QCOMPARE(mine.at(0).toObject(), link);

    // Password: on -> on keeps it, -> off clears it, off -> on makes a new one.
    const QJsonObject kept
            = m_alice->putJson(route + "/" + token,
                               { { "expireTime", 0 }, { "encrypt", true }, { "preview", false }, { "download", true } })
                      .data();
    QCOMPARE(kept.value("password").toString(), link.value("password").toString());
    QCOMPARE(kept.value("expireTime").toInteger(), 0);
    QCOMPARE(kept.value("privileges").toArray(), QJsonArray{ "download" });
    QCOMPARE(kept.value("fileIds").toArray(), link.value("fileIds").toArray());
    const QJsonObject cleared
            = m_alice->putJson(
                             route + "/" + link.value("id").toString(),
                             { { "expireTime", 0 }, { "encrypt", false }, { "preview", false }, { "download", false } })
                      .data();
    QCOMPARE(cleared.value("password").toString(), QString());
    QCOMPARE(cleared.value("privileges").toArray(), QJsonArray());
    const QJsonObject renewed
            = m_alice->putJson(route + "/" + token,
                               { { "expireTime", 0 }, { "encrypt", true }, { "preview", true }, { "download", false } })
                      .data();
    QVERIFY(QRegularExpression("^[a-z0-9]{4}$").match(renewed.value("password").toString()).hasMatch());
    QCOMPARE(m_alice->putJson(route + "/sl-none",
                              { { "expireTime", 0 }, { "encrypt", true }, { "preview", true }, { "download", false } })
                     .status,
             404);
    QCOMPARE(m_alice->putJson(route + "/" + token,
                              { { "expireTime", 0 }, { "encrypt", "yes" }, { "preview", true }, { "download", false } })
                     .status,
             400);

    QCOMPARE(m_alice->del(route + "?ids=" + HttpClient::q(token + ",sl-unknown")).status, 200);
    QCOMPARE(m_alice->get(route).items().size(), 1);
    QCOMPARE(m_alice->del(route + "?ids=").status, 400);
}

void TestServerDocuments::shareLinkOwnership()
{
    const QString route = Projects + "/share-links";
    // bob is the CREATOR of w-projects; alice a MEMBER there.
    const QJsonObject alices = m_alice->postJson(route,
                                                 { { "fileIds", QJsonArray{ "f-p-notes" } },
                                                   { "encrypt", false },
                                                   { "expireTime", 0 },
                                                   { "preview", true },
                                                   { "download", true } })
                                       .data();
    const QJsonObject bobs = m_bob->postJson(route,
                                             { { "fileIds", QJsonArray{ "f-p-notes" } },
                                               { "encrypt", false },
                                               { "expireTime", 0 },
                                               { "preview", true },
                                               { "download", true } })
                                     .data();
    QCOMPARE(m_alice->get(route).items().size(), 1); // only the caller's links
    const QJsonObject change{ { "expireTime", 0 }, { "encrypt", false }, { "preview", false }, { "download", true } };
    QCOMPARE(m_alice->putJson(route + "/" + bobs.value("id").toString(), change).status, 403);
    QCOMPARE(m_bob->putJson(route + "/" + alices.value("id").toString(), change).status, 200); // the CREATOR may
    QCOMPARE(m_alice->del(route
                          + "?ids=" + HttpClient::q(alices.value("id").toString() + "," + bobs.value("id").toString()))
                     .status,
             403);
    QCOMPARE(m_alice->get(route).items().size(), 1); // nothing removed
    QCOMPARE(m_bob->del(route + "?ids=" + HttpClient::q(alices.value("id").toString())).status, 200);
    QCOMPARE(m_alice->get(route).items().size(), 0);
}

void TestServerDocuments::privilegeThresholds_data()
{
    QTest::addColumn<QString>("account");
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QString>("route");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    // bob in w-design holds 47: view and download, nothing more.
    QTest::newRow("bob lists") << "bob" << QByteArray("GET") << Design + "/children?id=f-design" << QByteArray() << 200;
    QTest::newRow("bob downloads") << "bob" << QByteArray("GET") << Design + "/files/f-readme/content" << QByteArray()
                                   << 200;
    QTest::newRow("bob creates a folder") << "bob" << QByteArray("POST") << Design + "/folders"
                                          << QByteArray(R"({"parentId":"","name":"bobs"})") << 403;
    QTest::newRow("bob uploads") << "bob" << QByteArray("PUT") << HttpClient::uploadTarget("w-design", "/bob.txt", 1, 0)
                                 << QByteArray("b") << 403;
    QTest::newRow("bob renames") << "bob" << QByteArray("PUT") << Design + "/files/f-readme/name"
                                 << QByteArray(R"({"name":"x.md"})") << 403;
    QTest::newRow("bob copies") << "bob" << QByteArray("POST") << Design + "/files/f-readme/copy"
                                << QByteArray(R"({"targetFolderId":"f-empty","move":false})") << 403;
    QTest::newRow("bob moves") << "bob" << QByteArray("POST") << Design + "/files/f-readme/copy"
                               << QByteArray(R"({"targetFolderId":"f-empty","move":true})") << 403;
    QTest::newRow("bob deletes") << "bob" << QByteArray("DELETE") << Design + "/files/f-readme" << QByteArray() << 403;
    QTest::newRow("bob sets attributes") << "bob" << QByteArray("POST") << Design + "/attributes"
                                         << QByteArray(R"({"id":"f-readme","attributes":{"a":"b"}})") << 403;
    QTest::newRow("bob shares")
            << "bob" << QByteArray("POST") << Design + "/share-links"
            << QByteArray(R"({"fileIds":["f-readme"],"encrypt":false,"expireTime":0,"preview":true,"download":true})")
            << 200;
    // alice in w-projects holds 48943: create and update, but not delete.
    QTest::newRow("alice creates a folder") << "alice" << QByteArray("POST") << Projects + "/folders"
                                            << QByteArray(R"({"parentId":"","name":"alices"})") << 200;
    QTest::newRow("alice uploads") << "alice" << QByteArray("PUT")
                                   << HttpClient::uploadTarget("w-projects", "/Alpha/a.txt", 1, 0) << QByteArray("a")
                                   << 200;
    QTest::newRow("alice renames") << "alice" << QByteArray("PUT") << Projects + "/files/f-p-notes/name"
                                   << QByteArray(R"({"name":"notes.md"})") << 200;
    QTest::newRow("alice copies") << "alice" << QByteArray("POST") << Projects + "/files/f-p-alpha/copy"
                                  << QByteArray(R"({"targetFolderId":"","move":false})") << 409;
    QTest::newRow("alice moves") << "alice" << QByteArray("POST") << Projects + "/files/f-p-notes/copy"
                                 << QByteArray(R"({"targetFolderId":"","move":true})") << 403;
    QTest::newRow("alice deletes") << "alice" << QByteArray("DELETE") << Projects + "/files/f-p-notes" << QByteArray()
                                   << 403;
}

void TestServerDocuments::privilegeThresholds()
{
    QFETCH(QString, account);
    QFETCH(QByteArray, method);
    QFETCH(QString, route);
    QFETCH(QByteArray, body);
    QFETCH(int, status);
    RawHeaders headers;
    if (method == "PUT" && route.contains("/upload?")) {
        headers.append(qMakePair(QByteArray("Content-Type"), QByteArray("application/octet-stream")));
    }
    const HttpReply reply = as(account).send(method, route, body, headers);
    QCOMPARE(reply.status, status);
}

QTEST_GUILESS_MAIN(TestServerDocuments)
#include "tst_serverdocuments.moc"
