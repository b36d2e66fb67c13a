// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <HandlerHarness.h>

#include <ZYRController/BGetFilePrivilegeHandler.h>
#include <ZYRController/BQueryFileMetaHandler.h>
#include <ZYRController/ISyncWorker.h>

#include <QTest>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRTest;
using Trelan::Oku::ZYRModel::MFile;
using FilePtr = QSharedPointer<MFile>;

namespace {

const QString AppData = QString::fromUtf8("应用数据");
const QStringList Success{ QStringLiteral("success") };
const QStringList Failure{ QStringLiteral("failure") };
const QStringList None;
const QStringList Blank{ QString() };

ISyncWorker* notifierOf(BReplyHandlerBase* handler)
{
    if (auto* meta = qobject_cast<BQueryFileMetaHandler*>(handler))
        return meta->notifier();
    return qobject_cast<BGetFilePrivilegeHandler*>(handler)->notifier();
}

/// An owner that may end the handler's wait, as owners that wait do.
class EndingOwner : public TestOwner {
public:
    void onRequestFinished(BReplyHandlerBase* handler) override
    {
        TestOwner::onRequestFinished(handler);
        if (auto* meta = qobject_cast<BQueryFileMetaHandler*>(handler); meta && endIt)
            meta->notifyEnded();
        if (auto* privileges = qobject_cast<BGetFilePrivilegeHandler*>(handler); privileges && endIt)
            privileges->notifyEnded();
        endedInCallback = int(ended->count());
    }

    bool endIt = false;
    QSignalSpy* ended = nullptr;
    int endedInCallback = -1;
};

void addRow(const char* name, const QByteArray& kind, const QByteArray& body, const QStringList& results)
{
    QTest::newRow(name) << kind << body << results;
}

} // namespace

class TestReplyHandlers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void answerShapes_data();
    void answerShapes();
    void batchSuccess_data();
    void batchSuccess();
    void successKey_data();
    void successKey();
    void paths_data();
    void paths();
    void privileges_data();
    void privileges();
    void waitEndsExactlyOnce_data();
    void waitEndsExactlyOnce();

private:
    void addColumns();
    void checkAnswer();
    HandlerHarness m_harness;
};

void TestReplyHandlers::initTestCase()
{
    QVERIFY(m_harness.start());
}

void TestReplyHandlers::answerShapes_data()
{
    addColumns();
    // Records read from the root object, never from an envelope.
    addRow("login: token", "BLoginHandler", R"({"accessToken":"a1"})", { QStringLiteral("a1") });
    addRow("login: {} gives a blank token", "BLoginHandler", "{}", Blank);
    addRow("login: envelope not unpacked", "BLoginHandler", R"({"code":0,"data":{"accessToken":"a2"}})", Blank);
    addRow("login: array", "BLoginHandler", "[]", None);
    addRow("user", "BQueryUserInfoHandler", R"({"id":"u1","displayName":"Alice"})", { QStringLiteral("u1") });
    addRow("user: not JSON", "BQueryUserInfoHandler", "u1", None);
    addRow("quota", "BQueryWorkspaceQuotaHandler", R"({"workspaceId":"w1","usedSize":10,"totalSize":100})",
           { QStringLiteral("w1 10/100") });
    addRow("viewcode", "BQueryViewcodeHandler", R"({"viewcode":"v1","viewURL":"https://v/1"})",
           { QStringLiteral("v1 https://v/1") });
    addRow("viewcode: array", "BQueryViewcodeHandler", R"([{"viewcode":"v1"}])", None);
    addRow("workspaces in answer order", "BQueryAllWorkspaceHandler",
           R"({"items":[{"id":"w2","name":"B"},{"id":"w1","name":"A"}]})",
           { QStringLiteral("w2 B"), QStringLiteral("w1 A") });

    // Raw bodies, as sent.
    const QByteArray image("\x89PNG\r\n\x1a\n\0\x01", 10);
    addRow("avatar bytes", "BQueryUserAvatarHandler", image, { QString::fromLatin1(image) });
    addRow("avatar: zero bytes", "BQueryUserAvatarHandler", QByteArray(), Blank);
    addRow("logo bytes", "BQueryWorkspaceLogoHandler", image, { QString::fromLatin1(image) });
    const QByteArray large(300000, 'x');
    addRow("thumbnail arriving in pieces", "BQueryFileThumbnailHandler", large, { QString::fromLatin1(large) });
    addRow("login token keeps JSON quotes", "BQueryTargetLoginTokenHandler", R"("t1")", { QStringLiteral("\"t1\"") });
    addRow("login token is UTF-8", "BQueryTargetLoginTokenHandler", "t\xc3\xb6k", { QString::fromUtf8("tök") });

    // Lists: children take the request's workspace, found ones do not.
    const QByteArray two(R"([{"id":"1","name":"a"},{"id":"2","name":"B","workspaceId":"w9"}])");
    addRow("children", "BQueryChildrenHandler", R"({"items":)" + two + "}",
           { QStringLiteral("a@w1"), QStringLiteral("B@w1") });
    addRow("children: items an object", "BQueryChildrenHandler", R"({"items":{"id":"1","name":"a"}})", None);
    addRow("children by info", "BQueryChildrenByInfoHandler", R"({"data":{"items":)" + two + "}}",
           { QStringLiteral("a@"), QStringLiteral("B@w9") });
    addRow("children by info: items at the root", "BQueryChildrenByInfoHandler", R"({"items":)" + two + "}", None);
    addRow("favorites", "BQueryFavoriteFilesHandler", R"({"items":)" + two + "}",
           { QStringLiteral("a@w1"), QStringLiteral("B@w1") });
    addRow("share links", "BQueryShareLinksHandler", R"({"items":[{"token":"t1"},{"token":"t2"}]})",
           { QStringLiteral("t1"), QStringLiteral("t2") });

    // One node: meta through the envelope, a new folder from the root, rename and links from "data".
    addRow("meta: bare object", "BQueryFileMetaHandler", R"({"id":"f1","name":"a"})", { QStringLiteral("f1 a") });
    addRow("meta: envelope", "BQueryFileMetaHandler", R"({"code":0,"data":{"id":"f2","name":"a"}})",
           { QStringLiteral("f2 a") });
    addRow("meta: envelope reporting an error", "BQueryFileMetaHandler", R"({"code":404,"data":{"id":"f2"}})", None);
    addRow("create folder", "BCreateFolderHandler", R"({"id":"d1","name":"New"})", { QStringLiteral("d1 New") });
    addRow("rename", "BRenameFileHandler", R"({"data":{"id":"f1","name":"b"}})", { QStringLiteral("f1 b") });
    addRow("rename: bare object", "BRenameFileHandler", R"({"id":"f1","name":"b"})", None);
    addRow("create link", "BCreateShareLinkHandler", R"({"data":{"token":"t1"}})", { QStringLiteral("t1") });
    addRow("create link: empty data", "BCreateShareLinkHandler", R"({"data":{}})", None);
    addRow("update link", "BUpdateShareLinkHandler", R"({"data":{"token":"t1"}})", { QStringLiteral("t1") });

    // Attributes: later keys win, empty keys go, empty values stay.
    addRow("attributes", "BQueryAttributesHandler",
           R"({"data":[{"key":"p","value":"1"},{"key":"p","value":"2"},{"key":"","value":"x"},{"key":"e","value":""}]})",
           { QStringLiteral("e="), QStringLiteral("p=2") });
    addRow("attributes: missing parts", "BQueryAttributesHandler",
           R"({"data":[{"value":"x"},{"key":"k"},{"key":"n","value":null},7]})", None);
    addRow("attributes: data an object", "BQueryAttributesHandler", R"({"data":{"key":"k","value":"v"}})", None);
}

void TestReplyHandlers::answerShapes()
{
    checkAnswer();
}

void TestReplyHandlers::batchSuccess_data()
{
    addColumns();
    // Batches: one deleted item is success; a copy reports its first node.
    addRow("delete: one deleted", "BDeleteFilesHandler", R"({"successItems":["f1"],"failedItems":["f2"]})", Success);
    addRow("delete: none deleted", "BDeleteFilesHandler", R"({"successItems":[],"failedItems":["f1"]})", Failure);
    addRow("delete: no successItems", "BDeleteFilesHandler", R"({"result":"success"})", Failure);
    addRow("copy: first of two", "BCopyFilesHandler", R"({"data":{"success":[{"id":"c1","name":"a"},{"id":"c2"}]}})",
           { QStringLiteral("c1 a"), QStringLiteral("files: c1") });
    addRow("copy: empty success", "BCopyFilesHandler", R"({"data":{"success":[],"failed":["f1"]}})", None);
    addRow("copy: success at the root", "BCopyFilesHandler", R"({"success":[{"id":"c1"}]})", None);
}

void TestReplyHandlers::batchSuccess()
{
    checkAnswer();
}

void TestReplyHandlers::successKey_data()
{
    addColumns();
    // "result" equal to "success" in any letter case for simple results,
    // "message" for attributes; favorites and link removal read no body at
    // all: the status alone tells.
    addRow("result", "BSimpleResultHandler", R"({"result":"success"})", Success);
    addRow("result: any letter case", "BSimpleResultHandler", R"({"result":"SuCCESS"})", Success);
    addRow("result: ok", "BSimpleResultHandler", R"({"result":"ok"})", Failure);
    addRow("result: message is not the key", "BSimpleResultHandler", R"({"message":"success"})", Failure);
    addRow("result: not an object", "BSimpleResultHandler", R"(["success"])", Failure);
    addRow("attributes: message", "BAddAttributesHandler", R"({"message":"SUCCESS"})", Success);
    addRow("attributes: message ok", "BAddAttributesHandler", R"({"message":"ok"})", Failure);
    addRow("attributes: result is not the key", "BAddAttributesHandler", R"({"result":"success"})", Failure);
    addRow("attributes: message not a string", "BAddAttributesHandler", R"({"message":1})", Failure);
    addRow("attributes by path: message", "BAddAttributesByPathHandler", R"({"message":"Success"})", Success);
    addRow("attributes by path: result", "BAddAttributesByPathHandler", R"({"result":"success"})", Failure);
    addRow("file result: result", "BFileSimpleResultHandler", R"({"result":"Success"})", Success);
    addRow("file result: message", "BFileSimpleResultHandler", R"({"message":"success"})", Failure);
    addRow("add favorites: any body", "BAddFavoriteFilesHandler", R"({"result":"failed"})", None);
    addRow("remove favorites: empty body", "BRemoveFavoriteFilesHandler", QByteArray(), None);
    addRow("remove links: any body", "BRemoveShareLinksHandler", "x", None);
}

void TestReplyHandlers::successKey()
{
    checkAnswer();
}

void TestReplyHandlers::paths_data()
{
    addColumns();
    // Paths: "/A/B" with path items, or four slash-joined chains.
    addRow("ancestors", "BGetFilePathHandler",
           R"({"data":{"parents":[{"fileId":"1","name":"/"},{"fileId":"7","name":"A"},{"fileId":"9","name":"B"}]}})",
           { QStringLiteral("/A/B"), QStringLiteral("7=A"), QStringLiteral("9=B") });
    addRow("ancestors: numeric ids", "BGetFilePathHandler", R"({"data":{"parents":[{"fileId":7,"name":"A"}]}})",
           { QStringLiteral("/A"), QStringLiteral("7=A") });
    addRow("ancestors: incomplete skipped", "BGetFilePathHandler",
           R"({"data":{"parents":[{},{"fileId":"7"},{"name":"X"},{"fileId":"","name":"Y"},{"fileId":"9","name":"B"}]}})",
           { QStringLiteral("/B"), QStringLiteral("9=B") });
    addRow("ancestors: not in data", "BGetFilePathHandler", R"({"parents":[{"fileId":"7","name":"A"}]})", Blank);
    addRow("path", "BQueryFilePathHandler",
           R"({"path":[{"id":"1","name":"/"},{"id":"7","name":"A"},{"id":"9","name":"B"}]})",
           { QStringLiteral("7/9"), QStringLiteral("A/B"), QStringLiteral("7"), QStringLiteral("A") });
    addRow("path: root last keeps the parents full", "BQueryFilePathHandler",
           R"({"path":[{"id":"7","name":"A"},{"id":"9","name":"B"},{"id":"1","name":"/"}]})",
           { QStringLiteral("7/9"), QStringLiteral("A/B"), QStringLiteral("7/9"), QStringLiteral("A/B") });
    addRow("path: one element", "BQueryFilePathHandler", R"({"path":[{"id":"7","name":"A"}]})",
           { QStringLiteral("7"), QStringLiteral("A"), QString(), QString() });
    addRow("path: in data", "BQueryFilePathHandler", R"({"data":{"path":[{"id":"7","name":"A"}]}})",
           QStringList(4, QString()));
}

void TestReplyHandlers::paths()
{
    checkAnswer();
}

void TestReplyHandlers::addColumns()
{
    QTest::addColumn<QByteArray>("kind"); // handler class
    QTest::addColumn<QByteArray>("body"); // of a 200 answer
    QTest::addColumn<QStringList>("results"); // as parsedResults() reads them
}

/// Runs the row's handler against its answer, as its owner would see it.
void TestReplyHandlers::checkAnswer()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, body);
    QFETCH(QStringList, results);

    TestOwner owner;
    BReplyHandlerBase* handler = makeHandler(kind, owner.caller());
    QVERIFY(handler);
    QVERIFY(m_harness.run(handler, 200, body));
    QCOMPARE(owner.calls, 1);
    QCOMPARE(owner.results, results);
}

void TestReplyHandlers::privileges_data()
{
    QTest::addColumn<QString>("chain"); // the names from the parentless node down to the file; empty: the file is gone
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("privileges");

    const QStringList all = QStringLiteral("enter view download create update delete grant").split(u' ');
    const QString tree = QStringLiteral("/|Design|a.dwg");
    const auto entries = [](const QByteArray& list) { return R"({"authorityList":[)" + list + "]}"; };
    const auto member = [&](const QByteArray& value) {
        return entries(R"({"authorityId":"u1","role":"MEMBER","maxPrivilegeValue":)" + value + "}");
    };
    const QList<int> thresholds{ 1, 7, 47, 45359, 48943, 1425199, 5619503 };
    for (int i = 0; i < thresholds.size(); ++i) {
        const int t = thresholds.at(i);
        QTest::addRow("member %d", t - 1) << tree << member(QByteArray::number(t - 1)) << all.mid(0, i);
        QTest::addRow("member %d", t) << tree << member(QByteArray::number(t)) << all.mid(0, i + 1);
    }
    QTest::newRow("member: fraction truncated") << tree << member("45359.9") << all.mid(0, 4);
    QTest::newRow("member: beyond int range") << tree << member("1e20") << all;
    QTest::newRow("member: a string reads as 0") << tree << member(R"("45359")") << None;
    QTest::newRow("CREATOR") << tree << entries(R"({"authorityId":"u1","role":"CREATOR"})") << all;
    QTest::newRow("ADMIN") << tree << entries(R"({"authorityId":"u1","role":"ADMIN"})") << all;
    QTest::newRow("OWNER is no role") << tree << entries(R"({"authorityId":"u1","role":"OWNER"})") << None;
    QTest::newRow("roles are case-sensitive") << tree << entries(R"({"authorityId":"u1","role":"admin"})") << None;
    QTest::newRow("first matching entry") << tree
                                          << entries(R"({"authorityId":"u2","role":"ADMIN"},"x",{},)"
                                                     R"({"authorityId":"u1","role":"MEMBER","maxPrivilegeValue":7},)"
                                                     R"({"authorityId":"u1","role":"ADMIN"})")
                                          << all.mid(0, 2);

    // The application's data folder, right below the root, whatever the body says.
    const QStringList appData{ QStringLiteral("view"), QStringLiteral("download"), QStringLiteral("grant") };
    const QByteArray nothing = entries(R"({"authorityId":"u1","role":"OWNER"})");
    QTest::newRow("app data: body not read")
            << QStringLiteral("/|") + AppData + QStringLiteral("|x") << QByteArray("not JSON") << appData;
    QTest::newRow("app data: deeper") << QStringLiteral("/|") + AppData + QStringLiteral("|s|x") << nothing << appData;
    QTest::newRow("app data: the folder itself") << QStringLiteral("/|") + AppData << nothing << appData;
    QTest::newRow("app data: a parentless node") << AppData << nothing << appData;
    QTest::newRow("app data: not top-level")
            << QStringLiteral("/|D|") + AppData + QStringLiteral("|x") << nothing << None;

    const QStringList unset{ QStringLiteral("unset") };
    QTest::newRow("unset: not JSON") << tree << QByteArray("ADMIN") << unset;
    QTest::newRow("unset: node gone") << QString() << entries(R"({"authorityId":"u1","role":"ADMIN"})") << unset;
}

void TestReplyHandlers::privileges()
{
    QFETCH(QString, chain);
    QFETCH(QByteArray, body);
    QFETCH(QStringList, privileges);

    QList<FilePtr> nodes = makeChain((chain.isEmpty() ? QStringLiteral("/|x") : chain).split(u'|'));
    TestOwner owner;
    auto* handler = new BGetFilePrivilegeHandler(owner.caller(), QStringLiteral("u1"), nodes.last()->getParent(),
                                                 nodes.last());
    if (chain.isEmpty())
        nodes.clear(); // the tree went away while the request was in flight
    QVERIFY(m_harness.run(handler, 200, body));
    QCOMPARE(owner.results, privileges);
}

void TestReplyHandlers::waitEndsExactlyOnce_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<bool>("ownerEndsIt");
    QTest::addColumn<bool>("cancel");

    for (const char* kind : { "BQueryFileMetaHandler", "BGetFilePrivilegeHandler" }) {
        QTest::addRow("%s: owner ends it", kind) << QByteArray(kind) << true << false;
        QTest::addRow("%s: owner forgets", kind) << QByteArray(kind) << false << false;
        QTest::addRow("%s: cancelled", kind) << QByteArray(kind) << false << true;
    }
}

void TestReplyHandlers::waitEndsExactlyOnce()
{
    QFETCH(QByteArray, kind);
    QFETCH(bool, ownerEndsIt);
    QFETCH(bool, cancel);

    EndingOwner owner;
    owner.endIt = ownerEndsIt;
    BReplyHandlerBase* handler = makeHandler(kind, owner.caller());
    QSignalSpy ended(notifierOf(handler), &ISyncWorker::ended);
    owner.ended = &ended;
    QSignalSpy gone(handler, &QObject::destroyed);
    m_harness.send(handler, 200, "{}");
    if (cancel)
        handler->slotCancel();
    QTRY_COMPARE(gone.count(), 1);
    QCOMPARE(owner.endedInCallback, cancel ? -1 : int(ownerEndsIt));
    QCOMPARE(ended.count(), 1);
}

QTEST_GUILESS_MAIN(TestReplyHandlers)
#include "tst_replyhandlers.moc"
