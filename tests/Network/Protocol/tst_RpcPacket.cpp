#include "Network/Protocol/RpcPacket.h"

#include <QtTest>

class tst_RpcPacket : public QObject
{
    Q_OBJECT

private slots:
    void isWrittenAsDrawn();
    void isReadAsDrawn();
    void numberIsReadWithSignedUpperBytes_data();
    void numberIsReadWithSignedUpperBytes();
    void highFourBitsOfTypeAreIgnored();
    void otherTypesAreNoRpc_data();
    void otherTypesAreNoRpc();
    void headerAloneIsNoPacket_data();
    void headerAloneIsNoPacket();
    void idOfAnotherLengthLeavesHeaderWhole();
};

namespace
{

const QByteArray kSender = QByteArray::fromHex("0102030405060708090a0b0c0d0e0f1011121314");
const QByteArray kTarget = QByteArray::fromHex("a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4");

QByteArray drawn(const QByteArray& type, const QByteArray& number, const QByteArray& body)
{
    return QByteArray::fromHex(type) + QByteArray::fromHex(number) + kSender + kTarget + body;
}

} // namespace

void tst_RpcPacket::isWrittenAsDrawn()
{
    const RpcPacket packet{0x01020304, int160(kSender.constData()), int160(kTarget.constData()), "{}"};
    QCOMPARE(packet.toDatagram(), drawn("00", "01020304", "{}"));
}

void tst_RpcPacket::isReadAsDrawn()
{
    const auto packet = RpcPacket::readHeader(drawn("00", "01020304", "{}"));
    QVERIFY(packet.has_value());
    QCOMPARE(packet->number, 0x01020304U);
    QCOMPARE(packet->senderId.bytes(), kSender);
    QCOMPARE(packet->targetId.bytes(), kTarget);
}

void tst_RpcPacket::numberIsReadWithSignedUpperBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<quint32>("number");
    QTest::newRow("1") << QByteArray("00000001") << 0x00000001U;
    QTest::newRow("lowest byte is unsigned") << QByteArray("000000ff") << 0x000000FFU;
    QTest::newRow("32767") << QByteArray("00007fff") << 0x00007FFFU;
    QTest::newRow("32768") << QByteArray("00008000") << 0xFFFF8000U;
    QTest::newRow("32769") << QByteArray("00008001") << 0xFFFF8001U;
    QTest::newRow("65535") << QByteArray("0000ffff") << 0xFFFFFFFFU;
    QTest::newRow("65536") << QByteArray("00010000") << 0x00010000U;
    QTest::newRow("bit 23") << QByteArray("00800000") << 0xFF800000U;
    QTest::newRow("bit 23 below a set byte") << QByteArray("12800001") << 0xFF800001U;
    QTest::newRow("bit 15 below set bytes") << QByteArray("12348001") << 0xFFFF8001U;
    QTest::newRow("bit 31") << QByteArray("80000001") << 0x80000001U;
}

void tst_RpcPacket::numberIsReadWithSignedUpperBytes()
{
    QFETCH(QByteArray, bytes);
    const auto packet = RpcPacket::readHeader(drawn("00", bytes, "{}"));
    QVERIFY(packet.has_value());
    QTEST(packet->number, "number");
}

void tst_RpcPacket::highFourBitsOfTypeAreIgnored()
{
    for (const char* type : {"10", "70", "80", "f0"}) {
        QVERIFY2(RpcPacket::readHeader(drawn(type, "00000001", "{}")).has_value(), type);
    }
}

void tst_RpcPacket::otherTypesAreNoRpc_data()
{
    QTest::addColumn<QByteArray>("type");
    for (const char* type : {"01", "02", "03", "04", "05", "06", "07", "08", "0f", "f1"}) {
        QTest::newRow(type) << QByteArray(type);
    }
}

void tst_RpcPacket::otherTypesAreNoRpc()
{
    QFETCH(QByteArray, type);
    QVERIFY(!RpcPacket::readHeader(drawn(type, "00000001", "{}")).has_value());
}

void tst_RpcPacket::headerAloneIsNoPacket_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("no byte") << 0 << false;
    QTest::newRow("5 bytes") << 5 << false;
    QTest::newRow("44 bytes") << 44 << false;
    QTest::newRow("45 bytes") << 45 << false;
    QTest::newRow("46 bytes") << 46 << true;
}

void tst_RpcPacket::headerAloneIsNoPacket()
{
    QFETCH(int, size);
    QTEST(RpcPacket::readHeader(drawn("00", "00000001", "{}").left(size)).has_value(), "accepted");
}

void tst_RpcPacket::idOfAnotherLengthLeavesHeaderWhole()
{
    const int160 empty{QString()};
    QVERIFY(empty.bytes().isEmpty());
    const RpcPacket packet{1, int160(kSender.constData()), empty, "{}"};
    QCOMPARE(packet.toDatagram(),
             QByteArray::fromHex("0000000001") + kSender + QByteArray(20, '\0') + QByteArray("{}"));
}

QTEST_GUILESS_MAIN(tst_RpcPacket)
#include "tst_RpcPacket.moc"
