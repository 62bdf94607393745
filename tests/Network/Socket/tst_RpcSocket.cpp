#include "RpcSocketTest.h"

#include "Core/Log/LogLimiter.h"
#include "support/LogCapture.h"

#include <QDateTime>
#include <QtTest>

class tst_RpcSocket : public RpcSocketTest
{
    Q_OBJECT

private slots:
    void callGoesOutAsDrawn();
    void callsAreNumberedFromOne();
    void commandOverwritesKeyCdOfArguments();
    void replyCarriesNumberOfCallAndCallerAsTarget();
    void replyHoldsCdEvenIfHandlerReturnedNothing();
    void handlersOwnCdNeverReachesCaller();
    void handlerGetsRequestAndCaller();
    void fortyFiveBytesAreRefusedWithMatchingTarget();
    void fortySixBytesWithInvalidBodyAreConsumedAndLogged();
    void badBodyIsConsumedAndUnanswered_data();
    void badBodyIsConsumedAndUnanswered();
    void refusedPacketLeavesBufferAsItIs_data();
    void refusedPacketLeavesBufferAsItIs();
    void acceptedPacketLosesItsHeader();
    void highFourBitsOfTypeAreIgnored();
    void bodyTooLongFailsWithoutLogLineAndExpires();
    void emptyTargetIdSendsWholeHeader();
    void emptyOwnIdIsTargetOfNoPacket();
    void number32767IsMatchedAndNumber32768EndsInItsTimeout();
    void twoSocketsTalkOverUdp();
    void targetIdSelectsRpcSocketOnSharedSocket();
};

void tst_RpcSocket::callGoesOutAsDrawn()
{
    const QJsonObject args{{QStringLiteral("x"), 7}};
    QVERIFY(m_rpc->invoke(nodeOf(*m_peer, peerId()), QStringLiteral("work"), args, {}, {}, 5000));
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
    QList<quint32> numbers;
    for (const auto& packet : m_peer->receivedMessages(*m_socket)) {
        numbers.append(packet.number);
    }
    QCOMPARE(numbers, (QList<quint32>{1, 2, 3}));
}

void tst_RpcSocket::commandOverwritesKeyCdOfArguments()
{
    const QJsonObject args{{QStringLiteral("cd"), QStringLiteral("other")}};
    QVERIFY(m_rpc->invoke(nodeOf(*m_peer, peerId()), QStringLiteral("work"), args, {}, {}, 5000));
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":"work"})"));
}

void tst_RpcSocket::replyCarriesNumberOfCallAndCallerAsTarget()
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

void tst_RpcSocket::replyHoldsCdEvenIfHandlerReturnedNothing()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":""})"));
}

void tst_RpcSocket::handlersOwnCdNeverReachesCaller()
{
    m_rpc->declareFunction(QStringLiteral("work"), [](const QJsonObject&, const NodeInfo&) {
        return QJsonObject{{QStringLiteral("cd"), QStringLiteral("mine")}};
    });
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":""})"));
}

void tst_RpcSocket::handlerGetsRequestAndCaller()
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

void tst_RpcSocket::fortyFiveBytesAreRefusedWithMatchingTarget()
{
    const QByteArray datagram = toOwn("00000001", {});
    QCOMPARE(datagram.size(), 45);
    QVERIFY(!deliver(datagram));
}

void tst_RpcSocket::fortySixBytesWithInvalidBodyAreConsumedAndLogged()
{
    const QByteArray datagram = toOwn("00000001", "x");
    QCOMPARE(datagram.size(), 46);
    const LogCapture log;
    QVERIFY(deliver(datagram));
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().contains(QStringLiteral("Error convert QByteArray to QJsonDocument!")));
}

void tst_RpcSocket::badBodyIsConsumedAndUnanswered_data()
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

void tst_RpcSocket::badBodyIsConsumedAndUnanswered()
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

void tst_RpcSocket::refusedPacketLeavesBufferAsItIs_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::newRow("another type") << QByteArray(1, '\x02') + toOwn("00000001", R"({"cd":"work"})").mid(1);
    QTest::newRow("45 bytes") << toOwn("00000001", {});
    QTest::newRow("another target") << Wire::packet(number("00000001"), peerId().bytes(), peerId().bytes(),
                                                    R"({"cd":"work"})");
}

void tst_RpcSocket::refusedPacketLeavesBufferAsItIs()
{
    QFETCH(QByteArray, datagram);
    QByteArray data = datagram;
    QVERIFY(!m_rpc->readyRead(data, m_peer->address(), m_peer->port()));
    QCOMPARE(data, datagram);
}

void tst_RpcSocket::acceptedPacketLosesItsHeader()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    QByteArray data = toOwn("00000001", R"({"cd":"work"})");
    QVERIFY(m_rpc->readyRead(data, m_peer->address(), m_peer->port()));
    QCOMPARE(data, QByteArray(R"({"cd":"work"})"));
}

void tst_RpcSocket::highFourBitsOfTypeAreIgnored()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    QVERIFY(deliver(QByteArray(1, '\xf0') + toOwn("00000001", R"({"cd":"work"})").mid(1)));
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
}

void tst_RpcSocket::bodyTooLongFailsWithoutLogLineAndExpires()
{
    // {"cd":"work","x":"..."} takes 20 bytes besides the text.
    const QJsonObject args{{QStringLiteral("x"), QString(65492 - 20, QLatin1Char('a'))}};
    int timeouts = 0;
    {
        const LogCapture log;
        QVERIFY(!m_rpc->invoke(
            nodeOf(*m_peer, peerId()), QStringLiteral("work"), args, {}, [&] { ++timeouts; }, 5000));
        QCOMPARE(log.texts(), QStringList());
    }
    QCOMPARE(m_socket->sentPackets(), quint64(0));
    m_now += 5001;
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 1);
}

void tst_RpcSocket::emptyTargetIdSendsWholeHeader()
{
    QVERIFY(m_rpc->invoke(nodeOf(*m_peer, int160(QString())), QStringLiteral("work"), {}, {}, {}, 5000));
    QCOMPARE(m_peer->received(*m_socket).value(0), QByteArray::fromHex("0000000001") + kOwnBytes +
                                                       QByteArray(20, '\0') + QByteArray(R"({"cd":"work"})"));
}

void tst_RpcSocket::emptyOwnIdIsTargetOfNoPacket()
{
    RpcSocket rpc(m_socket, int160(QString()), nullptr);
    for (const int160& target : {int160(), ownId()}) {
        QByteArray data =
            Wire::packet(number("00000001"), peerId().bytes(), target.bytes(), R"({"cd":"work"})");
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

void tst_RpcSocket::targetIdSelectsRpcSocketOnSharedSocket()
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
        m_peer->send(Wire::packet(number("00000001"), stranger.bytes(), target.bytes(), R"({"cd":"work"})"),
                     m_socket->localPort());
    }
    QTRY_COMPARE(calls.size(), 2);
    QCOMPARE(calls, (QStringList{QStringLiteral("second"), QStringLiteral("first")}));
    QCOMPARE(m_socket->receivedPackets(), quint64(2));
    m_socket->removeSocket(second);
}

QTEST_GUILESS_MAIN(tst_RpcSocket)

#include "tst_RpcSocket.moc"
