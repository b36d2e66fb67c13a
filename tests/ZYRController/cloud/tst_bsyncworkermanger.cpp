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
    void waitEndsWhenTheEndsAddUp_data();
    void waitEndsWhenTheEndsAddUp();
};

void tst_BSyncWorkerManger::waitEndsWhenTheEndsAddUp_data()
{
    QTest::addColumn<int>("workers");
    QTest::addColumn<QList<int>>("ends"); // worker index per ended(); -1: the first, before the wait
    QTest::addColumn<int>("intervalMs");
    QTest::addColumn<bool>("looped"); // a nested event loop ran
    QTest::addColumn<bool>("timedOut");

    QTest::newRow("no workers: back at once") << 0 << QList<int>{} << 60000 << false << false;
    QTest::newRow("every worker ends") << 3 << QList<int>{ 0, 1, 2 } << 60000 << true << false;
    QTest::newRow("a worker ending twice counts twice") << 2 << QList<int>{ 0, 0 } << 60000 << true << false;
    QTest::newRow("ended before the wait") << 1 << QList<int>{ -1 } << 60000 << false << false;
    QTest::newRow("a missing end waits for the interval") << 2 << QList<int>{ 1 } << 50 << true << true;
}

void tst_BSyncWorkerManger::waitEndsWhenTheEndsAddUp()
{
    QFETCH(int, workers);
    QFETCH(QList<int>, ends);
    QFETCH(int, intervalMs);
    QFETCH(bool, looped);
    QFETCH(bool, timedOut);

    BSyncWorkerManger waiter(intervalMs);
    QSignalSpy timeouts(waiter.findChild<QTimer*>(), &QTimer::timeout);
    std::vector<std::unique_ptr<BSyncWorker>> list;
    for (int i = 0; i < workers; ++i) {
        list.push_back(std::make_unique<BSyncWorker>());
        waiter.addWorker(list.back().get());
    }
    bool loopRan = false;
    QObject scope; // the timers die with the test function
    QTimer::singleShot(0, &scope, [&] { loopRan = true; });
    for (int index : std::as_const(ends)) {
        if (index < 0)
            list.front()->notifyEnded();
        else
            QTimer::singleShot(0, &scope, [&list, index] { list.at(index)->notifyEnded(); });
    }
    waiter.wait();
    QCOMPARE(loopRan, looped);
    QCOMPARE(timeouts.count() > 0, timedOut);
}

QTEST_GUILESS_MAIN(tst_BSyncWorkerManger)
#include "tst_bsyncworkermanger.moc"
