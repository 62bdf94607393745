#include "SourceObjectTest.h"

#include "Crc16.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QtTest>

class tst_SourceObject : public SourceObjectTest
{
    Q_OBJECT

private slots:
    void signalsComeFirstInMetaObject();
    void targetWithoutPropertiesPublishesItsObjectNameAlone();
    void dumpGoesInPropertyOrderThenEndChecksumAndReply();
    void valuesTravelInNearestJsonType();
    void dumpIsFireAndForgetButForItsEnd();
    void writeOnlyPropertyIsLeftOutOfDumpAndChecksum();
    void checksumIsCrc16OfNamesInOrder();
    void firstCallerBecomesPeerWhenItsIdIsZero();
    void peerWhoseIdSumsToZeroIsReplacedToo();
    void secondCallerDoesNotReplacePeer();
    void peerThatWasGivenStays();
    void setGoesOutFiveTimesInAnySecond();
    void confirmedDumpGivesSuccessSync();
    void everyConfirmedDumpGivesSuccessSync();
    void unansweredDumpGivesFailSyncAndLaterOneSucceeds();
    void destructionTakesFunctionsAway();
    void confirmationAfterDestructionTouchesNothing();
    void targetThatIsGonePublishesNothing();
    void targetOnAnotherThreadIsHeardQueuedAndWrittenDirectly();
};

void tst_SourceObject::signalsComeFirstInMetaObject()
{
    const QMetaObject& meta = SourceObject::staticMetaObject;
    QByteArrayList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        methods.append(meta.method(i).methodSignature());
    }
    QCOMPARE(methods, (QByteArrayList{"successSync()", "failSync()", "onPropertyChanged()"}));
}

void tst_SourceObject::targetWithoutPropertiesPublishesItsObjectNameAlone()
{
    QObject plain;
    makeSource(&plain, peerId());
    call(peerId(), kAskForDump);
    QCOMPARE(crc16("123456789"), 0x906E); // the published check value
    const QByteArray crc = QByteArray::number(crc16("objectName"));
    QCOMPARE(bodies(sent()),
             (QByteArrayList{R"({"cd":"pci_rrd","n":"objectName","v":""})", R"({"cd":"sss_syc_rrd"})",
                             R"({"cd":"sync_crc_rrd","crc":)" + crc + "}", R"({"cd":""})"}));
}

void tst_SourceObject::dumpGoesInPropertyOrderThenEndChecksumAndReply()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(bodies(packets),
             (QByteArrayList{R"({"cd":"pci_rrd","n":"objectName","v":""})",
                             R"({"cd":"pci_rrd","n":"frequency","v":1000})",
                             R"({"cd":"pci_rrd","n":"gain","v":3})",
                             R"({"cd":"pci_rrd","n":"rates","v":["48000","96000"]})",
                             R"({"cd":"pci_rrd","n":"open","v":true})", R"({"cd":"sss_syc_rrd"})",
                             packets.value(6).json, R"({"cd":""})"}));
    QCOMPARE(packets.at(6).command, QStringLiteral("sync_crc_rrd"));
    for (const auto& packet : packets) {
        QCOMPARE(packet.sender, ownId().bytes());
        QCOMPARE(packet.target, peerId().bytes());
    }
    QCOMPARE(packets.last().number, 0x77U);
}

void tst_SourceObject::valuesTravelInNearestJsonType()
{
    m_target->m_frequency = qQNaN();
    m_target->m_rates = QStringList();
    m_target->setObjectName(QStringLiteral("\u00fc\""));
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(packets.at(0).json,
             QByteArray("{\"cd\":\"pci_rrd\",\"n\":\"objectName\",\"v\":\"\xc3\xbc\\\"\"}"));
    QCOMPARE(packets.at(1).json, QByteArray(R"({"cd":"pci_rrd","n":"frequency","v":null})"));
    QCOMPARE(packets.at(3).json, QByteArray(R"({"cd":"pci_rrd","n":"rates","v":[]})"));
}

void tst_SourceObject::dumpIsFireAndForgetButForItsEnd()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    m_now += 5001;
    const LogCapture log;
    m_rpc->onTimeout();
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().startsWith(QStringLiteral("Function timeout ... name: sss_syc_rrd, ")));
}

void tst_SourceObject::writeOnlyPropertyIsLeftOutOfDumpAndChecksum()
{
    const QMetaObject& meta = Target::staticMetaObject;
    const int index = meta.indexOfProperty("secret");
    QVERIFY(index >= 0 && !meta.property(index).isReadable());
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    int properties = 0;
    for (const auto& packet : sent()) {
        QVERIFY(packet.body.value(QStringLiteral("n")).toString() != QStringLiteral("secret"));
        properties += packet.command == QStringLiteral("pci_rrd") ? 1 : 0;
    }
    QCOMPARE(properties, meta.propertyCount() - 1);
}

void tst_SourceObject::checksumIsCrc16OfNamesInOrder()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(packets.size(), 8);
    QCOMPARE(packets.at(6).body.value(QStringLiteral("crc")).toInt(-1), crc16("objectName"
                                                                              "frequency"
                                                                              "gain"
                                                                              "rates"
                                                                              "open"));
}

void tst_SourceObject::firstCallerBecomesPeerWhenItsIdIsZero()
{
    makeSource(m_target.get(), int160());
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(packets.size(), 8);
    for (const auto& packet : packets) {
        QCOMPARE(packet.target, peerId().bytes());
    }
    emit m_target->frequencyChanged();
    QCOMPARE(commands(sent()), QStringList{QStringLiteral("pc_rrd")});
}

void tst_SourceObject::peerWhoseIdSumsToZeroIsReplacedToo()
{
    QByteArray bytes(20, '\0');
    bytes[0] = bytes[1] = '\x80';
    WirePeer before;
    m_source = std::make_unique<SourceObject>(QStringLiteral("rrd"), m_target.get(), m_rpc,
                                              nodeOf(before, int160(bytes.constData())), nullptr);
    call(peerId(), kAskForDump);
    QCOMPARE(sent().size(), 8);
    QVERIFY(before.received(*m_socket).isEmpty());
}

void tst_SourceObject::secondCallerDoesNotReplacePeer()
{
    makeSource(m_target.get(), int160());
    call(peerId(), kAskForDump);
    QCOMPARE(sent().size(), 8);

    WirePeer second;
    call(id('\x33'), kAskForDump, &second);
    // The dump goes to the peer that is known; the asker gets the reply to its call alone.
    const auto packets = sent();
    QCOMPARE(packets.size(), 7);
    QCOMPARE(packets.first().target, peerId().bytes());
    QCOMPARE(bodies(second.receivedMessages(*m_socket)), QByteArrayList{R"({"cd":""})"});
}

void tst_SourceObject::peerThatWasGivenStays()
{
    makeSource(m_target.get(), peerId());
    WirePeer other;
    call(id('\x33'), kAskForDump, &other);
    QCOMPARE(sent().size(), 7);
    QCOMPARE(other.received(*m_socket).size(), 1);
}

void tst_SourceObject::setGoesOutFiveTimesInAnySecond()
{
    makeSource(m_target.get(), peerId());
    WirePeer stranger;
    const int set = 8; // datagrams, the reply included
    for (int i = 0; i < 4; ++i) {
        call(peerId(), kAskForDump);
    }
    m_now += 500;
    call(id('\x33'), kAskForDump, &stranger); // whoever asks
    QCOMPARE(sent().size(), 4 * set + set - 1);
    QCOMPARE(stranger.received(*m_socket).size(), 1);
    for (int i = 0; i < 100; ++i) {
        call(peerId(), kAskForDump);
        call(id('\x33'), kAskForDump, &stranger);
    }
    m_now += 499;
    call(peerId(), kAskForDump);
    QCOMPARE(sent().size(), 0);
    QCOMPARE(stranger.received(*m_socket).size(), 0);
    m_now += 1; // a second after the first four
    for (int i = 0; i < 10; ++i) {
        call(peerId(), kAskForDump);
    }
    QCOMPARE(sent().size(), 4 * set);
    m_now += 500;
    call(peerId(), kAskForDump);
    QCOMPARE(sent().size(), set);
}

void tst_SourceObject::confirmedDumpGivesSuccessSync()
{
    makeSource(m_target.get(), peerId());
    const QSignalSpy success(m_source.get(), &SourceObject::successSync);
    const QSignalSpy fail(m_source.get(), &SourceObject::failSync);
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(packets.at(5).command, QStringLiteral("sss_syc_rrd"));
    QCOMPARE(success.size(), 0);
    answer(packets.at(5).number);
    QCOMPARE(success.size(), 1);
    m_now += 60'000;
    m_rpc->onTimeout();
    QCOMPARE(success.size(), 1);
    QCOMPARE(fail.size(), 0);
}

void tst_SourceObject::everyConfirmedDumpGivesSuccessSync()
{
    makeSource(m_target.get(), peerId());
    const QSignalSpy success(m_source.get(), &SourceObject::successSync);
    for (int round = 1; round <= 3; ++round) {
        call(peerId(), kAskForDump);
        answer(sent().at(5).number);
        QCOMPARE(success.size(), round);
    }
}

void tst_SourceObject::unansweredDumpGivesFailSyncAndLaterOneSucceeds()
{
    makeSource(m_target.get(), peerId());
    const QSignalSpy success(m_source.get(), &SourceObject::successSync);
    const QSignalSpy fail(m_source.get(), &SourceObject::failSync);
    call(peerId(), kAskForDump);
    QCOMPARE(sent().size(), 8);
    m_now += 5000;
    m_rpc->onTimeout();
    QCOMPARE(fail.size(), 0);
    m_now += 1;
    m_rpc->onTimeout();
    QCOMPARE(fail.size(), 1);
    QCOMPARE(success.size(), 0);

    call(peerId(), kAskForDump);
    answer(sent().at(5).number);
    QCOMPARE(success.size(), 1);
    QCOMPARE(fail.size(), 1);
}

void tst_SourceObject::destructionTakesFunctionsAway()
{
    makeSource(m_target.get(), peerId());
    m_source.reset();
    const LogCapture log;
    call(peerId(), kAskForDump);
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":5})");
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    QCOMPARE(m_target->frequency(), 1000.0);
    m_target->setFrequency(2000);
    QVERIFY(sent().isEmpty());
}

void tst_SourceObject::confirmationAfterDestructionTouchesNothing()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(packets.at(5).command, QStringLiteral("sss_syc_rrd"));
    m_source.reset();
    answer(packets.at(5).number);
    m_now += 5001;
    m_rpc->onTimeout(); // the second dump's
    QVERIFY(sent().isEmpty());
}

void tst_SourceObject::targetThatIsGonePublishesNothing()
{
    makeSource(m_target.get(), peerId());
    m_target.reset();
    call(peerId(), kAskForDump);
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":5})");
    QCOMPARE(bodies(sent()), (QByteArrayList{R"({"cd":""})", R"({"cd":""})"}));
}

void tst_SourceObject::targetOnAnotherThreadIsHeardQueuedAndWrittenDirectly()
{
    makeSource(m_target.get(), peerId());
    QThread thread;
    m_target->moveToThread(&thread);
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":5})");
    QCOMPARE(m_target->m_writer, QThread::currentThread());
    QCOMPARE(sent().size(), 2); // the change and the reply

    thread.start();
    QMetaObject::invokeMethod(
        m_target.get(), [this] { m_target->setFrequency(6); }, Qt::BlockingQueuedConnection);
    QCOMPARE(m_target->m_writer, &thread);
    QCOMPARE(m_peer->next().mid(45), QByteArray(R"({"cd":"pc_rrd","n":"frequency","v":6})"));
    thread.quit();
    QVERIFY(thread.wait());
}

QTEST_GUILESS_MAIN(tst_SourceObject)

#include "tst_SourceObject.moc"
