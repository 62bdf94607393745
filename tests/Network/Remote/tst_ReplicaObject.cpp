#include "ReplicaObjectTest.h"

#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

class tst_ReplicaObject : public ReplicaObjectTest
{
    Q_OBJECT

private slots:
    void signalsComeFirstInMetaObject();
    void isIdleUntilItIsToldToClone();
    void propertyBeforeFirstDumpIsInvalidAndWarnedOf();
    void setPropertyBeforeFirstDumpIsWarnedOfAndWritten();
    void setPropertyStoresAtOnceWithoutSignalAndWritesToSource();
    void changeBeforeAnyDumpIsSignalledAndStaysOutOfChecksum();
    void changeOfUnknownNameIsAdded();
    void messagesWithoutTheirKeysAreAnswered();
    void destructionLeavesTwoCommandsThatDoNothing();
    void slotMayDeleteReplica();
};

void tst_ReplicaObject::signalsComeFirstInMetaObject()
{
    const QMetaObject& meta = ReplicaObject::staticMetaObject;
    QByteArrayList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        methods.append(meta.method(i).methodSignature());
    }
    QCOMPARE(methods, (QByteArrayList{"successSync()", "failSync()", "propertyChanged(QString,QVariant)",
                                      "onTimeout()"}));
}

void tst_ReplicaObject::isIdleUntilItIsToldToClone()
{
    makeReplica();
    const auto* const timer = m_replica->findChild<QTimer*>();
    QVERIFY(timer != nullptr);
    QVERIFY(!timer->isActive());
    QVERIFY(!m_replica->isSynchronized());
    QCOMPARE(m_replica->propertyNames(), QStringList());
    QVERIFY(sent().isEmpty());
}

void tst_ReplicaObject::propertyBeforeFirstDumpIsInvalidAndWarnedOf()
{
    makeReplica();
    const LogCapture log;
    QVERIFY(!m_replica->property(QStringLiteral("frequency")).isValid());
    QVERIFY(!m_replica->contains(QStringLiteral("frequency")));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts().first().endsWith(QStringLiteral("=>\t Error get property - no contains! frequency")));
}

void tst_ReplicaObject::setPropertyBeforeFirstDumpIsWarnedOfAndWritten()
{
    makeReplica();
    {
        const LogCapture log;
        m_replica->setProperty(QStringLiteral("gain"), 7);
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY(log.texts().first().contains(QStringLiteral("=>\t Error set property - no contains! gain")));
        QVERIFY(log.texts().first().contains(QLatin1Char('7')));
    }
    QVERIFY(!m_replica->contains(QStringLiteral("gain")));
    QCOMPARE(sent(), QByteArrayList{R"({"cd":"wp_rrd","n":"gain","v":7})"});
}

void tst_ReplicaObject::setPropertyStoresAtOnceWithoutSignalAndWritesToSource()
{
    makeReplica();
    call(message("pci", "gain", "1"));
    const QSignalSpy changed(m_replica.get(), &ReplicaObject::propertyChanged);
    const LogCapture log;
    m_replica->setProperty(QStringLiteral("gain"), 7);
    QCOMPARE(m_replica->property(QStringLiteral("gain")), QVariant(7));
    QCOMPARE(changed.size(), 0);
    QCOMPARE(log.texts(), QStringList());
    const auto packets = m_peer->receivedMessages(*m_socket);
    QCOMPARE(packets.size(), 1);
    QCOMPARE(packets.first().json, QByteArray(R"({"cd":"wp_rrd","n":"gain","v":7})"));
    QCOMPARE(packets.first().sender, id('\x11').bytes());
    QCOMPARE(packets.first().target, id('\x22').bytes());
}

void tst_ReplicaObject::changeBeforeAnyDumpIsSignalledAndStaysOutOfChecksum()
{
    makeReplica();
    const QSignalSpy changed(m_replica.get(), &ReplicaObject::propertyChanged);
    QCOMPARE(call(message("pc", "gain", "4")), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(m_replica->property(QStringLiteral("gain")), QVariant(4.0));
    QCOMPARE(changed.size(), 1);
    m_replica->clone();
    call(message("pci", "frequency", "1"));
    call(message("pc", "gain", "5"));
    call(checksum("frequency"));
    QVERIFY(m_replica->isSynchronized());
}

void tst_ReplicaObject::changeOfUnknownNameIsAdded()
{
    makeReplica();
    m_replica->clone();
    dump({"gain"});
    call(message("pc", "n\xc3\xbc", "true"));
    QCOMPARE(m_replica->property(QStringLiteral("n\u00fc")), QVariant(true));
}

void tst_ReplicaObject::messagesWithoutTheirKeysAreAnswered()
{
    makeReplica();
    QCOMPARE(call(R"({"cd":"pci_rrd"})"), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(m_replica->propertyNames(), QStringList{QString()});
    QCOMPARE(call(R"({"cd":"pc_rrd","n":{"a":1},"v":null})"),
             (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(m_replica->propertyNames(), QStringList{QString()});
}

void tst_ReplicaObject::destructionLeavesTwoCommandsThatDoNothing()
{
    makeReplica();
    m_replica->clone();
    m_replica.reset();
    QCOMPARE(sent(), QByteArrayList{kAsk});
    const LogCapture log;
    QCOMPARE(call(message("pci", "gain", "1")), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(call(checksum("gain")), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(call(message("pc", "gain", "1")), QJsonObject());
    QCOMPARE(call(R"({"cd":"sss_syc_rrd"})"), QJsonObject());
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
}

void tst_ReplicaObject::slotMayDeleteReplica()
{
    makeReplica();
    connect(m_replica.get(), &ReplicaObject::propertyChanged, this, [this] { m_replica.reset(); });
    call(message("pci", "gain", "1"));
    QVERIFY(!m_replica);
    makeReplica();
    m_replica->clone();
    connect(m_replica.get(), &ReplicaObject::successSync, this, [this] { m_replica.reset(); });
    call(checksum(""));
    QVERIFY(!m_replica);
}

QTEST_GUILESS_MAIN(tst_ReplicaObject)

#include "tst_ReplicaObject.moc"
