// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MWorkspace.h>
#include <ZYRModel/MWorkspaceQuota.h>

#include <QJsonDocument>
#include <QTest>

using namespace Trelan::Oku::ZYRModel;

namespace {

QSharedPointer<MFile> node(const QString& id, const QString& name)
{
    auto file = QSharedPointer<MFile>::create();
    file->setId(id);
    file->setFileName(name);
    return file;
}

} // namespace

class tst_MWorkspace : public QObject {
    Q_OBJECT

private slots:
    void listKeepsOrder();
    void listWithoutItems_data();
    void listWithoutItems();
    void copyInformationKeepsTree();
    void copyConstructorTakesInformationOnly();
    void quotaOwnership();
    void removeFavoriteFiles();
    void shareLinks();
};

void tst_MWorkspace::listKeepsOrder()
{
    const QJsonObject root = QJsonDocument::fromJson(R"({"items": [
        {"id": "w3", "name": "Zeta", "isDefault": false},
        {"id": 2, "name": "Alpha", "isDefault": true},
        "not an object",
        {"id": "w1", "name": "团队"}
    ], "total": 3})")
                                     .object();

    QList<MWorkspace*> workspaces;
    auto* existing = new MWorkspace;
    existing->setId(QStringLiteral("before"));
    workspaces.append(existing); // the reader appends
    MWorkspace::fromJson(root, workspaces);

    QCOMPARE(workspaces.size(), 4);
    QStringList ids;
    for (const MWorkspace* w : std::as_const(workspaces))
        ids.append(w->getId());
    QCOMPARE(
            ids,
            (QStringList{ QStringLiteral("before"), QStringLiteral("w3"), QStringLiteral("2"), QStringLiteral("w1") }));
    QVERIFY(workspaces.at(2)->isDefaultWorkspace());
    QCOMPARE(workspaces.at(3)->getName(), QStringLiteral("团队"));
    qDeleteAll(workspaces);
}

void tst_MWorkspace::listWithoutItems_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("no items key") << QByteArray(R"({"total": 0})");
    QTest::newRow("items not an array") << QByteArray(R"({"items": {"id": "w"}})");
    QTest::newRow("empty items") << QByteArray(R"({"items": []})");
    QTest::newRow("empty object") << QByteArray("{}");
}

void tst_MWorkspace::listWithoutItems()
{
    QFETCH(QByteArray, json);
    QList<MWorkspace*> workspaces;
    MWorkspace::fromJson(QJsonDocument::fromJson(json).object(), workspaces);
    QVERIFY(workspaces.isEmpty());
}

void tst_MWorkspace::copyInformationKeepsTree()
{
    MWorkspace current;
    current.setId(QStringLiteral("w1"));
    current.setName(QStringLiteral("old"));
    auto root = node(QStringLiteral("r"), QString());
    MFile::addChild(node(QStringLiteral("a"), QStringLiteral("A")), root);
    current.setRootFolder(root);
    current.setQuota(new MWorkspaceQuota);
    current.getQuota()->setUsedSize(5);
    current.setLogoData("logo");
    current.setFavoriteFiles({ node(QStringLiteral("fav"), QStringLiteral("fav")) });
    current.addShareLink(QSharedPointer<MFileShareLink>::create());

    MWorkspace fresh;
    MWorkspace::fromJson(QJsonDocument::fromJson(R"({"id": "w1", "name": "new", "isDefault": true,
        "logoUrl": "http://l", "role": "admin", "ownerId": "o", "createTime": 12})")
                                 .object(),
                         fresh);
    current.copyInformation(fresh);

    QCOMPARE(current.toJson(), fresh.toJson());
    QCOMPARE(current.getRootFolder(), root);
    QCOMPARE(root->getChildren().size(), 1);
    QVERIFY(current.getQuota());
    QCOMPARE(current.getQuota()->getUsedSize(), qint64(5));
    QCOMPARE(current.getLogoData(), QByteArray("logo"));
    QCOMPARE(current.getFavoriteFiles().size(), 1);
    QCOMPARE(current.getShareLinks().size(), 1);
}

void tst_MWorkspace::copyConstructorTakesInformationOnly()
{
    MWorkspace original;
    original.setId(QStringLiteral("w"));
    original.setName(QStringLiteral("n"));
    original.setRootFolder(node(QStringLiteral("r"), QString()));
    original.setQuota(new MWorkspaceQuota);

    const MWorkspace copy(original);
    QCOMPARE(copy.toJson(), original.toJson());
    QVERIFY(copy.getRootFolder().isNull());
    QVERIFY(!copy.getQuota());
    QVERIFY(original.getQuota()); // still the original's
}

void tst_MWorkspace::quotaOwnership()
{
    MWorkspace workspace;
    auto* quota = new MWorkspaceQuota;
    workspace.setQuota(quota);
    workspace.setQuota(quota); // the same object again is kept, not freed
    QCOMPARE(workspace.getQuota(), quota);
    workspace.setQuota(new MWorkspaceQuota); // frees the first (checked under ASan)
    QVERIFY(workspace.getQuota() != nullptr);
    workspace.setQuota(nullptr);
    QVERIFY(!workspace.getQuota());
}

void tst_MWorkspace::removeFavoriteFiles()
{
    MWorkspace workspace;
    auto a = node(QStringLiteral("a"), QStringLiteral("a"));
    auto b = node(QStringLiteral("b"), QStringLiteral("b"));
    auto c = node(QStringLiteral("c"), QStringLiteral("c"));
    workspace.setFavoriteFiles({ a, b, c });

    auto otherObjectOfB = node(QStringLiteral("b"), QStringLiteral("b copy"));
    QWeakPointer<MFile> expired;
    {
        auto gone = node(QStringLiteral("c"), QStringLiteral("c"));
        expired = gone;
    }
    workspace.removeFavoriteFiles({ a.toWeakRef(), otherObjectOfB.toWeakRef(), expired });

    QCOMPARE(workspace.getFavoriteFiles(), QList<QSharedPointer<MFile>>{ c });
}

void tst_MWorkspace::shareLinks()
{
    MWorkspace workspace;
    auto first = QSharedPointer<MFileShareLink>::create();
    first->setId(QStringLiteral("s1"));
    auto second = QSharedPointer<MFileShareLink>::create();
    second->setId(QStringLiteral("s2"));
    workspace.addShareLink(first);
    workspace.addShareLink(QSharedPointer<MFileShareLink>());
    workspace.addShareLink(second);
    QCOMPARE(workspace.getShareLinks().size(), 2);

    auto sameIdAsFirst = QSharedPointer<MFileShareLink>::create();
    sameIdAsFirst->setId(QStringLiteral("s1"));
    workspace.removeShareLinks({ sameIdAsFirst.toWeakRef() });
    QCOMPARE(workspace.getShareLinks(), QList<QSharedPointer<MFileShareLink>>{ second });
}

QTEST_GUILESS_MAIN(tst_MWorkspace)
#include "tst_mworkspace.moc"
