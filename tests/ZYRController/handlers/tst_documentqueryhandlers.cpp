// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "HandlerHarness.h"

#include <ZYRController/BGetFilePathHandler.h>
#include <ZYRController/BGetFilePrivilegeHandler.h>
#include <ZYRController/BQueryAttributesHandler.h>
#include <ZYRController/BQueryChildrenByInfoHandler.h>
#include <ZYRController/BQueryChildrenHandler.h>
#include <ZYRController/BQueryFavoriteFilesHandler.h>
#include <ZYRController/BQueryFileMetaHandler.h>
#include <ZYRController/BQueryFilePathHandler.h>
#include <ZYRController/BQueryFileThumbnailHandler.h>
#include <ZYRController/BQueryViewcodeHandler.h>
#include <ZYRController/ISyncWorker.h>

#include <ZYRModel/MDocumentViewcode.h>
#include <ZYRModel/MFile.h>

#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRModel;
using namespace Trelan::Oku::ZYRTest;

using FilePtr = QSharedPointer<MFile>;
using AttributeMap = QMap<QString, QString>;

namespace {

QString appDataName()
{
    return QString::fromUtf8("应用数据");
}

FilePtr makeNode(const QString& name, const QString& id, bool isFolder = true)
{
    auto node = FilePtr::create();
    node->setFileName(name);
    node->setId(id);
    node->setIsFolder(isFolder);
    return node;
}

/// A chain below a root "/": names[0] is the top-level folder, the last
/// name the file. The returned list starts with the root, which owns the
/// rest (children hold their parents only weakly).
QList<FilePtr> makeChain(const QStringList& names)
{
    QList<FilePtr> nodes{ makeNode(QStringLiteral("/"), QStringLiteral("root")) };
    for (int i = 0; i < names.size(); ++i) {
        FilePtr node = makeNode(names.at(i), QStringLiteral("n%1").arg(i), i + 1 < names.size());
        MFile::setChildren({ node }, nodes.last());
        nodes.append(node);
    }
    return nodes;
}

QByteArray authorityList(const QByteArray& entries)
{
    return "{\"authorityList\":[" + entries + "]}";
}

QStringList names(const QList<FilePtr>& files)
{
    QStringList result;
    for (const FilePtr& file : files)
        result << file->getFileName();
    return result;
}

} // namespace

class TestDocumentQueryHandlers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void children_data();
    void children();
    void childrenKeepsTheCarriedFolder();
    void childrenByInfo_data();
    void childrenByInfo();
    void favorites_data();
    void favorites();
    void fileMeta_data();
    void fileMeta();
    void fileMetaNotifierEndsExactlyOnce_data();
    void fileMetaNotifierEndsExactlyOnce();
    void ancestorPath_data();
    void ancestorPath();
    void filePathById_data();
    void filePathById();
    void attributes_data();
    void attributes();
    void thumbnailKeepsRawBytes();
    void viewcode_data();
    void viewcode();
    void memberPrivilegeThresholds_data();
    void memberPrivilegeThresholds();
    void privilegeEntrySelection_data();
    void privilegeEntrySelection();
    void privilegesLeftUnset_data();
    void privilegesLeftUnset();
    void applicationDataFolder_data();
    void applicationDataFolder();
    void cancelledPrivilegeQueryStillEndsItsWait();
};

void TestDocumentQueryHandlers::children_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("two children") << 200
                                  << QByteArray(R"({"items":[{"id":"1","name":"a.dwg"},{"id":"2","name":"B",)"
                                                R"("isFolder":true,"workspaceId":"other"}]})")
                                  << QStringList{ QStringLiteral("a.dwg"), QStringLiteral("B") };
    QTest::newRow("items is an object") << 200 << QByteArray(R"({"items":{"id":"1","name":"a"}})") << QStringList();
    QTest::newRow("items missing") << 200 << QByteArray(R"({"total":0})") << QStringList();
    QTest::newRow("non-object elements skipped")
            << 200 << QByteArray(R"({"items":[3,{"id":"1","name":"a"}]})") << QStringList{ QStringLiteral("a") };
    QTest::newRow("not JSON") << 200 << QByteArray("items") << QStringList();
    QTest::newRow("500") << 500 << QByteArray(R"({"items":[{"id":"1","name":"a"}]})") << QStringList();
}

void TestDocumentQueryHandlers::children()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QStringList, expected);

    TestOwner owner;
    QList<FilePtr> children;
    auto* handler = new BQueryChildrenHandler(owner.caller(), QStringLiteral("w1"));
    QVERIFY(answer<BQueryChildrenHandler>(handler, owner, status, body,
                                          [&](BQueryChildrenHandler* h) { children = h->children(); }));
    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(names(children), expected);
    // Every child takes the request's workspace, even one that named another.
    for (const FilePtr& child : std::as_const(children))
        QCOMPARE(child->getWorkspaceId(), QStringLiteral("w1"));
}

void TestDocumentQueryHandlers::childrenKeepsTheCarriedFolder()
{
    TestOwner owner;
    FilePtr folder = makeNode(QStringLiteral("copy of A"), QStringLiteral("A"));
    QWeakPointer<MFile> watch = folder;
    FilePtr seen;
    auto* handler = new BQueryChildrenHandler(owner.caller(), QStringLiteral("w1"), folder);
    folder.reset(); // the transfer queue may drop its own reference
    QVERIFY(!watch.isNull());
    QVERIFY(answer<BQueryChildrenHandler>(handler, owner, 200, QByteArray(R"({"items":[]})"),
                                          [&](BQueryChildrenHandler* h) { seen = h->folder(); }));
    QVERIFY(seen);
    QCOMPARE(seen->getFileName(), QStringLiteral("copy of A"));
    seen.reset();
    QVERIFY(watch.isNull()); // released with the handler
}

void TestDocumentQueryHandlers::childrenByInfo_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("data items") << QByteArray(R"({"data":{"items":[{"id":"1","name":"a"},{"id":"2","name":"b"}]}})")
                                << QStringList{ QStringLiteral("a"), QStringLiteral("b") };
    QTest::newRow("items at the root") << QByteArray(R"({"items":[{"id":"1","name":"a"}]})") << QStringList();
    QTest::newRow("data items not an array") << QByteArray(R"({"data":{"items":{"id":"1"}}})") << QStringList();
    QTest::newRow("empty data") << QByteArray(R"({"data":{}})") << QStringList();
}

void TestDocumentQueryHandlers::childrenByInfo()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, expected);

    TestOwner owner;
    QList<FilePtr> children;
    QString key;
    bool byPath = false;
    QString workspaceId;
    auto* handler = new BQueryChildrenByInfoHandler(owner.caller(), QStringLiteral("w1"), QStringLiteral("/A/B"), true);
    QVERIFY(answer<BQueryChildrenByInfoHandler>(handler, owner, 200, body, [&](BQueryChildrenByInfoHandler* h) {
        children = h->children();
        key = h->key();
        byPath = h->isByPath();
        workspaceId = h->workspaceId();
    }));
    QCOMPARE(names(children), expected);
    QCOMPARE(key, QStringLiteral("/A/B"));
    QVERIFY(byPath);
    QCOMPARE(workspaceId, QStringLiteral("w1"));
    // No workspace id is put on the children here.
    for (const FilePtr& child : std::as_const(children))
        QVERIFY(child->getWorkspaceId().isEmpty());
}

void TestDocumentQueryHandlers::favorites_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("two favourites") << QByteArray(R"({"items":[{"id":"1","name":"a"},{"id":"2","name":"b"}]})")
                                    << QStringList{ QStringLiteral("a"), QStringLiteral("b") };
    QTest::newRow("empty array") << QByteArray(R"({"items":[]})") << QStringList();
    QTest::newRow("empty body") << QByteArray() << QStringList();
}

void TestDocumentQueryHandlers::favorites()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, expected);

    TestOwner owner;
    QList<FilePtr> files;
    auto* handler = new BQueryFavoriteFilesHandler(owner.caller(), QStringLiteral("w3"));
    QVERIFY(answer<BQueryFavoriteFilesHandler>(handler, owner, 200, body,
                                               [&](BQueryFavoriteFilesHandler* h) { files = h->files(); }));
    QCOMPARE(names(files), expected);
    for (const FilePtr& file : std::as_const(files))
        QCOMPARE(file->getWorkspaceId(), QStringLiteral("w3"));
}

void TestDocumentQueryHandlers::fileMeta_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expectedId"); // null: no file

    QTest::newRow("bare object") << 200 << QByteArray(R"({"id":"f1","name":"a.dwg","digest":"d"})")
                                 << QStringLiteral("f1");
    QTest::newRow("envelope") << 200 << QByteArray(R"({"code":0,"data":{"id":"f2","name":"a.dwg"}})")
                              << QStringLiteral("f2");
    QTest::newRow("envelope reporting an error") << 200 << QByteArray(R"({"code":404,"message":"gone"})") << QString();
    QTest::newRow("not JSON") << 200 << QByteArray("<html/>") << QString();
    QTest::newRow("404") << 404 << QByteArray(R"({"id":"f1"})") << QString();
}

void TestDocumentQueryHandlers::fileMeta()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QString, expectedId);

    TestOwner owner;
    FilePtr target = makeNode(QStringLiteral("a.dwg"), QStringLiteral("f1"), false);
    FilePtr meta;
    FilePtr seenTarget;
    QString queriedPath(QStringLiteral("unset"));
    auto* handler = new BQueryFileMetaHandler(owner.caller(), target);
    QVERIFY(answer<BQueryFileMetaHandler>(handler, owner, status, body, [&](BQueryFileMetaHandler* h) {
        meta = h->file();
        seenTarget = h->targetFile().toStrongRef();
        queriedPath = h->queriedPath();
    }));
    QCOMPARE(seenTarget, target);
    QVERIFY(queriedPath.isEmpty()); // a query by id
    QCOMPARE(bool(meta), !expectedId.isNull());
    if (meta)
        QCOMPARE(meta->getId(), expectedId);
}

void TestDocumentQueryHandlers::fileMetaNotifierEndsExactlyOnce_data()
{
    QTest::addColumn<bool>("ownerEndsIt");
    QTest::newRow("owner ends it") << true;
    QTest::newRow("owner forgets; destruction ends it") << false;
}

void TestDocumentQueryHandlers::fileMetaNotifierEndsExactlyOnce()
{
    QFETCH(bool, ownerEndsIt);

    TestOwner owner;
    int endedDuringCallback = -1;
    QString queriedPath;
    auto* handler = new BQueryFileMetaHandler(owner.caller(), QWeakPointer<MFile>(), QStringLiteral("/A/b.dwg"));
    QSignalSpy ended(handler->notifier(), &ISyncWorker::ended);
    QVERIFY(answer<BQueryFileMetaHandler>(handler, owner, 200, QByteArray(R"({"id":"f9"})"),
                                          [&](BQueryFileMetaHandler* h) {
                                              queriedPath = h->queriedPath();
                                              if (ownerEndsIt)
                                                  h->notifyEnded();
                                              endedDuringCallback = int(ended.count());
                                          }));
    QCOMPARE(queriedPath, QStringLiteral("/A/b.dwg"));
    QCOMPARE(endedDuringCallback, ownerEndsIt ? 1 : 0);
    QCOMPARE(ended.count(), 1);
}

void TestDocumentQueryHandlers::ancestorPath_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("namePath");
    QTest::addColumn<QStringList>("itemIds");
    QTest::addColumn<QStringList>("itemNames");

    QTest::newRow("/, A, B") << QByteArray(R"({"data":{"parents":[{"fileId":"1","name":"/"},)"
                                           R"({"fileId":"7","name":"A"},{"fileId":"9","name":"B"}]}})")
                             << QStringLiteral("/A/B") << QStringList{ QStringLiteral("7"), QStringLiteral("9") }
                             << QStringList{ QStringLiteral("A"), QStringLiteral("B") };
    QTest::newRow("numeric ids") << QByteArray(
            R"({"data":{"parents":[{"fileId":1,"name":"/"},{"fileId":7,"name":"A"}]}})")
                                 << QStringLiteral("/A") << QStringList{ QStringLiteral("7") }
                                 << QStringList{ QStringLiteral("A") };
    QTest::newRow("incomplete entries skipped")
            << QByteArray(R"({"data":{"parents":[{},{"fileId":"7"},{"name":"X"},{"fileId":"","name":"Y"},)"
                          R"({"fileId":"9","name":"B"}]}})")
            << QStringLiteral("/B") << QStringList{ QStringLiteral("9") } << QStringList{ QStringLiteral("B") };
    QTest::newRow("empty parents") << QByteArray(R"({"data":{"parents":[]}})") << QString() << QStringList()
                                   << QStringList();
    QTest::newRow("parents at the root") << QByteArray(R"({"parents":[{"fileId":"7","name":"A"}]})") << QString()
                                         << QStringList() << QStringList();
}

void TestDocumentQueryHandlers::ancestorPath()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, namePath);
    QFETCH(QStringList, itemIds);
    QFETCH(QStringList, itemNames);

    TestOwner owner;
    QString seenNamePath(QStringLiteral("unset"));
    QStringList ids;
    QStringList itemNamesSeen;
    auto* handler = new BGetFilePathHandler(owner.caller(), QStringLiteral("w1"), QStringLiteral("9"));
    QVERIFY(answer<BGetFilePathHandler>(handler, owner, 200, body, [&](BGetFilePathHandler* h) {
        seenNamePath = h->namePath();
        for (const MFilePath::Item& item : h->filePath().getPath()) {
            ids << item.id;
            itemNamesSeen << item.name;
        }
    }));
    QCOMPARE(seenNamePath, namePath);
    QCOMPARE(ids, itemIds);
    QCOMPARE(itemNamesSeen, itemNames);
}

void TestDocumentQueryHandlers::filePathById_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("idPath");
    QTest::addColumn<QString>("namePath");
    QTest::addColumn<QString>("parentIdPath");
    QTest::addColumn<QString>("parentNamePath");

    QTest::newRow("/, A, B") << QByteArray(R"({"path":[{"id":"1","name":"/"},{"id":"7","name":"A"},)"
                                           R"({"id":"9","name":"B"}]})")
                             << QStringLiteral("7/9") << QStringLiteral("A/B") << QStringLiteral("7")
                             << QStringLiteral("A");
    QTest::newRow("root last: parents equal the full chains")
            << QByteArray(R"({"path":[{"id":"7","name":"A"},{"id":"9","name":"B"},{"id":"1","name":"/"}]})")
            << QStringLiteral("7/9") << QStringLiteral("A/B") << QStringLiteral("7/9") << QStringLiteral("A/B");
    QTest::newRow("one element") << QByteArray(R"({"path":[{"id":"7","name":"A"}]})") << QStringLiteral("7")
                                 << QStringLiteral("A") << QString() << QString();
    QTest::newRow("non-object elements skipped")
            << QByteArray(R"({"path":[{"id":"7","name":"A"},"x",{"id":"9","name":"B"}]})") << QStringLiteral("7/9")
            << QStringLiteral("A/B") << QStringLiteral("7") << QStringLiteral("A");
    QTest::newRow("path not an array") << QByteArray(R"({"path":"/A/B"})") << QString() << QString() << QString()
                                       << QString();
    QTest::newRow("data envelope is not read") << QByteArray(R"({"data":{"path":[{"id":"7","name":"A"}]}})")
                                               << QString() << QString() << QString() << QString();
}

void TestDocumentQueryHandlers::filePathById()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, idPath);
    QFETCH(QString, namePath);
    QFETCH(QString, parentIdPath);
    QFETCH(QString, parentNamePath);

    TestOwner owner;
    QStringList seen;
    auto* handler = new BQueryFilePathHandler(owner.caller());
    QVERIFY(answer<BQueryFilePathHandler>(handler, owner, 200, body, [&](BQueryFilePathHandler* h) {
        seen << h->idPath() << h->namePath() << h->parentIdPath() << h->parentNamePath();
    }));
    QCOMPARE(seen, (QStringList{ idPath, namePath, parentIdPath, parentNamePath }));
}

void TestDocumentQueryHandlers::attributes_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<AttributeMap>("expected");

    QTest::newRow("pairs") << QByteArray(R"({"data":[{"key":"project","value":"P1"},{"key":"phase","value":"2"}]})")
                           << AttributeMap{ { QStringLiteral("project"), QStringLiteral("P1") },
                                            { QStringLiteral("phase"), QStringLiteral("2") } };
    QTest::newRow("later duplicate wins") << QByteArray(R"({"data":[{"key":"k","value":"1"},{"key":"k","value":"2"}]})")
                                          << AttributeMap{ { QStringLiteral("k"), QStringLiteral("2") } };
    QTest::newRow("empty key dropped, empty value kept")
            << QByteArray(R"({"data":[{"key":"","value":"x"},{"key":"k","value":""}]})")
            << AttributeMap{ { QStringLiteral("k"), QString() } };
    QTest::newRow("missing key or value dropped")
            << QByteArray(R"({"data":[{"value":"x"},{"key":"k"},{"key":"n","value":null},{},7]})") << AttributeMap();
    QTest::newRow("data is an object") << QByteArray(R"({"data":{"key":"k","value":"v"}})") << AttributeMap();
    QTest::newRow("no data") << QByteArray(R"([{"key":"k","value":"v"}])") << AttributeMap();
}

void TestDocumentQueryHandlers::attributes()
{
    QFETCH(QByteArray, body);
    QFETCH(AttributeMap, expected);

    TestOwner owner;
    FilePtr child = makeNode(QStringLiteral("a.dwg"), QStringLiteral("c1"), false);
    AttributeMap seen{ { QStringLiteral("unset"), QStringLiteral("unset") } };
    FilePtr seenChild;
    auto* handler = new BQueryAttributesHandler(owner.caller(), child);
    QVERIFY(answer<BQueryAttributesHandler>(handler, owner, 200, body, [&](BQueryAttributesHandler* h) {
        seen = h->attributes();
        seenChild = h->child().toStrongRef();
    }));
    QCOMPARE(seen, expected);
    QCOMPARE(seenChild, child);
    if (seen.contains(QStringLiteral("k")) && expected.value(QStringLiteral("k")).isEmpty())
        QVERIFY(seen.value(QStringLiteral("k")).isEmpty());
}

void TestDocumentQueryHandlers::thumbnailKeepsRawBytes()
{
    TestOwner owner;
    FilePtr file = makeNode(QStringLiteral("a.png"), QStringLiteral("f1"), false);
    const QByteArray bytes = QByteArray::fromHex("89504e470d0a1a0a") + QByteArray(3000, '\x01');
    QByteArray seen;
    FilePtr seenFile;
    auto* handler = new BQueryFileThumbnailHandler(owner.caller(), file);
    auto* reply = new ScriptedReply(200, bytes);
    reply->setChunkSize(1024); // arrives in pieces, read once at the end
    owner.inspect = [&](BReplyHandlerBase* base) {
        auto* h = qobject_cast<BQueryFileThumbnailHandler*>(base);
        seen = h->thumbnailData();
        seenFile = h->file().toStrongRef();
    };
    QVERIFY(runToCompletion(handler, reply));
    QCOMPARE(seen, bytes);
    QCOMPARE(seenFile, file);
}

void TestDocumentQueryHandlers::viewcode_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("release");
    QTest::addColumn<bool>("hasViewcode");

    const QByteArray good(R"({"viewcode":"vc1","viewURL":"https://view.example/vc1"})");
    QTest::newRow("taken") << good << true << true;
    QTest::newRow("left with the handler") << good << false << true;
    QTest::newRow("array") << QByteArray(R"([{"viewcode":"vc1"}])") << true << false;
}

void TestDocumentQueryHandlers::viewcode()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, release);
    QFETCH(bool, hasViewcode);

    TestOwner owner;
    FilePtr file = makeNode(QStringLiteral("a.dwg"), QStringLiteral("f1"), false);
    std::unique_ptr<MDocumentViewcode> taken;
    QString code;
    QString url;
    bool present = !hasViewcode;
    auto* handler = new BQueryViewcodeHandler(owner.caller(), QStringLiteral("w1"), file);
    QVERIFY(answer<BQueryViewcodeHandler>(handler, owner, 200, body, [&](BQueryViewcodeHandler* h) {
        QCOMPARE(h->workspaceId(), QStringLiteral("w1"));
        MDocumentViewcode* viewcode = h->takeViewcode(release);
        present = viewcode != nullptr;
        if (!viewcode)
            return;
        code = viewcode->getViewcode();
        url = viewcode->getViewURL();
        if (release)
            taken.reset(viewcode);
    }));
    QCOMPARE(present, hasViewcode);
    if (hasViewcode) {
        QCOMPARE(code, QStringLiteral("vc1"));
        QCOMPARE(url, QStringLiteral("https://view.example/vc1"));
    }
    if (taken)
        QCOMPARE(taken->getViewcode(), QStringLiteral("vc1")); // survives the handler
}

void TestDocumentQueryHandlers::memberPrivilegeThresholds_data()
{
    QTest::addColumn<QByteArray>("maxPrivilegeValue");
    QTest::addColumn<QStringList>("expected");

    const QStringList all{ QStringLiteral("enter"),  QStringLiteral("view"),   QStringLiteral("download"),
                           QStringLiteral("create"), QStringLiteral("update"), QStringLiteral("delete"),
                           QStringLiteral("grant") };
    QTest::newRow("-1") << QByteArray("-1") << QStringList();
    // Each threshold and the value just below it.
    const QList<qint64> thresholds{ 1, 7, 47, 45359, 48943, 1425199, 5619503 };
    for (int i = 0; i < thresholds.size(); ++i) {
        const qint64 t = thresholds.at(i);
        QTest::addRow("%lld", t - 1) << QByteArray::number(t - 1) << all.mid(0, i);
        QTest::addRow("%lld", t) << QByteArray::number(t) << all.mid(0, i + 1);
    }
    QTest::newRow("fraction truncated") << QByteArray("45359.9") << all.mid(0, 4);
    QTest::newRow("far above every threshold") << QByteArray("99999999") << all;
    QTest::newRow("beyond int range saturates") << QByteArray("1e20") << all;
    QTest::newRow("not a number reads as 0") << QByteArray("\"45359\"") << QStringList();
    QTest::newRow("missing reads as 0") << QByteArray() << QStringList();
}

void TestDocumentQueryHandlers::memberPrivilegeThresholds()
{
    QFETCH(QByteArray, maxPrivilegeValue);
    QFETCH(QStringList, expected);

    const QByteArray entry = maxPrivilegeValue.isEmpty()
            ? QByteArray(R"({"authorityId":"u1","role":"MEMBER"})")
            : R"({"authorityId":"u1","role":"MEMBER","maxPrivilegeValue":)" + maxPrivilegeValue + "}";
    const QList<FilePtr> chain = makeChain({ QStringLiteral("Design"), QStringLiteral("a.dwg") });
    TestOwner owner;
    QStringList privileges{ QStringLiteral("unset") };
    bool set = false;
    auto* handler = new BGetFilePrivilegeHandler(owner.caller(), QStringLiteral("u1"), chain.at(1), chain.last());
    QVERIFY(answer<BGetFilePrivilegeHandler>(handler, owner, 200, authorityList(entry),
                                             [&](BGetFilePrivilegeHandler* h) {
                                                 privileges = h->privileges();
                                                 set = h->hasPrivileges();
                                             }));
    QVERIFY(set);
    QCOMPARE(privileges, expected);
}

void TestDocumentQueryHandlers::privilegeEntrySelection_data()
{
    QTest::addColumn<QByteArray>("entries");
    QTest::addColumn<QStringList>("expected");

    const QStringList all{ QStringLiteral("enter"),  QStringLiteral("view"),   QStringLiteral("download"),
                           QStringLiteral("create"), QStringLiteral("update"), QStringLiteral("delete"),
                           QStringLiteral("grant") };
    QTest::newRow("CREATOR") << QByteArray(R"({"authorityId":"u1","role":"CREATOR","maxPrivilegeValue":1})") << all;
    QTest::newRow("ADMIN") << QByteArray(R"({"authorityId":"u1","role":"ADMIN"})") << all;
    QTest::newRow("OWNER is no known role")
            << QByteArray(R"({"authorityId":"u1","role":"OWNER","maxPrivilegeValue":47})") << QStringList();
    QTest::newRow("roles are case-sensitive") << QByteArray(R"({"authorityId":"u1","role":"admin"})") << QStringList();
    QTest::newRow("first matching entry wins") << QByteArray(
            R"({"authorityId":"u1","role":"MEMBER","maxPrivilegeValue":7},{"authorityId":"u1","role":"ADMIN"})")
                                               << QStringList{ QStringLiteral("enter"), QStringLiteral("view") };
    QTest::newRow("other authorities ignored")
            << QByteArray(R"({"authorityId":"u2","role":"ADMIN"},"junk",{},{"authorityId":"u1","role":"MEMBER",)"
                          R"("maxPrivilegeValue":47})")
            << QStringList{ QStringLiteral("enter"), QStringLiteral("view"), QStringLiteral("download") };
    QTest::newRow("no matching entry") << QByteArray(R"({"authorityId":"u2","role":"ADMIN"})") << QStringList();
    QTest::newRow("empty list") << QByteArray() << QStringList();
}

void TestDocumentQueryHandlers::privilegeEntrySelection()
{
    QFETCH(QByteArray, entries);
    QFETCH(QStringList, expected);

    const QList<FilePtr> chain = makeChain({ QStringLiteral("Design"), QStringLiteral("a.dwg") });
    TestOwner owner;
    QStringList privileges{ QStringLiteral("unset") };
    auto* handler = new BGetFilePrivilegeHandler(owner.caller(), QStringLiteral("u1"), chain.at(1), chain.last());
    QVERIFY(answer<BGetFilePrivilegeHandler>(handler, owner, 200, authorityList(entries),
                                             [&](BGetFilePrivilegeHandler* h) { privileges = h->privileges(); }));
    QCOMPARE(privileges, expected);
}

void TestDocumentQueryHandlers::privilegesLeftUnset_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("fileAlive");

    const QByteArray admin = authorityList(R"({"authorityId":"u1","role":"ADMIN"})");
    QTest::newRow("node gone") << 200 << admin << false;
    QTest::newRow("not JSON") << 200 << QByteArray("ADMIN") << true;
    QTest::newRow("403") << 403 << admin << true;
}

void TestDocumentQueryHandlers::privilegesLeftUnset()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, fileAlive);

    QList<FilePtr> chain = makeChain({ QStringLiteral("Design"), QStringLiteral("a.dwg") });
    TestOwner owner;
    bool set = true;
    QStringList privileges{ QStringLiteral("unset") };
    bool sawFile = fileAlive;
    auto* handler = new BGetFilePrivilegeHandler(owner.caller(), QStringLiteral("u1"), chain.at(1), chain.last());
    if (!fileAlive)
        chain.clear(); // the tree went away while the request was in flight
    QVERIFY(answer<BGetFilePrivilegeHandler>(handler, owner, status, body, [&](BGetFilePrivilegeHandler* h) {
        set = h->hasPrivileges();
        privileges = h->privileges();
        sawFile = !h->file().isNull();
    }));
    QCOMPARE(owner.finishedCalls, 1);
    QVERIFY(!set);
    QVERIFY(privileges.isEmpty());
    QCOMPARE(sawFile, fileAlive);
}

void TestDocumentQueryHandlers::applicationDataFolder_data()
{
    QTest::addColumn<QStringList>("path"); // below the root; the last is the file
    QTest::addColumn<bool>("parentless"); // the file alone, without a tree
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("expected");

    const QStringList appData{ QStringLiteral("view"), QStringLiteral("download"), QStringLiteral("grant") };
    const QByteArray none = authorityList(R"({"authorityId":"u1","role":"OWNER"})");
    QTest::newRow("file in the folder, body not JSON")
            << QStringList{ appDataName(), QStringLiteral("x.cfg") } << false << QByteArray("<<not json>>") << appData;
    QTest::newRow("deeper, body grants nothing")
            << QStringList{ appDataName(), QStringLiteral("cfg"), QStringLiteral("sub"), QStringLiteral("x.cfg") }
            << false << none << appData;
    QTest::newRow("the top-level folder itself") << QStringList{ appDataName() } << false << QByteArray() << appData;
    QTest::newRow("parentless node of that name") << QStringList{ appDataName() } << true << QByteArray() << appData;
    QTest::newRow("same name below another folder")
            << QStringList{ QStringLiteral("Design"), appDataName(), QStringLiteral("x.cfg") } << false << none
            << QStringList();
    QTest::newRow("similar name") << QStringList{ appDataName() + QStringLiteral("2"), QStringLiteral("x.cfg") }
                                  << false << none << QStringList();
}

void TestDocumentQueryHandlers::applicationDataFolder()
{
    QFETCH(QStringList, path);
    QFETCH(bool, parentless);
    QFETCH(QByteArray, body);
    QFETCH(QStringList, expected);

    QList<FilePtr> chain;
    if (parentless)
        chain = { makeNode(path.last(), QStringLiteral("lone")) };
    else
        chain = makeChain(path);
    FilePtr file = chain.last();
    FilePtr parent = file->getParent();

    TestOwner owner;
    QStringList privileges{ QStringLiteral("unset") };
    auto* handler = new BGetFilePrivilegeHandler(owner.caller(), QStringLiteral("u1"), parent, file);
    QVERIFY(answer<BGetFilePrivilegeHandler>(handler, owner, 200, body,
                                             [&](BGetFilePrivilegeHandler* h) { privileges = h->privileges(); }));
    QCOMPARE(privileges, expected);
}

void TestDocumentQueryHandlers::cancelledPrivilegeQueryStillEndsItsWait()
{
    // The owner never hears of a cancelled request, so nobody would end the
    // wait for it; the handler ends it when it goes.
    TestOwner owner;
    const QList<FilePtr> chain = makeChain({ QStringLiteral("a.dwg") });
    auto* handler = new BGetFilePrivilegeHandler(owner.caller(), QStringLiteral("u1"), chain.first(), chain.last());
    QSignalSpy ended(handler->notifier(), &ISyncWorker::ended);
    QSignalSpy destroyed(handler, &QObject::destroyed);
    auto* reply = new ScriptedReply(200, QByteArray("{}"));
    wireReply(handler, reply);

    handler->slotCancel();
    QCOMPARE(ended.count(), 0);
    QVERIFY(destroyed.wait(RequestTimeoutMs));
    QCOMPARE(ended.count(), 1);
    QCOMPARE(owner.finishedCalls, 0);
}

QTEST_GUILESS_MAIN(TestDocumentQueryHandlers)
#include "tst_documentqueryhandlers.moc"
