#include "RadioDevice/IQPlayer/PlayerRig.h"
#include "System/Recording.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QtTest>
#include <cmath>

/// Tuning the player: what the oscillator does, seen in the samples.
class tst_IQPlayerTuning : public QObject
{
    Q_OBJECT

private slots:
    void limitsOfBandAreTunedTo_data();
    void limitsOfBandAreTunedTo();
    void tuningUpMovesRecordingUpInRing();
    void resetFrequencyIsMiddleWithoutOffset();
    void frequencyOutsideBandIsAnsweredWithPresentOne();
    void frequencyOutsideBandIsCorrectedOnceMoreEachTime();
    void frequencyOutsideBandNeverEndsProcess();
    void frequencyThatIsNoNumberIsAnsweredWithPresentOne();
    void correctionEntersOffset();
    void offsetSetBeforeStartIsLost();
    void rateWrittenByStrangerNeitherStopsNorSpeedsUpPlayer_data();
    void rateWrittenByStrangerNeitherStopsNorSpeedsUpPlayer();

private:
    PlayerRig m_rig;
};

void tst_IQPlayerTuning::limitsOfBandAreTunedTo_data()
{
    QTest::addColumn<double>("frequency");
    QTest::addColumn<double>("turn"); // of a sample at 1,000,000 samples a second, in quarters
    QTest::newRow("lowest") << 14'000'000.0 << -1.0;
    QTest::newRow("highest") << 14'500'000.0 << 1.0;
    QTest::newRow("half way up") << 14'375'000.0 << 0.5;
}

void tst_IQPlayerTuning::limitsOfBandAreTunedTo()
{
    QFETCH(double, frequency);
    QFETCH(double, turn);
    const auto player = m_rig.play(PlayerRig::ones(kBlock), 1'000'000);
    QSignalSpy frequencyChanged(player.get(), &AbstractRadioDevice::frequencyChanged);
    player->setFrequency(frequency);
    QCOMPARE(player->frequency(), frequency);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), frequency);
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    for (std::size_t i = 0; i + 1 < samples.size(); ++i) {
        const double quarters = std::arg(samples[i + 1] / samples[i]) / (M_PI / 2);
        QVERIFY(std::abs(quarters - turn) < 1e-6);
    }
}

void tst_IQPlayerTuning::tuningUpMovesRecordingUpInRing()
{
    // A sample is Q + jI there, so that what moves up in it moves down on the air's scale.
    const auto player = m_rig.play(PlayerRig::ones(kBlock));
    player->setFrequency(14'250'000.0 + 1000.0);
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    QVERIFY(std::abs(std::arg(samples[1] / samples[0]) - 2 * M_PI * 1000.0 / 48'000.0) < 1e-6);
}

void tst_IQPlayerTuning::resetFrequencyIsMiddleWithoutOffset()
{
    const auto player = m_rig.play(PlayerRig::ones(kBlock));
    player->setFrequency(14'100'000.0);
    player->resetFrequency();
    QCOMPARE(player->frequency(), 14'250'000.0);
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    QVERIFY(std::abs(std::arg(samples.back())) < 1e-9);
}

void tst_IQPlayerTuning::frequencyOutsideBandIsAnsweredWithPresentOne()
{
    const auto player = m_rig.play(PlayerRig::ones(kBlock), 1'000'000);
    player->setFrequency(14'375'100.0);
    PlayerRig::tick(*player);
    const auto lastBefore = PlayerRig::lastSamples(*player).back();
    QSignalSpy frequencyChanged(player.get(), &AbstractRadioDevice::frequencyChanged);
    const LogCapture log;
    player->setFrequency(15'000'000.0);
    QCOMPARE(player->frequency(), 14'375'100.0);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 14'375'100.0);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
    // Not even the phase starts over.
    PlayerRig::tick(*player);
    const double turn = std::arg(PlayerRig::lastSamples(*player).front() / lastBefore);
    QVERIFY(std::abs(turn - 2 * M_PI * 0.1251) < 1e-6);
}

void tst_IQPlayerTuning::frequencyOutsideBandIsCorrectedOnceMoreEachTime()
{
    const auto player = m_rig.play(PlayerRig::ones(kBlock));
    player->setPpmCorrection(100);
    player->setFrequency(14'250'000.0);
    QSignalSpy frequencyChanged(player.get(), &AbstractRadioDevice::frequencyChanged);
    double expected = 14'250'000.0 / (1.0 - 100e-6);
    for (int i = 0; i < 3; ++i) {
        player->setFrequency(15'000'000.0);
        expected /= 1.0 - 100e-6;
        QVERIFY(std::abs(frequencyChanged.constLast().constFirst().toDouble() - expected) < 1e-6);
    }
}

void tst_IQPlayerTuning::frequencyOutsideBandNeverEndsProcess()
{
    const auto player = m_rig.play(PlayerRig::ones(kBlock));
    const LogCapture log;
    for (const int ppm : {999'999, 1'000'000, 1'000'001, -2'000'000'000}) {
        player->setPpmCorrection(ppm);
        for (int i = 0; i < 5; ++i) {
            player->setFrequency(-1e18);
        }
        QVERIFY(std::isfinite(player->frequency()));
    }
    player->setPpmCorrection(0);
    player->setFrequency(14'000'000.0);
    QCOMPARE(player->frequency(), 14'000'000.0);
    PlayerRig::tick(*player);
    QVERIFY(std::isfinite(PlayerRig::lastSamples(*player).back().real()));
}

void tst_IQPlayerTuning::frequencyThatIsNoNumberIsAnsweredWithPresentOne()
{
    const auto player = m_rig.play(PlayerRig::ones(kBlock), 1'000'000);
    player->setFrequency(14'375'100.0);
    PlayerRig::tick(*player);
    const auto lastBefore = PlayerRig::lastSamples(*player).back();
    QSignalSpy frequencyChanged(player.get(), &AbstractRadioDevice::frequencyChanged);
    const LogCapture log;
    for (const double value : {qQNaN(), qInf(), 1e19, 1e300}) {
        frequencyChanged.clear();
        player->setFrequency(value);
        QCOMPARE(frequencyChanged.size(), 1);
        QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 14'375'100.0);
    }
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(player->frequency(), 14'375'100.0);
    PlayerRig::tick(*player);
    QVERIFY(std::abs(std::arg(PlayerRig::lastSamples(*player).front() / lastBefore) - 2 * M_PI * 0.1251) <
            1e-6);
}

void tst_IQPlayerTuning::correctionEntersOffset()
{
    const auto player = m_rig.play(PlayerRig::ones(kBlock), 1'000'000);
    player->setPpmCorrection(1000);
    player->setFrequency(14'250'000.0);
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    const double offset = 14'250'000.0 / 0.999 - 14'250'000.0;
    QVERIFY(std::abs(std::arg(samples[1] / samples[0]) - 2 * M_PI * offset / 1e6) < 1e-6);
}

void tst_IQPlayerTuning::offsetSetBeforeStartIsLost()
{
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 1'000'000) + PlayerRig::ones(kBlock)));
    player->setFrequency(14'500'000.0);
    QVERIFY(player->start(false));
    QCOMPARE(player->frequency(), 14'500'000.0);
    PlayerRig::tick(*player);
    QVERIFY(std::abs(std::arg(PlayerRig::lastSamples(*player).back())) < 1e-9);
    player->setFrequency(14'500'000.0);
    PlayerRig::tick(*player);
    QVERIFY(std::abs(std::arg(PlayerRig::lastSamples(*player).front()) - M_PI / 2) < 1e-6);
}

void tst_IQPlayerTuning::rateWrittenByStrangerNeitherStopsNorSpeedsUpPlayer_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<double>("kept");
    QTest::newRow("1e18") << 1e18 << 1e18;
    QTest::newRow("0") << 0.0 << 48'000.0;
    QTest::newRow("-5") << -5.0 << 48'000.0;
    QTest::newRow("96,000") << 96'000.0 << 96'000.0;
}

void tst_IQPlayerTuning::rateWrittenByStrangerNeitherStopsNorSpeedsUpPlayer()
{
    QFETCH(double, rate);
    const auto player = m_rig.play(PlayerRig::ones(kBlock));
    const LogCapture log;
    QVERIFY(player->QObject::setProperty("sampleRate", rate));
    QTEST(player->sampleRate(), "kept");
    PlayerRig::tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, kBlock);
    QCOMPARE(player->blockSize(), kBlock);
    QVERIFY(player->running());
    player->stop();
    // The next start is at the rate of the header again.
    QVERIFY(player->start(false));
    QCOMPARE(player->sampleRate(), 48'000.0);
    player->stop();
}

QTEST_GUILESS_MAIN(tst_IQPlayerTuning)
#include "tst_IQPlayerTuning.moc"
