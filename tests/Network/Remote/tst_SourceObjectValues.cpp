#include "SourceObjectTest.h"

#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QtTest>

class tst_SourceObjectValues : public SourceObjectTest
{
    Q_OBJECT

private slots:
    void changeIsSentWithoutReplica();
    void changeBeforeAnyPeerIsKnownTroublesNobody();
    void propertiesThatShareSignalAreBothSentOnce();
    void inheritedPropertyIsWatched();
    void propertyWithoutSignalIsNeverUpdated();
    void writeReachesSetterAndComesBackAsChange();
    void writeIsServedToAnyNode();
    void writeThatSetterRefusesIsAnsweredAndNotEchoed();
    void writeOfAnotherTypeIsIgnored();
    void writeToUnknownNameLeavesDynamicProperty();
    void writeWithoutItsKeysIsAnswered_data();
    void writeWithoutItsKeysIsAnswered();
    void noMoreThan32DynamicPropertiesAreLeft();
    void nameBeyondBoundCanStillBeWrittenIfItIsThere();
    void dynamicValueHoldsUpTo4KibibytesOfJson_data();
    void dynamicValueHoldsUpTo4KibibytesOfJson();
    void propertyOfTargetTakesLongValue();
};

void tst_SourceObjectValues::changeIsSentWithoutReplica()
{
    makeSource(m_target.get(), peerId());
    m_target->setFrequency(2500.5);
    const auto packets = sent();
    QCOMPARE(bodies(packets), QByteArrayList{R"({"cd":"pc_rrd","n":"frequency","v":2500.5})"});
    QCOMPARE(packets.first().target, peerId().bytes());
}

void tst_SourceObjectValues::changeBeforeAnyPeerIsKnownTroublesNobody()
{
    makeSource(m_target.get(), int160());
    {
        const LogCapture log; // the system may refuse to send to a null address
        m_target->setFrequency(2500);
    }
    call(peerId(), kAskForDump);
    QCOMPARE(sent().value(1).json, QByteArray(R"({"cd":"pci_rrd","n":"frequency","v":2500})"));
}

void tst_SourceObjectValues::propertiesThatShareSignalAreBothSentOnce()
{
    makeSource(m_target.get(), peerId());
    emit m_target->levelsChanged();
    QCOMPARE(bodies(sent()), (QByteArrayList{R"({"cd":"pc_rrd","n":"gain","v":3})",
                                             R"({"cd":"pc_rrd","n":"rates","v":["48000","96000"]})"}));
}

void tst_SourceObjectValues::inheritedPropertyIsWatched()
{
    makeSource(m_target.get(), peerId());
    m_target->setObjectName(QStringLiteral("name"));
    QCOMPARE(bodies(sent()), QByteArrayList{R"({"cd":"pc_rrd","n":"objectName","v":"name"})"});
}

void tst_SourceObjectValues::propertyWithoutSignalIsNeverUpdated()
{
    makeSource(m_target.get(), peerId());
    m_target->setProperty("open", false);
    QVERIFY(!m_target->m_open);
    QVERIFY(sent().isEmpty());
}

void tst_SourceObjectValues::writeReachesSetterAndComesBackAsChange()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":7100000})");
    QCOMPARE(m_target->frequency(), 7'100'000.0);
    QCOMPARE(bodies(sent()),
             (QByteArrayList{R"({"cd":"pc_rrd","n":"frequency","v":7100000})", R"({"cd":""})"}));
}

void tst_SourceObjectValues::writeIsServedToAnyNode()
{
    makeSource(m_target.get(), peerId());
    WirePeer stranger;
    call(id('\x33'), R"({"cd":"wp_rrd","n":"secret","v":5})", &stranger);
    QCOMPARE(m_target->m_secret, 5);
    QCOMPARE(bodies(stranger.receivedMessages(*m_socket)), QByteArrayList{R"({"cd":""})"});
    QVERIFY(sent().isEmpty());
}

void tst_SourceObjectValues::writeThatSetterRefusesIsAnsweredAndNotEchoed()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":-1})");
    QCOMPARE(m_target->frequency(), 1000.0);
    QCOMPARE(bodies(sent()), QByteArrayList{R"({"cd":""})"});
}

void tst_SourceObjectValues::writeOfAnotherTypeIsIgnored()
{
    makeSource(m_target.get(), peerId());
    for (const char* value : {R"("fast")", R"([1])", R"({"a":1})"}) {
        call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":)" + QByteArray(value) + "}");
        QCOMPARE(m_target->frequency(), 1000.0);
    }
    QCOMPARE(sent().size(), 3);
    QVERIFY(m_target->dynamicPropertyNames().isEmpty());
}

void tst_SourceObjectValues::writeToUnknownNameLeavesDynamicProperty()
{
    makeSource(m_target.get(), peerId());
    const LogCapture log;
    call(peerId(), "{\"cd\":\"wp_rrd\",\"n\":\"n\xc3\xbc\",\"v\":[1,\"b\"]}");
    QCOMPARE(m_target->dynamicPropertyNames(), QList<QByteArray>{"n\xc3\xbc"});
    QCOMPARE(m_target->property("n\xc3\xbc"), QVariant(QVariantList{1.0, QStringLiteral("b")}));
    QCOMPARE(bodies(sent()), QByteArrayList{R"({"cd":""})"});
    QCOMPARE(log.texts(), QStringList());
}

void tst_SourceObjectValues::writeWithoutItsKeysIsAnswered_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("neither") << QByteArray(R"({"cd":"wp_rrd"})");
    QTest::newRow("no value") << QByteArray(R"({"cd":"wp_rrd","n":"unknown"})");
    QTest::newRow("no name") << QByteArray(R"({"cd":"wp_rrd","v":7})");
    QTest::newRow("name of another type") << QByteArray(R"({"cd":"wp_rrd","n":{},"v":7})");
    QTest::newRow("null for an unknown name") << QByteArray(R"({"cd":"wp_rrd","n":"unknown","v":null})");
    QTest::newRow("null for a rates list") << QByteArray(R"({"cd":"wp_rrd","n":"rates","v":null})");
}

void tst_SourceObjectValues::writeWithoutItsKeysIsAnswered()
{
    QFETCH(QByteArray, json);
    makeSource(m_target.get(), peerId());
    call(peerId(), json);
    QCOMPARE(sent().last().json, QByteArray(R"({"cd":""})"));
    QCOMPARE(m_target->frequency(), 1000.0);
}

void tst_SourceObjectValues::noMoreThan32DynamicPropertiesAreLeft()
{
    makeSource(m_target.get(), peerId());
    LogCapture log;
    for (int i = 0; i < 32; ++i) {
        call(peerId(), R"({"cd":"wp_rrd","n":"name)" + QByteArray::number(i) + R"(","v":1})");
    }
    QCOMPARE(m_target->dynamicPropertyNames().size(), 32);
    QCOMPARE(log.texts(), QStringList());
    call(peerId(), R"({"cd":"wp_rrd","n":"name32","v":1})");
    QCOMPARE(m_target->dynamicPropertyNames().size(), 32);
    QVERIFY(!m_target->property("name32").isValid());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts().first().endsWith(
        QStringLiteral("=>\t Error write property - too many dynamic properties! name32")));
    QCOMPARE(sent().size(), 33);
}

void tst_SourceObjectValues::nameBeyondBoundCanStillBeWrittenIfItIsThere()
{
    makeSource(m_target.get(), peerId());
    for (int i = 0; i < 32; ++i) {
        m_target->setProperty("name" + QByteArray::number(i), 1);
    }
    call(peerId(), R"({"cd":"wp_rrd","n":"name7","v":2})");
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":3})");
    QCOMPARE(m_target->property("name7").toInt(), 2);
    QCOMPARE(m_target->frequency(), 3.0);
}

void tst_SourceObjectValues::dynamicValueHoldsUpTo4KibibytesOfJson_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("isTaken");
    const QByteArray name("name");
    QTest::newRow("text") << name << '"' + QByteArray(4094, 'x') + '"' << true;
    QTest::newRow("text, one more") << name << '"' + QByteArray(4095, 'x') + '"' << false;
    QTest::newRow("list") << name << '[' + QByteArray("1,").repeated(2046) + "10]" << true;
    QTest::newRow("list, one more") << name << '[' + QByteArray("1,").repeated(2046) + "100]" << false;
    QTest::newRow("object") << name << R"({"k":")" + QByteArray(60'000, 'x') + R"("})" << false;
    QTest::newRow("name") << QByteArray(4096, 'x') << QByteArray("1") << true;
    QTest::newRow("name, one more") << QByteArray(4097, 'x') << QByteArray("1") << false;
}

void tst_SourceObjectValues::dynamicValueHoldsUpTo4KibibytesOfJson()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, value);
    QFETCH(bool, isTaken);
    makeSource(m_target.get(), peerId());
    LogCapture log;
    call(peerId(), R"({"cd":"wp_rrd","n":")" + name + R"(","v":)" + value + '}');
    QCOMPARE(m_target->property(name).isValid(), isTaken);
    QCOMPARE(log.texts(QtWarningMsg).size(), isTaken ? 0 : 1);
    QCOMPARE(bodies(sent()), QByteArrayList{R"({"cd":""})"});
    if (!isTaken) {
        QVERIFY(log.texts().first().endsWith(
            QStringLiteral("=>\t Error write property - too many dynamic properties! %1")
                .arg(QString::fromLatin1(name.left(200)))));
        // One that is there keeps its value.
        m_target->setProperty("name", 5);
        call(peerId(), R"({"cd":"wp_rrd","n":"name","v":")" + QByteArray(5000, 'x') + R"("})");
        QCOMPARE(m_target->property("name").toInt(), 5);
    }
}

void tst_SourceObjectValues::propertyOfTargetTakesLongValue()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), R"({"cd":"wp_rrd","n":"objectName","v":")" + QByteArray(20'000, 'x') + R"("})");
    QCOMPARE(m_target->objectName().size(), 20'000);
}

QTEST_GUILESS_MAIN(tst_SourceObjectValues)

#include "tst_SourceObjectValues.moc"
