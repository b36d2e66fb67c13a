// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "HandlerHarness.h"
#include "TestOwner.h"

#include <ReplyWiring.h>
#include <ScriptedReply.h>

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BReplyHandlerBase.h>
#include <ZYRController/BSimpleResultHandler.h>

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRTest;

namespace {

enum class Reader { None, RootObject, Envelope, Data, DataArray, DataObject };

/// What a probe saw while parsing; lives outside the handler, which is gone
/// when the test looks.
struct ParseRecord {
    int parseCalls = 0;
    bool readerResult = false;
    QJsonValue readerOut;
    QByteArray bodyLeftAfterRead;
};

// Marks "out untouched" for the readers that leave it alone on failure.
QJsonObject sentinel()
{
    return QJsonObject{ { QStringLiteral("sentinel"), true } };
}

/// A handler that exposes the base's parse helpers.
class ProbeHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    ProbeHandler(BActionFinishedCallerBase* caller, ParseRecord* record, Reader reader = Reader::None)
        : BReplyHandlerBase(caller), m_record(record), m_reader(reader)
    {
    }

protected:
    void parseReply() override
    {
        ++m_record->parseCalls;
        switch (m_reader) {
        case Reader::None:
            return;
        case Reader::RootObject: {
            QJsonObject out = sentinel();
            m_record->readerResult = readRootObject(out);
            m_record->readerOut = out;
            break;
        }
        case Reader::Envelope: {
            QJsonObject out = sentinel();
            m_record->readerResult = readEnvelope(out);
            m_record->readerOut = out;
            break;
        }
        case Reader::Data: {
            QJsonValue out = sentinel();
            m_record->readerResult = readData(out);
            m_record->readerOut = out;
            break;
        }
        case Reader::DataArray: {
            QJsonArray out{ QStringLiteral("sentinel") };
            m_record->readerResult = readDataArray(out);
            m_record->readerOut = out;
            break;
        }
        case Reader::DataObject: {
            QJsonObject out = sentinel();
            m_record->readerResult = readDataObject(out);
            m_record->readerOut = out;
            break;
        }
        }
        m_record->bodyLeftAfterRead = readBody();
    }

private:
    ParseRecord* m_record;
    Reader m_reader;
};

/// A caller outside the template, counting calls and its own destruction
/// in counters that outlive it.
struct CallerCounters {
    int finished = 0;
    int destroyed = 0;
};

class CountingCaller final : public BActionFinishedCallerBase {
public:
    explicit CountingCaller(CallerCounters* counters)
        : BActionFinishedCallerBase(&CountingCaller::deleteCaller), m_counters(counters)
    {
    }
    ~CountingCaller() { ++m_counters->destroyed; }

    void onFinished(BReplyHandlerBase*) override { ++m_counters->finished; }
    void onDownloadProgress(qint64, qint64) override { }
    void onUploadProgress(qint64, qint64) override { }

private:
    static void deleteCaller(BActionFinishedCallerBase* caller) { delete static_cast<CountingCaller*>(caller); }
    CallerCounters* m_counters;
};

/// An owner subclass: the override, not the base function, must be called.
class OverridingOwner : public TestOwner {
public:
    void onRequestFinished(BReplyHandlerBase*) override { ++overrideCalls; }
    int overrideCalls = 0;
};

QJsonValue parseJsonValue(const QByteArray& text)
{
    // Wrapped, so that scalars and arrays parse as well as objects.
    return QJsonDocument::fromJson("{\"v\":" + text + "}").object().value(QStringLiteral("v"));
}

} // namespace

Q_DECLARE_METATYPE(Reader)

class TestBReplyHandlerBase : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void bodyReaders_data();
    void bodyReaders();
    void simpleResult_data();
    void simpleResult();
    void onlyStatus200IsParsed_data();
    void onlyStatus200IsParsed();
    void networkErrorIsRecorded_data();
    void networkErrorIsRecorded();
    void cancelInFlightNeverCallsOwnerButDeletesEverything();
    void cancelAfterBodyArrivedStillParsesButNeverCallsOwner();
    void cancelBeforeReplyExistsHasNoEffect();
    void nullOwnerOrFinishedFunctionIsSkipped_data();
    void nullOwnerOrFinishedFunctionIsSkipped();
    void ownerOverrideReceivesTheCall();
    void handlerDeletesItsCallerOnce();
    void finishWithoutReplyDoesNothing();
    void callerForwardsProgressOnlyToSetFunctions();
};

void TestBReplyHandlerBase::bodyReaders_data()
{
    QTest::addColumn<Reader>("reader");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("expectedResult");
    QTest::addColumn<QByteArray>("expectedOut"); // JSON text; "sentinel" = untouched

    const QByteArray untouched = "sentinel";
    const QByteArray untouchedArray = "[\"sentinel\"]";

    QTest::newRow("root: object") << Reader::RootObject << QByteArray(R"({"a":1})") << true << QByteArray(R"({"a":1})");
    QTest::newRow("root: empty object") << Reader::RootObject << QByteArray("{}") << true << QByteArray("{}");
    QTest::newRow("root: array") << Reader::RootObject << QByteArray("[1]") << false << untouched;
    QTest::newRow("root: not JSON") << Reader::RootObject << QByteArray("<html>") << false << untouched;
    QTest::newRow("root: empty body") << Reader::RootObject << QByteArray() << false << untouched;

    QTest::newRow("envelope: code 0 with data")
            << Reader::Envelope << QByteArray(R"({"code":0,"data":{"id":"x"}})") << true << QByteArray(R"({"id":"x"})");
    QTest::newRow("envelope: code 0 without data")
            << Reader::Envelope << QByteArray(R"({"code":0,"id":"r"})") << true << QByteArray(R"({"code":0,"id":"r"})");
    QTest::newRow("envelope: code 5 with data")
            << Reader::Envelope << QByteArray(R"({"code":5,"data":{"id":"x"},"message":"no"})") << false
            << QByteArray(R"({"code":5,"data":{"id":"x"},"message":"no"})");
    QTest::newRow("envelope: bare object")
            << Reader::Envelope << QByteArray(R"({"id":"x"})") << true << QByteArray(R"({"id":"x"})");
    // Without "code" the object is no envelope, even with a "data" member.
    QTest::newRow("envelope: data without code") << Reader::Envelope << QByteArray(R"({"data":{"id":"x"},"n":1})")
                                                 << true << QByteArray(R"({"data":{"id":"x"},"n":1})");
    QTest::newRow("envelope: code 0, data null")
            << Reader::Envelope << QByteArray(R"({"code":0,"data":null})") << true << QByteArray("{}");
    QTest::newRow("envelope: array") << Reader::Envelope << QByteArray(R"([{"code":0}])") << false << untouched;
    QTest::newRow("envelope: not JSON") << Reader::Envelope << QByteArray("oops") << false << untouched;

    QTest::newRow("data: null") << Reader::Data << QByteArray(R"({"data":null})") << false << untouched;
    QTest::newRow("data: missing") << Reader::Data << QByteArray(R"({"items":[]})") << false << untouched;
    QTest::newRow("data: false is a value")
            << Reader::Data << QByteArray(R"({"data":false})") << true << QByteArray("false");
    QTest::newRow("data: array") << Reader::Data << QByteArray(R"({"data":[1,2]})") << true << QByteArray("[1,2]");

    QTest::newRow("data array: object") << Reader::DataArray << QByteArray(R"({"data":{"a":1}})") << false
                                        << untouchedArray;
    QTest::newRow("data array: empty array")
            << Reader::DataArray << QByteArray(R"({"data":[]})") << true << QByteArray("[]");
    QTest::newRow("data array: null") << Reader::DataArray << QByteArray(R"({"data":null})") << false << untouchedArray;

    QTest::newRow("data object: empty") << Reader::DataObject << QByteArray(R"({"data":{}})") << false << untouched;
    QTest::newRow("data object: object") << Reader::DataObject << QByteArray(R"({"data":{"a":1}})") << true
                                         << QByteArray(R"({"a":1})");
    QTest::newRow("data object: array") << Reader::DataObject << QByteArray(R"({"data":[{"a":1}]})") << false
                                        << untouched;
}

void TestBReplyHandlerBase::bodyReaders()
{
    QFETCH(Reader, reader);
    QFETCH(QByteArray, body);
    QFETCH(bool, expectedResult);
    QFETCH(QByteArray, expectedOut);

    TestOwner owner;
    ParseRecord record;
    auto* handler = new ProbeHandler(owner.caller(), &record, reader);
    QVERIFY(runToCompletion(handler, new ScriptedReply(200, body)));

    QCOMPARE(record.parseCalls, 1);
    QCOMPARE(record.readerResult, expectedResult);
    const QJsonValue expected = expectedOut == "sentinel" ? QJsonValue(sentinel()) : parseJsonValue(expectedOut);
    QCOMPARE(record.readerOut, expected);
    // Each reader consumes the body: a second read sees nothing.
    QVERIFY(record.bodyLeftAfterRead.isEmpty());
    QCOMPARE(owner.finishedCalls, 1);
}

void TestBReplyHandlerBase::simpleResult_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("success");

    QTest::newRow("success") << 200 << QByteArray(R"({"result":"success"})") << true;
    QTest::newRow("SUCCESS") << 200 << QByteArray(R"({"result":"SUCCESS"})") << true;
    QTest::newRow("SuCcEsS") << 200 << QByteArray(R"({"result":"SuCcEsS"})") << true;
    QTest::newRow("ok") << 200 << QByteArray(R"({"result":"ok"})") << false;
    QTest::newRow("empty object") << 200 << QByteArray("{}") << false;
    QTest::newRow("array") << 200 << QByteArray(R"(["success"])") << false;
    QTest::newRow("plain text") << 200 << QByteArray("success") << false;
    QTest::newRow("result not a string") << 200 << QByteArray(R"({"result":true})") << false;
    QTest::newRow("message instead of result") << 200 << QByteArray(R"({"message":"success"})") << false;
    QTest::newRow("success body with 201") << 201 << QByteArray(R"({"result":"success"})") << false;
    QTest::newRow("success body with 500") << 500 << QByteArray(R"({"result":"success"})") << false;
}

void TestBReplyHandlerBase::simpleResult()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, success);

    TestOwner owner;
    bool seenSuccess = !success;
    auto* handler = new BSimpleResultHandler(owner.caller());
    QVERIFY(answer<BSimpleResultHandler>(handler, owner, status, body,
                                         [&](BSimpleResultHandler* h) { seenSuccess = h->isSuccess(); }));
    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(seenSuccess, success);
}

void TestBReplyHandlerBase::onlyStatus200IsParsed_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("expectedStatusCode");
    QTest::addColumn<bool>("parsed");

    QTest::newRow("200") << 200 << 200 << true;
    QTest::newRow("201") << 201 << 201 << false;
    QTest::newRow("204") << 204 << 204 << false;
    QTest::newRow("304") << 304 << 304 << false;
    QTest::newRow("401") << 401 << 401 << false;
    QTest::newRow("500") << 500 << 500 << false;
    QTest::newRow("no status") << 0 << 0 << false;
    // The status is kept in 16 bits: 65536 + 200 reads as 200.
    QTest::newRow("wraps at 16 bits") << 65736 << 200 << true;
}

void TestBReplyHandlerBase::onlyStatus200IsParsed()
{
    QFETCH(int, status);
    QFETCH(int, expectedStatusCode);
    QFETCH(bool, parsed);

    TestOwner owner;
    ParseRecord record;
    int seenStatus = -1;
    bool seenOk = !parsed;
    owner.inspect = [&](BReplyHandlerBase* h) {
        seenStatus = h->statusCode();
        seenOk = h->isStatusOk();
    };
    auto* handler = new ProbeHandler(owner.caller(), &record);
    auto* reply = new ScriptedReply(status, QByteArray(R"({"result":"success"})"));
    QSignalSpy replyDestroyed(reply, &QObject::destroyed);
    QVERIFY(runToCompletion(handler, reply));

    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(record.parseCalls, parsed ? 1 : 0);
    QCOMPARE(seenStatus, expectedStatusCode);
    QCOMPARE(seenOk, parsed);
    QTRY_COMPARE(replyDestroyed.count(), 1);
}

void TestBReplyHandlerBase::networkErrorIsRecorded_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("error");

    QTest::newRow("connection refused, no status") << 0 << int(QNetworkReply::ConnectionRefusedError);
    QTest::newRow("404") << 404 << int(QNetworkReply::ContentNotFoundError);
    QTest::newRow("401") << 401 << int(QNetworkReply::AuthenticationRequiredError);
}

void TestBReplyHandlerBase::networkErrorIsRecorded()
{
    QFETCH(int, status);
    QFETCH(int, error);

    TestOwner owner;
    int seenStatus = -1;
    int seenError = -1;
    QString seenText;
    owner.inspect = [&](BReplyHandlerBase* h) {
        seenStatus = h->statusCode();
        seenError = h->errorCode();
        seenText = h->errorString();
    };
    ParseRecord record;
    auto* handler = new ProbeHandler(owner.caller(), &record);
    auto* reply = new ScriptedReply(status, QByteArray("{}"));
    reply->setNetworkError(QNetworkReply::NetworkError(error), QStringLiteral("scripted failure"));
    QVERIFY(runToCompletion(handler, reply));

    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(record.parseCalls, 0);
    QCOMPARE(seenStatus, status);
    QCOMPARE(seenError, error);
    QCOMPARE(seenText, QStringLiteral("scripted failure"));
}

void TestBReplyHandlerBase::cancelInFlightNeverCallsOwnerButDeletesEverything()
{
    TestOwner owner;
    ParseRecord record;
    auto* handler = new ProbeHandler(owner.caller(), &record);
    auto* reply = new ScriptedReply(200, QByteArray("{}")); // never started: still in flight
    QSignalSpy handlerDestroyed(handler, &QObject::destroyed);
    QSignalSpy replyDestroyed(reply, &QObject::destroyed);
    wireReply(handler, reply);

    handler->slotCancel();
    QVERIFY(handler->isCancelled());
    QVERIFY(reply->wasAborted());

    QTRY_COMPARE(handlerDestroyed.count(), 1);
    QTRY_COMPARE(replyDestroyed.count(), 1);
    QCOMPARE(owner.finishedCalls, 0);
    QCOMPARE(record.parseCalls, 0); // an aborted reply has no status
}

void TestBReplyHandlerBase::cancelAfterBodyArrivedStillParsesButNeverCallsOwner()
{
    TestOwner owner;
    ParseRecord record;
    auto* handler = new ProbeHandler(owner.caller(), &record);
    auto* reply = new ScriptedReply(200, QByteArray("{}"));
    QSignalSpy handlerDestroyed(handler, &QObject::destroyed);
    QSignalSpy replyDestroyed(reply, &QObject::destroyed);
    // The cancel arrives after the reply finished but before the handler
    // heard of it: connected first, so it runs first.
    connect(reply, &QNetworkReply::finished, handler, &BReplyHandlerBase::slotCancel);
    wireReply(handler, reply);
    reply->start();

    QTRY_COMPARE(handlerDestroyed.count(), 1);
    QTRY_COMPARE(replyDestroyed.count(), 1);
    QCOMPARE(record.parseCalls, 1);
    QCOMPARE(owner.finishedCalls, 0);
}

void TestBReplyHandlerBase::cancelBeforeReplyExistsHasNoEffect()
{
    TestOwner owner;
    bool seenCancelled = true;
    owner.inspect = [&](BReplyHandlerBase* h) { seenCancelled = h->isCancelled(); };
    ParseRecord record;
    auto* handler = new ProbeHandler(owner.caller(), &record);

    handler->slotCancel();
    QVERIFY(!handler->isCancelled());

    QVERIFY(runToCompletion(handler, new ScriptedReply(200, QByteArray("{}"))));
    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(record.parseCalls, 1);
    QVERIFY(!seenCancelled);
}

void TestBReplyHandlerBase::nullOwnerOrFinishedFunctionIsSkipped_data()
{
    QTest::addColumn<bool>("nullOwner");
    QTest::addColumn<bool>("nullFunction");

    QTest::newRow("null owner") << true << false;
    QTest::newRow("null finished function") << false << true;
    QTest::newRow("both null") << true << true;
}

void TestBReplyHandlerBase::nullOwnerOrFinishedFunctionIsSkipped()
{
    QFETCH(bool, nullOwner);
    QFETCH(bool, nullFunction);

    TestOwner owner;
    auto* caller = new BActionFinishedCaller<TestOwner>(nullOwner ? nullptr : &owner,
                                                        nullFunction ? nullptr : &TestOwner::onRequestFinished);
    ParseRecord record;
    auto* handler = new ProbeHandler(caller, &record);
    auto* reply = new ScriptedReply(200, QByteArray("{}"));
    QSignalSpy replyDestroyed(reply, &QObject::destroyed);

    QVERIFY(runToCompletion(handler, reply));
    QTRY_COMPARE(replyDestroyed.count(), 1);
    QCOMPARE(owner.finishedCalls, 0);
    QCOMPARE(record.parseCalls, 1);
}

void TestBReplyHandlerBase::ownerOverrideReceivesTheCall()
{
    OverridingOwner owner;
    ParseRecord record;
    // The caller holds &TestOwner::onRequestFinished; the call is virtual.
    auto* handler = new ProbeHandler(owner.caller(), &record);
    QVERIFY(runToCompletion(handler, new ScriptedReply(200, QByteArray("{}"))));
    QCOMPARE(owner.overrideCalls, 1);
    QCOMPARE(owner.finishedCalls, 0);
}

void TestBReplyHandlerBase::handlerDeletesItsCallerOnce()
{
    CallerCounters counters;
    ParseRecord record;
    auto* handler = new ProbeHandler(new CountingCaller(&counters), &record);
    QVERIFY(runToCompletion(handler, new ScriptedReply(500, QByteArray())));
    QCOMPARE(counters.finished, 1);
    QCOMPARE(counters.destroyed, 1);
}

void TestBReplyHandlerBase::finishWithoutReplyDoesNothing()
{
    TestOwner owner;
    ParseRecord record;
    auto* handler = new ProbeHandler(owner.caller(), &record);
    QSignalSpy handlerDestroyed(handler, &QObject::destroyed);

    handler->slotFinished();
    handler->slotError(QNetworkReply::HostNotFoundError);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    QCOMPARE(handlerDestroyed.count(), 0);
    QCOMPARE(owner.finishedCalls, 0);
    QCOMPARE(record.parseCalls, 0);
    QCOMPARE(handler->errorCode(), 0);
    QCOMPARE(handler->statusCode(), 200); // initial value, no reply to read from
    delete handler;
}

void TestBReplyHandlerBase::callerForwardsProgressOnlyToSetFunctions()
{
    TestOwner owner;
    BActionFinishedCaller<TestOwner> both(&owner, nullptr, &TestOwner::onDownloadProgress,
                                          &TestOwner::onUploadProgress);
    both.onDownloadProgress(3, 10);
    both.onUploadProgress(7, 9);
    both.onFinished(nullptr); // no finished function, no handler: nothing happens

    BActionFinishedCaller<TestOwner> finishedOnly(&owner, &TestOwner::onRequestFinished);
    finishedOnly.onDownloadProgress(1, 1);
    finishedOnly.onUploadProgress(1, 1);
    finishedOnly.onFinished(nullptr); // a null handler is never passed on

    BActionFinishedCaller<TestOwner> noOwner(nullptr, nullptr, &TestOwner::onDownloadProgress);
    noOwner.onDownloadProgress(5, 5);

    const QList<QPair<qint64, qint64>> expectedDownload{ { 3, 10 } };
    const QList<QPair<qint64, qint64>> expectedUpload{ { 7, 9 } };
    QCOMPARE(owner.downloadProgress, expectedDownload);
    QCOMPARE(owner.uploadProgress, expectedUpload);
    QCOMPARE(owner.finishedCalls, 0);
}

QTEST_GUILESS_MAIN(TestBReplyHandlerBase)
#include "tst_breplyhandlerbase.moc"
