#include "Network/NetworkAvailable.h"

#include "support/LogCapture.h"

#include <QMetaMethod>
#include <QtTest>

class tst_NetworkAvailable : public QObject
{
    Q_OBJECT

private slots:
    void clientReachesServerOfSameMachine();
    void serverListensOnPort33672();
    void portThatIsTakenIsLoggedAndLeavesNoServer();
    void refusedConnectionIsLoggedAndRunsSecondCallback();
    void closingClientRunsSecondCallbackOnce();
    void endByServerRunsSecondCallbackForErrorAndForEnd();
    void callbacksMayBeEmpty();
    void withoutClientConnectingAndClosingDoNothing();
    void serversSlotsForItsPeerAreThere();
    void destructorOfClientDisconnectsItAndSaysSo();
    void destructorOfServerLogsItsClassAlone();
};

namespace
{

constexpr quint16 kPort = 33672;

/// A client whose callbacks count.
struct Client
{
    Client() { available.createClient(); }
    void connect()
    {
        available.connectClient([this] { ++connected; }, [this] { ++disconnected; });
    }

    int connected = 0;
    int disconnected = 0;
    NetworkAvailable available{nullptr};
};

QStringList messages(const LogCapture& log)
{
    QStringList result;
    for (const QString& text : log.texts(QtWarningMsg)) {
        result.append(text.section(QStringLiteral("=>\t "), 1));
    }
    return result;
}

} // namespace

void tst_NetworkAvailable::clientReachesServerOfSameMachine()
{
    const LogCapture log;
    NetworkAvailable server(nullptr);
    server.createServer();
    Client client;
    QCOMPARE(client.connected, 0);
    client.connect();
    QTRY_COMPARE(client.connected, 1);
    QCOMPARE(client.disconnected, 0);
    QCOMPARE(log.records().size(), 0);
}

void tst_NetworkAvailable::serverListensOnPort33672()
{
    const LogCapture log;
    NetworkAvailable server(nullptr);
    server.createServer();
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), kPort);
    QVERIFY(socket.waitForConnected());
}

void tst_NetworkAvailable::portThatIsTakenIsLoggedAndLeavesNoServer()
{
    const LogCapture log;
    QTcpServer first;
    QVERIFY(first.listen(QHostAddress::Any, kPort));
    NetworkAvailable server(nullptr);
    server.createServer();
    QCOMPARE(messages(log), QStringList{QStringLiteral("Error createServer - init")});

    first.close();
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), kPort);
    QVERIFY(!socket.waitForConnected());
}

void tst_NetworkAvailable::refusedConnectionIsLoggedAndRunsSecondCallback()
{
    const LogCapture log;
    Client client;
    client.connect();
    QTRY_COMPARE(client.disconnected, 1);
    QCOMPARE(client.connected, 0);
    QCOMPARE(messages(log),
             QStringList{QStringLiteral("TCP SOCKET ERROR! QAbstractSocket::ConnectionRefusedError")});
}

void tst_NetworkAvailable::closingClientRunsSecondCallbackOnce()
{
    const LogCapture log;
    NetworkAvailable server(nullptr);
    server.createServer();
    Client client;
    client.connect();
    QTRY_COMPARE(client.connected, 1);
    client.available.closeClient();
    QTRY_COMPARE(client.disconnected, 1);
    QCOMPARE(log.records().size(), 0);
}

void tst_NetworkAvailable::endByServerRunsSecondCallbackForErrorAndForEnd()
{
    const LogCapture log;
    auto server = std::make_unique<NetworkAvailable>(nullptr);
    server->createServer();
    Client client;
    client.connect();
    QTRY_COMPARE(client.connected, 1);
    server.reset();
    QTRY_COMPARE(client.disconnected, 2);
    QCOMPARE(messages(log),
             QStringList{QStringLiteral("TCP SOCKET ERROR! QAbstractSocket::RemoteHostClosedError")});
}

void tst_NetworkAvailable::callbacksMayBeEmpty()
{
    const LogCapture log;
    NetworkAvailable client(nullptr);
    client.createClient();
    client.connectClient({}, {});
    QTRY_COMPARE(messages(log).size(), 1);

    NetworkAvailable server(nullptr);
    server.createServer();
    QTcpSocket fence; // accepted after the client's connection
    client.connectClient({}, {});
    fence.connectToHost(QHostAddress(QHostAddress::LocalHost), kPort);
    QTRY_COMPARE(fence.state(), QAbstractSocket::ConnectedState);
    client.closeClient();
    QCOMPARE(messages(log).size(), 1);
}

void tst_NetworkAvailable::withoutClientConnectingAndClosingDoNothing()
{
    const LogCapture log;
    int calls = 0;
    NetworkAvailable available(nullptr);
    available.connectClient([&calls] { ++calls; }, [&calls] { ++calls; });
    available.closeClient();
    QCoreApplication::processEvents();
    QCOMPARE(calls, 0);
    QCOMPARE(log.records().size(), 0);
}

void tst_NetworkAvailable::serversSlotsForItsPeerAreThere()
{
    const QMetaObject& metaObject = NetworkAvailable::staticMetaObject;
    for (const char* slot : {"onDisconnected()", "onErrorOccurred(QAbstractSocket::SocketError)"}) {
        const int index = metaObject.indexOfSlot(slot);
        QVERIFY2(index >= 0, slot);
        QCOMPARE(metaObject.method(index).methodType(), QMetaMethod::Slot);
    }
}

void tst_NetworkAvailable::destructorOfClientDisconnectsItAndSaysSo()
{
    const LogCapture log;
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::Any, kPort));
    int disconnected = 0;
    auto client = std::make_unique<NetworkAvailable>(nullptr);
    client->createClient();
    client->connectClient({}, [&disconnected] { ++disconnected; });
    QTRY_VERIFY(server.hasPendingConnections());
    const QTcpSocket* const peer = server.nextPendingConnection();
    QTRY_COMPARE(peer->state(), QAbstractSocket::ConnectedState);
    QCoreApplication::processEvents();

    client.reset();
    QCOMPARE(log.texts(), (QStringList{QStringLiteral("Destruct class .. NetworkAvailable"),
                                       QStringLiteral("Close TCP connection ...")}));
    QTRY_COMPARE(peer->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(disconnected, 1);
}

void tst_NetworkAvailable::destructorOfServerLogsItsClassAlone()
{
    const LogCapture log;
    auto server = std::make_unique<NetworkAvailable>(nullptr);
    server->createServer();
    server.reset();
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Destruct class .. NetworkAvailable")});
}

QTEST_GUILESS_MAIN(tst_NetworkAvailable)
#include "tst_NetworkAvailable.moc"
