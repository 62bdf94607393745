#include "Network/Socket/RpcSocket.h"

#include "Core/Log/LogLimiter.h"
#include "support/LogCapture.h"
#include "support/WirePeer.h"

#include <QDateTime>
#include <QtTest>
#include <memory>

class tst_RpcSocket : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void aCallGoesOutAsDrawn();
    void callsAreNumberedFromOne();
    void theCommandOverwritesTheKeyCdOfTheArguments();
    void aReplyCarriesTheNumberOfTheCallAndTheCallerAsTarget();
    void aReplyHoldsCdEvenWhenTheHandlerReturnedAnEmptyObject();
    void aHandlersOwnCdNeverReachesTheCaller();
    void theHandlerGetsTheRequestAndTheCaller();

    void fortyFiveBytesAreRefusedWithAMatchingTarget();
    void fortySixBytesWithAnInvalidBodyAreConsumedWithAParseMessage();
    void aBadBodyIsConsumedAndUnanswered_data();
    void aBadBodyIsConsumedAndUnanswered();
    void aRefusedPacketLeavesTheBufferAsItIs_data();
    void aRefusedPacketLeavesTheBufferAsItIs();
    void anAcceptedPacketLosesItsHeader();
    void theHighFourBitsOfTheTypeAreIgnored();

    void anUnknownCommandIsLoggedAndUnanswered();
    void aCommandWithBlanksAroundItIsAnotherCommand();
    void anUnknownCommandsNameIsEscapedAndCutInTheLog();
    void aFloodOfUnknownCommandsIsLimitedInTheLog();
    void anEmptyHandlerGivesNoReply();
    void aSecondRegistrationReplacesTheFirst();
    void aRemovedFunctionIsUnknown();
    void aHandlerMayRemoveItself();
    void aHandlerMayReplaceItself();
    void aCallThatArrivesTwiceIsAnsweredTwice();

    void aReplyReachesTheSuccessCallbackOnce();
    void aReplyWithAnUnknownNumberIsDropped();
    void blanksAsCdMakeAReply();
    void cdThatIsNoStringMakesAReply();
    void aSuccessCallbackMayInvoke();
    void aCallWithATimeoutCallbackAloneIsEndedByItsReply();

    void aCallExpiresOnceItsDeadlineHasPassed();
    void aCallWithASuccessCallbackAloneExpires();
    void expiredCallsExpireInOrderOfTheirNumbers();
    void aTimeoutCallbackMayInvoke();
    void callsMadeByTimeoutCallbacksWaitForTheNextHeartbeat();
    void aReplyAfterTheTimeoutDoesNotCallSuccess();
    void twoEmptyCallbacksLeaveNothingPending();
    void destructionRunsNoTimeoutCallback();

    void aBodyTooLongFailsWithoutALogLineAndExpires();
    void anEmptyTargetIdSendsAWholeHeader();
    void anEmptyOwnIdIsTheTargetOfNoPacket();

    void number32767IsMatchedAndNumber32768EndsInItsTimeout();
    void twoSocketsTalkOverUdp();
    void theTargetIdSelectsTheRpcSocketOnASharedSocket();

private:
    bool deliver(const QByteArray& datagram);
    bool invoke(const QString& name, RpcSocket::SuccessCallback success = {},
                RpcSocket::TimeoutCallback timeout = {}, int timeoutMs = 5000);

    qint64 m_now = 0;
    QSharedPointer<Socket> m_socket;
    std::unique_ptr<WirePeer> m_peer;
    QSharedPointer<RpcSocket> m_rpc;
};

namespace
{

const QByteArray kOwnBytes = QByteArray::fromHex("0102030405060708090a0b0c0d0e0f1011121314");
const QByteArray kPeerBytes = QByteArray::fromHex("a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4");

int160 ownId()
{
    return int160(kOwnBytes.constData());
}

int160 peerId()
{
    return int160(kPeerBytes.constData());
}

QByteArray number(const char* hex)
{
    return QByteArray::fromHex(hex);
}

// From the peer to the object under test.
QByteArray toOwn(const char* numberHex, const QByteArray& json)
{
    return WirePeer::packet(number(numberHex), peerId(), ownId(), json);
}

QJsonObject nothing(const QJsonObject& /*request*/, const NodeInfo& /*caller*/)
{
    return {};
}

} // namespace

void tst_RpcSocket::init()
{
    m_now = 1'000'000;
    m_socket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<WirePeer>();
    QVERIFY(m_peer->isBound());
    m_rpc = QSharedPointer<RpcSocket>::create(m_socket, ownId(), nullptr, [this] { return m_now; });
}

void tst_RpcSocket::cleanup()
{
    m_socket->removeSocket(m_rpc); // attached, each would keep the other
    m_rpc.clear();
    m_peer.reset();
    m_socket.clear();
}

bool tst_RpcSocket::deliver(const QByteArray& datagram)
{
    QByteArray data = datagram;
    return m_rpc->readyRead(data, m_peer->address(), m_peer->port());
}

bool tst_RpcSocket::invoke(const QString& name, RpcSocket::SuccessCallback success,
                           RpcSocket::TimeoutCallback timeout, int timeoutMs)
{
    return m_rpc->invoke(m_peer->node(peerId()), name, {}, std::move(success), std::move(timeout), timeoutMs);
}

void tst_RpcSocket::aCallGoesOutAsDrawn()
{
    const QJsonObject args{{QStringLiteral("x"), 7}};
    QVERIFY(m_rpc->invoke(m_peer->node(peerId()), QStringLiteral("work"), args, {}, {}, 5000));
    const QList<QByteArray> sent = m_peer->received(*m_socket);
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first(),
             QByteArray::fromHex("00"       // type
                                 "00000001" // number
                                 "0102030405060708090a0b0c0d0e0f1011121314"
                                 "a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4") +
                 QByteArray(R"({"cd":"work","x":7})"));
}

void tst_RpcSocket::callsAreNumberedFromOne()
{
    for (int i = 0; i < 3; ++i) {
        QVERIFY(invoke(QStringLiteral("work")));
    }
    QList<QByteArray> numbers;
    for (const auto& packet : m_peer->receivedPackets(*m_socket)) {
        numbers.append(packet.number);
    }
    QCOMPARE(numbers, (QList<QByteArray>{number("00000001"), number("00000002"), number("00000003")}));
}

void tst_RpcSocket::theCommandOverwritesTheKeyCdOfTheArguments()
{
    const QJsonObject args{{QStringLiteral("cd"), QStringLiteral("other")}};
    QVERIFY(m_rpc->invoke(m_peer->node(peerId()), QStringLiteral("work"), args, {}, {}, 5000));
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":"work"})"));
}

void tst_RpcSocket::aReplyCarriesTheNumberOfTheCallAndTheCallerAsTarget()
{
    m_rpc->declareFunction(QStringLiteral("work"), [](const QJsonObject&, const NodeInfo&) {
        return QJsonObject{{QStringLiteral("x"), 7}};
    });
    QVERIFY(deliver(toOwn("11223344", R"({"cd":"work"})")));
    QCOMPARE(m_peer->received(*m_socket).value(0),
             QByteArray::fromHex("00"
                                 "11223344"
                                 "0102030405060708090a0b0c0d0e0f1011121314"
                                 "a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4") +
                 QByteArray(R"({"cd":"","x":7})"));
}

void tst_RpcSocket::aReplyHoldsCdEvenWhenTheHandlerReturnedAnEmptyObject()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":""})"));
}

void tst_RpcSocket::aHandlersOwnCdNeverReachesTheCaller()
{
    m_rpc->declareFunction(QStringLiteral("work"), [](const QJsonObject&, const NodeInfo&) {
        return QJsonObject{{QStringLiteral("cd"), QStringLiteral("mine")}};
    });
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":""})"));
}

void tst_RpcSocket::theHandlerGetsTheRequestAndTheCaller()
{
    QJsonObject request;
    NodeInfo caller;
    m_rpc->declareFunction(QStringLiteral("work"), [&](const QJsonObject& object, const NodeInfo& node) {
        request = object;
        caller = node;
        return QJsonObject();
    });
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work","x":7})")));
    QCOMPARE(request,
             (QJsonObject{{QStringLiteral("cd"), QStringLiteral("work")}, {QStringLiteral("x"), 7}}));
    QCOMPARE(caller.id.bytes(), kPeerBytes);
    QCOMPARE(caller.address, m_peer->address());
    QCOMPARE(caller.port, m_peer->port());
}

void tst_RpcSocket::fortyFiveBytesAreRefusedWithAMatchingTarget()
{
    const QByteArray datagram = toOwn("00000001", {});
    QCOMPARE(datagram.size(), 45);
    QVERIFY(!deliver(datagram));
}

void tst_RpcSocket::fortySixBytesWithAnInvalidBodyAreConsumedWithAParseMessage()
{
    const QByteArray datagram = toOwn("00000001", "x");
    QCOMPARE(datagram.size(), 46);
    const LogCapture log;
    QVERIFY(deliver(datagram));
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().contains(QStringLiteral("Error convert QByteArray to QJsonDocument!")));
}

void tst_RpcSocket::aBadBodyIsConsumedAndUnanswered_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("message");
    const QString parse = QStringLiteral("Error convert QByteArray to QJsonDocument!");
    QTest::newRow("no JSON") << QByteArray("work") << parse;
    QTest::newRow("cut") << QByteArray(R"({"cd":"wo)") << parse;
    QTest::newRow("array") << QByteArray(R"(["cd"])") << parse;
    QTest::newRow("bytes behind") << QByteArray(R"({"cd":"work"}})") << parse;
    QTest::newRow("nested beyond reason") << QByteArray(60000, '[') << parse;
    QTest::newRow("no cd") << QByteArray(R"({"c":"work"})")
                           << QStringLiteral("Error parse QJsonObject - no cd key!");
}

void tst_RpcSocket::aBadBodyIsConsumedAndUnanswered()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, message);
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", body)));
    QCOMPARE(log.texts().size(), 1);
    QVERIFY2(log.texts().first().contains(message), qPrintable(log.texts().first()));
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_RpcSocket::aRefusedPacketLeavesTheBufferAsItIs_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::newRow("another type") << QByteArray(1, '\x02') + toOwn("00000001", R"({"cd":"work"})").mid(1);
    QTest::newRow("45 bytes") << toOwn("00000001", {});
    QTest::newRow("another target") << WirePeer::packet(number("00000001"), peerId(), peerId(),
                                                        R"({"cd":"work"})");
}

void tst_RpcSocket::aRefusedPacketLeavesTheBufferAsItIs()
{
    QFETCH(QByteArray, datagram);
    QByteArray data = datagram;
    QVERIFY(!m_rpc->readyRead(data, m_peer->address(), m_peer->port()));
    QCOMPARE(data, datagram);
}

void tst_RpcSocket::anAcceptedPacketLosesItsHeader()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    QByteArray data = toOwn("00000001", R"({"cd":"work"})");
    QVERIFY(m_rpc->readyRead(data, m_peer->address(), m_peer->port()));
    QCOMPARE(data, QByteArray(R"({"cd":"work"})"));
}

void tst_RpcSocket::theHighFourBitsOfTheTypeAreIgnored()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    QVERIFY(deliver(QByteArray(1, '\xf0') + toOwn("00000001", R"({"cd":"work"})").mid(1)));
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
}

void tst_RpcSocket::anUnknownCommandIsLoggedAndUnanswered()
{
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"nowork"})")));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    const QString text = log.texts().first();
    QVERIFY2(text.startsWith(QStringLiteral("[ W ][ Network/Socket/RpcSocket ] ")), qPrintable(text));
    QVERIFY2(
        text.endsWith(QStringLiteral("=>\t Error invoke rpc command \"nowork\" - command name not found!")),
        qPrintable(text));
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_RpcSocket::aCommandWithBlanksAroundItIsAnotherCommand()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":" work "})")));
    QVERIFY(log.texts().value(0).endsWith(
        QStringLiteral("Error invoke rpc command \" work \" - command name not found!")));
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_RpcSocket::anUnknownCommandsNameIsEscapedAndCutInTheLog()
{
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"a\n\u001b]0;x\u0007"})")));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":")" + QByteArray(5000, 'x') + R"("})")));
    QVERIFY2(log.texts().value(0).endsWith(
                 QStringLiteral("Error invoke rpc command \"a\\n\\x1b]0;x\\x07\" - command name not found!")),
             qPrintable(log.texts().value(0)));
    QVERIFY(log.texts().value(1).endsWith(
        QStringLiteral("command \"%1\" - command name not found!").arg(QString(200, QLatin1Char('x')))));
}

void tst_RpcSocket::aFloodOfUnknownCommandsIsLimitedInTheLog()
{
    const LogCapture log;
    for (int i = 0; i < 5000; ++i) {
        QVERIFY(deliver(toOwn("00000001", R"({"cd":"nowork"})")));
    }
    const int lines = log.texts().size();
    QVERIFY2(lines >= 1 && lines < 1000, qPrintable(QString::number(lines)));
    // What was left out is told here, lest a later test hears of it.
    QTRY_VERIFY((LogLimiter::reportAll(), log.texts().last().contains(QStringLiteral("lines left out"))));
}

void tst_RpcSocket::anEmptyHandlerGivesNoReply()
{
    m_rpc->declareFunction(QStringLiteral("work"), {});
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_RpcSocket::aSecondRegistrationReplacesTheFirst()
{
    int first = 0;
    int second = 0;
    const auto count = [](int& counter) {
        return [&counter](const QJsonObject&, const NodeInfo&) {
            ++counter;
            return QJsonObject();
        };
    };
    m_rpc->declareFunction(QStringLiteral("work"), count(first));
    m_rpc->declareFunction(QStringLiteral("work"), count(second));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(first, 0);
    QCOMPARE(second, 1);
}

void tst_RpcSocket::aRemovedFunctionIsUnknown()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    m_rpc->removeFunction(QStringLiteral("work"));
    m_rpc->removeFunction(QStringLiteral("never declared"));
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_RpcSocket::aHandlerMayRemoveItself()
{
    const auto owned = std::make_shared<int>(7);
    m_rpc->declareFunction(QStringLiteral("work"), [this, owned](const QJsonObject&, const NodeInfo&) {
        m_rpc->removeFunction(QStringLiteral("work"));
        return QJsonObject{{QStringLiteral("x"), *owned}};
    });
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":"","x":7})"));
    QCOMPARE(owned.use_count(), 1L);
}

void tst_RpcSocket::aHandlerMayReplaceItself()
{
    const auto owned = std::make_shared<int>(7);
    m_rpc->declareFunction(QStringLiteral("work"), [this, owned](const QJsonObject&, const NodeInfo&) {
        m_rpc->declareFunction(QStringLiteral("work"), nothing);
        return QJsonObject{{QStringLiteral("x"), *owned}};
    });
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QVERIFY(deliver(toOwn("00000002", R"({"cd":"work"})")));
    const auto replies = m_peer->receivedPackets(*m_socket);
    QCOMPARE(replies.size(), 2);
    QCOMPARE(replies.at(0).json, QByteArray(R"({"cd":"","x":7})"));
    QCOMPARE(replies.at(1).json, QByteArray(R"({"cd":""})"));
}

void tst_RpcSocket::aCallThatArrivesTwiceIsAnsweredTwice()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    for (int i = 0; i < 2; ++i) {
        QVERIFY(deliver(toOwn("00000005", R"({"cd":"work"})")));
    }
    QCOMPARE(m_peer->received(*m_socket).size(), 2);
}

void tst_RpcSocket::aReplyReachesTheSuccessCallbackOnce()
{
    QList<QJsonObject> replies;
    NodeInfo peer;
    QVERIFY(invoke(QStringLiteral("work"), [&](const QJsonObject& reply, const NodeInfo& node) {
        replies.append(reply);
        peer = node;
    }));
    for (int i = 0; i < 2; ++i) {
        QVERIFY(deliver(toOwn("00000001", R"({"cd":"","x":7})")));
    }
    QCOMPARE(replies.size(), 1);
    QCOMPARE(replies.first(), (QJsonObject{{QStringLiteral("cd"), QString()}, {QStringLiteral("x"), 7}}));
    QCOMPARE(peer.id.bytes(), kPeerBytes);
    QCOMPARE(peer.address, m_peer->address());
    QCOMPARE(peer.port, m_peer->port());
}

void tst_RpcSocket::aReplyWithAnUnknownNumberIsDropped()
{
    int replies = 0;
    QVERIFY(invoke(QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) { ++replies; }));
    QVERIFY(deliver(toOwn("00000002", R"({"cd":""})")));
    QVERIFY(deliver(toOwn("ff000001", R"({"cd":""})")));
    QCOMPARE(replies, 0);
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    QCOMPARE(replies, 1);
}

void tst_RpcSocket::blanksAsCdMakeAReply()
{
    int replies = 0;
    m_rpc->declareFunction(QStringLiteral("  "), nothing);
    QVERIFY(invoke(QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) { ++replies; }));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"  "})")));
    QCOMPARE(replies, 1);
    QCOMPARE(m_peer->received(*m_socket).size(), 1); // the call alone
}

void tst_RpcSocket::cdThatIsNoStringMakesAReply()
{
    int replies = 0;
    for (const char* body : {R"({"cd":7})", R"({"cd":null})", R"({"cd":["work"]})", R"({"cd":{}})"}) {
        QVERIFY(invoke(QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) { ++replies; }));
        QVERIFY(deliver(
            WirePeer::packet(QByteArray(3, '\0') + static_cast<char>(replies + 1), peerId(), ownId(), body)));
    }
    QCOMPARE(replies, 4);
}

void tst_RpcSocket::aSuccessCallbackMayInvoke()
{
    int replies = 0;
    const RpcSocket::SuccessCallback count = [&](const QJsonObject&, const NodeInfo&) { ++replies; };
    QVERIFY(invoke(QStringLiteral("first"), [&](const QJsonObject&, const NodeInfo&) {
        for (int i = 0; i < 100; ++i) {
            invoke(QStringLiteral("second"), count);
        }
    }));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    QVERIFY(deliver(toOwn("00000065", R"({"cd":""})"))); // number 101
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})"))); // the first is no longer pending
    QCOMPARE(replies, 1);
}

void tst_RpcSocket::aCallWithATimeoutCallbackAloneIsEndedByItsReply()
{
    int timeouts = 0;
    QVERIFY(invoke(QStringLiteral("work"), {}, [&] { ++timeouts; }));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    m_now += 10'000;
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 0);
}

void tst_RpcSocket::aCallExpiresOnceItsDeadlineHasPassed()
{
    int timeouts = 0;
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(invoke(QStringLiteral("work"), {}, [&] { ++timeouts; }));
    const qint64 after = QDateTime::currentMSecsSinceEpoch();
    m_now += 5000;
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 0);
    m_now += 1;
    const LogCapture log;
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 1);
    // Readers of the log know the deadline by the wall clock, under a name that is not its own.
    QCOMPARE(log.texts(QtDebugMsg).size(), 1);
    const QString text = log.texts(QtDebugMsg).first();
    QVERIFY2(text.startsWith(QStringLiteral("Function timeout ... name: work, created time: ")),
             qPrintable(text));
    const qint64 told = text.section(QLatin1Char(' '), -1).toLongLong();
    QVERIFY2(told >= before + 5000 && told <= after + 5000, qPrintable(text));
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 1);
}

void tst_RpcSocket::aCallWithASuccessCallbackAloneExpires()
{
    QVERIFY(invoke(
        QStringLiteral("%2"), [](const QJsonObject&, const NodeInfo&) {}, {}, 1500));
    m_now += 1501;
    const LogCapture log;
    m_rpc->onTimeout();
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().startsWith(QStringLiteral("Function timeout ... name: %2, created time: ")));
}

void tst_RpcSocket::expiredCallsExpireInOrderOfTheirNumbers()
{
    QList<int> order;
    QVERIFY(invoke(
        QStringLiteral("work"), {}, [&] { order.append(1); }, 3000));
    QVERIFY(invoke(
        QStringLiteral("work"), {}, [&] { order.append(2); }, 9000));
    QVERIFY(invoke(
        QStringLiteral("work"), {}, [&] { order.append(3); }, 1000));
    m_now += 5000;
    m_rpc->onTimeout();
    QCOMPARE(order, (QList<int>{1, 3}));
}

void tst_RpcSocket::aTimeoutCallbackMayInvoke()
{
    QStringList expired;
    const auto expires = [&](const QString& name) { return [&expired, name] { expired.append(name); }; };
    QVERIFY(invoke(QStringLiteral("work"), {}, [&] {
        expired.append(QStringLiteral("first"));
        for (int i = 0; i < 10; ++i) {
            invoke(QStringLiteral("work"), {}, expires(QStringLiteral("added")));
        }
    }));
    QVERIFY(invoke(QStringLiteral("work"), {}, expires(QStringLiteral("second"))));
    m_now += 5001;
    m_rpc->onTimeout();
    QCOMPARE(expired, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    m_now += 5001;
    m_rpc->onTimeout();
    QCOMPARE(expired.size(), 12);
}

void tst_RpcSocket::callsMadeByTimeoutCallbacksWaitForTheNextHeartbeat()
{
    int timeouts = 0;
    RpcSocket::TimeoutCallback again = [&] {
        ++timeouts;
        invoke(QStringLiteral("work"), {}, again, -1);
    };
    QVERIFY(invoke(QStringLiteral("work"), {}, again, -1));
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 1);
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 2);
}

void tst_RpcSocket::aReplyAfterTheTimeoutDoesNotCallSuccess()
{
    int replies = 0;
    int timeouts = 0;
    QVERIFY(invoke(
        QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) { ++replies; },
        [&] { ++timeouts; }));
    m_now += 5001;
    m_rpc->onTimeout();
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    QCOMPARE(timeouts, 1);
    QCOMPARE(replies, 0);
}

void tst_RpcSocket::twoEmptyCallbacksLeaveNothingPending()
{
    QVERIFY(invoke(QStringLiteral("work")));
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    QVERIFY(invoke(QStringLiteral("work")));
    m_now += 60'000;
    m_rpc->onTimeout();
    QCOMPARE(log.texts(), QStringList());
}

void tst_RpcSocket::destructionRunsNoTimeoutCallback()
{
    int timeouts = 0;
    QVERIFY(invoke(QStringLiteral("work"), {}, [&] { ++timeouts; }));
    m_now += 60'000;
    m_rpc.clear();
    QCOMPARE(timeouts, 0);
}

void tst_RpcSocket::aBodyTooLongFailsWithoutALogLineAndExpires()
{
    // {"cd":"work","x":"..."} takes 20 bytes beside the text.
    const QJsonObject args{{QStringLiteral("x"), QString(65492 - 20, QLatin1Char('a'))}};
    int timeouts = 0;
    {
        const LogCapture log;
        QVERIFY(!m_rpc->invoke(
            m_peer->node(peerId()), QStringLiteral("work"), args, {}, [&] { ++timeouts; }, 5000));
        QCOMPARE(log.texts(), QStringList());
    }
    QCOMPARE(m_socket->sentPackets(), quint64(0));
    m_now += 5001;
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 1);
}

void tst_RpcSocket::anEmptyTargetIdSendsAWholeHeader()
{
    QVERIFY(m_rpc->invoke(m_peer->node(int160(QString())), QStringLiteral("work"), {}, {}, {}, 5000));
    QCOMPARE(m_peer->received(*m_socket).value(0), QByteArray::fromHex("0000000001") + kOwnBytes +
                                                       QByteArray(20, '\0') + QByteArray(R"({"cd":"work"})"));
}

void tst_RpcSocket::anEmptyOwnIdIsTheTargetOfNoPacket()
{
    RpcSocket rpc(m_socket, int160(QString()), nullptr);
    for (const int160& target : {int160(), ownId()}) {
        QByteArray data = WirePeer::packet(number("00000001"), peerId(), target, R"({"cd":"work"})");
        QVERIFY(!rpc.readyRead(data, m_peer->address(), m_peer->port()));
    }
}

void tst_RpcSocket::number32767IsMatchedAndNumber32768EndsInItsTimeout()
{
    const auto otherSocket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(otherSocket->listen(0));
    const auto other = QSharedPointer<RpcSocket>::create(otherSocket, peerId(), nullptr);
    int calls = 0;
    other->declareFunction(QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) {
        ++calls;
        return QJsonObject();
    });
    m_socket->addSocket(m_rpc);
    otherSocket->addSocket(other);

    for (int i = 0; i < 32766; ++i) {
        QVERIFY(invoke(QStringLiteral("filling"))); // to the peer, which reads nothing
    }

    const NodeInfo node{peerId(), QHostAddress(QHostAddress::LocalHost), otherSocket->localPort()};
    QList<int> replied;
    QList<int> expired;
    for (const int call : {32767, 32768}) {
        QVERIFY(m_rpc->invoke(
            node, QStringLiteral("work"), {},
            [&replied, call](const QJsonObject&, const NodeInfo&) { replied.append(call); },
            [&expired, call] { expired.append(call); }, 5000));
    }
    QTRY_COMPARE(calls, 2);
    QTRY_COMPARE(m_socket->receivedPackets(), quint64(2)); // both replies have been back
    QCOMPARE(replied, QList<int>{32767});
    m_now += 5001;
    m_rpc->onTimeout();
    QCOMPARE(replied, QList<int>{32767});
    QCOMPARE(expired, QList<int>{32768});
    otherSocket->removeSocket(other);
}

void tst_RpcSocket::twoSocketsTalkOverUdp()
{
    const auto otherSocket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(otherSocket->listen(0));
    const auto other = QSharedPointer<RpcSocket>::create(otherSocket, peerId(), nullptr);
    other->declareFunction(QStringLiteral("double"), [](const QJsonObject& request, const NodeInfo&) {
        return QJsonObject{{QStringLiteral("x"), 2 * request.value(QStringLiteral("x")).toInt()}};
    });
    m_socket->addSocket(m_rpc);
    otherSocket->addSocket(other);

    QJsonObject reply;
    QVERIFY(m_rpc->invoke(
        {peerId(), QHostAddress(QHostAddress::LocalHost), otherSocket->localPort()}, QStringLiteral("double"),
        {{QStringLiteral("x"), 21}}, [&](const QJsonObject& object, const NodeInfo&) { reply = object; }, {},
        5000));
    QTRY_VERIFY(!reply.isEmpty());
    QCOMPARE(reply.value(QStringLiteral("x")).toInt(), 42);
    otherSocket->removeSocket(other);
}

void tst_RpcSocket::theTargetIdSelectsTheRpcSocketOnASharedSocket()
{
    const auto second = QSharedPointer<RpcSocket>::create(m_socket, peerId(), nullptr);
    m_socket->addSocket(m_rpc);
    m_socket->addSocket(second);
    QStringList calls;
    const auto record = [&calls](const QString& who) {
        return [&calls, who](const QJsonObject&, const NodeInfo&) {
            calls.append(who);
            return QJsonObject();
        };
    };
    m_rpc->declareFunction(QStringLiteral("work"), record(QStringLiteral("first")));
    second->declareFunction(QStringLiteral("work"), record(QStringLiteral("second")));

    const int160 stranger(QByteArray(20, '\x55').constData());
    for (const int160& target : {peerId(), stranger, ownId()}) {
        m_peer->send(WirePeer::packet(number("00000001"), stranger, target, R"({"cd":"work"})"),
                     m_socket->localPort());
    }
    QTRY_COMPARE(calls.size(), 2);
    QCOMPARE(calls, (QStringList{QStringLiteral("second"), QStringLiteral("first")}));
    QCOMPARE(m_socket->receivedPackets(), quint64(2));
    m_socket->removeSocket(second);
}

QTEST_GUILESS_MAIN(tst_RpcSocket)
#include "tst_RpcSocket.moc"
