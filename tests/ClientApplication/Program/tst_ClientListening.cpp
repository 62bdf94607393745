#include "ClientApplication/Program/ClientProcess.h"
#include "Receiving/Sound.h"
#include "System/Served.h"

#include <QJsonObject>
#include <QTemporaryDir>
#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <complex>

namespace
{

using Complex = std::complex<double>;

constexpr double kTwoPi = 6.283185307179586;
constexpr int kRate = 48'000;
constexpr int kSeconds = 3; // of the recording, which is played round and round
constexpr double kStation = 7'000;

// A voice that comes back to its beginning after the length of the recording. As a whole it holds positive
// frequencies alone; its real part is the sound.
Complex voice(double time)
{
    const double syllable =
        std::max(0.0, std::sin(kTwoPi * 2 * time)) * (1 + 0.5 * std::sin(kTwoPi * time / 3));
    Complex sum;
    for (int harmonic = 3; harmonic < 18; ++harmonic) {
        const double loudness = harmonic % 5 == 0 ? 0.5 : 0.15;
        sum += std::polar(loudness, harmonic * (kTwoPi * 141 * time + std::sin(kTwoPi * 2 * time / 3)));
    }
    return 0.3 * syllable * sum;
}

QByteArray station(const QString& mode)
{
    QByteArray data;
    const auto append = [&data](double value) {
        const qint16 little = qToLittleEndian(static_cast<qint16>(std::lround(value)));
        data.append(reinterpret_cast<const char*>(&little), sizeof little);
    };
    double phase = 0.0;
    for (int n = 0; n < kSeconds * kRate; ++n) {
        const double time = static_cast<double>(n) / kRate;
        const Complex sound = voice(time);
        Complex value = 1.0 + 0.8 * sound.real();
        if (mode == QLatin1String("usb")) {
            value = sound;
        } else if (mode == QLatin1String("lsb")) {
            value = std::conj(sound);
        } else if (mode == QLatin1String("nfm")) {
            phase += kTwoPi * 2'500 * sound.real() / kRate;
            value = std::polar(1.0, phase);
        }
        value *= 900.0 * std::polar(1.0, kTwoPi * std::fmod(kStation * time, 1.0));
        append(value.imag());
        append(value.real());
    }
    return wavHeader(static_cast<quint32>(data.size()), kRate) + data;
}

std::vector<qint16> audioOf(const QByteArray& bytes)
{
    std::vector<qint16> audio(static_cast<std::size_t>(bytes.size()) / 2);
    qFromLittleEndian<qint16>(bytes.constData(), static_cast<qsizetype>(audio.size()), audio.data());
    return audio;
}

// How alike the audio and the voice are where they fit best, going round. The wanted piece begins anywhere.
double likeness(const std::vector<qint16>& audio)
{
    constexpr std::size_t kStep = 7;
    std::vector<double> wanted;
    for (int n = 0; n < kSeconds * kRate; ++n) {
        wanted.push_back(voice(static_cast<double>(n) / kRate).real());
    }
    const std::size_t begin = kRate / 2;
    const std::size_t end = std::min<std::size_t>(audio.size(), begin + kRate);
    const auto at = [&](std::size_t start, std::size_t step) {
        double both = 0.0;
        double one = 0.0;
        double other = 0.0;
        for (std::size_t n = begin; n < end; n += step) {
            const double there = wanted[(start + n) % wanted.size()];
            const auto here = static_cast<double>(audio[n]);
            both += here * there;
            one += here * here;
            other += there * there;
        }
        return both / std::sqrt(one * other + 1e-9);
    };
    // Roughly first, with few samples, then well around the best of that.
    std::size_t best = 0;
    double most = -1.0;
    for (std::size_t start = 0; start < wanted.size(); start += 2) {
        const double now = at(start, 20 * kStep);
        if (now > most) {
            most = now;
            best = start;
        }
    }
    most = -1.0;
    for (std::size_t start = best + wanted.size() - 20; start < best + wanted.size() + 20; ++start) {
        most = std::max(most, at(start, kStep));
    }
    return most;
}

} // namespace

class tst_ClientListening : public QObject
{
    Q_OBJECT

private slots:
    void voiceComesThroughAndBack_data();
    void voiceComesThroughAndBack();
    void rawAudioGoesToStandardOutput();
    void otherSidebandIsAnotherVoice();
};

void tst_ClientListening::voiceComesThroughAndBack_data()
{
    QTest::addColumn<QString>("mode");
    for (const char* mode : {"am", "nfm", "usb", "lsb"}) {
        QTest::newRow(mode) << QString::fromLatin1(mode);
    }
}

void tst_ClientListening::voiceComesThroughAndBack()
{
    QFETCH(QString, mode);
    Served served(station(mode));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    ClientProcess client;
    QCOMPARE(
        client.runWithoutLosses(QStringLiteral("listen"), served.server,
                                {path, QStringLiteral("--mode"), mode, QStringLiteral("--offset"),
                                 QStringLiteral("7k"), QStringLiteral("--seconds"), QStringLiteral("2")}),
        0);
    const Sound sound = Sound::read(path);
    QCOMPARE(sound.sampleRate, kRate);
    QCOMPARE(sound.channels, 1);
    QVERIFY(sound.values.size() > 95'000 && sound.values.size() < 96'500);
    const double alike = likeness(sound.values);
    // Of a single sideband, loud and soft are brought closer together.
    QVERIFY2(alike > (mode.endsWith(QLatin1String("sb")) ? 0.85 : 0.95), qPrintable(QString::number(alike)));
    QVERIFY(served.server.quit());
}

void tst_ClientListening::rawAudioGoesToStandardOutput()
{
    Served served(station(QStringLiteral("am")));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(
        client.runWithoutLosses(QStringLiteral("listen"), served.server,
                                {QStringLiteral("--mode"), QStringLiteral("am"), QStringLiteral("--offset"),
                                 QStringLiteral("7k"), QStringLiteral("--seconds"), QStringLiteral("2")}),
        0);
    const std::vector<qint16> audio = audioOf(client.output());
    QVERIFY(audio.size() > 95'000);
    QVERIFY(likeness(audio) > 0.95);
    QCOMPARE(client.errors().size(), 1); // what has been received
    QVERIFY(served.server.quit());
}

void tst_ClientListening::otherSidebandIsAnotherVoice()
{
    Served served(station(QStringLiteral("usb")));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(
        client.runWithoutLosses(QStringLiteral("listen"), served.server,
                                {QStringLiteral("--mode"), QStringLiteral("lsb"), QStringLiteral("--offset"),
                                 QStringLiteral("7k"), QStringLiteral("--seconds"), QStringLiteral("2")}),
        0);
    const std::vector<qint16> audio = audioOf(client.output());
    QVERIFY(likeness(audio) < 0.7);
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientListening)
#include "tst_ClientListening.moc"
