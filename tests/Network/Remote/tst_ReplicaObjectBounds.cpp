#include "ReplicaObjectTest.h"

#include "support/LogCapture.h"

#include <QtTest>
#include <random>

class tst_ReplicaObjectBounds : public ReplicaObjectTest
{
    Q_OBJECT

private slots:
    void propertiesWithoutEndAreBoundedAndWarnedOfOnce();
    void namesAndValuesOf60kBAreBounded();
    void smallerValueMakesRoomAgain();
    void anythingAtAllIsTakenWithoutFault();
};

void tst_ReplicaObjectBounds::propertiesWithoutEndAreBoundedAndWarnedOfOnce()
{
    makeReplica();
    LogCapture log;
    const QByteArray text = "\"" + QByteArray(1000, 'x') + "\"";
    for (int i = 0; i < 4000; ++i) {
        QByteArray packet = Wire::packet(QByteArray::fromHex("00000009"), id('\x22').bytes(),
                                         id('\x11').bytes(), message("pc", QByteArray::number(i), text));
        QVERIFY(m_rpc->readyRead(packet, m_peer->address(), m_peer->port()));
        if (i % 100 == 0) {
            sent();
        }
    }
    const int count = m_replica->propertyNames().size();
    QVERIFY2(count > 1000 && count < 3900, qPrintable(QString::number(count)));
    QCOMPARE(log.texts(QtWarningMsg).filter(QStringLiteral("the set is too large! rrd")).size(), 1);
    // What is there still changes.
    call(message("pc", "7", "5"));
    QCOMPARE(m_replica->property(QStringLiteral("7")), QVariant(5.0));
}

void tst_ReplicaObjectBounds::namesAndValuesOf60kBAreBounded()
{
    makeReplica();
    const LogCapture log;
    const QByteArray long60k(60'000, 'x');
    const QByteArray list = "[" + QByteArray("0,").repeated(29'000) + "0]";
    for (int i = 0; i < 40; ++i) {
        call(message("pci", long60k + QByteArray::number(i), "0"));
        call(message("pc", "text" + QByteArray::number(i), "\"" + long60k + "\""));
        call(message("pc", "list" + QByteArray::number(i), list));
    }
    const QStringList names = m_replica->propertyNames();
    QVERIFY2(names.size() >= 3 && names.size() < 60, qPrintable(QString::number(names.size())));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_ReplicaObjectBounds::smallerValueMakesRoomAgain()
{
    makeReplica();
    const LogCapture log;
    const QByteArray text = "\"" + QByteArray(60'000, 'x') + "\"";
    int count = 0;
    while (log.texts().isEmpty()) {
        call(message("pc", QByteArray::number(count++), text));
    }
    QVERIFY(!m_replica->contains(QString::number(count - 1)));
    call(message("pc", "0", "0"));
    call(message("pc", QByteArray::number(count), text));
    QVERIFY(m_replica->contains(QString::number(count)));
}

void tst_ReplicaObjectBounds::anythingAtAllIsTakenWithoutFault()
{
    const QByteArrayList seeds{
        message("pci", "gain", "1"),        message("pc", "rates", R"(["1",{"a":[null]}])"),
        R"({"cd":"sss_syc_rrd"})",          checksum("gain"),
        message("pc", "gain", "1e999"),     message("pc", "\\u0000", "-0"),
        R"({"cd":"sync_crc_rrd","crc":-1})"};
    std::mt19937 random(20'240'601); // NOLINT(bugprone-random-generator-seed): the same each time
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    const LogCapture log;
    makeReplica();
    m_replica->clone();
    for (int round = 0; round < 20'000; ++round) {
        QByteArray json = seeds.at(below(seeds.size()));
        for (int changes = below(4); changes > 0; --changes) {
            const int at = below(json.size());
            switch (below(3)) {
            case 0:
                json[at] = static_cast<char>(below(256));
                break;
            case 1:
                json.insert(at, seeds.at(below(seeds.size())).mid(below(20), below(20)));
                break;
            default:
                json.remove(at, below(8));
                break;
            }
            json.append(' ');
        }
        QByteArray packet =
            Wire::packet(QByteArray::fromHex("00000009"), id('\x22').bytes(), id('\x11').bytes(), json);
        QVERIFY(m_rpc->readyRead(packet, m_peer->address(), m_peer->port()));
        if (round % 100 == 0) {
            sent();
        }
    }
    QVERIFY(m_replica->propertyNames().size() < 20'000);
}

QTEST_GUILESS_MAIN(tst_ReplicaObjectBounds)

#include "tst_ReplicaObjectBounds.moc"
