#include "StreamSocketsTest.h"

#include "Network/Protocol/SampleBlock.h"
#include "Recorder.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QRandomGenerator>
#include <QtTest>
#include <functional>

class tst_StreamSocketsReceiving : public StreamSocketsTest
{
    Q_OBJECT

private slots:
    void samplesArriveAtCallback_data();
    void samplesArriveAtCallback();
    void floatsArriveAtCallback();
    void nextPacketOverwritesOneBefore();
    void highFourBitsOfTypeAreIgnored();
    void eachTypeIsTakenByItsSocketAlone_data();
    void eachTypeIsTakenByItsSocketAlone();
    void refusedBufferIsLeftUnchanged();
    void packetOfAnotherKindPassesStreamSocketsAttachedBefore();
    void damagedBlockCallsBackWithNoSamples_data();
    void damagedBlockCallsBackWithNoSamples();
    void whereNobodyListensSamplesAreTakenAndDroppedUnread();
    void emptyCallbackOfOthersRaisesBadFunctionCall();
    void compressedBlockBeyondMaximumIsDamaged();
    void anythingAtAllIsReadWithoutFault();
};

void tst_StreamSocketsReceiving::samplesArriveAtCallback_data()
{
    QTest::addColumn<Samples>("samples");
    QTest::newRow("none") << Samples();
    QTest::newRow("one") << Samples{-7};
    QTest::newRow("many") << Samples(252, 800);
}

void tst_StreamSocketsReceiving::samplesArriveAtCallback()
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

void tst_StreamSocketsReceiving::floatsArriveAtCallback()
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

void tst_StreamSocketsReceiving::nextPacketOverwritesOneBefore()
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

void tst_StreamSocketsReceiving::highFourBitsOfTypeAreIgnored()
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

void tst_StreamSocketsReceiving::eachTypeIsTakenByItsSocketAlone_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("taker");
    const int takers[] = {-1, -1, 0, 0, 1, 1, 2, 3, -1, -1, -1, -1, -1, -1, -1, -1};
    for (int type = 0; type < 16; ++type) {
        QTest::addRow("type %d", type) << type << takers[type];
    }
}

void tst_StreamSocketsReceiving::eachTypeIsTakenByItsSocketAlone()
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

void tst_StreamSocketsReceiving::refusedBufferIsLeftUnchanged()
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

void tst_StreamSocketsReceiving::packetOfAnotherKindPassesStreamSocketsAttachedBefore()
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

void tst_StreamSocketsReceiving::damagedBlockCallsBackWithNoSamples_data()
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

void tst_StreamSocketsReceiving::damagedBlockCallsBackWithNoSamples()
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

void tst_StreamSocketsReceiving::whereNobodyListensSamplesAreTakenAndDroppedUnread()
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

void tst_StreamSocketsReceiving::emptyCallbackOfOthersRaisesBadFunctionCall()
{
    AudioSocket audio(m_socket);
    SPMSocket spm(m_socket);
    const QByteArray payload = hex("00000000"
                                   "00000000");
    QVERIFY_EXCEPTION_THROWN(offer(audio, '\x06' + payload), std::bad_function_call);
    QVERIFY_EXCEPTION_THROWN(offer(spm, '\x07' + payload), std::bad_function_call);
}

void tst_StreamSocketsReceiving::compressedBlockBeyondMaximumIsDamaged()
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

void tst_StreamSocketsReceiving::anythingAtAllIsReadWithoutFault()
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

QTEST_GUILESS_MAIN(tst_StreamSocketsReceiving)

#include "tst_StreamSocketsReceiving.moc"
