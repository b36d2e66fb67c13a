// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "HandlerHarness.h"

#include <ZYRController/BAddAttributesByPathHandler.h>
#include <ZYRController/BAddAttributesHandler.h>
#include <ZYRController/BAddFavoriteFilesHandler.h>
#include <ZYRController/BCopyFilesHandler.h>
#include <ZYRController/BCreateFolderHandler.h>
#include <ZYRController/BCreateShareLinkHandler.h>
#include <ZYRController/BDeleteFilesHandler.h>
#include <ZYRController/BRemoveFavoriteFilesHandler.h>
#include <ZYRController/BRemoveShareLinksHandler.h>
#include <ZYRController/BRenameFileHandler.h>
#include <ZYRController/BUpdateShareLinkHandler.h>

#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileShareLink.h>

#include <QTest>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRModel;
using namespace Trelan::Oku::ZYRTest;

using FilePtr = QSharedPointer<MFile>;
using WeakFiles = QList<QWeakPointer<MFile>>;
using AttributeMap = QMap<QString, QString>;

namespace {

FilePtr makeNode(const QString& name, const QString& id)
{
    auto node = FilePtr::create();
    node->setFileName(name);
    node->setId(id);
    return node;
}

} // namespace

class TestDocumentChangeHandlers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void createFolder_data();
    void createFolder();
    void rename_data();
    void rename();
    void copy_data();
    void copy();
    void delete__data();
    void delete_();
    void shareLinkCreateAndUpdate_data();
    void shareLinkCreateAndUpdate();
    void addAttributes_data();
    void addAttributes();
    void addAttributesByPathCarriesItsKey();
    void bodylessRequestsSucceedOnStatusAlone_data();
    void bodylessRequestsSucceedOnStatusAlone();
};

void TestDocumentChangeHandlers::createFolder_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expectedId"); // null: no folder

    QTest::newRow("root object is the folder")
            << 200 << QByteArray(R"({"id":"d1","name":"New","isFolder":true})") << QStringLiteral("d1");
    QTest::newRow("not JSON") << 200 << QByteArray("created") << QString();
    QTest::newRow("201 is not parsed") << 201 << QByteArray(R"({"id":"d1"})") << QString();
    QTest::newRow("409") << 409 << QByteArray(R"({"message":"exists"})") << QString();
}

void TestDocumentChangeHandlers::createFolder()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QString, expectedId);

    TestOwner owner;
    FilePtr parent = makeNode(QStringLiteral("Design"), QStringLiteral("p1"));
    FilePtr placeholder = makeNode(QStringLiteral("New"), QString());
    FilePtr folder;
    QStringList carried;
    auto* handler = new BCreateFolderHandler(owner.caller(), QStringLiteral("w1"), parent, placeholder,
                                             QStringLiteral("New"));
    QVERIFY(answer<BCreateFolderHandler>(handler, owner, status, body, [&](BCreateFolderHandler* h) {
        folder = h->file();
        carried << h->workspaceId() << h->folderName();
        QCOMPARE(h->parent().toStrongRef(), parent);
        QCOMPARE(h->newFolder().toStrongRef(), placeholder);
    }));
    QCOMPARE(carried, (QStringList{ QStringLiteral("w1"), QStringLiteral("New") }));
    QCOMPARE(bool(folder), !expectedId.isNull());
    if (folder) {
        QCOMPARE(folder->getId(), expectedId);
        QVERIFY(folder->getIsFolder());
    }
}

void TestDocumentChangeHandlers::rename_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expectedName"); // null: no node

    QTest::newRow("data object") << QByteArray(R"({"data":{"id":"f1","name":"new.dwg"}})") << QStringLiteral("new.dwg");
    QTest::newRow("bare object is not enough") << QByteArray(R"({"id":"f1","name":"new.dwg"})") << QString();
    QTest::newRow("empty data") << QByteArray(R"({"data":{}})") << QString();
}

void TestDocumentChangeHandlers::rename()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, expectedName);

    TestOwner owner;
    FilePtr node = makeNode(QStringLiteral("new.dwg"), QStringLiteral("f1"));
    FilePtr renamed;
    QStringList names;
    auto* handler = new BRenameFileHandler(owner.caller(), QStringLiteral("w1"), node, QStringLiteral("old.dwg"),
                                           QStringLiteral("new.dwg"));
    QVERIFY(answer<BRenameFileHandler>(handler, owner, 200, body, [&](BRenameFileHandler* h) {
        renamed = h->file();
        names << h->oldName() << h->newName();
        QCOMPARE(h->targetFile().toStrongRef(), node);
    }));
    QCOMPARE(names, (QStringList{ QStringLiteral("old.dwg"), QStringLiteral("new.dwg") }));
    QCOMPARE(bool(renamed), !expectedName.isNull());
    if (renamed)
        QCOMPARE(renamed->getFileName(), expectedName);
}

void TestDocumentChangeHandlers::copy_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expectedId"); // null: no node

    QTest::newRow("one copied") << QByteArray(R"({"data":{"success":[{"id":"c1","name":"a.dwg"}]}})")
                                << QStringLiteral("c1");
    QTest::newRow("two listed: only the first is read")
            << QByteArray(R"({"data":{"success":[{"id":"c1","name":"a.dwg"},{"id":"c2","name":"b.dwg"}]}})")
            << QStringLiteral("c1");
    QTest::newRow("empty success array") << QByteArray(R"({"data":{"success":[],"failed":["f1"]}})") << QString();
    QTest::newRow("success at the root") << QByteArray(R"({"success":[{"id":"c1"}]})") << QString();
}

void TestDocumentChangeHandlers::copy()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, expectedId);

    TestOwner owner;
    FilePtr source = makeNode(QStringLiteral("From"), QStringLiteral("s"));
    FilePtr target = makeNode(QStringLiteral("To"), QStringLiteral("t"));
    FilePtr moved = makeNode(QStringLiteral("a.dwg"), QStringLiteral("f1"));
    FilePtr file;
    QList<FilePtr> files;
    bool move = false;
    WeakFiles requested;
    auto* handler = new BCopyFilesHandler(owner.caller(), QStringLiteral("w1"), source, target, { moved }, true);
    QVERIFY(answer<BCopyFilesHandler>(handler, owner, 200, body, [&](BCopyFilesHandler* h) {
        file = h->file();
        files = h->files();
        move = h->isMove();
        requested = h->filesToCopy();
        QCOMPARE(h->sourceParent().toStrongRef(), source);
        QCOMPARE(h->targetParent().toStrongRef(), target);
    }));
    QVERIFY(move);
    QCOMPARE(requested.size(), 1);
    QCOMPARE(requested.first().toStrongRef(), moved);
    QCOMPARE(bool(file), !expectedId.isNull());
    if (file) {
        QCOMPARE(file->getId(), expectedId);
        QCOMPARE(files, QList<FilePtr>{ file }); // the same node, once
    } else {
        QVERIFY(files.isEmpty());
    }
}

void TestDocumentChangeHandlers::delete__data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("success");

    QTest::newRow("one deleted") << 200 << QByteArray(R"({"successItems":["f1"]})") << true;
    QTest::newRow("one deleted, others failed")
            << 200 << QByteArray(R"({"successItems":["f1"],"failedItems":["f2"]})") << true;
    QTest::newRow("none deleted") << 200 << QByteArray(R"({"successItems":[],"failedItems":["f1"]})") << false;
    QTest::newRow("no successItems") << 200 << QByteArray(R"({"result":"success"})") << false;
    QTest::newRow("successItems not an array") << 200 << QByteArray(R"({"successItems":"f1"})") << false;
    QTest::newRow("500") << 500 << QByteArray(R"({"successItems":["f1"]})") << false;
}

void TestDocumentChangeHandlers::delete_()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, success);

    TestOwner owner;
    FilePtr parent = makeNode(QStringLiteral("Design"), QStringLiteral("p"));
    FilePtr doomed = makeNode(QStringLiteral("a.dwg"), QStringLiteral("f1"));
    bool seenSuccess = !success;
    WeakFiles carried;
    auto* handler = new BDeleteFilesHandler(owner.caller(), QStringLiteral("w1"), parent, { doomed });
    QVERIFY(answer<BDeleteFilesHandler>(handler, owner, status, body, [&](BDeleteFilesHandler* h) {
        seenSuccess = h->isSuccess();
        carried = h->filesToDelete();
        QCOMPARE(h->parent().toStrongRef(), parent);
        QCOMPARE(h->workspaceId(), QStringLiteral("w1"));
    }));
    QCOMPARE(seenSuccess, success);
    QCOMPARE(carried.size(), 1);
    QCOMPARE(carried.first().toStrongRef(), doomed);
}

void TestDocumentChangeHandlers::shareLinkCreateAndUpdate_data()
{
    QTest::addColumn<bool>("update");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expectedToken"); // null: no link

    const QByteArray good(R"({"data":{"token":"t1","url":"https://s.example/t1","fileIds":["f1"]}})");
    for (bool update : { false, true }) {
        const char* kind = update ? "update" : "create";
        QTest::addRow("%s: data object", kind) << update << good << QStringLiteral("t1");
        QTest::addRow("%s: empty data", kind) << update << QByteArray(R"({"data":{}})") << QString();
        QTest::addRow("%s: bare object", kind) << update << QByteArray(R"({"token":"t1"})") << QString();
    }
}

void TestDocumentChangeHandlers::shareLinkCreateAndUpdate()
{
    QFETCH(bool, update);
    QFETCH(QByteArray, body);
    QFETCH(QString, expectedToken);

    TestOwner owner;
    QSharedPointer<MFileShareLink> link;
    auto existing = QSharedPointer<MFileShareLink>::create();
    QSharedPointer<MFileShareLink> seenTarget;
    QString workspaceId;
    bool ran = false;
    if (update) {
        auto* handler = new BUpdateShareLinkHandler(owner.caller(), QStringLiteral("w1"), existing);
        ran = answer<BUpdateShareLinkHandler>(handler, owner, 200, body, [&](BUpdateShareLinkHandler* h) {
            link = h->shareLink();
            seenTarget = h->target().toStrongRef();
            workspaceId = h->workspaceId();
        });
        QCOMPARE(seenTarget, existing);
    } else {
        auto* handler = new BCreateShareLinkHandler(owner.caller(), QStringLiteral("w1"));
        ran = answer<BCreateShareLinkHandler>(handler, owner, 200, body, [&](BCreateShareLinkHandler* h) {
            link = h->shareLink();
            workspaceId = h->workspaceId();
        });
    }
    QVERIFY(ran);
    QCOMPARE(workspaceId, QStringLiteral("w1"));
    QCOMPARE(bool(link), !expectedToken.isNull());
    if (link)
        QCOMPARE(link->getToken(), expectedToken);
}

void TestDocumentChangeHandlers::addAttributes_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("success");

    QTest::newRow("success") << 200 << QByteArray(R"({"message":"success"})") << true;
    QTest::newRow("SUCCESS") << 200 << QByteArray(R"({"message":"SUCCESS"})") << true;
    QTest::newRow("ok") << 200 << QByteArray(R"({"message":"ok"})") << false;
    QTest::newRow("result instead of message") << 200 << QByteArray(R"({"result":"success"})") << false;
    QTest::newRow("message not a string") << 200 << QByteArray(R"({"message":1})") << false;
    QTest::newRow("not an object") << 200 << QByteArray(R"(["success"])") << false;
    QTest::newRow("empty body") << 200 << QByteArray() << false;
    QTest::newRow("500") << 500 << QByteArray(R"({"message":"success"})") << false;
}

void TestDocumentChangeHandlers::addAttributes()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, success);

    TestOwner owner;
    FilePtr file = makeNode(QStringLiteral("a.dwg"), QStringLiteral("f1"));
    const AttributeMap sent{ { QStringLiteral("project"), QStringLiteral("P1") } };
    bool seenSuccess = !success;
    AttributeMap seenAttributes;
    auto* handler = new BAddAttributesHandler(owner.caller(), file, sent);
    QVERIFY(answer<BAddAttributesHandler>(handler, owner, status, body, [&](BAddAttributesHandler* h) {
        seenSuccess = h->isSuccess();
        seenAttributes = h->attributes();
        QCOMPARE(h->file().toStrongRef(), file);
    }));
    QCOMPARE(seenSuccess, success);
    QCOMPARE(seenAttributes, sent);
}

void TestDocumentChangeHandlers::addAttributesByPathCarriesItsKey()
{
    TestOwner owner;
    const AttributeMap sent{ { QStringLiteral("k"), QStringLiteral("v") } };
    QStringList carried;
    AttributeMap seenAttributes;
    bool seenSuccess = false;
    auto* handler = new BAddAttributesByPathHandler(owner.caller(), QStringLiteral("w1"),
                                                    QStringLiteral("/R/proj/sub/x.dwg"), sent);
    QVERIFY(answer<BAddAttributesByPathHandler>(handler, owner, 200, QByteArray(R"({"message":"Success"})"),
                                                [&](BAddAttributesByPathHandler* h) {
                                                    carried << h->first() << h->remotePath();
                                                    seenAttributes = h->attributes();
                                                    seenSuccess = h->isSuccess();
                                                }));
    QCOMPARE(carried, (QStringList{ QStringLiteral("w1"), QStringLiteral("/R/proj/sub/x.dwg") }));
    QCOMPARE(seenAttributes, sent);
    QVERIFY(seenSuccess);
}

void TestDocumentChangeHandlers::bodylessRequestsSucceedOnStatusAlone_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");

    for (const char* kind : { "add favourites", "remove favourites", "remove share links" }) {
        QTest::addRow("%s: 200, empty body", kind) << QString::fromLatin1(kind) << 200 << QByteArray();
        QTest::addRow("%s: 200, failure text", kind)
                << QString::fromLatin1(kind) << 200 << QByteArray(R"({"result":"failed"})");
        QTest::addRow("%s: 500", kind) << QString::fromLatin1(kind) << 500 << QByteArray();
    }
}

void TestDocumentChangeHandlers::bodylessRequestsSucceedOnStatusAlone()
{
    QFETCH(QString, kind);
    QFETCH(int, status);
    QFETCH(QByteArray, body);

    TestOwner owner;
    FilePtr a = makeNode(QStringLiteral("a"), QStringLiteral("1"));
    FilePtr b = makeNode(QStringLiteral("b"), QStringLiteral("2"));
    auto link = QSharedPointer<MFileShareLink>::create();
    const WeakFiles files{ a, b };
    bool statusOk = status != 200;
    QString workspaceId;
    int carriedCount = 0;
    bool identical = false;
    owner.inspect = [&](BReplyHandlerBase* h) {
        statusOk = h->isStatusOk();
        if (auto* add = qobject_cast<BAddFavoriteFilesHandler*>(h)) {
            workspaceId = add->workspaceId();
            carriedCount = int(add->filesToAdd().size());
            identical = add->filesToAdd() == files;
        } else if (auto* remove = qobject_cast<BRemoveFavoriteFilesHandler*>(h)) {
            workspaceId = remove->workspaceId();
            carriedCount = int(remove->filesToRemove().size());
            identical = remove->filesToRemove() == files;
        } else if (auto* links = qobject_cast<BRemoveShareLinksHandler*>(h)) {
            workspaceId = links->workspaceId();
            carriedCount = int(links->sharesToRemove().size());
            identical = links->sharesToRemove().first().toStrongRef() == link;
        }
    };

    BReplyHandlerBase* handler = nullptr;
    if (kind == QLatin1String("add favourites"))
        handler = new BAddFavoriteFilesHandler(owner.caller(), QStringLiteral("w1"), files);
    else if (kind == QLatin1String("remove favourites"))
        handler = new BRemoveFavoriteFilesHandler(owner.caller(), QStringLiteral("w1"), files);
    else
        handler = new BRemoveShareLinksHandler(owner.caller(), QStringLiteral("w1"), { link });
    QVERIFY(runToCompletion(handler, new ScriptedReply(status, body)));

    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(statusOk, status == 200);
    QCOMPARE(workspaceId, QStringLiteral("w1"));
    QCOMPARE(carriedCount, kind == QLatin1String("remove share links") ? 1 : 2);
    QVERIFY(identical);
}

QTEST_GUILESS_MAIN(TestDocumentChangeHandlers)
#include "tst_documentchangehandlers.moc"
