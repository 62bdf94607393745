#include "Network/Remote/SourceObject.h"

#include "support/LogCapture.h"
#include "support/WirePeer.h"

#include <QJsonArray>
#include <QSignalSpy>
#include <QThread>
#include <QtTest>
#include <memory>

/// A device as the replication sees it: one property of each kind that it treats differently.
class Target : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double frequency READ frequency WRITE setFrequency NOTIFY frequencyChanged)
    Q_PROPERTY(int gain MEMBER m_gain NOTIFY levelsChanged)
    Q_PROPERTY(QStringList rates MEMBER m_rates NOTIFY levelsChanged)
    Q_PROPERTY(int secret WRITE setSecret)
    Q_PROPERTY(bool open MEMBER m_open)

public:
    using QObject::QObject;

    [[nodiscard]] double frequency() const { return m_frequency; }
    void setFrequency(double frequency)
    {
        if (frequency >= 0) {
            m_frequency = frequency;
            m_writer = QThread::currentThread();
            emit frequencyChanged();
        }
    }
    void setSecret(int secret) { m_secret = secret; }

    double m_frequency = 1000;
    int m_gain = 3;
    QStringList m_rates{QStringLiteral("48000"), QStringLiteral("96000")};
    int m_secret = 0;
    bool m_open = true;
    QThread* m_writer = nullptr;

signals:
    void frequencyChanged();
    void levelsChanged();
};

class tst_SourceObject : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void signalsComeFirstInTheMetaObject();

    void aTargetWithoutPropertiesPublishesItsObjectNameAlone();
    void theDumpGoesInPropertyOrderThenTheEndTheChecksumAndTheReply();
    void valuesTravelInTheNearestJsonType();
    void theDumpIsFireAndForgetButForItsEnd();
    void aWriteOnlyPropertyIsLeftOutOfTheDumpAndTheChecksum();
    void theChecksumIsTheCrc16OfTheNamesInOrder();

    void theFirstCallerBecomesThePeerWhenItsIdIsZero();
    void aPeerWhoseIdSumsToZeroIsReplacedToo();
    void aSecondCallerDoesNotReplaceThePeer();
    void aPeerThatWasGivenStays();

    void theSetGoesOutFiveTimesInAnySecond();

    void aChangeIsSentWithoutAReplica();
    void aChangeBeforeAnyPeerIsKnownTroublesNobody();
    void propertiesThatShareASignalAreBothSentOnce();
    void anInheritedPropertyIsWatched();
    void aPropertyWithoutASignalIsNeverUpdated();

    void aWriteReachesTheSetterAndComesBackAsAChange();
    void aWriteIsServedToAnyNode();
    void aWriteThatTheSetterRefusesIsAnsweredAndNotEchoed();
    void aWriteOfAnotherTypeIsIgnored();
    void aWriteToAnUnknownNameLeavesADynamicProperty();
    void aWriteWithoutItsKeysIsAnswered_data();
    void aWriteWithoutItsKeysIsAnswered();
    void noMoreThan32DynamicPropertiesAreLeft();
    void aNameBeyondTheBoundCanStillBeWrittenIfItIsThere();
    void aDynamicValueHoldsUpTo4KibibytesOfJson_data();
    void aDynamicValueHoldsUpTo4KibibytesOfJson();
    void aPropertyOfTheTargetTakesALongValue();

    void aConfirmedDumpGivesSuccessSync();
    void everyConfirmedDumpGivesSuccessSync();
    void anUnansweredDumpGivesFailSyncAndALaterOneSucceeds();

    void destructionTakesTheFunctionsAway();
    void aConfirmationAfterDestructionTouchesNothing();
    void aTargetThatIsGonePublishesNothing();
    void aTargetOnAnotherThreadIsHeardQueuedAndWrittenDirectly();

private:
    void makeSource(QObject* target, const int160& peerId);
    void call(const int160& caller, const QByteArray& json, WirePeer* from = nullptr);
    void answer(const QByteArray& number);
    QList<WirePeer::Packet> sent();

    qint64 m_now = 0;
    QSharedPointer<Socket> m_socket;
    std::unique_ptr<WirePeer> m_peer;
    QSharedPointer<RpcSocket> m_rpc;
    std::unique_ptr<Target> m_target;
    std::unique_ptr<SourceObject> m_source;
};

namespace
{

const QByteArray kAskForDump = R"({"cd":"it_ra_rrd"})";

int160 id(char fill)
{
    return int160(QByteArray(20, fill).constData());
}

const int160& ownId()
{
    static const int160 value = id('\x11');
    return value;
}

const int160& peerId()
{
    static const int160 value = id('\x22');
    return value;
}

// CRC-16 of ISO 3309, bit by bit: polynomial 0x1021 reflected, all ones in front, complemented behind.
int crc16(const QByteArray& bytes)
{
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1) ^ 0x8408U : crc >> 1;
        }
    }
    return static_cast<int>(~crc & 0xFFFFU);
}

QStringList commands(const QList<WirePeer::Packet>& packets)
{
    QStringList names;
    for (const auto& packet : packets) {
        names.append(packet.command());
    }
    return names;
}

QByteArrayList bodies(const QList<WirePeer::Packet>& packets)
{
    QByteArrayList result;
    for (const auto& packet : packets) {
        result.append(packet.json);
    }
    return result;
}

} // namespace

void tst_SourceObject::init()
{
    QCOMPARE(crc16("123456789"), 0x906E); // the published check value
    m_now = 1'000'000;
    m_socket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<WirePeer>();
    QVERIFY(m_peer->isBound());
    m_rpc = QSharedPointer<RpcSocket>::create(m_socket, ownId(), nullptr, [this] { return m_now; });
    m_target = std::make_unique<Target>();
}

void tst_SourceObject::cleanup()
{
    m_source.reset();
    m_target.reset();
    m_rpc.clear();
    m_peer.reset();
    m_socket.clear();
}

void tst_SourceObject::makeSource(QObject* target, const int160& peer)
{
    m_source = std::make_unique<SourceObject>(QStringLiteral("rrd"), target, m_rpc,
                                              peer.isNull() ? NodeInfo() : m_peer->node(peer), nullptr,
                                              [this] { return m_now; });
}

// A call of the peer's, under the number 0x77, from the peer's address unless told otherwise.
void tst_SourceObject::call(const int160& caller, const QByteArray& json, WirePeer* from)
{
    const WirePeer& origin = from != nullptr ? *from : *m_peer;
    QByteArray data = WirePeer::packet(QByteArray::fromHex("00000077"), caller, ownId(), json);
    QVERIFY(m_rpc->readyRead(data, origin.address(), origin.port()));
}

void tst_SourceObject::answer(const QByteArray& number)
{
    QByteArray data = WirePeer::packet(number, peerId(), ownId(), R"({"cd":""})");
    QVERIFY(m_rpc->readyRead(data, m_peer->address(), m_peer->port()));
}

QList<WirePeer::Packet> tst_SourceObject::sent()
{
    return m_peer->receivedPackets(*m_socket);
}

void tst_SourceObject::signalsComeFirstInTheMetaObject()
{
    const QMetaObject& meta = SourceObject::staticMetaObject;
    QByteArrayList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        methods.append(meta.method(i).methodSignature());
    }
    QCOMPARE(methods, (QByteArrayList{"successSync()", "failSync()", "onPropertyChanged()"}));
}

void tst_SourceObject::aTargetWithoutPropertiesPublishesItsObjectNameAlone()
{
    QObject plain;
    makeSource(&plain, peerId());
    call(peerId(), kAskForDump);
    const QByteArray crc = QByteArray::number(crc16("objectName"));
    QCOMPARE(bodies(sent()),
             (QByteArrayList{R"({"cd":"pci_rrd","n":"objectName","v":""})", R"({"cd":"sss_syc_rrd"})",
                             R"({"cd":"sync_crc_rrd","crc":)" + crc + "}", R"({"cd":""})"}));
}

void tst_SourceObject::theDumpGoesInPropertyOrderThenTheEndTheChecksumAndTheReply()
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
    QCOMPARE(packets.at(6).command(), QStringLiteral("sync_crc_rrd"));
    for (const auto& packet : packets) {
        QCOMPARE(packet.sender, ownId().bytes());
        QCOMPARE(packet.target, peerId().bytes());
    }
    QCOMPARE(packets.last().number, QByteArray::fromHex("00000077"));
}

void tst_SourceObject::valuesTravelInTheNearestJsonType()
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

void tst_SourceObject::theDumpIsFireAndForgetButForItsEnd()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    m_now += 5001;
    const LogCapture log;
    m_rpc->onTimeout();
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().startsWith(QStringLiteral("Function timeout ... name: sss_syc_rrd, ")));
}

void tst_SourceObject::aWriteOnlyPropertyIsLeftOutOfTheDumpAndTheChecksum()
{
    const QMetaObject& meta = Target::staticMetaObject;
    const int index = meta.indexOfProperty("secret");
    QVERIFY(index >= 0 && !meta.property(index).isReadable());
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    int properties = 0;
    for (const auto& packet : sent()) {
        QVERIFY(packet.object().value(QStringLiteral("n")).toString() != QStringLiteral("secret"));
        properties += packet.command() == QStringLiteral("pci_rrd") ? 1 : 0;
    }
    QCOMPARE(properties, meta.propertyCount() - 1);
}

void tst_SourceObject::theChecksumIsTheCrc16OfTheNamesInOrder()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(packets.size(), 8);
    QCOMPARE(packets.at(6).object().value(QStringLiteral("crc")).toInt(-1), crc16("objectName"
                                                                                  "frequency"
                                                                                  "gain"
                                                                                  "rates"
                                                                                  "open"));
}

void tst_SourceObject::theFirstCallerBecomesThePeerWhenItsIdIsZero()
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

void tst_SourceObject::aPeerWhoseIdSumsToZeroIsReplacedToo()
{
    QByteArray bytes(20, '\0');
    bytes[0] = bytes[1] = '\x80';
    WirePeer before;
    m_source = std::make_unique<SourceObject>(QStringLiteral("rrd"), m_target.get(), m_rpc,
                                              before.node(int160(bytes.constData())), nullptr);
    call(peerId(), kAskForDump);
    QCOMPARE(sent().size(), 8);
    QVERIFY(before.received(*m_socket).isEmpty());
}

void tst_SourceObject::aSecondCallerDoesNotReplaceThePeer()
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
    QCOMPARE(bodies(second.receivedPackets(*m_socket)), QByteArrayList{R"({"cd":""})"});
}

void tst_SourceObject::aPeerThatWasGivenStays()
{
    makeSource(m_target.get(), peerId());
    WirePeer other;
    call(id('\x33'), kAskForDump, &other);
    QCOMPARE(sent().size(), 7);
    QCOMPARE(other.received(*m_socket).size(), 1);
}

void tst_SourceObject::theSetGoesOutFiveTimesInAnySecond()
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

void tst_SourceObject::aChangeIsSentWithoutAReplica()
{
    makeSource(m_target.get(), peerId());
    m_target->setFrequency(2500.5);
    const auto packets = sent();
    QCOMPARE(bodies(packets), QByteArrayList{R"({"cd":"pc_rrd","n":"frequency","v":2500.5})"});
    QCOMPARE(packets.first().target, peerId().bytes());
}

void tst_SourceObject::aChangeBeforeAnyPeerIsKnownTroublesNobody()
{
    makeSource(m_target.get(), int160());
    {
        const LogCapture log; // the system may refuse to send to a null address
        m_target->setFrequency(2500);
    }
    call(peerId(), kAskForDump);
    QCOMPARE(sent().value(1).json, QByteArray(R"({"cd":"pci_rrd","n":"frequency","v":2500})"));
}

void tst_SourceObject::propertiesThatShareASignalAreBothSentOnce()
{
    makeSource(m_target.get(), peerId());
    emit m_target->levelsChanged();
    QCOMPARE(bodies(sent()), (QByteArrayList{R"({"cd":"pc_rrd","n":"gain","v":3})",
                                             R"({"cd":"pc_rrd","n":"rates","v":["48000","96000"]})"}));
}

void tst_SourceObject::anInheritedPropertyIsWatched()
{
    makeSource(m_target.get(), peerId());
    m_target->setObjectName(QStringLiteral("name"));
    QCOMPARE(bodies(sent()), QByteArrayList{R"({"cd":"pc_rrd","n":"objectName","v":"name"})"});
}

void tst_SourceObject::aPropertyWithoutASignalIsNeverUpdated()
{
    makeSource(m_target.get(), peerId());
    m_target->setProperty("open", false);
    QVERIFY(!m_target->m_open);
    QVERIFY(sent().isEmpty());
}

void tst_SourceObject::aWriteReachesTheSetterAndComesBackAsAChange()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":7100000})");
    QCOMPARE(m_target->frequency(), 7'100'000.0);
    QCOMPARE(bodies(sent()),
             (QByteArrayList{R"({"cd":"pc_rrd","n":"frequency","v":7100000})", R"({"cd":""})"}));
}

void tst_SourceObject::aWriteIsServedToAnyNode()
{
    makeSource(m_target.get(), peerId());
    WirePeer stranger;
    call(id('\x33'), R"({"cd":"wp_rrd","n":"secret","v":5})", &stranger);
    QCOMPARE(m_target->m_secret, 5);
    QCOMPARE(bodies(stranger.receivedPackets(*m_socket)), QByteArrayList{R"({"cd":""})"});
    QVERIFY(sent().isEmpty());
}

void tst_SourceObject::aWriteThatTheSetterRefusesIsAnsweredAndNotEchoed()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":-1})");
    QCOMPARE(m_target->frequency(), 1000.0);
    QCOMPARE(bodies(sent()), QByteArrayList{R"({"cd":""})"});
}

void tst_SourceObject::aWriteOfAnotherTypeIsIgnored()
{
    makeSource(m_target.get(), peerId());
    for (const char* value : {R"("fast")", R"([1])", R"({"a":1})"}) {
        call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":)" + QByteArray(value) + "}");
        QCOMPARE(m_target->frequency(), 1000.0);
    }
    QCOMPARE(sent().size(), 3);
    QVERIFY(m_target->dynamicPropertyNames().isEmpty());
}

void tst_SourceObject::aWriteToAnUnknownNameLeavesADynamicProperty()
{
    makeSource(m_target.get(), peerId());
    const LogCapture log;
    call(peerId(), "{\"cd\":\"wp_rrd\",\"n\":\"n\xc3\xbc\",\"v\":[1,\"b\"]}");
    QCOMPARE(m_target->dynamicPropertyNames(), QList<QByteArray>{"n\xc3\xbc"});
    QCOMPARE(m_target->property("n\xc3\xbc"), QVariant(QVariantList{1.0, QStringLiteral("b")}));
    QCOMPARE(bodies(sent()), QByteArrayList{R"({"cd":""})"});
    QCOMPARE(log.texts(), QStringList());
}

void tst_SourceObject::aWriteWithoutItsKeysIsAnswered_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("neither") << QByteArray(R"({"cd":"wp_rrd"})");
    QTest::newRow("no value") << QByteArray(R"({"cd":"wp_rrd","n":"unknown"})");
    QTest::newRow("no name") << QByteArray(R"({"cd":"wp_rrd","v":7})");
    QTest::newRow("name of another type") << QByteArray(R"({"cd":"wp_rrd","n":{},"v":7})");
    QTest::newRow("null for an unknown name") << QByteArray(R"({"cd":"wp_rrd","n":"unknown","v":null})");
    QTest::newRow("null for a rates list") << QByteArray(R"({"cd":"wp_rrd","n":"rates","v":null})");
}

void tst_SourceObject::aWriteWithoutItsKeysIsAnswered()
{
    QFETCH(QByteArray, json);
    makeSource(m_target.get(), peerId());
    call(peerId(), json);
    QCOMPARE(sent().last().json, QByteArray(R"({"cd":""})"));
    QCOMPARE(m_target->frequency(), 1000.0);
}

void tst_SourceObject::noMoreThan32DynamicPropertiesAreLeft()
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

void tst_SourceObject::aNameBeyondTheBoundCanStillBeWrittenIfItIsThere()
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

void tst_SourceObject::aDynamicValueHoldsUpTo4KibibytesOfJson_data()
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

void tst_SourceObject::aDynamicValueHoldsUpTo4KibibytesOfJson()
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

void tst_SourceObject::aPropertyOfTheTargetTakesALongValue()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), R"({"cd":"wp_rrd","n":"objectName","v":")" + QByteArray(20'000, 'x') + R"("})");
    QCOMPARE(m_target->objectName().size(), 20'000);
}

void tst_SourceObject::aConfirmedDumpGivesSuccessSync()
{
    makeSource(m_target.get(), peerId());
    const QSignalSpy success(m_source.get(), &SourceObject::successSync);
    const QSignalSpy fail(m_source.get(), &SourceObject::failSync);
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(packets.at(5).command(), QStringLiteral("sss_syc_rrd"));
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

void tst_SourceObject::anUnansweredDumpGivesFailSyncAndALaterOneSucceeds()
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

void tst_SourceObject::destructionTakesTheFunctionsAway()
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

void tst_SourceObject::aConfirmationAfterDestructionTouchesNothing()
{
    makeSource(m_target.get(), peerId());
    call(peerId(), kAskForDump);
    call(peerId(), kAskForDump);
    const auto packets = sent();
    QCOMPARE(packets.at(5).command(), QStringLiteral("sss_syc_rrd"));
    m_source.reset();
    answer(packets.at(5).number);
    m_now += 5001;
    m_rpc->onTimeout(); // the second dump's
    QVERIFY(sent().isEmpty());
}

void tst_SourceObject::aTargetThatIsGonePublishesNothing()
{
    makeSource(m_target.get(), peerId());
    m_target.reset();
    call(peerId(), kAskForDump);
    call(peerId(), R"({"cd":"wp_rrd","n":"frequency","v":5})");
    QCOMPARE(bodies(sent()), (QByteArrayList{R"({"cd":""})", R"({"cd":""})"}));
}

void tst_SourceObject::aTargetOnAnotherThreadIsHeardQueuedAndWrittenDirectly()
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
