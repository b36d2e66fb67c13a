// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "HandlerHarness.h"

#include <ZYRController/BQueryAllWorkspaceHandler.h>
#include <ZYRController/BQueryWorkspaceQuotaHandler.h>

#include <ZYRModel/MWorkspace.h>
#include <ZYRModel/MWorkspaceQuota.h>

#include <QTest>

#include <memory>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRModel;
using namespace Trelan::Oku::ZYRTest;

class TestWorkspaceHandlers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void workspaceList_data();
    void workspaceList();
    void workspaceListCopiesSurviveTheHandler();
    void quota_data();
    void quota();
};

void TestWorkspaceHandlers::workspaceList_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("merge");
    QTest::addColumn<QStringList>("ids");

    QTest::newRow("two, in answer order")
            << 200 << QByteArray(R"({"items":[{"id":"w2","name":"B"},{"id":"w1","name":"A","isDefault":true}]})")
            << true << QStringList{ QStringLiteral("w2"), QStringLiteral("w1") };
    QTest::newRow("no workspaces") << 200 << QByteArray(R"({"items":[]})") << false << QStringList();
    QTest::newRow("not an object") << 200 << QByteArray(R"([{"id":"w1"}])") << false << QStringList();
    QTest::newRow("500") << 500 << QByteArray(R"({"items":[{"id":"w1"}]})") << true << QStringList();
}

void TestWorkspaceHandlers::workspaceList()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, merge);
    QFETCH(QStringList, ids);

    TestOwner owner;
    QStringList seenIds;
    bool seenMerge = !merge;
    auto* handler = new BQueryAllWorkspaceHandler(owner.caller(), merge);
    QVERIFY(answer<BQueryAllWorkspaceHandler>(handler, owner, status, body, [&](BQueryAllWorkspaceHandler* h) {
        for (const MWorkspace* workspace : *h->workspaces())
            seenIds << workspace->getId();
        seenMerge = h->isMerge();
    }));
    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(seenIds, ids);
    QCOMPARE(seenMerge, merge);
}

void TestWorkspaceHandlers::workspaceListCopiesSurviveTheHandler()
{
    // The owner copies during the callback; the handler deletes its own
    // objects (a kept pointer would be a use-after-free under the sanitizer).
    TestOwner owner;
    std::unique_ptr<MWorkspace> copy;
    auto* handler = new BQueryAllWorkspaceHandler(owner.caller(), false);
    QVERIFY(answer<BQueryAllWorkspaceHandler>(handler, owner, 200,
                                              QByteArray(R"({"items":[{"id":"w1","name":"Alpha","isDefault":true}]})"),
                                              [&](BQueryAllWorkspaceHandler* h) {
                                                  QCOMPARE(h->workspaces()->size(), 1);
                                                  copy = std::make_unique<MWorkspace>(*h->workspaces()->first());
                                              }));
    QVERIFY(copy);
    QCOMPARE(copy->getName(), QStringLiteral("Alpha"));
    QVERIFY(copy->isDefaultWorkspace());
}

void TestWorkspaceHandlers::quota_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("hasQuota");
    QTest::addColumn<qint64>("usedSize");

    QTest::newRow("quota") << 200 << QByteArray(R"({"workspaceId":"w1","usedSize":1024,"totalSize":4096})") << true
                           << qint64(1024);
    QTest::newRow("empty object") << 200 << QByteArray("{}") << true << qint64(0);
    QTest::newRow("not an object") << 200 << QByteArray("1024") << false << qint64(0);
    QTest::newRow("404") << 404 << QByteArray(R"({"usedSize":1})") << false << qint64(0);
}

void TestWorkspaceHandlers::quota()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, hasQuota);
    QFETCH(qint64, usedSize);

    TestOwner owner;
    std::unique_ptr<MWorkspaceQuota> quota;
    QString workspaceId;
    auto* handler = new BQueryWorkspaceQuotaHandler(owner.caller(), QStringLiteral("w1"));
    QVERIFY(answer<BQueryWorkspaceQuotaHandler>(handler, owner, status, body, [&](BQueryWorkspaceQuotaHandler* h) {
        quota.reset(h->takeQuota(true));
        QVERIFY(!h->takeQuota(false)); // released: the handler no longer holds it
        workspaceId = h->workspaceId();
    }));
    QCOMPARE(bool(quota), hasQuota);
    QCOMPARE(workspaceId, QStringLiteral("w1"));
    if (quota)
        QCOMPARE(quota->getUsedSize(), usedSize);
}

QTEST_GUILESS_MAIN(TestWorkspaceHandlers)
#include "tst_workspacehandlers.moc"
