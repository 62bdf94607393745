#include "Network/Data/NodeInfo.h"

#include <QDataStream>
#include <QtTest>

class tst_NodeInfo : public QObject
{
    Q_OBJECT

private slots:
    void defaultIsZeroIdNullAddressAndPortZero();
    void sameIdAtAnotherAddressAndPortIsEqual();
    void anotherIdAtSameAddressDiffers();
    void streamHoldsIdAddressAndPort();
    void readingReplacesAllThreeFields();
};

void tst_NodeInfo::defaultIsZeroIdNullAddressAndPortZero()
{
    const NodeInfo node;
    QCOMPARE(node.id.bytes(), QByteArray(20, '\0'));
    QVERIFY(node.address.isNull());
    QCOMPARE(node.port, quint16(0));
}

void tst_NodeInfo::sameIdAtAnotherAddressAndPortIsEqual()
{
    const NodeInfo left{int160::highest(), QHostAddress(QStringLiteral("10.0.0.1")), 1000};
    const NodeInfo right{int160::highest(), QHostAddress(QStringLiteral("10.0.0.2")), 2000};
    QVERIFY(left == right);
    QVERIFY(!(left != right));
}

void tst_NodeInfo::anotherIdAtSameAddressDiffers()
{
    const NodeInfo left{int160::highest(), QHostAddress(QStringLiteral("10.0.0.1")), 1000};
    const NodeInfo right{int160::lowest(), left.address, left.port};
    QVERIFY(left != right);
    QVERIFY(!(left == right));
}

void tst_NodeInfo::streamHoldsIdAddressAndPort()
{
    const NodeInfo node{int160::highest(), QHostAddress(QStringLiteral("192.168.1.2")), 0x1234};
    QByteArray wire;
    QDataStream writer(&wire, QIODevice::WriteOnly);
    writer << node;

    QByteArray expected = QByteArray::fromHex("00000050"); // 80 bytes of text
    for (int i = 0; i < 40; ++i) {
        expected += QByteArray("\0f", 2);
    }
    expected += QByteArray::fromHex("00"
                                    "c0a80102"); // IPv4, the address
    expected += QByteArray::fromHex("1234");
    QCOMPARE(wire.toHex(), expected.toHex());
}

void tst_NodeInfo::readingReplacesAllThreeFields()
{
    const NodeInfo node{int160::highest(), QHostAddress(QStringLiteral("::1")), 45433};
    QByteArray wire;
    QDataStream writer(&wire, QIODevice::WriteOnly);
    writer << node;

    NodeInfo read{int160::lowest(), QHostAddress(QStringLiteral("1.2.3.4")), 7};
    QDataStream stream(wire);
    stream >> read;
    QCOMPARE(read.id.bytes(), node.id.bytes());
    QCOMPARE(read.address, node.address);
    QCOMPARE(read.port, node.port);
    QVERIFY(stream.atEnd());
}

QTEST_GUILESS_MAIN(tst_NodeInfo)
#include "tst_NodeInfo.moc"
