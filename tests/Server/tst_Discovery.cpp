#include "Server/Discovery.h"

#include "DatagramReceiver.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace
{

constexpr quint16 kPort = 45433;

int160 idOf(char byte)
{
    return int160(QByteArray(20, byte).constData());
}

} // namespace

class tst_Discovery : public QObject
{
    Q_OBJECT

private slots:
    void announcesServerInOneCompactObject();
    void saysNothingBeforeItIsTold();
    void sendsOneDatagramCall();
    void comesFromPortOfItsOwn();
    void versionsAreNumbers();
    void twoServersAnnounceThemselvesEachWithItsOwnValues();
    void emptyTextsAreSentAsEmptyStrings();
    void textsOutsideAsciiAreUtf8();
};

void tst_Discovery::announcesServerInOneCompactObject()
{
    DatagramReceiver receiver(QHostAddress::AnyIPv4, kPort);
    QVERIFY(receiver.isBound());
    Discovery discovery(int160(QStringLiteral("00112233445566778899AABBCCDDEEFF01020304")), 65535, 5,
                        QStringLiteral("a title"), QStringLiteral("what it is"), QStringLiteral("id \"1\""),
                        nullptr);
    discovery.send();
    // Keys in the order of their names.
    QCOMPARE(receiver.take(),
             QList<QByteArray>{QByteArrayLiteral(
                 R"({"description":"what it is","device_type":5,)"
                 R"("id":"00112233445566778899aabbccddeeff01020304","identificator":"id \"1\"",)"
                 R"("port":65535,"title":"a title","vma":8,"vmi":0})")});
}

void tst_Discovery::saysNothingBeforeItIsTold()
{
    DatagramReceiver receiver(QHostAddress::AnyIPv4, kPort);
    const Discovery discovery(idOf(1), 1, 0, {}, {}, {}, nullptr);
    QCoreApplication::processEvents();
    QCOMPARE(receiver.take().size(), 0);
}

void tst_Discovery::sendsOneDatagramCall()
{
    DatagramReceiver receiver(QHostAddress::AnyIPv4, kPort);
    Discovery discovery(idOf(1), 1, 0, {}, {}, {}, nullptr);
    for (int i = 0; i < 3; ++i) {
        discovery.send();
        QCOMPARE(receiver.take().size(), 1);
    }
}

void tst_Discovery::comesFromPortOfItsOwn()
{
    QUdpSocket receiver;
    QVERIFY(receiver.bind(QHostAddress::AnyIPv4, kPort));
    QUdpSocket server;
    QVERIFY(server.bind(QHostAddress::LocalHost));
    Discovery discovery(idOf(1), server.localPort(), 0, {}, {}, {}, nullptr);
    QList<quint16> sources;
    for (int i = 0; i < 2; ++i) {
        discovery.send();
        quint16 port = 0;
        QHostAddress address;
        QVERIFY(receiver.readDatagram(nullptr, 0, &address, &port) >= 0);
        sources.append(port);
    }
    QVERIFY(sources[0] != server.localPort());
    QCOMPARE(sources[0], sources[1]);
}

void tst_Discovery::versionsAreNumbers()
{
    DatagramReceiver receiver(QHostAddress::AnyIPv4, kPort);
    Discovery discovery(idOf(1), 1, -1, {}, {}, {}, nullptr);
    discovery.send();
    const QJsonObject object = QJsonDocument::fromJson(receiver.take().value(0)).object();
    QCOMPARE(object.value(QStringLiteral("vma")), QJsonValue(8));
    QCOMPARE(object.value(QStringLiteral("vmi")), QJsonValue(0));
    QCOMPARE(object.value(QStringLiteral("device_type")), QJsonValue(-1));
    QCOMPARE(object.size(), 8);
}

void tst_Discovery::twoServersAnnounceThemselvesEachWithItsOwnValues()
{
    DatagramReceiver receiver(QHostAddress::AnyIPv4, kPort);
    Discovery one(idOf(1), 1001, 0, {}, {}, QStringLiteral("first"), nullptr);
    Discovery two(idOf(2), 1002, 0, {}, {}, QStringLiteral("second"), nullptr);
    one.send();
    two.send();
    const QList<QByteArray> datagrams = receiver.take();
    QCOMPARE(datagrams.size(), 2);
    const QJsonObject first = QJsonDocument::fromJson(datagrams[0]).object();
    const QJsonObject second = QJsonDocument::fromJson(datagrams[1]).object();
    QCOMPARE(first.value(QStringLiteral("id")), QJsonValue(idOf(1).toString()));
    QCOMPARE(first.value(QStringLiteral("port")), QJsonValue(1001));
    QCOMPARE(first.value(QStringLiteral("identificator")), QJsonValue(QStringLiteral("first")));
    QCOMPARE(second.value(QStringLiteral("id")), QJsonValue(idOf(2).toString()));
    QCOMPARE(second.value(QStringLiteral("port")), QJsonValue(1002));
    QCOMPARE(second.value(QStringLiteral("identificator")), QJsonValue(QStringLiteral("second")));
}

void tst_Discovery::emptyTextsAreSentAsEmptyStrings()
{
    DatagramReceiver receiver(QHostAddress::AnyIPv4, kPort);
    Discovery discovery(idOf(0), 1, 0, QString(), QStringLiteral(""), QString(), nullptr);
    discovery.send();
    QCOMPARE(receiver.take(),
             QList<QByteArray>{QByteArrayLiteral(
                 R"({"description":"","device_type":0,"id":"0000000000000000000000000000000000000000",)"
                 R"("identificator":"","port":1,"title":"","vma":8,"vmi":0})")});
}

void tst_Discovery::textsOutsideAsciiAreUtf8()
{
    DatagramReceiver receiver(QHostAddress::AnyIPv4, kPort);
    Discovery discovery(idOf(0), 1, 0, QStringLiteral("Empf\u00e4nger"), {}, {}, nullptr);
    discovery.send();
    QVERIFY(receiver.take().value(0).contains("\"title\":\"Empf\xc3\xa4nger\""));
}

QTEST_GUILESS_MAIN(tst_Discovery)
#include "tst_Discovery.moc"
