#include "Receiving/Dsp/Demodulator.h"
#include "Receiving/Dsp/Station.h"

#include <QtTest>
#include <algorithm>
#include <cmath>
#include <functional>

namespace
{

using namespace Station;

constexpr double kTwoPi = 6.283185307179586;

// How alike the audio and the original are, from 1 s on, at the delay where they are most: 1 is the same.
double correlation(const std::vector<float>& audio, const std::function<double(double)>& original)
{
    constexpr std::size_t kBegin = 480 + 7 * 6'800;
    constexpr std::size_t kLongest = kAudioRate / 20;
    constexpr std::size_t kStep = 7; // enough of the samples, and as good as any
    std::vector<double> wanted(audio.size());
    for (std::size_t n = 0; n < audio.size(); ++n) {
        wanted[n] = original(static_cast<double>(n) / kAudioRate);
    }
    double best = 0.0;
    for (std::size_t delay = 0; delay < kLongest; delay += 2) {
        double both = 0.0;
        double one = 0.0;
        double other = 0.0;
        for (std::size_t n = kBegin; n < audio.size(); n += kStep) {
            const auto heard = static_cast<double>(audio[n]);
            both += heard * wanted[n - delay];
            one += heard * heard;
            other += wanted[n - delay] * wanted[n - delay];
        }
        best = std::max(best, both / std::sqrt(one * other));
    }
    return best;
}

} // namespace

class tst_Demodulator : public QObject
{
    Q_OBJECT

private slots:
    void modesHaveTheirNames();
    void toneComesBack_data();
    void toneComesBack();
    void voiceComesBack_data();
    void voiceComesBack();
    void amBearsCarrierOffMiddle();
    void keyedCarrierIsHeardAsItsTone();
    void weakStationIsAsLoudAsStrongOne_data();
    void weakStationIsAsLoudAsStrongOne();
    void broadcastIsDeEmphasised();
    void audioIsAsLongAsSamples();
};

void tst_Demodulator::modesHaveTheirNames()
{
    QCOMPARE(Demodulator::modeNames().join(QLatin1Char(' ')), QStringLiteral("am nfm wfm usb lsb cw"));
    QVERIFY(Demodulator::modeOf(QStringLiteral("lsb")) == Mode::Lsb);
    QVERIFY(!Demodulator::modeOf(QStringLiteral("AM ")));
    QVERIFY(!Demodulator::modeOf({}));
}

void tst_Demodulator::toneComesBack_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<double>("rate");
    QTest::addColumn<double>("hertz");
    const auto add = [](const char* name, Mode mode, double rate, double hertz = 800) {
        QTest::newRow(name) << static_cast<int>(mode) << rate << hertz;
    };
    add("am, 12,500", Mode::Am, 12'500);
    add("am, 16,000, no resampling", Mode::Am, 16'000);
    add("am, 24,000", Mode::Am, 24'000, 3'000);
    add("am, 48,000", Mode::Am, 48'000);
    add("nfm, 16,000", Mode::Nfm, 16'000);
    add("nfm, 18,750", Mode::Nfm, 18'750);
    add("nfm, 48,000", Mode::Nfm, 48'000, 2'500);
    add("wfm, 250,000", Mode::Wfm, 250'000);
    add("wfm, 384,000", Mode::Wfm, 384'000);
    add("wfm, 2,048,000", Mode::Wfm, 2'048'000);
    add("usb, 8,000", Mode::Usb, 8'000);
    add("usb, 12,000", Mode::Usb, 12'000, 2'500);
    add("usb, 48,000", Mode::Usb, 48'000);
    add("lsb, 9,375", Mode::Lsb, 9'375);
    add("lsb, 48,000", Mode::Lsb, 48'000);
}

void tst_Demodulator::toneComesBack()
{
    QFETCH(int, mode);
    QFETCH(double, rate);
    QFETCH(double, hertz);
    const auto which = static_cast<Mode>(mode);
    const double strength = which == Mode::Usb || which == Mode::Lsb ? 1.0 : 0.5;
    const QVector<IqSample> samples = transmit(
        which, [&](double time) { return strength * toneAt(hertz, time); }, rate, 1.0);
    const std::vector<float> audio = demodulate(which, samples, rate);
    const double amplitude = amplitudeOf(audio, hertz, 0.4, 1.0);
    QVERIFY2(amplitude > 0.1 && amplitude < 0.9, qPrintable(QString::number(amplitude)));
    // All that is there is the tone: noise and distortion are 30 dB below.
    const double all = rootMeanSquare(audio, 0.4, 1.0);
    const double rest = std::sqrt(std::max(0.0, all * all - amplitude * amplitude / 2));
    QVERIFY2(rest < 0.03 * all, qPrintable(QString::number(rest / all)));
}

void tst_Demodulator::voiceComesBack_data()
{
    addModes();
}

void tst_Demodulator::voiceComesBack()
{
    QFETCH(int, mode);
    const auto which = static_cast<Mode>(mode);
    const double rate = rateOf(which);
    if (which == Mode::Cw) {
        // No voice, but a hand: dots and dashes, heard as the tone in their rhythm.
        const auto key = [](double time) { return std::fmod(time, 0.6) < 0.3 ? 1.0 : 0.0; };
        const std::vector<float> audio =
            demodulate(which,
                       transmit(
                           which, [&](double time) { return Complex(key(time)); }, rate, 3),
                       rate);
        std::vector<float> envelope(audio.size());
        for (std::size_t n = 480; n < audio.size(); n += 7) { // as the correlation looks at them
            envelope[n] = static_cast<float>(rootMeanSquare(audio, static_cast<double>(n - 480) / kAudioRate,
                                                            static_cast<double>(n) / kAudioRate)) -
                          0.14F;
        }
        QVERIFY(correlation(envelope, [&](double time) { return key(time) - 0.5; }) > 0.9);
        return;
    }
    const std::vector<float> audio = demodulate(which, transmit(which, &voice, rate, 3), rate);
    const double alike = correlation(audio, [](double time) { return voice(time).real(); });
    const double wanted = which == Mode::Wfm ? 0.9 : 0.95; // its treble is lowered
    QVERIFY2(alike > wanted, qPrintable(QString::number(alike)));
}

void tst_Demodulator::amBearsCarrierOffMiddle()
{
    const QVector<IqSample> samples = transmit(Mode::Am, &voice, 24'000, 3, 0.1, 150);
    const double alike =
        correlation(demodulate(Mode::Am, samples, 24'000), [](double time) { return voice(time).real(); });
    QVERIFY2(alike > 0.95, qPrintable(QString::number(alike)));
}

void tst_Demodulator::keyedCarrierIsHeardAsItsTone()
{
    const auto key = [](double time) { return Complex(time < 1.0 ? 1.0 : 0.0); };
    const std::vector<float> audio = demodulate(Mode::Cw, transmit(Mode::Cw, key, 12'000, 2), 12'000);
    QVERIFY(amplitudeOf(audio, Demodulator::kCwTone, 0.3, 1.0) > 0.3);
    QVERIFY(rootMeanSquare(audio, 1.2, 2.0) < 0.003);
}

void tst_Demodulator::weakStationIsAsLoudAsStrongOne_data()
{
    addModes();
}

void tst_Demodulator::weakStationIsAsLoudAsStrongOne()
{
    QFETCH(int, mode);
    const auto which = static_cast<Mode>(mode);
    const double rate = rateOf(which);
    const auto tone = [](double time) { return 0.4 * toneAt(700, time); };
    const double hertz = which == Mode::Cw ? Demodulator::kCwTone : 700;
    const double strong =
        amplitudeOf(demodulate(which, transmit(which, tone, rate, 0.8, 0.5), rate), hertz, 0.4, 0.8);
    const double weak =
        amplitudeOf(demodulate(which, transmit(which, tone, rate, 0.8, 0.005), rate), hertz, 0.4, 0.8);
    QVERIFY2(weak > 0.8 * strong && weak < 1.2 * strong, qPrintable(QString::number(weak / strong)));
}

void tst_Demodulator::broadcastIsDeEmphasised()
{
    const auto level = [](double hertz) {
        const auto tone = [hertz](double time) { return 0.3 * toneAt(hertz, time); };
        return amplitudeOf(demodulate(Mode::Wfm, transmit(Mode::Wfm, tone, 300'000, 1), 300'000), hertz, 0.4,
                           1.0);
    };
    const double reference = level(400);
    // A first-order low pass of 50 microseconds.
    for (const double hertz : {3'000.0, 8'000.0}) {
        const double turn = kTwoPi * hertz * 50e-6;
        const double wanted = 1.0 / std::sqrt(1.0 + turn * turn);
        const double got = level(hertz) / reference;
        QVERIFY2(std::abs(got - wanted) < 0.06 * wanted, qPrintable(QString::number(got / wanted)));
    }
}

void tst_Demodulator::audioIsAsLongAsSamples()
{
    for (const int audioRate : {8'000, 44'100, 48'000, 192'000}) {
        Demodulator demodulator(Mode::Am, 24'000, audioRate);
        std::vector<float> audio;
        for (int n = 0; n < 100; ++n) {
            demodulator.process(QVector<IqSample>(n % 2 == 0 ? 1 : 479), audio);
        }
        const auto made = static_cast<double>(audio.size());
        QVERIFY2(std::abs(made - audioRate) < 0.002 * audioRate + 20, qPrintable(QString::number(made)));
        demodulator.process({}, audio);
        QCOMPARE(static_cast<double>(audio.size()), made);
    }
}

QTEST_GUILESS_MAIN(tst_Demodulator)
#include "tst_Demodulator.moc"
