#include "Rendezvous/HandshakeEnd.h"
#include "support/LogCapture.h"

#include <QtTest>

namespace
{

/// Relays a request to punch to the node that it names, as a rendezvous server does.
void relayRequests(WirePeer& server)
{
    QObject::connect(&server, &WirePeer::called, &server, [&server](const QString& command) {
        if (command != kRequest) {
            return;
        }
        const WirePeer::Message request = server.calls(kRequest).last();
        server.call(QByteArray::fromHex(request.body.value(QStringLiteral("id")).toString().toLatin1()),
                    QHostAddress(request.body.value(QStringLiteral("address")).toString()),
                    static_cast<quint16>(request.body.value(QStringLiteral("port")).toInt()), kRequest,
                    {{QStringLiteral("id"), QString::fromLatin1(request.sender.toHex())},
                     {QStringLiteral("address"), QHostAddress(request.address.toIPv4Address()).toString()},
                     {QStringLiteral("port"), request.port}});
    });
}

} // namespace

/// Requests that a rendezvous server relays to a HandshakeSocket.
class tst_HandshakeRequests : public QObject
{
    Q_OBJECT

private slots:
    void relayedRequestStartsAttempt();
    void requestWithMissingKeyIsIgnored_data();
    void requestWithMissingKeyIsIgnored();
    void requestDuringAttemptIsIgnored();
    void requestAtLastTryIsTakenUp();
    void requestAtReachingEndIsIgnored();
    void whatArrivesAfterObjectHasGoneTouchesNothing();
    void bothEndsReachSameServerAndEachOther();
    void pairFailsWhenNothingPassesBetweenThem();
};

void tst_HandshakeRequests::relayedRequestStartsAttempt()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    const WirePeer peer(kPeerId);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    QVERIFY(callAndWait(master, node, kRequest, requestFor(peer)));
    QVERIFY(end.object->isTrying());
    end.tick(1);
    QTRY_COMPARE(end.success.size(), 1);
    QCOMPARE(master.calls(kRequest).size(), 0); // this end asks for no relay
}

void tst_HandshakeRequests::requestWithMissingKeyIsIgnored_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("message");
    const QJsonValue none(QJsonValue::Undefined);
    QTest::newRow("no id") << QStringLiteral("id") << none
                           << QStringLiteral("Error parse QJsonObject - no id key!");
    QTest::newRow("no address") << QStringLiteral("address") << none
                                << QStringLiteral("Error parse QJsonObject - no address key!");
    QTest::newRow("no port") << QStringLiteral("port") << none
                             << QStringLiteral("Error convert QJsonObject quint16 value! Key: port, value: ");
    QTest::newRow("port of another type")
        << QStringLiteral("port") << QJsonValue(QStringLiteral("x"))
        << QStringLiteral("Error convert QJsonObject quint16 value! Key: port, value: x");
    QTest::newRow("port 0") << QStringLiteral("port") << QJsonValue(0) << QString();
    QTest::newRow("id that is none") << QStringLiteral("id") << QJsonValue(QStringLiteral("22")) << QString();
    QTest::newRow("null id") << QStringLiteral("id") << QJsonValue(QString(40, QLatin1Char('0')))
                             << QString();
    QTest::newRow("address that is none")
        << QStringLiteral("address") << QJsonValue(QStringLiteral("host")) << QString();
}

void tst_HandshakeRequests::requestWithMissingKeyIsIgnored()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QFETCH(QString, message);
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    const WirePeer peer(kPeerId);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    QJsonObject request = requestFor(peer);
    request.insert(key, value); // one that is undefined takes the key away
    const LogCapture log;
    QVERIFY(callAndWait(master, node, kRequest, request));
    QVERIFY(!end.object->isTrying());
    QCOMPARE(log.texts().size(), message.isEmpty() ? 0 : 1);
    QVERIFY(message.isEmpty() || log.texts().first().contains(message));
}

void tst_HandshakeRequests::requestDuringAttemptIsIgnored()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    WirePeer peer(kPeerId);
    const WirePeer other(kStrangerId);
    peer.setSilent(true);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    end.object->start(LocalNode::info(peer));
    end.tick(5, 1); // one try left
    QVERIFY(callAndWait(master, node, kRequest, requestFor(other)));
    end.tick(1, 1);
    QTRY_COMPARE(peer.calls(kHolePunching).size(), 6);
    QCOMPARE(other.calls().size(), 0);
}

void tst_HandshakeRequests::requestAtLastTryIsTakenUp()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    WirePeer peer(kPeerId);
    const WirePeer other(kStrangerId);
    peer.setSilent(true);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    end.object->start(LocalNode::info(peer));
    end.tick(6, 1); // none above 0 left
    QVERIFY(callAndWait(master, node, kRequest, requestFor(other)));
    end.tick(1, 1);
    QTRY_COMPARE(other.calls(kHolePunching).size(), 1);
}

void tst_HandshakeRequests::requestAtReachingEndIsIgnored()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    const WirePeer peer(kPeerId);
    HandshakeEnd end(node, {LocalNode::info(master)}, false);
    QVERIFY(callAndWait(master, node, kRequest, requestFor(peer)));
    QVERIFY(!end.object->isTrying());
}

void tst_HandshakeRequests::whatArrivesAfterObjectHasGoneTouchesNothing()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    {
        HandshakeEnd end(node, {LocalNode::info(master)}, true);
        end.object->start(LocalNode::info(peer));
        end.tick(1);
        QTRY_COMPARE(peer.calls().size(), 1);
    }
    peer.reply(peer.calls().first());
    for (const QString& command : {kHolePunching, kRequest, kPing, QStringLiteral("drop")}) {
        QVERIFY(callAndWait(master, node, command, requestFor(peer)));
    }
    node.pass(60'000);
}

void tst_HandshakeRequests::bothEndsReachSameServerAndEachOther()
{
    // Ids far apart: each end would choose another server for itself.
    WirePeer first(QByteArray(20, '\x10'));
    WirePeer second(QByteArray(20, '\x61'));
    relayRequests(first);
    relayRequests(second);
    const QVector<NodeInfo> masters{LocalNode::info(first), LocalNode::info(second)};
    LocalNode listeningNode(QByteArray(20, '\x60'));
    LocalNode reachingNode(QByteArray(20, '\x11'));
    HandshakeEnd listening(listeningNode, masters, true);
    HandshakeEnd reaching(reachingNode, masters, false);

    listening.tick(1);
    QTRY_COMPARE(second.calls(kPing).size(), 1);
    reaching.object->start(infoOf(listeningNode));
    QTRY_VERIFY(listening.object->isTrying());
    QCOMPARE(second.calls(kRequest).size(), 1);
    QCOMPARE(first.calls().size(), 0);

    reaching.tick(1);
    listening.tick(1);
    QTRY_COMPARE(reaching.success.size(), 1);
    QTRY_COMPARE(listening.success.size(), 1);
    reaching.tick(10);
    listening.tick(10);
    QCOMPARE(reaching.success.size() + reaching.fail.size(), 1);
    QCOMPARE(listening.success.size() + listening.fail.size(), 1);
}

void tst_HandshakeRequests::pairFailsWhenNothingPassesBetweenThem()
{
    WirePeer server(kMasterId);
    relayRequests(server);
    const QVector<NodeInfo> masters{LocalNode::info(server)};
    LocalNode listeningNode(kPeerId);
    LocalNode reachingNode(kOwnId);
    HandshakeEnd listening(listeningNode, masters, true);
    HandshakeEnd reaching(reachingNode, masters, false);
    reaching.object->start(infoOf(listeningNode));
    QTRY_VERIFY(listening.object->isTrying());
    // From here on both are deaf to each other.
    listeningNode.socket->removeSocket(listeningNode.rpcSocket);
    reachingNode.socket->removeSocket(reachingNode.rpcSocket);
    reaching.tick(7);
    listening.tick(7);
    QCOMPARE(reaching.fail.size(), 1);
    QCOMPARE(listening.fail.size(), 1);
    QCOMPARE(reaching.success.size() + listening.success.size(), 0);
}

QTEST_GUILESS_MAIN(tst_HandshakeRequests)
#include "tst_HandshakeRequests.moc"
