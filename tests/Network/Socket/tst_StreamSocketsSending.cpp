#include "StreamSocketsTest.h"

#include "Network/Protocol/SampleBlock.h"
#include "Recorder.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QRandomGenerator>
#include <QtTest>
#include <functional>

class tst_StreamSocketsSending : public StreamSocketsTest
{
    Q_OBJECT

private slots:
    void plainIqIsTypeTwo();
    void emptyIqIsShortestPacketThere();
    void compressedIqIsTypeThreeAtAnySize();
    void spectrumOf256BytesStaysPlainAndOf258IsCompressed_data();
    void spectrumOf256BytesStaysPlainAndOf258IsCompressed();
    void spectrumNotToldToCompressStaysPlain();
    void audioIsTypeSixAndPlain();
    void spmIsTypeSevenAndTwoRunsOfFloats();
    void sendReturnsResultOfWrite();
    void sendDoesNotAttach();
};

void tst_StreamSocketsSending::plainIqIsTypeTwo()
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

void tst_StreamSocketsSending::emptyIqIsShortestPacketThere()
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

void tst_StreamSocketsSending::compressedIqIsTypeThreeAtAnySize()
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

void tst_StreamSocketsSending::spectrumOf256BytesStaysPlainAndOf258IsCompressed_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QByteArray>("type");
    QTest::newRow("3 samples, a frame's header") << 3 << hex("04");
    QTest::newRow("126 samples, 256 bytes") << 126 << hex("04");
    QTest::newRow("127 samples, 258 bytes") << 127 << hex("05");
    QTest::newRow("252 samples, a full packet") << 252 << hex("05");
}

void tst_StreamSocketsSending::spectrumOf256BytesStaysPlainAndOf258IsCompressed()
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

void tst_StreamSocketsSending::spectrumNotToldToCompressStaysPlain()
{
    FFTSocket fft(m_socket);
    QVERIFY(fft.send(Samples(1000, 1), m_local, m_peer->localPort(), false));
    QCOMPARE(sentDatagram(), hex("04"
                                 "000003e8") +
                                 hex("0001").repeated(1000));
}

void tst_StreamSocketsSending::audioIsTypeSixAndPlain()
{
    AudioSocket audio(m_socket);
    QVERIFY(audio.send({-2, 3}, m_local, m_peer->localPort()));
    QCOMPARE(sentDatagram(), hex("06"
                                 "00000002"
                                 "fffe"
                                 "0003"));
}

void tst_StreamSocketsSending::spmIsTypeSevenAndTwoRunsOfFloats()
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

void tst_StreamSocketsSending::sendReturnsResultOfWrite()
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

void tst_StreamSocketsSending::sendDoesNotAttach()
{
    IQSocket iq(m_socket);
    QVERIFY(iq.send({1}, m_local, m_socket->localPort(), false));
    QTRY_VERIFY(m_socket->receivedMegabytes() > 0);
    QCOMPARE(m_socket->receivedPackets(), quint64(0));
}

QTEST_GUILESS_MAIN(tst_StreamSocketsSending)

#include "tst_StreamSocketsSending.moc"
