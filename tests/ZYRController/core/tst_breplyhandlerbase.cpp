// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <HandlerHarness.h>

#include <QJsonDocument>
#include <QTest>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRTest;

namespace {

enum class Reader { RootObject, Envelope, Data, DataArray, DataObject };
enum class Ending { Answered, NullOwner, NullFunction, CancelBeforeRequest, CancelInFlight, CancelAsBodyArrives };

/// What a probe saw while parsing (it outlives the handler); its readers' "out" starts as a marker.
struct Probe {
    Reader reader = Reader::RootObject;
    int parses = 0;
    bool result = false;
    QJsonValue out;
};

/// Runs one of the base's body readers on a 200 answer.
class ProbeHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    ProbeHandler(BActionFinishedCallerBase* caller, Probe* probe) : BReplyHandlerBase(caller), m_probe(probe) { }

protected:
    void parseReply() override
    {
        ++m_probe->parses;
        const QJsonObject marker{ { QStringLiteral("untouched"), true } };
        QJsonObject object = marker;
        QJsonArray array{ marker };
        QJsonValue value = marker;
        const Reader reader = m_probe->reader;
        m_probe->result = reader == Reader::RootObject ? readRootObject(object)
                : reader == Reader::Envelope           ? readEnvelope(object)
                : reader == Reader::Data               ? readData(value)
                : reader == Reader::DataArray          ? readDataArray(array)
                                                       : readDataObject(object);
        m_probe->out = reader == Reader::Data ? value : reader == Reader::DataArray ? QJsonValue(array) : object;
    }

private:
    Probe* m_probe;
};

} // namespace

Q_DECLARE_METATYPE(Reader)
Q_DECLARE_METATYPE(Ending)

class TestBReplyHandlerBase : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void bodyReaders_data();
    void bodyReaders();
    void onlyStatus200IsParsed_data();
    void onlyStatus200IsParsed();
    void ownerCalledOnceOrNeverAndAllDeleted_data();
    void ownerCalledOnceOrNeverAndAllDeleted();

private:
    HandlerHarness m_harness;
};

void TestBReplyHandlerBase::initTestCase()
{
    QVERIFY(m_harness.start());
}

void TestBReplyHandlerBase::bodyReaders_data()
{
    QTest::addColumn<Reader>("reader");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QByteArray>("out"); // JSON

    const QByteArray untouched = R"({"untouched":true})";
    QTest::newRow("root: object") << Reader::RootObject << QByteArray(R"({"a":1})") << true << QByteArray(R"({"a":1})");
    QTest::newRow("root: array") << Reader::RootObject << QByteArray("[{}]") << false << untouched;
    QTest::newRow("root: not JSON") << Reader::RootObject << QByteArray("<html>") << false << untouched;
    QTest::newRow("root: empty body") << Reader::RootObject << QByteArray() << false << untouched;

    QTest::newRow("envelope: code 0 with data")
            << Reader::Envelope << QByteArray(R"({"code":0,"data":{"id":"x"}})") << true << QByteArray(R"({"id":"x"})");
    QTest::newRow("envelope: code 0 without data")
            << Reader::Envelope << QByteArray(R"({"code":0,"id":"r"})") << true << QByteArray(R"({"code":0,"id":"r"})");
    QTest::newRow("envelope: code 5 gives the root and failure")
            << Reader::Envelope << QByteArray(R"({"code":5,"data":{"id":"x"}})") << false
            << QByteArray(R"({"code":5,"data":{"id":"x"}})");
    QTest::newRow("envelope: a negative code is a failure")
            << Reader::Envelope << QByteArray(R"({"code":-1,"data":{}})") << false
            << QByteArray(R"({"code":-1,"data":{}})");
    QTest::newRow("envelope: data without code is no envelope")
            << Reader::Envelope << QByteArray(R"({"data":{"id":"x"}})") << true << QByteArray(R"({"data":{"id":"x"}})");
    QTest::newRow("envelope: array") << Reader::Envelope << QByteArray(R"([{"code":0}])") << false << untouched;

    QTest::newRow("data: null") << Reader::Data << QByteArray(R"({"data":null})") << false << untouched;
    QTest::newRow("data: missing") << Reader::Data << QByteArray(R"({"items":[]})") << false << untouched;
    QTest::newRow("data: false is a value")
            << Reader::Data << QByteArray(R"({"data":false})") << true << QByteArray("false");

    QTest::newRow("data array: object") << Reader::DataArray << QByteArray(R"({"data":{"a":1}})") << false
                                        << "[" + untouched + "]";
    QTest::newRow("data array: empty") << Reader::DataArray << QByteArray(R"({"data":[]})") << true << QByteArray("[]");

    QTest::newRow("data object: empty") << Reader::DataObject << QByteArray(R"({"data":{}})") << false << untouched;
    QTest::newRow("data object: array") << Reader::DataObject << QByteArray(R"({"data":[{"a":1}]})") << false
                                        << untouched;
    QTest::newRow("data object: object") << Reader::DataObject << QByteArray(R"({"data":{"a":1}})") << true
                                         << QByteArray(R"({"a":1})");
}

void TestBReplyHandlerBase::bodyReaders()
{
    QFETCH(Reader, reader);
    QFETCH(QByteArray, body);
    QFETCH(bool, result);
    QFETCH(QByteArray, out);

    TestOwner owner;
    Probe probe;
    probe.reader = reader;
    QVERIFY(m_harness.run(new ProbeHandler(owner.caller(), &probe), 200, body));
    QCOMPARE(probe.parses, 1);
    QCOMPARE(probe.result, result);
    // Wrapped, so that scalars and arrays parse as well.
    QCOMPARE(probe.out, QJsonDocument::fromJson("{\"v\":" + out + "}").object().value(QLatin1String("v")));
}

void TestBReplyHandlerBase::onlyStatus200IsParsed_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("error");

    QTest::newRow("200") << 200 << int(QNetworkReply::NoError);
    QTest::newRow("201") << 201 << int(QNetworkReply::NoError);
    QTest::newRow("304") << 304 << int(QNetworkReply::NoError);
    QTest::newRow("401") << 401 << int(QNetworkReply::AuthenticationRequiredError);
    QTest::newRow("404") << 404 << int(QNetworkReply::ContentNotFoundError);
    QTest::newRow("500") << 500 << int(QNetworkReply::InternalServerError);
    QTest::newRow("connection refused: no status") << 0 << int(QNetworkReply::ConnectionRefusedError);
}

void TestBReplyHandlerBase::onlyStatus200IsParsed()
{
    QFETCH(int, status);
    QFETCH(int, error);

    TestOwner owner;
    Probe probe;
    QVERIFY(m_harness.run(new ProbeHandler(owner.caller(), &probe), status));
    QCOMPARE(owner.calls, 1);
    QCOMPARE(probe.parses, status == 200 ? 1 : 0);
    QCOMPARE(owner.statusOk, status == 200);
    QCOMPARE(owner.status, status);
    QCOMPARE(owner.errorCode, error);
    QCOMPARE(owner.errorString.isEmpty(), error == QNetworkReply::NoError);
}

void TestBReplyHandlerBase::ownerCalledOnceOrNeverAndAllDeleted_data()
{
    QTest::addColumn<Ending>("ending");
    QTest::addColumn<int>("calls");

    QTest::newRow("answered") << Ending::Answered << 1;
    QTest::newRow("null owner") << Ending::NullOwner << 0;
    QTest::newRow("null finished function") << Ending::NullFunction << 0;
    QTest::newRow("cancelled before the request: no effect") << Ending::CancelBeforeRequest << 1;
    QTest::newRow("cancelled in flight") << Ending::CancelInFlight << 0;
    QTest::newRow("cancelled as the body arrives") << Ending::CancelAsBodyArrives << 0;
}

void TestBReplyHandlerBase::ownerCalledOnceOrNeverAndAllDeleted()
{
    QFETCH(Ending, ending);
    QFETCH(int, calls);

    TestOwner owner;
    BActionFinishedCallerBase* caller = ending == Ending::NullOwner
            ? new BActionFinishedCaller<TestOwner>(nullptr, &TestOwner::onRequestFinished)
            : ending == Ending::NullFunction ? new BActionFinishedCaller<TestOwner>(&owner, nullptr)
                                             : owner.caller();
    Probe probe;
    auto* handler = new ProbeHandler(caller, &probe);
    QSignalSpy handlerGone(handler, &QObject::destroyed);
    if (ending == Ending::CancelBeforeRequest)
        handler->slotCancel();
    m_harness.send(handler, 200, "{}");
    QSignalSpy replyGone(handler->getReply(), &QObject::destroyed);
    if (ending == Ending::CancelInFlight)
        handler->slotCancel();
    if (ending == Ending::CancelAsBodyArrives)
        connect(handler->getReply(), &QNetworkReply::readyRead, handler, &BReplyHandlerBase::slotCancel);

    QTRY_COMPARE(handlerGone.count(), 1);
    QTRY_COMPARE(replyGone.count(), 1);
    QCOMPARE(owner.calls, calls);
}

QTEST_GUILESS_MAIN(TestBReplyHandlerBase)
#include "tst_breplyhandlerbase.moc"
