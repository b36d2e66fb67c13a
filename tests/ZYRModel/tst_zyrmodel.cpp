// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The model's readers against the objects of docs/api.md, and the
// folder-tree operations the controller builds on.

#include <ZYRModel/MDocumentViewcode.h>
#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileShareLink.h>
#include <ZYRModel/MInstallInfo.h>
#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspace.h>
#include <ZYRModel/MWorkspaceQuota.h>

#include <QJsonDocument>
#include <QTest>

using namespace Trelan::Oku::ZYRModel;
using namespace Qt::StringLiterals;
using Reread = QJsonObject (*)(const QJsonObject&);
Q_DECLARE_METATYPE(Reread)

namespace {

QJsonObject parse(const char* json)
{
    return QJsonDocument::fromJson(QByteArray(json)).object();
}

template <typename Record>
QJsonObject reread(const QJsonObject& object)
{
    Record record;
    Record::fromJson(object, record);
    return record.toJson();
}

const char* const kPlan = R"({"id":"f-plan","name":"plan.dwg","workspaceId":"w-design","parentId":"f-2019",
 "isFolder":false,"size":16,"digest":"9b10","revision":3,"createTime":1735689600000,"updateTime":1735776000000,
 "uploading":false,"uploadedSize":16,"path":"/Design/2019/plan.dwg"})";

QSharedPointer<MFile> node(const QString& id, const QString& name)
{
    auto file = QSharedPointer<MFile>::create();
    file->setId(id);
    file->setFileName(name);
    return file;
}

} // namespace

class tst_ZYRModel : public QObject {
    Q_OBJECT

private slots:
    void readersTakeTheServiceObjects_data();
    void readersTakeTheServiceObjects();
    void treeKeepsOneParentPerNode();
    void updateMetaInfoKeepsTreeAndDecorations();
    void workspaceCopiesKeepTheTree();
};

// Every key, none at its default: a round trip shows a key misspelt either way.
void tst_ZYRModel::readersTakeTheServiceObjects_data()
{
    QTest::addColumn<Reread>("reread");
    QTest::addColumn<QJsonObject>("json");
    const auto row = [](const char* name, Reread f, const char* json) { QTest::newRow(name) << f << parse(json); };
    row("file", &reread<MFile>, kPlan);
    row("root without path", &reread<MFile>, R"({"id":"w-design-root","name":"/","workspaceId":"w-design",
        "parentId":"","isFolder":true,"size":0,"digest":"","revision":0,"createTime":1735689600000,
        "updateTime":1735689600000,"uploading":false,"uploadedSize":0})");
    row("upload streaming", &reread<MFile>, R"({"id":"up-000007","name":"big.bin","workspaceId":"w-design",
        "parentId":"f-design","isFolder":false,"size":1048576,"digest":"","revision":0,"createTime":1735862400000,
        "updateTime":1735862400000,"uploading":true,"uploadedSize":262144,"path":"/Design/big.bin"})");
    row("user", &reread<MUser>, R"({"id":"u-a","account":"alice","displayName":"Alice","fullName":"Alice Zhang",
        "email":"a@example.com","avatarPaths":["/api/v1/users/u-a/avatar"]})");
    row("token", &reread<MToken>, R"({"accessToken":"at-6","refreshToken":"rt-0","tokenType":"Bearer","expiresIn":1})");
    row("workspace", &reread<MWorkspace>, R"({"id":"w-design","name":"设计部","isDefault":true,"logoUrl":"//h/logo",
        "role":"CREATOR","ownerId":"u-alice","createTime":1735689600000})");
    row("quota", &reread<MWorkspaceQuota>, R"({"workspaceId":"w","usedSize":1,"totalSize":10737418240,"fileCount":5})");
    row("share link", &reread<MFileShareLink>, R"({"id":"sl-2","token":"4f9a","workspaceId":"w-design",
        "url":"http://h/s/4f9a","fileIds":["f-plan","f-overview"],"encrypt":true,"password":"k3x9",
        "expireTime":1767225600000,"privileges":["preview","download"],"createTime":1735862400000})");
    row("viewcode", &reread<MDocumentViewcode>, R"({"viewcode":"vc-1b2c","viewURL":"http://h/view/vc-1b2c"})");
    row("install info", &reread<MInstallInfo>,
        R"({"machineId":"m-1","osName":"Debian","osVersion":"12","clientVersion":"1.3.0","installTime":1})");
}

void tst_ZYRModel::readersTakeTheServiceObjects()
{
    QFETCH(Reread, reread);
    QFETCH(QJsonObject, json);
    QCOMPARE(reread(json), json);
}

void tst_ZYRModel::treeKeepsOneParentPerNode()
{
    auto root = node(u"r"_s, u"/"_s);
    root->setWorkspaceId(u"w1"_s);
    auto a = node(u"a"_s, u"A"_s);
    auto b = node(u"b"_s, u"B"_s);
    auto leaf = node(u"l"_s, u"报告 2024.pdf"_s);
    MFile::setChildren({ a, b, node(u"c"_s, u"b"_s) }, root);
    MFile::addChild(leaf, a);
    QCOMPARE(root->getChild(u"b"_s), root->getChildren().at(2)); // exact case first
    QCOMPARE(root->getChild(u"b"_s, false), b); // else the first of any case
    QVERIFY(!root->getChild(u"a"_s) && root->getChildById(u"b"_s) == b);
    QCOMPARE(leaf->getPath(), u"/A/报告 2024.pdf"_s);
    QCOMPARE(leaf->getParentId() + leaf->getWorkspaceId(), u"aw1"_s); // the workspace filled in from the folder
    MFile::addChild(leaf, b); // moving takes it out of A
    QVERIFY(a->getChildren().isEmpty());
    QCOMPARE(leaf->getPath(), u"/B/报告 2024.pdf"_s);
    auto newer = node(u"l"_s, u"renamed.pdf"_s); // the same id replaces
    MFile::addChild(newer, b);
    QCOMPARE(b->getChildren(), QList<QSharedPointer<MFile>>{ newer });
    QVERIFY(leaf->getParent().isNull());

    // Ancestors, the folder itself, nulls and repeats never become children.
    MFile::addChild(root, b);
    MFile::setChildren({ root, b, QSharedPointer<MFile>(), newer, newer }, b);
    QCOMPARE(b->getChildren(), QList<QSharedPointer<MFile>>{ newer });
    QVERIFY(root->getParent().isNull());
    MFile::setChildren({ b }, root); // A and the other B are no longer listed
    QVERIFY(a->getParent().isNull());
    QVERIFY(b->removeChild(node(u"l"_s, u"other object"_s))); // by id
    QVERIFY(newer->getParent().isNull() && !b->removeChild(newer));

    // A detached subtree answers with the path its top node was reported at.
    auto child = node(u"c"_s, u"c"_s);
    auto top = node(u"y"_s, u"Y"_s);
    top->setRemotePathString(u"/X/Y"_s);
    MFile::addChild(child, top);
    QCOMPARE(child->getPath(), u"/X/Y/c"_s);
    top.reset();
    QVERIFY(child->getParent().isNull()); // the parent is gone, no dangling link
    QCOMPARE(QMetaType::fromName("MWeakFile"), QMetaType::fromType<MWeakFile>()); // the name queued signals use
    QVERIFY(QMetaType::fromName("QList<MWeakFile>").isValid());
}

// New metadata replaces the node's own; its place in the tree, privileges,
// attributes and status flags stay (flags are only added).
void tst_ZYRModel::updateMetaInfoKeepsTreeAndDecorations()
{
    auto parent = node(u"f-2019"_s, u"2019"_s);
    auto file = node(u"f-plan"_s, u"old.dwg"_s);
    auto child = node(u"c"_s, u"c"_s);
    MFile::addChild(file, parent);
    MFile::addChild(child, file);
    file->setPrivileges({ u"view"_s, u"download"_s });
    file->setAttribute(u"stage"_s, QString());
    file->setStatus(MFile::StatusChildrenLoaded | MFile::StatusAttributesLoaded);
    MFile meta;
    MFile::fromJson(parse(kPlan), meta);
    meta.setPrivileges({ u"grant"_s });
    meta.setStatus(MFile::StatusPrivilegesLoaded);
    file->updateMetaInfo(meta);

    QCOMPARE(file->toJson(), parse(kPlan));
    QVERIFY(file->getParent() == parent && child->getParent() == file && file->getChildren().size() == 1);
    QCOMPARE(file->getPrivileges(), QList<QString>({ u"view"_s, u"download"_s }));
    QVERIFY(file->hasPrivilege(u"download"_s) && file->getAttributes().contains(u"stage"_s));
    QCOMPARE(file->getStatus(), MFile::StatusChildrenLoaded | MFile::StatusAttributesLoaded | MFile::StatusMetaLoaded);
    QVERIFY(file->hasStatus(MFile::StatusMetaLoaded | MFile::StatusChildrenLoaded));
    QVERIFY(!file->hasStatus(MFile::StatusMetaLoaded | MFile::StatusPrivilegesLoaded) && !file->hasStatus(0));
    file->clearStatus(MFile::StatusChildrenLoaded); // asks for a new listing
    file->setThumbnailData("\x89PNG");
    QCOMPARE(file->getStatus(), MFile::StatusAttributesLoaded | MFile::StatusMetaLoaded | MFile::StatusThumbnailLoaded);

    MFile partial; // an answer without ids or path does not wipe them
    partial.setFileName(u"again.dwg"_s);
    file->updateMetaInfo(partial);
    QCOMPARE(file->getId() + file->getWorkspaceId() + file->getParentId(), u"f-planw-designf-2019"_s);
    QCOMPARE(file->getRemotePathString(), u"/Design/2019/plan.dwg"_s);
}

// The workspace list is rebuilt from each answer; the tree, quota and
// favourites of a known workspace stay.
void tst_ZYRModel::workspaceCopiesKeepTheTree()
{
    MWorkspace current;
    auto root = node(u"w-design-root"_s, u"/"_s);
    current.setRootFolder(root);
    current.setQuota(new MWorkspaceQuota);
    current.setFavoriteFiles({ node(u"f-plan"_s, u"plan.dwg"_s) });
    MWorkspace fresh;
    MWorkspace::fromJson(parse(R"({"id":"w-design","name":"设计部","isDefault":true,"role":"ADMIN"})"), fresh);
    current.copyInformation(fresh);
    QCOMPARE(current.toJson(), fresh.toJson());
    QCOMPARE(current.getRootFolder(), root);
    QVERIFY(current.getQuota() && current.getFavoriteFiles().size() == 1);

    const MWorkspace copy(current); // information only
    QCOMPARE(copy.toJson(), current.toJson());
    QVERIFY(copy.getRootFolder().isNull() && !copy.getQuota());
}

QTEST_GUILESS_MAIN(tst_ZYRModel)
#include "tst_zyrmodel.moc"
