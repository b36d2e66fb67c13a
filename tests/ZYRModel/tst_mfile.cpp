// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MFile.h>

#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

using namespace Trelan::Oku::ZYRModel;

namespace {

QSharedPointer<MFile> node(const QString& id, const QString& name, bool folder = false)
{
    auto file = QSharedPointer<MFile>::create();
    file->setId(id);
    file->setFileName(name);
    file->setIsFolder(folder);
    return file;
}

QStringList childIds(const QSharedPointer<MFile>& folder)
{
    QStringList ids;
    for (const QSharedPointer<MFile>& child : folder->getChildren())
        ids.append(child->getId());
    return ids;
}

} // namespace

// Sends a weak file pointer through a queued, string-based connection, the
// way the controller's signals carry nodes.
class WeakFileSender : public QObject {
    Q_OBJECT
signals:
    void fileReady(Trelan::Oku::ZYRModel::MWeakFile file);
};

class WeakFileReceiver : public QObject {
    Q_OBJECT
public:
    QSharedPointer<MFile> received;
public slots:
    void take(Trelan::Oku::ZYRModel::MWeakFile file) { received = file.toStrongRef(); }
};

class tst_MFile : public QObject {
    Q_OBJECT

private slots:
    void setChildrenReparents();
    void setChildrenTakesChildFromOtherFolder();
    void setChildrenIgnoresNullsSelfAndAncestors();
    void addChildReplacesSameId();
    void addChildMovesBetweenParents();
    void addChildRefusesAncestors();
    void removeChild();
    void removeAllChildren();
    void getChild_data();
    void getChild();
    void getPath_data();
    void getPath();
    void parentExpires();
    void updateMetaInfoKeepsTreeAndDecorations();
    void copyTakesOwnDataOnly();
    void statusFlags_data();
    void statusFlags();
    void statusNamedValues();
    void thumbnailSetsFlag();
    void weakFileMetaType();
    void weakFileThroughQueuedConnection();
};

void tst_MFile::setChildrenReparents()
{
    auto folder = node(QStringLiteral("d"), QStringLiteral("D"), true);
    folder->setWorkspaceId(QStringLiteral("w1"));
    auto kept = node(QStringLiteral("k"), QStringLiteral("kept"));
    auto dropped = node(QStringLiteral("x"), QStringLiteral("dropped"));
    MFile::setChildren({ kept, dropped }, folder);
    QCOMPARE(dropped->getParent(), folder);

    auto fresh = node(QStringLiteral("n"), QStringLiteral("new"));
    fresh->setWorkspaceId(QStringLiteral("w-own"));
    MFile::setChildren({ fresh, kept }, folder);

    QCOMPARE(childIds(folder), (QStringList{ QStringLiteral("n"), QStringLiteral("k") }));
    for (const auto& child : { fresh, kept }) {
        QCOMPARE(child->getParent(), folder);
        QCOMPARE(child->getParentId(), QStringLiteral("d"));
    }
    QCOMPARE(kept->getWorkspaceId(), QStringLiteral("w1")); // filled when empty
    QCOMPARE(fresh->getWorkspaceId(), QStringLiteral("w-own")); // kept when set
    QVERIFY(dropped->getParent().isNull());

    MFile::setChildren({}, folder);
    QVERIFY(folder->getChildren().isEmpty());
    QVERIFY(kept->getParent().isNull());
    MFile::setChildren({ kept }, QSharedPointer<MFile>()); // no folder: nothing happens
    QVERIFY(kept->getParent().isNull());
}

// A node lives in one folder: giving it to another takes it out of the first.
void tst_MFile::setChildrenTakesChildFromOtherFolder()
{
    auto first = node(QStringLiteral("a"), QStringLiteral("A"), true);
    auto second = node(QStringLiteral("b"), QStringLiteral("B"), true);
    auto child = node(QStringLiteral("c"), QStringLiteral("c"));
    MFile::setChildren({ child }, first);
    MFile::setChildren({ child }, second);

    QCOMPARE(child->getParent(), second);
    QVERIFY(first->getChildren().isEmpty());
    QCOMPARE(child->getPath(), QStringLiteral("/c"));
}

void tst_MFile::setChildrenIgnoresNullsSelfAndAncestors()
{
    auto root = node(QStringLiteral("r"), QString(), true);
    auto folder = node(QStringLiteral("d"), QStringLiteral("D"), true);
    auto child = node(QStringLiteral("c"), QStringLiteral("c"));
    MFile::addChild(folder, root);

    MFile::setChildren({ QSharedPointer<MFile>(), folder, root, child }, folder);
    QCOMPARE(childIds(folder), QStringList{ QStringLiteral("c") });
    QCOMPARE(folder->getParent(), root);
    QCOMPARE(child->getPath(), QStringLiteral("/D/c"));
}

void tst_MFile::addChildReplacesSameId()
{
    auto folder = node(QStringLiteral("d"), QStringLiteral("D"), true);
    auto a = node(QStringLiteral("a"), QStringLiteral("a.txt"));
    auto b = node(QStringLiteral("b"), QStringLiteral("b.txt"));
    MFile::addChild(a, folder);
    MFile::addChild(b, folder);

    auto newA = node(QStringLiteral("a"), QStringLiteral("a renamed.txt"));
    MFile::addChild(newA, folder);
    QCOMPARE(childIds(folder), (QStringList{ QStringLiteral("b"), QStringLiteral("a") }));
    QCOMPARE(folder->getChildById(QStringLiteral("a")), newA);
    QCOMPARE(newA->getParent(), folder);
    QCOMPARE(newA->getParentId(), QStringLiteral("d"));
    QVERIFY(a->getParent().isNull());

    // Adding the same node again keeps one entry.
    MFile::addChild(b, folder);
    QCOMPARE(folder->getChildren().size(), 2);

    // Children without id are told apart by identity only.
    auto anonymous1 = node(QString(), QStringLiteral("x"));
    auto anonymous2 = node(QString(), QStringLiteral("y"));
    MFile::addChild(anonymous1, folder);
    MFile::addChild(anonymous2, folder);
    QCOMPARE(folder->getChildren().size(), 4);
}

void tst_MFile::addChildMovesBetweenParents()
{
    auto first = node(QStringLiteral("p1"), QStringLiteral("P1"), true);
    auto second = node(QStringLiteral("p2"), QStringLiteral("P2"), true);
    second->setWorkspaceId(QStringLiteral("w2"));
    auto child = node(QStringLiteral("c"), QStringLiteral("c"));
    MFile::addChild(child, first);
    MFile::addChild(child, second);

    QVERIFY(first->getChildren().isEmpty());
    QCOMPARE(childIds(second), QStringList{ QStringLiteral("c") });
    QCOMPARE(child->getParentId(), QStringLiteral("p2"));
    QCOMPARE(child->getWorkspaceId(), QStringLiteral("w2"));
}

void tst_MFile::addChildRefusesAncestors()
{
    auto root = node(QStringLiteral("r"), QString(), true);
    auto a = node(QStringLiteral("a"), QStringLiteral("A"), true);
    auto b = node(QStringLiteral("b"), QStringLiteral("B"), true);
    MFile::addChild(a, root);
    MFile::addChild(b, a);

    MFile::addChild(root, b); // would make a cycle
    MFile::addChild(a, a);
    MFile::addChild(QSharedPointer<MFile>(), a);
    MFile::addChild(b, QSharedPointer<MFile>());

    QVERIFY(b->getChildren().isEmpty());
    QCOMPARE(childIds(a), QStringList{ QStringLiteral("b") });
    QVERIFY(root->getParent().isNull());
    QCOMPARE(b->getPath(), QStringLiteral("/A/B"));
}

void tst_MFile::removeChild()
{
    auto folder = node(QStringLiteral("d"), QStringLiteral("D"), true);
    auto a = node(QStringLiteral("a"), QStringLiteral("a"));
    auto b = node(QStringLiteral("b"), QStringLiteral("b"));
    auto c = node(QStringLiteral("c"), QStringLiteral("c"));
    MFile::setChildren({ a, b, c }, folder);

    QVERIFY(folder->removeChild(b)); // by identity
    QVERIFY(b->getParent().isNull());
    QVERIFY(folder->removeChild(node(QStringLiteral("c"), QStringLiteral("other")))); // by id
    QVERIFY(c->getParent().isNull());
    QCOMPARE(childIds(folder), QStringList{ QStringLiteral("a") });

    QVERIFY(!folder->removeChild(b));
    QVERIFY(!folder->removeChild(node(QString(), QStringLiteral("a")))); // no id, other object
    QVERIFY(!folder->removeChild(QSharedPointer<MFile>()));
    QCOMPARE(childIds(folder), QStringList{ QStringLiteral("a") });
}

void tst_MFile::removeAllChildren()
{
    auto folder = node(QStringLiteral("d"), QStringLiteral("D"), true);
    auto a = node(QStringLiteral("a"), QStringLiteral("a"));
    auto b = node(QStringLiteral("b"), QStringLiteral("b"));
    MFile::setChildren({ a, b }, folder);
    folder->removeAllChildren();
    QVERIFY(folder->getChildren().isEmpty());
    QVERIFY(a->getParent().isNull());
    QVERIFY(b->getParent().isNull());
}

void tst_MFile::getChild_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("caseSensitive");
    QTest::addColumn<QString>("expectedId");

    QTest::newRow("exact") << "Report.pdf" << true << "1";
    QTest::newRow("exact needs case") << "report.PDF" << true << "";
    QTest::newRow("insensitive takes first") << "REPORT.pdf" << false << "1";
    QTest::newRow("exact picks the lower-case one") << "report.pdf" << true << "2";
    QTest::newRow("unicode exact") << "报告 2024.pdf" << true << "3";
    QTest::newRow("unicode case") << "ÄRGER.TXT" << false << "4";
    QTest::newRow("unicode case exact") << "ÄRGER.TXT" << true << "";
    QTest::newRow("spaces matter") << "报告  2024.pdf" << true << "";
    QTest::newRow("unknown") << "nothing" << false << "";
    QTest::newRow("empty") << "" << false << "";
}

void tst_MFile::getChild()
{
    QFETCH(QString, name);
    QFETCH(bool, caseSensitive);
    QFETCH(QString, expectedId);

    auto folder = node(QStringLiteral("d"), QStringLiteral("D"), true);
    MFile::setChildren({ node(QStringLiteral("1"), QStringLiteral("Report.pdf")),
                         node(QStringLiteral("2"), QStringLiteral("report.pdf")),
                         node(QStringLiteral("3"), QStringLiteral("报告 2024.pdf")),
                         node(QStringLiteral("4"), QStringLiteral("ärger.txt")) },
                       folder);
    const QSharedPointer<MFile> child = folder->getChild(name, caseSensitive);
    QCOMPARE(child ? child->getId() : QString(), expectedId);
}

void tst_MFile::getPath_data()
{
    QTest::addColumn<QString>("rootReportedPath");
    QTest::addColumn<QString>("expectedRoot");
    QTest::addColumn<QString>("expectedLeaf");

    QTest::newRow("root of a workspace") << ""
                                         << "/"
                                         << "/A/B/报告 2024.pdf";
    QTest::newRow("root reported as /") << "/"
                                        << "/"
                                        << "/A/B/报告 2024.pdf";
    // A detached subtree whose top node came with its path.
    QTest::newRow("parentless with path") << "/X/Y"
                                          << "/X/Y"
                                          << "/X/Y/A/B/报告 2024.pdf";
}

void tst_MFile::getPath()
{
    QFETCH(QString, rootReportedPath);
    QFETCH(QString, expectedRoot);
    QFETCH(QString, expectedLeaf);

    auto root = node(QStringLiteral("r"), QString(), true);
    root->setRemotePathString(rootReportedPath);
    auto a = node(QStringLiteral("a"), QStringLiteral("A"), true);
    auto b = node(QStringLiteral("b"), QStringLiteral("B"), true);
    auto leaf = node(QStringLiteral("l"), QStringLiteral("报告 2024.pdf"));
    leaf->setRemotePathString(QStringLiteral("/stale/path")); // the tree wins over a reported path
    MFile::addChild(a, root);
    MFile::addChild(b, a);
    MFile::addChild(leaf, b);

    QCOMPARE(root->getPath(), expectedRoot);
    QCOMPARE(b->getPath(), expectedRoot == QLatin1String("/") ? QStringLiteral("/A/B") : expectedRoot + "/A/B");
    QCOMPARE(leaf->getPath(), expectedLeaf);
}

void tst_MFile::parentExpires()
{
    auto child = node(QStringLiteral("c"), QStringLiteral("c"));
    child->setRemotePathString(QStringLiteral("/A/c"));
    {
        auto folder = node(QStringLiteral("a"), QStringLiteral("A"), true);
        MFile::addChild(child, folder);
        QCOMPARE(child->getParent(), folder);
    }
    // The parent is gone: no dangling link, the reported path answers.
    QVERIFY(child->getParent().isNull());
    QCOMPARE(child->getPath(), QStringLiteral("/A/c"));
}

void tst_MFile::updateMetaInfoKeepsTreeAndDecorations()
{
    auto parent = node(QStringLiteral("p"), QStringLiteral("P"), true);
    parent->setRemotePathString(QStringLiteral("/P"));
    auto file = node(QStringLiteral("f"), QStringLiteral("old.txt"), true);
    auto child = node(QStringLiteral("c"), QStringLiteral("c"));
    MFile::addChild(file, parent);
    MFile::addChild(child, file);
    file->setPrivileges({ QStringLiteral("view"), QStringLiteral("download") });
    file->setAttribute(QStringLiteral("k"), QStringLiteral("v"));
    file->setThumbnailData("png");
    file->setStatus(MFile::StatusChildrenLoaded);
    file->setLocalPath(QStringLiteral("/local/old.txt"));

    MFile meta;
    meta.setId(QStringLiteral("f"));
    meta.setFileName(QStringLiteral("new.txt"));
    meta.setWorkspaceId(QStringLiteral("w"));
    meta.setParentId(QStringLiteral("p"));
    meta.setIsFolder(true);
    meta.setSize(99);
    meta.setDigest(QStringLiteral("dd"));
    meta.setRevisionNumber(4);
    meta.setCreateTime(QDateTime::fromMSecsSinceEpoch(1000));
    meta.setUpdateTime(QDateTime::fromMSecsSinceEpoch(2000));
    meta.setIsUploading(true);
    meta.setUploadedSize(5);
    meta.setRemotePathString(QStringLiteral("/P/new.txt"));
    meta.setPrivileges({ QStringLiteral("grant") }); // not taken over
    meta.setStatus(MFile::StatusAttributesLoaded); // not taken over
    file->updateMetaInfo(meta);

    QCOMPARE(file->getFileName(), QStringLiteral("new.txt"));
    QCOMPARE(file->getWorkspaceId(), QStringLiteral("w"));
    QCOMPARE(file->getSize(), qint64(99));
    QCOMPARE(file->getDigest(), QStringLiteral("dd"));
    QCOMPARE(file->getRevisionNumber(), qint64(4));
    QCOMPARE(file->getCreateTime(), QDateTime::fromMSecsSinceEpoch(1000));
    QCOMPARE(file->getUpdateTime(), QDateTime::fromMSecsSinceEpoch(2000));
    QVERIFY(file->getIsUploading());
    QCOMPARE(file->getUploadedSize(), qint64(5));
    QCOMPARE(file->getRemotePathString(), QStringLiteral("/P/new.txt"));

    QCOMPARE(file->getParent(), parent);
    QCOMPARE(file->getChildren(), QList<QSharedPointer<MFile>>{ child });
    QCOMPARE(child->getParent(), file);
    QCOMPARE(file->getPrivileges(), (QList<QString>{ QStringLiteral("view"), QStringLiteral("download") }));
    QCOMPARE(file->getAttributes().value(QStringLiteral("k")), QStringLiteral("v"));
    QCOMPARE(file->getThumbnailData(), QByteArray("png"));
    QCOMPARE(file->getLocalPath(), QStringLiteral("/local/old.txt"));
    QCOMPARE(file->getStatus(), MFile::StatusChildrenLoaded | MFile::StatusThumbnailLoaded | MFile::StatusMetaLoaded);
    QCOMPARE(file->getPath(), QStringLiteral("/P/new.txt"));

    // A reply without id or workspace does not wipe them.
    MFile partial;
    partial.setFileName(QStringLiteral("again.txt"));
    file->updateMetaInfo(partial);
    QCOMPARE(file->getId(), QStringLiteral("f"));
    QCOMPARE(file->getWorkspaceId(), QStringLiteral("w"));
    QCOMPARE(file->getParentId(), QStringLiteral("p"));
    QCOMPARE(file->getRemotePathString(), QStringLiteral("/P/new.txt"));
}

void tst_MFile::copyTakesOwnDataOnly()
{
    auto parent = node(QStringLiteral("p"), QStringLiteral("P"), true);
    auto file = node(QStringLiteral("f"), QStringLiteral("F"), true);
    MFile::addChild(file, parent);
    MFile::addChild(node(QStringLiteral("c"), QStringLiteral("c")), file);
    file->setPrivileges({ QStringLiteral("view") });
    file->setStatus(MFile::StatusChildrenLoaded);

    const MFile copy(*file);
    QCOMPARE(copy.getId(), QStringLiteral("f"));
    QCOMPARE(copy.getParentId(), QStringLiteral("p"));
    QCOMPARE(copy.getPrivileges(), QList<QString>{ QStringLiteral("view") });
    QVERIFY(copy.hasStatus(MFile::StatusChildrenLoaded));
    QVERIFY(copy.getParent().isNull());
    QVERIFY(copy.getChildren().isEmpty());

    MFile assigned;
    assigned = *file;
    QCOMPARE(assigned.toJson(), file->toJson());
    QVERIFY(assigned.getChildren().isEmpty());
    QCOMPARE(file->getChildren().size(), 1); // the source keeps its tree
}

void tst_MFile::statusFlags_data()
{
    QTest::addColumn<QList<int>>("set");
    QTest::addColumn<int>("query");
    QTest::addColumn<bool>("expected");

    QTest::newRow("nothing set") << QList<int>() << 8 << false;
    QTest::newRow("set one") << QList<int>{ 8 } << 8 << true;
    QTest::newRow("set adds") << QList<int>{ 8, 16 } << 8 << true;
    QTest::newRow("set adds, second") << QList<int>{ 8, 16 } << 16 << true;
    QTest::newRow("other flag") << QList<int>{ 16 } << 32 << false;
    QTest::newRow("combined query needs all") << QList<int>{ 8 } << (8 | 16) << false;
    QTest::newRow("combined query satisfied") << QList<int>{ 8 | 32, 16 } << (8 | 16 | 32) << true;
    QTest::newRow("zero is never a flag") << QList<int>{ 8 } << 0 << false;
}

void tst_MFile::statusFlags()
{
    QFETCH(QList<int>, set);
    QFETCH(int, query);
    QFETCH(bool, expected);

    MFile file;
    for (int flags : set)
        file.setStatus(flags);
    QCOMPARE(file.hasStatus(query), expected);
}

void tst_MFile::statusNamedValues()
{
    QCOMPARE(int(MFile::StatusChildrenLoaded), 8);
    QCOMPARE(int(MFile::StatusThumbnailLoaded), 16);
    QCOMPARE(int(MFile::StatusAttributesLoaded), 32);

    MFile file;
    file.setStatus(MFile::StatusChildrenLoaded | MFile::StatusThumbnailLoaded);
    file.clearStatus(MFile::StatusChildrenLoaded);
    QVERIFY(!file.hasStatus(MFile::StatusChildrenLoaded));
    QVERIFY(file.hasStatus(MFile::StatusThumbnailLoaded));
    QCOMPARE(file.getStatus(), int(MFile::StatusThumbnailLoaded));
}

void tst_MFile::thumbnailSetsFlag()
{
    MFile file;
    QVERIFY(!file.hasStatus(MFile::StatusThumbnailLoaded));
    file.setThumbnailData(QByteArray("\x89PNG", 4));
    QVERIFY(file.hasStatus(MFile::StatusThumbnailLoaded));
    QCOMPARE(file.getThumbnailData().size(), 4);
}

void tst_MFile::weakFileMetaType()
{
    const QMetaType byFullName = QMetaType::fromName("Trelan::Oku::ZYRModel::MWeakFile");
    QVERIFY(byFullName.isValid());
    QCOMPARE(byFullName, QMetaType::fromType<MWeakFile>());
    QCOMPARE(QMetaType::fromName("MWeakFile"), QMetaType::fromType<MWeakFile>());
    QVERIFY(QMetaType::fromName("QList<MWeakFile>").isValid());
    registerModelMetaTypes(); // harmless a second time
    QCOMPARE(QMetaType::fromName("Trelan::Oku::ZYRModel::MWeakFile"), byFullName);
}

void tst_MFile::weakFileThroughQueuedConnection()
{
    WeakFileSender sender;
    WeakFileReceiver receiver;
    QVERIFY(QObject::connect(&sender, SIGNAL(fileReady(Trelan::Oku::ZYRModel::MWeakFile)), &receiver,
                             SLOT(take(Trelan::Oku::ZYRModel::MWeakFile)), Qt::QueuedConnection));
    auto file = node(QStringLiteral("f"), QStringLiteral("F"));
    emit sender.fileReady(file.toWeakRef());
    QVERIFY(receiver.received.isNull()); // queued, not delivered yet
    QTRY_COMPARE(receiver.received, file);
}

QTEST_GUILESS_MAIN(tst_MFile)
#include "tst_mfile.moc"
