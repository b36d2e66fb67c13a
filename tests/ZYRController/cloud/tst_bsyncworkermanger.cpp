// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BSyncWorker.h>
#include <ZYRController/BSyncWorkerManger.h>

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>
#include <vector>

using namespace Trelan::Oku::ZYRController;

class tst_BSyncWorkerManger : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void returnsAtOnceWithoutWorkers();
    void endsWhenTheEndsAddUp_data();
    void endsWhenTheEndsAddUp();
    void workersOfAnEarlierWaitDoNotCount();
};

void tst_BSyncWorkerManger::returnsAtOnceWithoutWorkers()
{
    BSyncWorkerManger waiter(600000);
    QSignalSpy timeouts(waiter.findChild<QTimer*>(), &QTimer::timeout);
    bool eventLoopRan = false;
    QObject scope; // the timer dies with the test function
    QTimer::singleShot(0, &scope, [&] { eventLoopRan = true; });
    waiter.wait();
    QVERIFY(!eventLoopRan); // no nested loop was entered
    QCOMPARE(timeouts.count(), 0);
}

void tst_BSyncWorkerManger::endsWhenTheEndsAddUp_data()
{
    QTest::addColumn<int>("workers");
    QTest::addColumn<QList<int>>("ends"); // worker index per ended(); -1: before the wait
    QTest::addColumn<int>("intervalMs");
    QTest::addColumn<bool>("timedOut");

    QTest::newRow("every worker ends") << 3 << QList<int>{ 0, 1, 2 } << 60000 << false;
    QTest::newRow("a worker ending twice counts twice") << 2 << QList<int>{ 0, 0 } << 60000 << false;
    QTest::newRow("ended before the wait") << 1 << QList<int>{ -1 } << 60000 << false;
    QTest::newRow("a missing end waits for the interval") << 2 << QList<int>{ 1 } << 50 << true;
}

void tst_BSyncWorkerManger::endsWhenTheEndsAddUp()
{
    QFETCH(int, workers);
    QFETCH(QList<int>, ends);
    QFETCH(int, intervalMs);
    QFETCH(bool, timedOut);

    BSyncWorkerManger waiter(intervalMs);
    QSignalSpy timeouts(waiter.findChild<QTimer*>(), &QTimer::timeout);
    std::vector<std::unique_ptr<BSyncWorker>> list;
    for (int i = 0; i < workers; ++i) {
        list.push_back(std::make_unique<BSyncWorker>());
        waiter.addWorker(list.back().get());
    }
    for (int index : std::as_const(ends)) {
        if (index < 0)
            list.front()->notifyEnded();
        else
            QTimer::singleShot(0, list.at(index).get(), &BSyncWorker::notifyEnded);
    }
    waiter.wait();
    QCOMPARE(timeouts.count() > 0, timedOut);
    QCOMPARE(waiter.workerCount(), 0);
    QCOMPARE(waiter.endedCount(), 0);
}

void tst_BSyncWorkerManger::workersOfAnEarlierWaitDoNotCount()
{
    BSyncWorkerManger waiter(50);
    BSyncWorker earlier;
    BSyncWorker later;
    waiter.addWorker(&earlier);
    earlier.notifyEnded();
    waiter.wait();

    QSignalSpy timeouts(waiter.findChild<QTimer*>(), &QTimer::timeout);
    waiter.addWorker(&later);
    QTimer::singleShot(0, &earlier, &BSyncWorker::notifyEnded);
    waiter.wait();
    QCOMPARE(timeouts.count(), 1);
}

QTEST_GUILESS_MAIN(tst_BSyncWorkerManger)
#include "tst_bsyncworkermanger.moc"
