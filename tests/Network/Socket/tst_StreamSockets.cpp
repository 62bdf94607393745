#include "Network/Socket/AudioSocket.h"
#include "Network/Socket/FFTSocket.h"
#include "Network/Socket/IQSocket.h"
#include "Network/Socket/SPMSocket.h"

#include "Network/Protocol/SampleBlock.h"
#include "Recorder.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QRandomGenerator>
#include <QUdpSocket>
#include <QtTest>
#include <functional>
#include <memory>

class tst_StreamSockets : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void plainIqIsTypeTwo();
    void emptyIqIsTheShortestPacketThere();
    void compressedIqIsTypeThreeAtAnySize();
    void spectrumOf256BytesStaysPlainAndOf258IsCompressed_data();
    void spectrumOf256BytesStaysPlainAndOf258IsCompressed();
    void spectrumNotToldToCompressStaysPlain();
    void audioIsTypeSixAndPlain();
    void spmIsTypeSevenAndTwoRunsOfFloats();
    void sendReturnsTheResultOfTheWrite();
    void sendDoesNotAttach();

    void samplesArriveAtTheCallback_data();
    void samplesArriveAtTheCallback();
    void floatsArriveAtTheCallback();
    void nextPacketOverwritesTheOneBefore();
    void highFourBitsOfTheTypeAreIgnored();
    void eachTypeIsTakenByItsSocketAlone_data();
    void eachTypeIsTakenByItsSocketAlone();
    void refusedBufferIsLeftUnchanged();
    void packetOfAnotherKindPassesStreamSocketsAttachedBefore();
    void damagedBlockCallsBackWithNoSamples_data();
    void damagedBlockCallsBackWithNoSamples();
    void whereNobodyListensSamplesAreTakenAndDroppedUnread();
    void emptyCallbackOfTheOthersRaisesBadFunctionCall();
    void compressedBlockBeyondTheMaximumIsDamaged();
    void anythingAtAllIsReadWithoutAFault();

private:
    QByteArray sentDatagram();
    void attach(const QSharedPointer<InterfaceSocket>& socket);

    // Sends from m_socket to m_peer and back.
    QSharedPointer<Socket> m_socket;
    std::unique_ptr<QUdpSocket> m_peer;
    QList<QSharedPointer<InterfaceSocket>> m_attached;
    const QHostAddress m_local{QHostAddress::LocalHost};
};

namespace
{

using Samples = QVector<qint16>;
using Floats = QVector<float>;

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

// All four sockets on no port, each noting what it calls back with.
struct Receivers
{
    QSharedPointer<Socket> socket = QSharedPointer<Socket>::create();
    IQSocket iq{socket};
    FFTSocket fft{socket};
    AudioSocket audio{socket};
    SPMSocket spm{socket};
    QList<Samples> samples;
    QList<QPair<Floats, Floats>> floats;

    Receivers()
    {
        const auto note = [this](const Samples& received) { samples.append(received); };
        iq.setCallback(note);
        fft.setCallback(note);
        audio.setCallback(note);
        spm.setCallback([this](const Floats& first, const Floats& second) {
            floats.append({first, second});
        });
    }

    QList<InterfaceSocket*> all() { return {&iq, &fft, &audio, &spm}; }
};

bool offer(InterfaceSocket& socket, QByteArray data)
{
    return socket.readyRead(data, QHostAddress(), 0);
}

} // namespace

void tst_StreamSockets::init()
{
    const LogCapture log;
    m_socket = QSharedPointer<Socket>::create();
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<QUdpSocket>();
    QVERIFY(m_peer->bind(QHostAddress::LocalHost, 0));
}

void tst_StreamSockets::cleanup()
{
    // They and the port keep each other alive.
    for (const auto& socket : m_attached) {
        m_socket->removeSocket(socket);
    }
    m_attached.clear();
    m_socket.reset();
    m_peer.reset();
}

void tst_StreamSockets::attach(const QSharedPointer<InterfaceSocket>& socket)
{
    m_socket->addSocket(socket);
    m_attached.append(socket);
}

QByteArray tst_StreamSockets::sentDatagram()
{
    if (!QTest::qWaitFor([this] { return m_peer->hasPendingDatagrams(); })) {
        return {};
    }
    QByteArray data(static_cast<int>(m_peer->pendingDatagramSize()), '\0');
    m_peer->readDatagram(data.data(), data.size());
    return data;
}

void tst_StreamSockets::plainIqIsTypeTwo()
{
    IQSocket iq(m_socket);
    QVERIFY(iq.send({1, -1, 32767, -32768}, m_local, m_peer->localPort(), false));
    QCOMPARE(sentDatagram(), hex("02"
                                 "00000004"
                                 "0001"
                                 "ffff"
                                 "7fff"
                                 "8000"));
}

void tst_StreamSockets::emptyIqIsTheShortestPacketThere()
{
    IQSocket iq(m_socket);
    QVERIFY(iq.send({}, m_local, m_peer->localPort(), false));
    QCOMPARE(sentDatagram(), hex("02"
                                 "00000000"));

    // And the port takes it.
    QList<Samples> received;
    const auto receiver = QSharedPointer<IQSocket>::create(m_socket);
    receiver->setCallback([&received](const Samples& samples) { received.append(samples); });
    attach(receiver);
    m_peer->writeDatagram(hex("02"
                              "00000000"),
                          m_local, m_socket->localPort());
    QTRY_COMPARE(received, QList<Samples>{Samples()});
}

void tst_StreamSockets::compressedIqIsTypeThreeAtAnySize()
{
    IQSocket iq(m_socket);
    for (const Samples& samples : {Samples(), Samples{1}, Samples(256, 9)}) {
        QVERIFY(iq.send(samples, m_local, m_peer->localPort(), true));
        const QByteArray datagram = sentDatagram();
        QCOMPARE(datagram.left(1), hex("03"));
        QCOMPARE(datagram.mid(5, 2), hex("78da"));
        QByteArray block = qUncompress(datagram.mid(1));
        QCOMPARE(block.size(), 4 + 2 * samples.size());
    }
}

void tst_StreamSockets::spectrumOf256BytesStaysPlainAndOf258IsCompressed_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QByteArray>("type");
    QTest::newRow("3 samples, a frame's header") << 3 << hex("04");
    QTest::newRow("126 samples, 256 bytes") << 126 << hex("04");
    QTest::newRow("127 samples, 258 bytes") << 127 << hex("05");
    QTest::newRow("252 samples, a full packet") << 252 << hex("05");
}

void tst_StreamSockets::spectrumOf256BytesStaysPlainAndOf258IsCompressed()
{
    QFETCH(int, count);
    QFETCH(QByteArray, type);
    FFTSocket fft(m_socket);
    QVERIFY(fft.send(Samples(count, 0x0102), m_local, m_peer->localPort(), true));
    const QByteArray datagram = sentDatagram();
    QCOMPARE(datagram.left(1), type);
    const QByteArray block = type == hex("05") ? qUncompress(datagram.mid(1)) : datagram.mid(1);
    QCOMPARE(block.size(), 4 + 2 * count);
    QCOMPARE(block.mid(4), hex("0102").repeated(count));
}

void tst_StreamSockets::spectrumNotToldToCompressStaysPlain()
{
    FFTSocket fft(m_socket);
    QVERIFY(fft.send(Samples(1000, 1), m_local, m_peer->localPort(), false));
    QCOMPARE(sentDatagram(), hex("04"
                                 "000003e8") +
                                 hex("0001").repeated(1000));
}

void tst_StreamSockets::audioIsTypeSixAndPlain()
{
    AudioSocket audio(m_socket);
    QVERIFY(audio.send({-2, 3}, m_local, m_peer->localPort()));
    QCOMPARE(sentDatagram(), hex("06"
                                 "00000002"
                                 "fffe"
                                 "0003"));
}

void tst_StreamSockets::spmIsTypeSevenAndTwoRunsOfFloats()
{
    SPMSocket spm(m_socket);
    QVERIFY(spm.send({1.0F, -2.5F}, {0.5F}, {int160(), m_local, m_peer->localPort()}));
    QCOMPARE(sentDatagram(), hex("07"
                                 "00000002"
                                 "3f800000"
                                 "c0200000"
                                 "00000001"
                                 "3f000000"));
}

void tst_StreamSockets::sendReturnsTheResultOfTheWrite()
{
    // 5 + 65532 bytes are one too many for the port.
    const LogCapture log;
    const Samples tooMany(32766, 1);
    const quint16 port = m_peer->localPort();
    QVERIFY(!IQSocket(m_socket).send(tooMany, m_local, port, false));
    QVERIFY(!FFTSocket(m_socket).send(tooMany, m_local, port, false));
    QVERIFY(!AudioSocket(m_socket).send(tooMany, m_local, port));
    QVERIFY(!SPMSocket(m_socket).send(Floats(16383), {}, {int160(), m_local, port}));
    QCOMPARE(m_socket->sentPackets(), quint64(0));
    QVERIFY(IQSocket(m_socket).send(tooMany, m_local, port, true));
    QCOMPARE(log.texts(), QStringList());
}

void tst_StreamSockets::sendDoesNotAttach()
{
    IQSocket iq(m_socket);
    QVERIFY(iq.send({1}, m_local, m_socket->localPort(), false));
    QTRY_VERIFY(m_socket->receivedMegabytes() > 0);
    QCOMPARE(m_socket->receivedPackets(), quint64(0));
}

void tst_StreamSockets::samplesArriveAtTheCallback_data()
{
    QTest::addColumn<Samples>("samples");
    QTest::newRow("none") << Samples();
    QTest::newRow("one") << Samples{-7};
    QTest::newRow("many") << Samples(252, 800);
}

void tst_StreamSockets::samplesArriveAtTheCallback()
{
    QFETCH(Samples, samples);
    QList<Samples> received;
    const auto note = [&received](const Samples& data) { received.append(data); };
    const auto iq = QSharedPointer<IQSocket>::create(m_socket);
    const auto fft = QSharedPointer<FFTSocket>::create(m_socket);
    const auto audio = QSharedPointer<AudioSocket>::create(m_socket);
    iq->setCallback(note);
    fft->setCallback(note);
    audio->setCallback(note);
    attach(iq);
    attach(fft);
    attach(audio);
    const quint16 port = m_socket->localPort();
    for (const bool compress : {false, true}) {
        QVERIFY(iq->send(samples, m_local, port, compress));
        QVERIFY(fft->send(samples, m_local, port, compress));
    }
    QVERIFY(audio->send(samples, m_local, port));
    QTRY_COMPARE(received.size(), 5);
    for (const Samples& data : received) {
        QCOMPARE(data, samples);
    }
    QCOMPARE(m_socket->receivedPackets(), quint64(5));
}

void tst_StreamSockets::floatsArriveAtTheCallback()
{
    QList<QPair<Floats, Floats>> received;
    const auto spm = QSharedPointer<SPMSocket>::create(m_socket);
    spm->setCallback([&received](const Floats& first, const Floats& second) {
        received.append({first, second});
    });
    attach(spm);
    QVERIFY(spm->send({1.5F, -3.0F}, {0.1F}, {int160(), m_local, m_socket->localPort()}));
    QTRY_COMPARE(received.size(), 1);
    QCOMPARE(received.constFirst(), qMakePair(Floats{1.5F, -3.0F}, Floats{0.1F}));
}

void tst_StreamSockets::nextPacketOverwritesTheOneBefore()
{
    Receivers receivers;
    QVERIFY(offer(receivers.iq, hex("02"
                                    "00000002"
                                    "0001"
                                    "0002")));
    QVERIFY(offer(receivers.iq, hex("02"
                                    "00000001"
                                    "0003")));
    QCOMPARE(receivers.samples, (QList<Samples>{{1, 2}, {3}}));
}

void tst_StreamSockets::highFourBitsOfTheTypeAreIgnored()
{
    Receivers receivers;
    QVERIFY(offer(receivers.iq, hex("12"
                                    "00000001"
                                    "0007")));
    QVERIFY(offer(receivers.fft, hex("f4"
                                     "00000001"
                                     "0007")));
    QVERIFY(offer(receivers.audio, hex("86"
                                       "00000001"
                                       "0007")));
    QCOMPARE(receivers.samples, (QList<Samples>{{7}, {7}, {7}}));
    QVERIFY(offer(receivers.spm, hex("f7"
                                     "00000000"
                                     "00000000")));
    QCOMPARE(receivers.floats.size(), 1);
}

void tst_StreamSockets::eachTypeIsTakenByItsSocketAlone_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("taker");
    const int takers[] = {-1, -1, 0, 0, 1, 1, 2, 3, -1, -1, -1, -1, -1, -1, -1, -1};
    for (int type = 0; type < 16; ++type) {
        QTest::addRow("type %d", type) << type << takers[type];
    }
}

void tst_StreamSockets::eachTypeIsTakenByItsSocketAlone()
{
    QFETCH(int, type);
    QFETCH(int, taker);
    Receivers receivers;
    const QByteArray packet = static_cast<char>(type) + hex("00000000"
                                                            "00000000");
    for (int i = 0; i < receivers.all().size(); ++i) {
        QCOMPARE(offer(*receivers.all().at(i), packet), i == taker);
    }
}

void tst_StreamSockets::refusedBufferIsLeftUnchanged()
{
    Receivers receivers;
    const QByteArray rpc = hex("00"
                               "00000001") +
                           QByteArray(40, 'i') + "{\"cd\":\"\"}";
    for (InterfaceSocket* const socket : receivers.all()) {
        QByteArray data = rpc;
        QVERIFY(!socket->readyRead(data, QHostAddress(), 0));
        QCOMPARE(data, rpc);
        QByteArray nothing;
        QVERIFY(!socket->readyRead(nothing, QHostAddress(), 0));
    }
}

void tst_StreamSockets::packetOfAnotherKindPassesStreamSocketsAttachedBefore()
{
    attach(QSharedPointer<IQSocket>::create(m_socket));
    attach(QSharedPointer<FFTSocket>::create(m_socket));
    const auto commands = QSharedPointer<Recorder>::create();
    attach(commands);
    const QByteArray rpc = hex("00"
                               "00000001") +
                           QByteArray(40, 'i') + "{\"cd\":\"\"}";
    m_peer->writeDatagram(rpc, m_local, m_socket->localPort());
    QTRY_COMPARE(commands->contents(), QList<QByteArray>{rpc});
}

void tst_StreamSockets::damagedBlockCallsBackWithNoSamples_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("a sample missing") << hex("00000002"
                                             "0001");
    QTest::newRow("huge count") << hex("7fffffff"
                                       "0001");
    QTest::newRow("negative count") << hex("ffffffff"
                                           "0001");
    QTest::newRow("huge length") << hex("ffffffff"
                                        "78da");
    QTest::newRow("no stream") << QByteArray(100, 'x');
    QTest::newRow("nothing") << QByteArray();
}

void tst_StreamSockets::damagedBlockCallsBackWithNoSamples()
{
    QFETCH(QByteArray, payload);
    const LogCapture log;
    Receivers receivers;
    QVERIFY(offer(receivers.iq, '\x02' + payload));
    QVERIFY(offer(receivers.iq, '\x03' + payload));
    QVERIFY(offer(receivers.fft, '\x04' + payload));
    QVERIFY(offer(receivers.fft, '\x05' + payload));
    QVERIFY(offer(receivers.audio, '\x06' + payload));
    QVERIFY(offer(receivers.spm, '\x07' + payload));
    QCOMPARE(receivers.samples, QList<Samples>({{}, {}, {}, {}, {}}));
    QCOMPARE(receivers.floats, (QList<QPair<Floats, Floats>>{{Floats(), Floats()}}));
    QCOMPARE(log.texts(), QStringList());
}

void tst_StreamSockets::whereNobodyListensSamplesAreTakenAndDroppedUnread()
{
    IQSocket iq(m_socket);
    FFTSocket fft(m_socket);
    // 16 kB that unpack to as many MB: a thousand of them would take some ten seconds to read.
    const QByteArray bomb = qCompress(QByteArray(16'000'000, '\0'));
    const AllocationCounter allocations;
    for (int i = 0; i < 1000; ++i) {
        for (const char type : {'\x02', '\x03'}) {
            QByteArray data = type + bomb;
            const int before = allocations.count();
            QVERIFY(iq.readyRead(data, m_local, 1));
            QCOMPARE(allocations.count(), before);
            QCOMPARE(data.size(), bomb.size() + 1);
        }
        for (const char type : {'\x04', '\x05'}) {
            QByteArray data = type + bomb;
            const int before = allocations.count();
            QVERIFY(fft.readyRead(data, m_local, 1));
            QCOMPARE(allocations.count(), before);
        }
    }
    QVERIFY(!offer(iq, '\x04' + bomb));
    QVERIFY(!offer(fft, '\x03' + bomb));
}

void tst_StreamSockets::compressedBlockBeyondTheMaximumIsDamaged()
{
    Receivers receivers;
    receivers.iq.setMaximumSamples(256);
    receivers.fft.setMaximumSamples(252);
    const auto packet = [](char type, int samples) {
        return type + qCompress(SampleBlock::encode(Samples(samples, 7)));
    };
    QVERIFY(offer(receivers.iq, packet('\x03', 256)));
    QVERIFY(offer(receivers.iq, packet('\x03', 257)));
    QVERIFY(offer(receivers.fft, packet('\x05', 252)));
    QVERIFY(offer(receivers.fft, packet('\x05', 253)));
    QVERIFY(offer(receivers.iq, '\x02' + SampleBlock::encode(Samples(257, 7)))); // costs what it weighs
    QCOMPARE(receivers.samples, QList<Samples>({Samples(256, 7), {}, Samples(252, 7), {}, Samples(257, 7)}));
}

void tst_StreamSockets::emptyCallbackOfTheOthersRaisesBadFunctionCall()
{
    AudioSocket audio(m_socket);
    SPMSocket spm(m_socket);
    const QByteArray payload = hex("00000000"
                                   "00000000");
    QVERIFY_EXCEPTION_THROWN(offer(audio, '\x06' + payload), std::bad_function_call);
    QVERIFY_EXCEPTION_THROWN(offer(spm, '\x07' + payload), std::bad_function_call);
}

void tst_StreamSockets::anythingAtAllIsReadWithoutAFault()
{
    const LogCapture log;
    Receivers receivers;
    QRandomGenerator random(6);
    for (int i = 0; i < 5000; ++i) {
        QByteArray data(5 + random.bounded(200), '\0');
        std::generate(data.begin(), data.end(), [&random] { return static_cast<char>(random.generate()); });
        for (InterfaceSocket* const socket : receivers.all()) {
            offer(*socket, data);
        }
    }
    QVERIFY(!receivers.samples.isEmpty());
    QVERIFY(!receivers.floats.isEmpty());
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(tst_StreamSockets)
#include "tst_StreamSockets.moc"
