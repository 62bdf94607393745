#include "Core/Worker/DspH/RotatingOscillator.h"

#include "RadioDevice/IQPlayer/PlayerRig.h"
#include "System/Recording.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QtTest>
#include <cmath>

namespace
{

constexpr int kBlockBytes = 4 * kBlock;

} // namespace

/// What is played of a recording, and how the player starts and stops.
class tst_IQPlayerRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void newPlayerHasItsFixedTables();
    void constructionAndDestructionAreLogged();

    void startTakesRateOfHeaderWithoutTellingIt();
    void startHandsRateOfHeaderToSignalPath();
    void startLogsHeader();
    void blockLasts25MsAndIsPaced();
    void restartRereadsHeaderAndPlaysFromItsEnd();
    void stopLeavesNoTick();
    void stopOnNewsOfStartLeavesNoTick();

    void samplesAreLeftThenRightByScaleOf4096();
    void oscillatorAtRestScalesLikeReference();
    void readerTakes16BitPairsWhateverHeaderSays_data();
    void readerTakes16BitPairsWhateverHeaderSays();
    void swapIQHasNoEffect();

    void headerThatLiesIsStillPlayed_data();
    void headerThatLiesIsStillPlayed();

private:
    PlayerRig m_rig;
};

void tst_IQPlayerRadioDevice::newPlayerHasItsFixedTables()
{
    const auto player = PlayerRig::make(QStringLiteral("/a.wav"));
    QCOMPARE(player->type(), 0);
    QCOMPARE(player->supportSampleRates(), QStringList{QStringLiteral("48000")});
    QCOMPARE(player->supportFrequencies(), (QStringList{QStringLiteral("14000"), QStringLiteral("14500")}));
    QCOMPARE(player->sampleRate(), 48'000.0);
    QCOMPARE(player->frequency(), 14'250'000.0);
    QVERIFY(player->isFrequencySupported(14'000'000.0));
    QVERIFY(player->isFrequencySupported(14'500'000.0));
    QVERIFY(!player->isFrequencySupported(13'999'999.9));
    QVERIFY(!player->isFrequencySupported(14'500'000.1));
    QCOMPARE(player->blockSize(), 0);
    const auto timers = player->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers.constFirst()->timerType(), Qt::PreciseTimer);
    QCOMPARE(timers.constFirst()->interval(), 25);
    QVERIFY(!timers.constFirst()->isActive());
    // It adds no properties.
    QCOMPARE(player->metaObject()->propertyCount(), AbstractRadioDevice::staticMetaObject.propertyCount());
}

void tst_IQPlayerRadioDevice::constructionAndDestructionAreLogged()
{
    LogCapture log;
    auto player = PlayerRig::make(QStringLiteral("/a.wav"));
    QCOMPARE(log.texts().constLast(), QStringLiteral("Construct class .. IQPlayerRadioDevice"));
    log.clear();
    player.reset();
    QCOMPARE(log.texts().constFirst(), QStringLiteral("Destruct class .. IQPlayerRadioDevice"));
}

void tst_IQPlayerRadioDevice::startTakesRateOfHeaderWithoutTellingIt()
{
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 96'000)));
    QSignalSpy sampleRateChanged(player.get(), &AbstractRadioDevice::sampleRateChanged);
    QVERIFY(player->start(false));
    QCOMPARE(player->sampleRate(), 96'000.0);
    QVERIFY(sampleRateChanged.isEmpty());
    player->stop();
    QCOMPARE(player->sampleRate(), 96'000.0);
}

void tst_IQPlayerRadioDevice::startHandsRateOfHeaderToSignalPath()
{
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 96'000)));
    player->setupDspH(24'000.0, 8000.0);
    QSignalSpy outSampleRateChanged(player.get(), &AbstractRadioDevice::outSampleRateChanged);
    QVERIFY(player->start(false));
    QTRY_COMPARE(outSampleRateChanged.size(), 1);
    QCOMPARE(outSampleRateChanged.constFirst().constFirst().toDouble(), 24'000.0);
}

void tst_IQPlayerRadioDevice::startLogsHeader()
{
    const QString name = m_rig.put(wavHeader(192'000, 48'000) + QByteArray(192'000, '\0'));
    const auto player = PlayerRig::make(name);
    const LogCapture log;
    QVERIFY(player->start(false));
    const QStringList texts = log.texts();
    QVERIFY2(texts.contains(QStringLiteral("Open file ...  ") + name),
             qPrintable(texts.join(QLatin1Char('\n'))));
    const int at = texts.indexOf(QStringLiteral("Read wav header"));
    QVERIFY(at > 0);
    QCOMPARE(texts.at(at + 1),
             QStringLiteral("chunk size 16 format type code 1 channels 2 sampleRate 48000 192000 4 "
                            "bitsPerSample 16 duration QTime(00:00:02.000) 2"));
}

void tst_IQPlayerRadioDevice::blockLasts25MsAndIsPaced()
{
    const auto player = m_rig.play(PlayerRig::ramp(3 * kBlock));
    QCOMPARE(player->blockSize(), kBlock);
    const auto* timer = player->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 25);
    QVERIFY(!timer->isSingleShot());
    // The timer is what ticks.
    QTRY_VERIFY(player->inBuffer()->writeIndex >= 2 * kBlock);
}

void tst_IQPlayerRadioDevice::restartRereadsHeaderAndPlaysFromItsEnd()
{
    const auto player = m_rig.play(PlayerRig::ramp(3 * kBlock));
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    player->stop();
    m_rig.put(wavHeader(0, 12'000) + PlayerRig::ones(kBlock) + PlayerRig::ramp(kBlock));
    QVERIFY(player->start(false));
    QCOMPARE(player->sampleRate(), 12'000.0);
    PlayerRig::tick(*player);
    QVERIFY(std::abs(PlayerRig::lastSamples(*player).front() - 1.0) < 1e-12);
}

void tst_IQPlayerRadioDevice::stopLeavesNoTick()
{
    const auto player = m_rig.play(PlayerRig::ramp(kBlock));
    player->stop();
    QCOMPARE(player->state(), Worker::STOPPED);
    QVERIFY(!player->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly)->isActive());
}

void tst_IQPlayerRadioDevice::stopOnNewsOfStartLeavesNoTick()
{
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 48'000) + PlayerRig::ones(kBlock)));
    connect(player.get(), &Worker::started, player.get(), &Worker::stop);
    QVERIFY(player->start(false));
    QCOMPARE(player->state(), Worker::STOPPED);
    QVERIFY(!player->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly)->isActive());
}

void tst_IQPlayerRadioDevice::samplesAreLeftThenRightByScaleOf4096()
{
    QByteArray data(kBlockBytes, '\0');
    data.replace(0, 8,
                 QByteArray::fromHex("0080ff7f"
                                     "0100ffff"));
    const auto player = m_rig.play(data);
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    // Full scale is 8; an oscillator at rest turns nothing.
    QCOMPARE(samples[0].real(), -8.0);
    QCOMPARE(samples[0].imag(), 32767.0 / 4096.0);
    QVERIFY(std::abs(samples[1] - std::complex<double>(1.0 / 4096.0, -1.0 / 4096.0)) < 1e-4);
}

void tst_IQPlayerRadioDevice::oscillatorAtRestScalesLikeReference()
{
    const auto player = m_rig.play(PlayerRig::ramp(kBlock));
    PlayerRig::tick(*player);
    std::vector<DoubleComplex> expected(kBlock);
    for (int i = 0; i < kBlock; ++i) {
        expected[static_cast<std::size_t>(i)] = {(1 + 2 * i) / 4096.0, (2 + 2 * i) / 4096.0};
    }
    RotatingOscillator oscillator;
    oscillator.setSampleRate(48'000.0);
    oscillator.process(expected.data(), kBlock);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    for (std::size_t i = 0; i < kBlock; ++i) {
        QCOMPARE(samples[i].real(), expected[i].re);
        QCOMPARE(samples[i].imag(), expected[i].im);
    }
}

void tst_IQPlayerRadioDevice::readerTakes16BitPairsWhateverHeaderSays_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("bits");
    QTest::newRow("one channel") << 1 << 16;
    QTest::newRow("8 bits") << 2 << 8;
    QTest::newRow("24 bits in six channels") << 6 << 24;
    QTest::newRow("nothing") << 0 << 0;
}

void tst_IQPlayerRadioDevice::readerTakes16BitPairsWhateverHeaderSays()
{
    QFETCH(int, channels);
    QFETCH(int, bits);
    const auto player = PlayerRig::make(
        m_rig.put(wavHeader(kBlockBytes, 48'000, static_cast<quint16>(channels), static_cast<quint16>(bits)) +
                  PlayerRig::ramp(kBlock)));
    QVERIFY(player->start(false));
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    QCOMPARE(samples[0].real(), 1.0 / 4096.0);
    QCOMPARE(samples[0].imag(), 2.0 / 4096.0);
    QCOMPARE(player->inBuffer()->writeIndex, kBlock);
}

void tst_IQPlayerRadioDevice::swapIQHasNoEffect()
{
    const auto player = m_rig.play(PlayerRig::ramp(kBlock));
    player->setSwapIQ(true);
    PlayerRig::tick(*player);
    QCOMPARE(PlayerRig::lastSamples(*player)[0].real(), 1.0 / 4096.0);
}

void tst_IQPlayerRadioDevice::headerThatLiesIsStillPlayed_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<double>("rate");
    QTest::newRow("rate 0") << wavHeader(kBlockBytes, 0) << 0.0;
    QTest::newRow("rate -1") << wavHeader(kBlockBytes, 0xFFFFFFFF) << 4294967295.0;
    QTest::newRow("rate 1") << wavHeader(kBlockBytes, 1) << 1.0;
    QTest::newRow("all zero") << QByteArray(44, '\0') << 0.0;
    QTest::newRow("all ones") << QByteArray(44, '\xff') << 4294967295.0;
    QTest::newRow("text") << QByteArray("This is not a recording at all, but a letter") << 1629516897.0;
}

void tst_IQPlayerRadioDevice::headerThatLiesIsStillPlayed()
{
    QFETCH(QByteArray, header);
    const auto player = PlayerRig::make(m_rig.put(header + PlayerRig::ones(kBlock)));
    // A rate of 0 is the signal path's to warn of.
    const LogCapture log;
    QVERIFY(player->start(false));
    QTEST(player->sampleRate(), "rate");
    QVERIFY(player->running());
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, 2 * kBlock);
    QVERIFY(PlayerRig::lastSamples(*player)[0].real() > 0.97);
    player->setFrequency(14'100'000.0);
    PlayerRig::tick(*player);
    for (const std::complex<double>& sample : PlayerRig::lastSamples(*player)) {
        QVERIFY(std::isfinite(sample.real()) && std::isfinite(sample.imag()));
    }
    player->stop();
    QCOMPARE(player->state(), Worker::STOPPED);
}

QTEST_GUILESS_MAIN(tst_IQPlayerRadioDevice)
#include "tst_IQPlayerRadioDevice.moc"
