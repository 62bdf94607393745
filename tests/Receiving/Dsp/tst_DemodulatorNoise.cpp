#include "Receiving/Dsp/Demodulator.h"
#include "Receiving/Dsp/Station.h"

#include <QtTest>
#include <algorithm>
#include <cmath>
#include <random>

using namespace Station;

/// What is not to be heard besides a station, and what is made of no station.
class tst_DemodulatorNoise : public QObject
{
    Q_OBJECT

private slots:
    void otherSidebandIsNotHeard_data();
    void otherSidebandIsNotHeard();
    void neighbourIsNotHeard_data();
    void neighbourIsNotHeard();
    void nothingIsSilence_data();
    void nothingIsSilence();
    void noiseAtFullScaleStaysWithinBounds_data();
    void noiseAtFullScaleStaysWithinBounds();
};

void tst_DemodulatorNoise::otherSidebandIsNotHeard_data()
{
    QTest::addColumn<int>("heard");
    QTest::addColumn<int>("sent");
    QTest::newRow("usb hears no lsb") << static_cast<int>(Mode::Usb) << static_cast<int>(Mode::Lsb);
    QTest::newRow("lsb hears no usb") << static_cast<int>(Mode::Lsb) << static_cast<int>(Mode::Usb);
}

void tst_DemodulatorNoise::otherSidebandIsNotHeard()
{
    QFETCH(int, heard);
    QFETCH(int, sent);
    const auto tone = [](double time) { return toneAt(900, time); };
    const QVector<IqSample> samples = transmit(static_cast<Mode>(sent), tone, 24'000, 1.5);
    const double wrong = amplitudeOf(demodulate(static_cast<Mode>(heard), samples, 24'000), 900, 0.5, 1.5);
    const double right = amplitudeOf(demodulate(static_cast<Mode>(sent), samples, 24'000), 900, 0.5, 1.5);
    QVERIFY2(wrong < 0.01 * right, qPrintable(QString::number(wrong / right)));
}

void tst_DemodulatorNoise::neighbourIsNotHeard_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<double>("distance");
    QTest::newRow("am") << static_cast<int>(Mode::Am) << 9'000.0;
    QTest::newRow("usb") << static_cast<int>(Mode::Usb) << 5'000.0;
    QTest::newRow("lsb") << static_cast<int>(Mode::Lsb) << -5'000.0;
    QTest::newRow("cw") << static_cast<int>(Mode::Cw) << 500.0;
}

// A steady station of the mode in the channel, and next to it one as strong that sends a tone.
void tst_DemodulatorNoise::neighbourIsNotHeard()
{
    QFETCH(int, mode);
    QFETCH(double, distance);
    const auto which = static_cast<Mode>(mode);
    const auto steady = [](double time) { return 0.5 * toneAt(400, time); };
    const auto tone = [](double time) { return 0.5 * toneAt(900, time); };
    QVector<IqSample> samples = transmit(which, steady, 24'000, 1.5);
    const QVector<IqSample> neighbour = transmit(which, tone, 24'000, 1.5, 0.1, distance);
    const double before =
        amplitudeOf(demodulate(which, samples, 24'000), which == Mode::Cw ? 700 : 400, 0.5, 1.5);
    for (int n = 0; n < samples.size(); ++n) {
        samples[n].i = static_cast<qint16>(samples[n].i + neighbour[n].i);
        samples[n].q = static_cast<qint16>(samples[n].q + neighbour[n].q);
    }
    const std::vector<float> audio = demodulate(which, samples, 24'000);
    const double after = amplitudeOf(audio, which == Mode::Cw ? 700 : 400, 0.5, 1.5);
    QVERIFY2(std::abs(after - before) < 0.05 * before, qPrintable(QString::number(after / before)));
    for (const double hertz : {900.0, 700 + distance, distance - 900}) {
        if (hertz != 700) {
            QVERIFY2(amplitudeOf(audio, hertz, 0.4, 1.0) < 0.02 * before, qPrintable(QString::number(hertz)));
        }
    }
}

void tst_DemodulatorNoise::nothingIsSilence_data()
{
    addModes();
}

void tst_DemodulatorNoise::nothingIsSilence()
{
    QFETCH(int, mode);
    const auto which = static_cast<Mode>(mode);
    const double rate = rateOf(which);
    const std::vector<float> audio = demodulate(which, QVector<IqSample>(static_cast<int>(rate)), rate);
    QVERIFY(!audio.empty());
    for (const float value : audio) {
        QVERIFY(std::abs(value) < 1e-3F);
    }
}

void tst_DemodulatorNoise::noiseAtFullScaleStaysWithinBounds_data()
{
    addModes();
}

void tst_DemodulatorNoise::noiseAtFullScaleStaysWithinBounds()
{
    QFETCH(int, mode);
    const auto which = static_cast<Mode>(mode);
    const double rate = rateOf(which);
    std::mt19937 engine(1);
    std::uniform_int_distribution<int> any(-32'768, 32'767);
    QVector<IqSample> samples;
    for (int n = 0; n < static_cast<int>(rate); ++n) {
        samples.append({static_cast<qint16>(any(engine)), static_cast<qint16>(any(engine))});
    }
    const std::vector<float> audio = demodulate(which, samples, rate);
    QVERIFY(
        std::all_of(audio.begin(), audio.end(), [](float value) { return value >= -1.0F && value <= 1.0F; }));
    QVERIFY(rootMeanSquare(audio, 0.5, 1.0) > 0.001);
}

QTEST_GUILESS_MAIN(tst_DemodulatorNoise)
#include "tst_DemodulatorNoise.moc"
