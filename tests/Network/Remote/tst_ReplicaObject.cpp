#include "Network/Remote/ReplicaObject.h"

#include "support/LogCapture.h"
#include "support/WirePeer.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>
#include <memory>
#include <random>

class tst_ReplicaObject : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void signalsComeFirstInTheMetaObject();
    void isIdleUntilItIsToldToClone();

    void propertyBeforeTheFirstDumpIsInvalidAndWarnedOf();
    void setPropertyBeforeTheFirstDumpIsWarnedOfAndWrittenAllTheSame();
    void setPropertyStoresAtOnceWithoutASignalAndWritesToTheSource();

    void cloneAsksForTheDumpAndStartsTheRetryTimer();
    void aDumpInOrderSynchronizes();
    void everyInitialValueIsStoredSignalledAndAnswered();
    void theEndOfTheDumpIsAnsweredEvenIfTheChecksumDiffers();
    void aDumpWhoseSecondPropertyIsLostIsAskedForAgain();
    void twoPropertiesSwappedInTransitDoNotMatch();
    void aStragglerOfAnEarlierDumpSpoilsTheNextAndOneMoreRoundRecovers();
    void aRetryForgetsTheNamesAndKeepsTheProperties();
    void unreadableChecksumHasNoEffect();
    void theDumpIsAskedForEveryTwoSecondsAndFailSyncComesAfterFive();
    void aMatchAfterFailSyncStillGivesSuccessSync();
    void cloneOnceSynchronizedDoesNothing();
    void aTickBeforeCloneOrAfterTheSyncDoesNothing();
    void afterSynchronisationAnotherChecksumChangesNothing();

    void aChangeBeforeAnyDumpIsStoredAndSignalledAndStaysOutOfTheChecksum();
    void aChangeOfAnUnknownNameIsAdded();
    void messagesWithoutTheirKeysAreAnswered();

    void destructionLeavesTwoCommandsThatDoNothing();
    void aSlotMayDeleteTheReplica();

    void propertiesWithoutEndAreBoundedAndWarnedOfOnce();
    void namesAndValuesOf60kBAreBounded();
    void aSmallerValueMakesRoomAgain();
    void anythingAtAllIsTakenWithoutAFault();

private:
    void makeReplica(int retryMs = 3'600'000, int patienceMs = 3'600'000);
    QJsonObject call(const QByteArray& json);
    void tick() { QMetaObject::invokeMethod(m_replica.get(), "onTimeout"); }
    void dump(const QByteArrayList& names);
    QByteArrayList sent();

    QSharedPointer<Socket> m_socket;
    std::unique_ptr<WirePeer> m_peer;
    QSharedPointer<RpcSocket> m_rpc;
    std::unique_ptr<ReplicaObject> m_replica;
};

namespace
{

const QByteArray kAsk = R"({"cd":"it_ra_rrd"})";

int160 id(char fill)
{
    return int160(QByteArray(20, fill).constData());
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

QByteArray message(const QByteArray& command, const QByteArray& name, const QByteArray& value)
{
    return R"({"cd":")" + command + R"(_rrd","n":")" + name + R"(","v":)" + value + "}";
}

QByteArray checksum(const QByteArray& names)
{
    return R"({"cd":"sync_crc_rrd","crc":)" + QByteArray::number(crc16(names)) + "}";
}

} // namespace

void tst_ReplicaObject::init()
{
    m_socket.reset(new Socket(nullptr));
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<WirePeer>();
    QVERIFY(m_peer->isBound());
    m_rpc.reset(new RpcSocket(m_socket, id('\x11'), nullptr));
}

void tst_ReplicaObject::cleanup()
{
    m_replica.reset();
    m_rpc.reset();
    m_socket.reset();
}

void tst_ReplicaObject::makeReplica(int retryMs, int patienceMs)
{
    m_replica = std::make_unique<ReplicaObject>(QStringLiteral("rrd"), m_peer->node(id('\x22')), m_rpc,
                                                nullptr, retryMs, patienceMs);
}

// One call of the source's; gives the body of the reply that it got.
QJsonObject tst_ReplicaObject::call(const QByteArray& json)
{
    QByteArray packet = WirePeer::packet(QByteArray::fromHex("00000009"), id('\x22'), id('\x11'), json);
    if (!m_rpc->readyRead(packet, m_peer->address(), m_peer->port())) {
        return {{QStringLiteral("refused"), true}};
    }
    const auto packets = m_peer->receivedPackets(*m_socket);
    return packets.isEmpty() ? QJsonObject() : packets.last().object();
}

void tst_ReplicaObject::dump(const QByteArrayList& names)
{
    for (const QByteArray& name : names) {
        call(message("pci", name, "1"));
    }
    call(R"({"cd":"sss_syc_rrd"})");
    call(checksum(names.join()));
}

QByteArrayList tst_ReplicaObject::sent()
{
    QByteArrayList bodies;
    for (const auto& packet : m_peer->receivedPackets(*m_socket)) {
        bodies.append(packet.json);
    }
    return bodies;
}

void tst_ReplicaObject::signalsComeFirstInTheMetaObject()
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

void tst_ReplicaObject::propertyBeforeTheFirstDumpIsInvalidAndWarnedOf()
{
    makeReplica();
    const LogCapture log;
    QVERIFY(!m_replica->property(QStringLiteral("frequency")).isValid());
    QVERIFY(!m_replica->contains(QStringLiteral("frequency")));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts().first().endsWith(QStringLiteral("=>\t Error get property - no contains! frequency")));
}

void tst_ReplicaObject::setPropertyBeforeTheFirstDumpIsWarnedOfAndWrittenAllTheSame()
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

void tst_ReplicaObject::setPropertyStoresAtOnceWithoutASignalAndWritesToTheSource()
{
    makeReplica();
    call(message("pci", "gain", "1"));
    const QSignalSpy changed(m_replica.get(), &ReplicaObject::propertyChanged);
    const LogCapture log;
    m_replica->setProperty(QStringLiteral("gain"), 7);
    QCOMPARE(m_replica->property(QStringLiteral("gain")), QVariant(7));
    QCOMPARE(changed.size(), 0);
    QCOMPARE(log.texts(), QStringList());
    const auto packets = m_peer->receivedPackets(*m_socket);
    QCOMPARE(packets.size(), 1);
    QCOMPARE(packets.first().json, QByteArray(R"({"cd":"wp_rrd","n":"gain","v":7})"));
    QCOMPARE(packets.first().sender, id('\x11').bytes());
    QCOMPARE(packets.first().target, id('\x22').bytes());
}

void tst_ReplicaObject::cloneAsksForTheDumpAndStartsTheRetryTimer()
{
    m_replica =
        std::make_unique<ReplicaObject>(QStringLiteral("rrd"), m_peer->node(id('\x22')), m_rpc, nullptr);
    const LogCapture log;
    m_replica->clone();
    QCOMPARE(sent(), QByteArrayList{kAsk});
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Clone replica ...")});
    const auto* const timer = m_replica->findChild<QTimer*>();
    QVERIFY(timer->isActive());
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(timer->interval(), 2000);
}

void tst_ReplicaObject::aDumpInOrderSynchronizes()
{
    makeReplica();
    m_replica->clone();
    const QSignalSpy success(m_replica.get(), &ReplicaObject::successSync);
    const LogCapture log;
    dump({"objectName", "frequency", "gain"});
    QCOMPARE(success.size(), 1);
    QVERIFY(m_replica->isSynchronized());
    QVERIFY(!m_replica->findChild<QTimer*>()->isActive());
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Success sync! rrd")});
    QCOMPARE(m_replica->propertyNames(), (QStringList{QStringLiteral("frequency"), QStringLiteral("gain"),
                                                      QStringLiteral("objectName")}));
}

void tst_ReplicaObject::everyInitialValueIsStoredSignalledAndAnswered()
{
    makeReplica();
    const QSignalSpy changed(m_replica.get(), &ReplicaObject::propertyChanged);
    QCOMPARE(call(message("pci", "rates", R"(["48000","96000"])")),
             (QJsonObject{{QStringLiteral("cd"), QString()}}));
    const QVariant rates = QVariantList{QStringLiteral("48000"), QStringLiteral("96000")};
    QCOMPARE(m_replica->property(QStringLiteral("rates")), rates);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.at(0).at(0).toString(), QStringLiteral("rates"));
    QCOMPARE(changed.at(0).at(1).value<QVariant>(), rates);
    call(message("pci", "rates", "5"));
    QCOMPARE(m_replica->property(QStringLiteral("rates")), QVariant(5.0));
}

void tst_ReplicaObject::theEndOfTheDumpIsAnsweredEvenIfTheChecksumDiffers()
{
    makeReplica();
    m_replica->clone();
    QCOMPARE(call(R"({"cd":"sss_syc_rrd"})"), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(call(checksum("gain")), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QVERIFY(!m_replica->isSynchronized());
}

void tst_ReplicaObject::aDumpWhoseSecondPropertyIsLostIsAskedForAgain()
{
    makeReplica(30);
    m_replica->clone();
    QCOMPARE(sent(), QByteArrayList{kAsk});
    call(message("pci", "objectName", R"("")"));
    call(message("pci", "gain", "1")); // "frequency" is lost
    call(checksum("objectNamefrequencygain"));
    QVERIFY(!m_replica->isSynchronized());
    QCOMPARE(m_peer->next().mid(45), kAsk); // by the timer alone
    dump({"objectName", "frequency", "gain"});
    QVERIFY(m_replica->isSynchronized());
}

void tst_ReplicaObject::twoPropertiesSwappedInTransitDoNotMatch()
{
    makeReplica();
    m_replica->clone();
    call(message("pci", "frequency", "1"));
    call(message("pci", "objectName", "1"));
    call(checksum("objectNamefrequency"));
    QVERIFY(!m_replica->isSynchronized());
}

void tst_ReplicaObject::aStragglerOfAnEarlierDumpSpoilsTheNextAndOneMoreRoundRecovers()
{
    makeReplica();
    m_replica->clone();
    call(message("pci", "objectName", "1"));
    tick();
    call(message("pci", "gain", "1")); // of the dump before
    dump({"objectName", "gain"});
    QVERIFY(!m_replica->isSynchronized());
    tick();
    dump({"objectName", "gain"});
    QVERIFY(m_replica->isSynchronized());
}

void tst_ReplicaObject::aRetryForgetsTheNamesAndKeepsTheProperties()
{
    makeReplica();
    m_replica->clone();
    call(message("pci", "gain", "3"));
    const LogCapture log;
    tick();
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Try reinit replica ...")});
    QCOMPARE(sent(), QByteArrayList{kAsk});
    QCOMPARE(m_replica->property(QStringLiteral("gain")), QVariant(3.0));
    call(checksum("")); // of no names at all
    QVERIFY(m_replica->isSynchronized());
}

void tst_ReplicaObject::unreadableChecksumHasNoEffect()
{
    makeReplica();
    m_replica->clone();
    const LogCapture log;
    QCOMPARE(call(R"({"cd":"sync_crc_rrd","crc":"x"})"), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(call(R"({"cd":"sync_crc_rrd"})"), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    QVERIFY(!m_replica->isSynchronized());
}

void tst_ReplicaObject::theDumpIsAskedForEveryTwoSecondsAndFailSyncComesAfterFive()
{
    m_replica =
        std::make_unique<ReplicaObject>(QStringLiteral("rrd"), m_peer->node(id('\x22')), m_rpc, nullptr);
    QSignalSpy fail(m_replica.get(), &ReplicaObject::failSync);
    QElapsedTimer time;
    time.start();
    m_replica->clone();
    QVERIFY(fail.wait(7000));
    QVERIFY(time.elapsed() >= 4700); // a coarse timer may be a twentieth early
    QVERIFY(sent().size() >= 2 && fail.size() == 1);
    QVERIFY(m_replica->findChild<QTimer*>()->isActive());
}

void tst_ReplicaObject::aMatchAfterFailSyncStillGivesSuccessSync()
{
    makeReplica(20, 10);
    QSignalSpy fail(m_replica.get(), &ReplicaObject::failSync);
    const QSignalSpy success(m_replica.get(), &ReplicaObject::successSync);
    m_replica->clone();
    QVERIFY(fail.wait());
    while (m_peer->next().mid(45) != kAsk) { // the retries go on
    }
    dump({"gain"});
    QVERIFY(m_replica->isSynchronized());
    QCOMPARE(success.size(), 1);
    QCOMPARE(fail.size(), 1);
}

void tst_ReplicaObject::cloneOnceSynchronizedDoesNothing()
{
    makeReplica();
    m_replica->clone();
    dump({"gain"});
    QVERIFY(m_replica->isSynchronized());
    const LogCapture log;
    m_replica->clone();
    QVERIFY(sent().isEmpty());
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(!m_replica->findChild<QTimer*>()->isActive());
}

void tst_ReplicaObject::aTickBeforeCloneOrAfterTheSyncDoesNothing()
{
    makeReplica();
    tick();
    QVERIFY(sent().isEmpty());
    m_replica->clone();
    dump({"gain"});
    QVERIFY(m_replica->isSynchronized());
    tick();
    QVERIFY(sent().isEmpty());
}

void tst_ReplicaObject::afterSynchronisationAnotherChecksumChangesNothing()
{
    makeReplica();
    m_replica->clone();
    dump({"gain"});
    const QSignalSpy success(m_replica.get(), &ReplicaObject::successSync);
    call(R"({"cd":"sync_crc_rrd","crc":1})");
    QVERIFY(m_replica->isSynchronized());
    QCOMPARE(success.size(), 0);
    QVERIFY(!m_replica->findChild<QTimer*>()->isActive());
}

void tst_ReplicaObject::aChangeBeforeAnyDumpIsStoredAndSignalledAndStaysOutOfTheChecksum()
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

void tst_ReplicaObject::aChangeOfAnUnknownNameIsAdded()
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

void tst_ReplicaObject::aSlotMayDeleteTheReplica()
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

void tst_ReplicaObject::propertiesWithoutEndAreBoundedAndWarnedOfOnce()
{
    makeReplica();
    LogCapture log;
    for (int i = 0; i < 80'000; ++i) {
        QByteArray packet = WirePeer::packet(QByteArray::fromHex("00000009"), id('\x22'), id('\x11'),
                                             message("pc", QByteArray::number(i), "0"));
        // To nowhere: the answers are of no interest.
        QVERIFY(m_rpc->readyRead(packet, m_peer->address(), m_peer->port()));
        if (i % 100 == 0) {
            sent();
        }
    }
    const int count = m_replica->propertyNames().size();
    QVERIFY2(count > 10'000 && count < 79'000, qPrintable(QString::number(count)));
    QCOMPARE(log.texts(QtWarningMsg).filter(QStringLiteral("the set is too large! rrd")).size(), 1);
    // What is there still changes.
    call(message("pc", "7", "5"));
    QCOMPARE(m_replica->property(QStringLiteral("7")), QVariant(5.0));
}

void tst_ReplicaObject::namesAndValuesOf60kBAreBounded()
{
    makeReplica();
    const LogCapture log;
    const QByteArray long60k(60'000, 'x');
    const QByteArray list = "[" + QByteArray("0,").repeated(29'000) + "0]";
    for (int i = 0; i < 300; ++i) {
        call(message("pci", long60k + QByteArray::number(i), "0"));
        call(message("pc", "text" + QByteArray::number(i), "\"" + long60k + "\""));
        call(message("pc", "list" + QByteArray::number(i), list));
    }
    const QStringList names = m_replica->propertyNames();
    QVERIFY2(names.size() >= 3 && names.size() < 60, qPrintable(QString::number(names.size())));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_ReplicaObject::aSmallerValueMakesRoomAgain()
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

void tst_ReplicaObject::anythingAtAllIsTakenWithoutAFault()
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
        QByteArray packet = WirePeer::packet(QByteArray::fromHex("00000009"), id('\x22'), id('\x11'), json);
        QVERIFY(m_rpc->readyRead(packet, m_peer->address(), m_peer->port()));
        if (round % 100 == 0) {
            sent();
        }
    }
    QVERIFY(m_replica->propertyNames().size() < 20'000);
}

QTEST_GUILESS_MAIN(tst_ReplicaObject)
#include "tst_ReplicaObject.moc"
