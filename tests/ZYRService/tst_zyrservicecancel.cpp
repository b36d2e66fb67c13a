// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// Cancelling requests in flight, on the calling thread and on worker
// threads with their own event loops, and what happens to requests whose
// thread or handler goes away first.

#include "RecordingHandler.h"
#include "ScriptedHttpServer.h"

#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRDocument.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QBuffer>
#include <QTest>
#include <QThread>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

using namespace Trelan::Oku::ZYRService;
using Trelan::Oku::ZYRInterface::INetworkReplyHandler;

namespace {

const QString kToken = QStringLiteral("tok-1");

using Records = QList<QSharedPointer<HandlerRecord>>;

// Runs posted work on the thread it lives in. The work is handed over under
// a std::mutex rather than inside Qt's event (whose lock ThreadSanitizer
// cannot see); the event only says "there is work".
class WorkQueue : public QObject {
    Q_OBJECT
public:
    void post(std::function<void()> work)
    {
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            m_work.push_back(std::move(work));
        }
        QMetaObject::invokeMethod(this, "drain", Qt::QueuedConnection);
    }

private Q_SLOTS:
    void drain()
    {
        std::vector<std::function<void()>> work;
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            work.swap(m_work);
        }
        for (const auto& item : work)
            item();
    }

private:
    std::mutex m_mutex;
    std::vector<std::function<void()>> m_work;
};

// A worker thread like the transfer and backup workers: run() is nothing
// but its own event loop.
class LoopThread : public QThread {
public:
    LoopThread() { m_queue.moveToThread(this); }
    ~LoopThread() override
    {
        quit();
        wait();
    }
    // Runs \a work on this thread's event loop.
    void post(std::function<void()> work) { m_queue.post(std::move(work)); }

protected:
    void run() override
    {
        exec();
        m_queue.moveToThread(nullptr); // it outlives the thread
    }

private:
    WorkQueue m_queue;
};

// Three kinds of request in flight: a query, a download and an upload.
Records issueThree(QBuffer* uploadSource)
{
    Records records;
    for (int i = 0; i < 3; ++i)
        records.append(QSharedPointer<HandlerRecord>::create());
    ZYRAccount::GetUserInfo(kToken, new RecordingHandler(records.at(0)));
    ZYRDocument::DownloadFile(kToken, QStringLiteral("w"), QStringLiteral("f"), 10, 0,
                              new RecordingHandler(records.at(1)));
    ZYRDocument::UploadFile(kToken, QStringLiteral("w"), QStringLiteral("/"), QStringLiteral("/f"),
                            uploadSource->size(), 0, uploadSource, new RecordingHandler(records.at(2)));
    return records;
}

} // namespace

class tst_ZYRServiceCancel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();

    void cancelOnTheCallingThread();
    void cancelReachesAWorkerThread();
    void cancelFromAWorkerThread();
    void finishedRequestsAreLeftAlone();
    void threadEndCancelsItsRequests();
    void threadEndDeliversPendingFailures();
    void handlerDeletedBeforeItsReply();

private:
    ScriptedHttpServer* m_server = nullptr;
};

void tst_ZYRServiceCancel::init()
{
    delete m_server;
    m_server = new ScriptedHttpServer(this);
    QVERIFY(m_server->listen());
    m_server->setHandler([](const ScriptedRequest&) { return ScriptedResponse::held(); });
    ZYRServiceUtil::setServerUrl(m_server->url());
    ZYRServiceUtil::setRequestTimeout(0);
}

void tst_ZYRServiceCancel::cancelOnTheCallingThread()
{
    QBuffer source;
    source.setData(QByteArray(1000, 'u'));
    QVERIFY(source.open(QIODevice::ReadOnly));
    const Records records = issueThree(&source);
    QTRY_COMPARE(m_server->heldCount(), 3);

    ZYRServiceUtil::CancelUnfinishedRequests();
    // Same-thread requests are cancelled at once, through their handlers.
    for (const auto& record : records) {
        QCOMPARE(record->finishedCount(), 1);
        QVERIFY(record->cancelled());
        QCOMPARE(record->lastError(), QNetworkReply::OperationCanceledError);
        QCOMPARE(record->statusCode(), 0);
    }
    for (const auto& record : records) {
        QTRY_VERIFY(record->destroyed());
        QCOMPARE(record->events(),
                 QStringList({ QStringLiteral("cancel"), QStringLiteral("error"), QStringLiteral("finished"),
                               QStringLiteral("destroyed") }));
    }
    QTRY_COMPARE(m_server->closedConnections(), 3);
}

void tst_ZYRServiceCancel::cancelReachesAWorkerThread()
{
    LoopThread worker;
    worker.start();
    QBuffer source;
    source.setData(QByteArray(1000, 'u'));
    QVERIFY(source.open(QIODevice::ReadOnly));
    Records records;
    QAtomicInt issued;
    worker.post([&] {
        records = issueThree(&source);
        issued.storeRelease(1);
    });
    QTRY_COMPARE(issued.loadAcquire(), 1);
    QTRY_COMPARE(m_server->heldCount(), 3);

    ZYRServiceUtil::CancelUnfinishedRequests();
    for (const auto& record : records) {
        QTRY_VERIFY(record->destroyed());
        QCOMPARE(record->finishedCount(), 1);
        QVERIFY(record->cancelled());
        // Handlers are only ever called on the thread that issued them.
        QCOMPARE(record->slotThread(), &worker);
    }
    QTRY_COMPARE(m_server->closedConnections(), 3);
}

void tst_ZYRServiceCancel::cancelFromAWorkerThread()
{
    auto record = QSharedPointer<HandlerRecord>::create();
    ZYRDocument::GetChildFiles(kToken, QStringLiteral("w"), QString(), new RecordingHandler(record), false);
    QTRY_COMPARE(m_server->heldCount(), 1);

    LoopThread worker;
    worker.start();
    worker.post([] { ZYRServiceUtil::CancelUnfinishedRequests(); });
    QTRY_VERIFY(record->destroyed());
    QVERIFY(record->cancelled());
    QCOMPARE(record->slotThread(), QThread::currentThread());
}

void tst_ZYRServiceCancel::finishedRequestsAreLeftAlone()
{
    m_server->setHandler([](const ScriptedRequest&) { return ScriptedResponse(); });
    auto record = QSharedPointer<HandlerRecord>::create();
    ZYRAccount::GetUserInfo(kToken, new RecordingHandler(record));
    QTRY_COMPARE(record->finishedCount(), 1);
    // Finished, but its handler and reply have not been deleted yet.
    ZYRServiceUtil::CancelUnfinishedRequests();
    QVERIFY(!record->cancelled());
    QTRY_VERIFY(record->destroyed());
    QCOMPARE(record->statusCode(), 200);
}

void tst_ZYRServiceCancel::threadEndCancelsItsRequests()
{
    auto worker = std::make_unique<LoopThread>();
    worker->start();
    QBuffer source;
    source.setData(QByteArray(1000, 'u'));
    QVERIFY(source.open(QIODevice::ReadOnly));
    Records records;
    QAtomicInt issued;
    worker->post([&] {
        records = issueThree(&source);
        issued.storeRelease(1);
    });
    QTRY_COMPARE(issued.loadAcquire(), 1);
    QTRY_COMPARE(m_server->heldCount(), 3);

    // A stopped worker leaves its loop with requests still in flight: they
    // are cancelled on the way out, their handlers finish and are deleted
    // before the thread's manager goes.
    worker->quit();
    QVERIFY(worker->wait(10000));
    for (const auto& record : records) {
        QVERIFY(record->destroyed());
        QCOMPARE(record->finishedCount(), 1);
        QVERIFY(record->cancelled());
    }
    QTRY_COMPARE(m_server->closedConnections(), 3);
}

void tst_ZYRServiceCancel::threadEndDeliversPendingFailures()
{
    ZYRServiceUtil::setServerUrl(QUrl());
    LoopThread worker;
    worker.start();
    auto record = QSharedPointer<HandlerRecord>::create();
    // The failure would come on the next loop turn, which never comes.
    worker.post([&] {
        ZYRAccount::GetUserInfo(kToken, new RecordingHandler(record));
        QThread::currentThread()->quit();
    });
    QVERIFY(worker.wait(10000));
    QVERIFY(record->destroyed());
    QCOMPARE(record->finishedCount(), 1);
    QCOMPARE(record->lastError(), QNetworkReply::ProtocolUnknownError);
}

void tst_ZYRServiceCancel::handlerDeletedBeforeItsReply()
{
    auto record = QSharedPointer<HandlerRecord>::create();
    auto* handler = new RecordingHandler(record);
    ZYRAccount::GetUserInfo(kToken, handler);
    QTRY_COMPARE(m_server->heldCount(), 1);
    delete handler;
    // The orphaned request is stopped rather than kept open; the handler
    // heard nothing after its deletion.
    QTRY_COMPARE(m_server->closedConnections(), 1);
    QCOMPARE(record->events(), QStringList({ QStringLiteral("destroyed") }));
    ZYRServiceUtil::CancelUnfinishedRequests();
}

QTEST_MAIN(tst_ZYRServiceCancel)
#include "tst_zyrservicecancel.moc"
