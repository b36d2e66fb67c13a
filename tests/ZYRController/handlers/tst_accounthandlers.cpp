// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "HandlerHarness.h"

#include <ZYRController/BLoginHandler.h>
#include <ZYRController/BQueryTargetLoginTokenHandler.h>
#include <ZYRController/BQueryUserAvatarHandler.h>
#include <ZYRController/BQueryUserInfoHandler.h>

#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>

#include <QTest>

#include <memory>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRModel;
using namespace Trelan::Oku::ZYRTest;

class TestAccountHandlers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void loginBody_data();
    void loginBody();
    void takeTokenWithoutReleaseKeepsOwnership();
    void untakenTokenDiesWithHandler();
    void userInfoBody_data();
    void userInfoBody();
    void avatarKeepsRawBytesAndUserId_data();
    void avatarKeepsRawBytesAndUserId();
    void targetLoginTokenIsTheUnparsedBody_data();
    void targetLoginTokenIsTheUnparsedBody();
};

void TestAccountHandlers::loginBody_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("hasToken");
    QTest::addColumn<QString>("accessToken");

    QTest::newRow("token") << 200 << QByteArray(R"({"accessToken":"a1","refreshToken":"r1"})") << true
                           << QStringLiteral("a1");
    QTest::newRow("empty object gives a blank token") << 200 << QByteArray("{}") << true << QString();
    // No envelope is unpacked for sign-in: the root is the token.
    QTest::newRow("envelope is not unpacked")
            << 200 << QByteArray(R"({"code":0,"data":{"accessToken":"a2"}})") << true << QString();
    QTest::newRow("array") << 200 << QByteArray("[]") << false << QString();
    QTest::newRow("not JSON") << 200 << QByteArray("token=a1") << false << QString();
    QTest::newRow("401") << 401 << QByteArray(R"({"accessToken":"a1"})") << false << QString();
    QTest::newRow("201") << 201 << QByteArray(R"({"accessToken":"a1"})") << false << QString();
}

void TestAccountHandlers::loginBody()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, hasToken);
    QFETCH(QString, accessToken);

    TestOwner owner;
    std::unique_ptr<MToken> token;
    auto* handler = new BLoginHandler(owner.caller());
    QVERIFY(answer<BLoginHandler>(handler, owner, status, body,
                                  [&](BLoginHandler* h) { token.reset(h->takeToken(true)); }));
    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(bool(token), hasToken);
    // The released token outlives the handler (AddressSanitizer would flag it).
    if (token)
        QCOMPARE(token->getAccessToken(), accessToken);
}

void TestAccountHandlers::takeTokenWithoutReleaseKeepsOwnership()
{
    TestOwner owner;
    MToken* borrowed = nullptr;
    MToken* secondLook = nullptr;
    std::unique_ptr<MToken> released;
    auto* handler = new BLoginHandler(owner.caller());
    QVERIFY(answer<BLoginHandler>(handler, owner, 200, QByteArray(R"({"accessToken":"a1"})"), [&](BLoginHandler* h) {
        borrowed = h->takeToken(false);
        secondLook = h->takeToken(false);
        released.reset(h->takeToken(true));
        QVERIFY(!h->takeToken(true));
    }));
    QVERIFY(borrowed);
    QCOMPARE(secondLook, borrowed);
    QCOMPARE(released.get(), borrowed);
}

void TestAccountHandlers::untakenTokenDiesWithHandler()
{
    // Nothing is taken; the handler's destructor must free the token (the
    // sanitizer build's leak check fails this test otherwise).
    TestOwner owner;
    QString seen;
    auto* handler = new BLoginHandler(owner.caller());
    QVERIFY(answer<BLoginHandler>(handler, owner, 200, QByteArray(R"({"accessToken":"a1"})"),
                                  [&](BLoginHandler* h) { seen = h->takeToken(false)->getAccessToken(); }));
    QCOMPARE(seen, QStringLiteral("a1"));
}

void TestAccountHandlers::userInfoBody_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("hasUser");
    QTest::addColumn<QString>("userId");

    QTest::newRow("user") << 200 << QByteArray(R"({"id":"u1","displayName":"Ann","avatarPaths":["/a.png"]})") << true
                          << QStringLiteral("u1");
    QTest::newRow("empty object gives a blank user") << 200 << QByteArray("{}") << true << QString();
    QTest::newRow("array") << 200 << QByteArray(R"([{"id":"u1"}])") << false << QString();
    QTest::newRow("500") << 500 << QByteArray(R"({"id":"u1"})") << false << QString();
}

void TestAccountHandlers::userInfoBody()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, hasUser);
    QFETCH(QString, userId);

    TestOwner owner;
    std::unique_ptr<MUser> user;
    auto* handler = new BQueryUserInfoHandler(owner.caller());
    QVERIFY(answer<BQueryUserInfoHandler>(handler, owner, status, body,
                                          [&](BQueryUserInfoHandler* h) { user.reset(h->takeUser(true)); }));
    QCOMPARE(owner.finishedCalls, 1);
    QCOMPARE(bool(user), hasUser);
    if (user)
        QCOMPARE(user->getId(), userId);
}

void TestAccountHandlers::avatarKeepsRawBytesAndUserId_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("expected");

    const QByteArray png = QByteArray::fromHex("89504e470d0a1a0a0000000d49484452");
    QTest::newRow("image bytes") << 200 << png << png;
    QTest::newRow("zero bytes") << 200 << QByteArray() << QByteArray();
}

void TestAccountHandlers::avatarKeepsRawBytesAndUserId()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, expected);

    TestOwner owner;
    QByteArray data("unset");
    QString userId;
    auto* handler = new BQueryUserAvatarHandler(owner.caller(), QStringLiteral("u7"));
    QVERIFY(answer<BQueryUserAvatarHandler>(handler, owner, status, body, [&](BQueryUserAvatarHandler* h) {
        data = h->avatarData();
        userId = h->userId();
    }));
    QCOMPARE(data, expected);
    QCOMPARE(userId, QStringLiteral("u7"));
}

void TestAccountHandlers::targetLoginTokenIsTheUnparsedBody_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("loginToken");

    QTest::newRow("plain text") << 200 << QByteArray("tok-123") << QStringLiteral("tok-123");
    QTest::newRow("JSON string keeps its quotes") << 200 << QByteArray("\"tok-123\"") << QStringLiteral("\"tok-123\"");
    QTest::newRow("UTF-8 text") << 200 << QByteArray("t\xc3\xb6k") << QString::fromUtf8("t\xc3\xb6k");
    QTest::newRow("403") << 403 << QByteArray("tok-123") << QString();
}

void TestAccountHandlers::targetLoginTokenIsTheUnparsedBody()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QString, loginToken);

    TestOwner owner;
    QString seenToken(QStringLiteral("unset"));
    QString seenLink;
    const QString link = QStringLiteral("https://viewer.example/doc?id=5");
    auto* handler = new BQueryTargetLoginTokenHandler(owner.caller(), link);
    QVERIFY(answer<BQueryTargetLoginTokenHandler>(handler, owner, status, body, [&](BQueryTargetLoginTokenHandler* h) {
        seenToken = h->loginToken();
        seenLink = h->targetLink();
    }));
    QCOMPARE(seenToken, loginToken);
    QCOMPARE(seenLink, link);
}

QTEST_GUILESS_MAIN(TestAccountHandlers)
#include "tst_accounthandlers.moc"
