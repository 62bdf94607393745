#include "Receiving/Dsp/AudioSink.h"
#include "Receiving/Dsp/Demodulator.h"
#include "Receiving/Sound.h"

#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <complex>
#include <functional>
#include <random>

namespace
{

using Complex = std::complex<double>;
using Mode = Demodulator::Mode;

constexpr double kTwoPi = 6.283185307179586;
constexpr int kAudioRate = 48'000;

// A voice: the harmonics of a pitch that glides, louder around three formants, in syllables with pauses. Its
// real part is the sound; as a whole it holds positive frequencies alone.
Complex voice(double time)
{
    const double phase = kTwoPi * (130 * time + 6 / (kTwoPi * 0.7) * std::sin(kTwoPi * 0.7 * time));
    const double syllable =
        std::max(0.0, std::sin(kTwoPi * 2.1 * time) + 0.3 * std::sin(kTwoPi * 3.7 * time));
    Complex sum;
    for (int harmonic = 3; harmonic * 130 < 2'600; ++harmonic) {
        const double hertz = harmonic * 130;
        double loudness = 0.0;
        for (const double formant : {500.0, 1'500.0, 2'400.0}) {
            loudness += std::exp(-std::pow((hertz - formant) / 250, 2)) * 500 / formant;
        }
        sum += std::polar(loudness, harmonic * phase);
    }
    return 0.25 * syllable * sum;
}

Complex toneAt(double hertz, double time)
{
    return std::polar(1.0, kTwoPi * hertz * time);
}

// Samples of a station that transmits `audio`, the way its mode does, at `amplitude` of full scale and
// `offset` hertz beside the middle.
QVector<IqSample> transmit(Mode mode, const std::function<Complex(double)>& audio, double rate,
                           double seconds, double amplitude = 0.1, double offset = 0.0)
{
    QVector<IqSample> samples;
    double phase = 0.0;
    for (int n = 0; n < static_cast<int>(rate * seconds); ++n) {
        const double time = n / rate;
        const Complex sound = audio(time);
        Complex value;
        switch (mode) {
        case Mode::Am:
            value = 1.0 + 0.8 * sound.real();
            break;
        case Mode::Nfm:
            phase += kTwoPi * 2'500 * sound.real() / rate;
            value = std::polar(1.0, phase);
            break;
        case Mode::Wfm:
            phase += kTwoPi * 75'000 * sound.real() / rate;
            value = std::polar(1.0, phase);
            break;
        case Mode::Usb:
            value = sound;
            break;
        case Mode::Lsb:
            value = std::conj(sound);
            break;
        case Mode::Cw:
            value = std::abs(sound);
            break;
        }
        value *= 32'768 * amplitude * toneAt(offset, time);
        const auto toCount = [](double part) {
            return static_cast<qint16>(std::lround(std::clamp(part, -32'768.0, 32'767.0)));
        };
        samples.append({toCount(value.real()), toCount(value.imag())});
    }
    return samples;
}

// Cut up as a session brings them.
std::vector<float> demodulate(Mode mode, const QVector<IqSample>& samples, double rate)
{
    Demodulator demodulator(mode, rate, kAudioRate);
    std::vector<float> audio;
    for (int n = 0; n < samples.size(); n += 128) {
        demodulator.process(samples.mid(n, 128), audio);
    }
    return audio;
}

// Amplitude of a tone in the audio from `from` to `to` seconds.
double amplitudeOf(const std::vector<float>& audio, double hertz, double from, double to)
{
    Complex sum;
    const auto begin = static_cast<std::size_t>(from * kAudioRate);
    const auto end = std::min(audio.size(), static_cast<std::size_t>(to * kAudioRate));
    for (std::size_t n = begin; n < end; ++n) {
        sum += static_cast<double>(audio[n]) * toneAt(-hertz, static_cast<double>(n) / kAudioRate);
    }
    return 2 * std::abs(sum) / static_cast<double>(end - begin);
}

double rootMeanSquare(const std::vector<float>& audio, double from, double to)
{
    double power = 0.0;
    const auto begin = static_cast<std::size_t>(from * kAudioRate);
    const auto end = std::min(audio.size(), static_cast<std::size_t>(to * kAudioRate));
    for (std::size_t n = begin; n < end; ++n) {
        power += static_cast<double>(audio[n]) * static_cast<double>(audio[n]);
    }
    return std::sqrt(power / static_cast<double>(end - begin));
}

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
    void amBearsACarrierOffTheMiddle();
    void otherSidebandIsNotHeard_data();
    void otherSidebandIsNotHeard();
    void neighbourIsNotHeard_data();
    void neighbourIsNotHeard();
    void keyedCarrierIsHeardAsItsTone();
    void weakStationIsAsLoudAsAStrongOne_data();
    void weakStationIsAsLoudAsAStrongOne();
    void broadcastIsDeEmphasised();
    void nothingIsSilence_data();
    void nothingIsSilence();
    void noiseAtFullScaleStaysWithinBounds_data();
    void noiseAtFullScaleStaysWithinBounds();
    void audioIsAsLongAsTheSamples();
    void audioFileIsOneChannel();
};

namespace
{

void addModes()
{
    QTest::addColumn<int>("mode");
    for (const QString& name : Demodulator::modeNames()) {
        QTest::newRow(qPrintable(name)) << static_cast<int>(*Demodulator::modeOf(name));
    }
}

double rateOf(Mode mode)
{
    return mode == Mode::Wfm ? 300'000 : 24'000;
}

} // namespace

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

void tst_Demodulator::amBearsACarrierOffTheMiddle()
{
    const QVector<IqSample> samples = transmit(Mode::Am, &voice, 24'000, 3, 0.1, 150);
    const double alike =
        correlation(demodulate(Mode::Am, samples, 24'000), [](double time) { return voice(time).real(); });
    QVERIFY2(alike > 0.95, qPrintable(QString::number(alike)));
}

void tst_Demodulator::otherSidebandIsNotHeard_data()
{
    QTest::addColumn<int>("heard");
    QTest::addColumn<int>("sent");
    QTest::newRow("usb hears no lsb") << static_cast<int>(Mode::Usb) << static_cast<int>(Mode::Lsb);
    QTest::newRow("lsb hears no usb") << static_cast<int>(Mode::Lsb) << static_cast<int>(Mode::Usb);
}

void tst_Demodulator::otherSidebandIsNotHeard()
{
    QFETCH(int, heard);
    QFETCH(int, sent);
    const auto tone = [](double time) { return toneAt(900, time); };
    const QVector<IqSample> samples = transmit(static_cast<Mode>(sent), tone, 24'000, 1.5);
    const double wrong = amplitudeOf(demodulate(static_cast<Mode>(heard), samples, 24'000), 900, 0.5, 1.5);
    const double right = amplitudeOf(demodulate(static_cast<Mode>(sent), samples, 24'000), 900, 0.5, 1.5);
    QVERIFY2(wrong < 0.01 * right, qPrintable(QString::number(wrong / right)));
}

void tst_Demodulator::neighbourIsNotHeard_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<double>("distance");
    QTest::newRow("am") << static_cast<int>(Mode::Am) << 9'000.0;
    QTest::newRow("usb") << static_cast<int>(Mode::Usb) << 5'000.0;
    QTest::newRow("lsb") << static_cast<int>(Mode::Lsb) << -5'000.0;
    QTest::newRow("cw") << static_cast<int>(Mode::Cw) << 500.0;
}

// A steady station of the mode in the channel, and beside it one as strong that sends a tone.
void tst_Demodulator::neighbourIsNotHeard()
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

void tst_Demodulator::keyedCarrierIsHeardAsItsTone()
{
    const auto key = [](double time) { return Complex(time < 1.0 ? 1.0 : 0.0); };
    const std::vector<float> audio = demodulate(Mode::Cw, transmit(Mode::Cw, key, 12'000, 2), 12'000);
    QVERIFY(amplitudeOf(audio, Demodulator::kCwTone, 0.3, 1.0) > 0.3);
    QVERIFY(rootMeanSquare(audio, 1.2, 2.0) < 0.003);
}

void tst_Demodulator::weakStationIsAsLoudAsAStrongOne_data()
{
    addModes();
}

void tst_Demodulator::weakStationIsAsLoudAsAStrongOne()
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

void tst_Demodulator::nothingIsSilence_data()
{
    addModes();
}

void tst_Demodulator::nothingIsSilence()
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

void tst_Demodulator::noiseAtFullScaleStaysWithinBounds_data()
{
    addModes();
}

void tst_Demodulator::noiseAtFullScaleStaysWithinBounds()
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

void tst_Demodulator::audioIsAsLongAsTheSamples()
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

void tst_Demodulator::audioFileIsOneChannel()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    AudioSink sink(Mode::Am, 24'000, 22'050);
    QVERIFY(sink.open(path));
    IqBlock block;
    block.samples = transmit(
        Mode::Am, [](double time) { return 0.5 * toneAt(1'000, time); }, 24'000, 1);
    QCOMPARE(sink.write(block), IqSink::Outcome::Going);
    QCOMPARE(sink.finish(), IqSink::Outcome::Going);
    const Sound sound = Sound::read(path);
    QCOMPARE(sound.channels, 1);
    QCOMPARE(sound.sampleRate, 22'050);
    QVERIFY(sound.values.size() > 21'000 && sound.values.size() < 22'100);
    QVERIFY(*std::max_element(sound.values.begin(), sound.values.end()) > 3'000);
    QCOMPARE(sink.size(), QFile(path).size());
}

QTEST_GUILESS_MAIN(tst_Demodulator)
#include "tst_Demodulator.moc"
