#include "ClientApplication/Program/ClientProcess.h"
#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/DspH/DownConvertor.h"
#include "Receiving/Dsp/PlayerSink.h"
#include "Receiving/Sound.h"
#include "System/Served.h"
#include "System/Wait.h"

#include <QJsonObject>
#include <QTemporaryDir>
#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <complex>
#include <csignal>
#include <cstring>
#include <random>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

constexpr int kFrames = 48'000; // of the recordings: one second
constexpr double kTwoPi = 6.283185307179586;

const QString kRecord = QStringLiteral("record");
const QString kSeconds = QStringLiteral("--seconds");

using Samples = std::vector<std::complex<int>>; // I + jQ, counts

// Noise, which is nowhere like itself: where a piece of it belongs is beyond doubt.
Samples noise()
{
    std::mt19937 engine(7);
    std::uniform_int_distribution<int> any(-2'000, 2'000);
    Samples samples;
    for (int n = 0; n < kFrames; ++n) {
        const int i = any(engine);
        samples.emplace_back(i, any(engine));
    }
    return samples;
}

// As a server's player reads it: Q left, I right.
QByteArray toRecording(const Samples& samples)
{
    std::vector<qint16> values;
    for (const std::complex<int>& sample : samples) {
        values.push_back(static_cast<qint16>(sample.imag()));
        values.push_back(static_cast<qint16>(sample.real()));
    }
    QByteArray bytes = wavHeader(static_cast<quint32>(samples.size() * 4), 48'000);
    QByteArray data(static_cast<int>(values.size() * 2), '\0');
    qToLittleEndian<qint16>(values.data(), static_cast<qsizetype>(values.size()), data.data());
    return bytes + data;
}

Samples toSamples(const std::vector<qint16>& values, bool isQuadratureFirst = false)
{
    Samples samples;
    for (std::size_t n = 0; n + 1 < values.size(); n += 2) {
        isQuadratureFirst ? samples.emplace_back(values[n + 1], values[n])
                          : samples.emplace_back(values[n], values[n + 1]);
    }
    return samples;
}

Samples toSamples(const QByteArray& bytes)
{
    std::vector<qint16> values(static_cast<std::size_t>(bytes.size()) / 2);
    qFromLittleEndian<qint16>(bytes.constData(), static_cast<qsizetype>(values.size()), values.data());
    return toSamples(values);
}

// The greatest difference of a part between what was received and `wanted`, which goes round, where they fit
// best. Huge if there is nothing to compare.
double difference(const Samples& received, const std::vector<std::complex<double>>& wanted)
{
    if (received.size() < 1'000 || wanted.empty()) {
        return 1e9;
    }
    const auto at = [&](std::size_t start, std::size_t n) {
        const std::complex<double> there = wanted[(start + n) % wanted.size()];
        const std::complex<double> here(received[n].real(), received[n].imag());
        return std::max(std::abs(here.real() - there.real()), std::abs(here.imag() - there.imag()));
    };
    double best = 1e9;
    for (std::size_t start = 0; start < wanted.size(); ++start) {
        double worst = 0.0;
        for (std::size_t n = 0; n < received.size() && worst < best; ++n) {
            worst = std::max(worst, at(start, n));
        }
        best = std::min(best, worst);
    }
    return best;
}

std::vector<std::complex<double>> scaled(const Samples& file, double factor)
{
    std::vector<std::complex<double>> samples;
    for (const std::complex<int>& sample : file) {
        samples.emplace_back(sample.real() * factor, sample.imag() * factor);
    }
    return samples;
}

// What the server makes of the file at its full rate: each count becomes 7.6.
std::vector<std::complex<double>> atFullRate(const Samples& file)
{
    return scaled(file, PlayerSink::kCountsPerCount);
}

} // namespace

class tst_ClientRecording : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void recordingHoldsTheFileSampleBySample_data();
    void recordingHoldsTheFileSampleBySample();
    void recordingHoldsWhatTheChainMakes();
    void recordingTellsOfItself();
    void stationAboveTurnsForward();
    void stationAtTheOffsetStandsStill();
    void nameSaysTimeAndFrequency();
    void recordingForAPlayerIsTheFileAndPlays();
    void recordingIsReadableAfterAKill();
    void fullDiskEndsInOneLine();
    void streamHoldsTheFile_data();
    void streamHoldsTheFile();
    void readerWhoGoesIsNoError();
    void readerWhoStandsStillHoldsUpNobody();

private:
    [[nodiscard]] QString path(const QString& name) const { return m_folder->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_ClientRecording::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
}

void tst_ClientRecording::recordingHoldsTheFileSampleBySample_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("file");
    QTest::newRow("wav") << QStringLiteral("a.wav") << QStringList() << QStringLiteral("a.wav");
    QTest::newRow("sigmf") << QStringLiteral("a")
                           << QStringList{QStringLiteral("--format"), QStringLiteral("sigmf")}
                           << QStringLiteral("a.sigmf-data");
    QTest::newRow("sigmf by its name")
        << QStringLiteral("a.sigmf-meta") << QStringList() << QStringLiteral("a.sigmf-data");
}

void tst_ClientRecording::recordingHoldsTheFileSampleBySample()
{
    QFETCH(QString, name);
    QFETCH(QStringList, options);
    QFETCH(QString, file);
    const Samples original = noise();
    Served served(toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(
        client.runWithoutLosses(
            kRecord, served.server,
            QStringList{path(name), kSeconds, QStringLiteral("1.5"), QStringLiteral("--json")} + options),
        0);
    QVERIFY2(client.errors().isEmpty(), qPrintable(client.errors().join(QLatin1Char('\n'))));
    const QJsonObject told = client.json().object();
    QCOMPARE(told[QStringLiteral("samples")].toInt(), 72'000);
    QCOMPARE(told[QStringLiteral("missing_samples")].toInt(-1), 0);
    QCOMPARE(told[QStringLiteral("file")].toString(), path(file));
    QCOMPARE(told[QStringLiteral("bytes")].toDouble(), static_cast<double>(QFile(path(file)).size()));
    const bool isWav = file.endsWith(QLatin1String(".wav"));
    const Samples received =
        isWav ? toSamples(Sound::read(path(file)).values) : toSamples(fileContent(path(file)));
    QCOMPARE(received.size(), std::size_t(72'000));
    const double worst = difference(received, atFullRate(original));
    QVERIFY2(worst <= 1.01, qPrintable(QString::number(worst)));
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::recordingHoldsWhatTheChainMakes()
{
    const Samples original = noise();
    Served served(toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.runWithoutLosses(kRecord, served.server,
                                     {path(QStringLiteral("a.wav")), kSeconds, QStringLiteral("1.5"),
                                      QStringLiteral("--bandwidth"), QStringLiteral("10k")}),
             0);
    const Sound sound = Sound::read(path(QStringLiteral("a.wav")));
    QCOMPARE(sound.sampleRate, 12'000);
    const Samples received = toSamples(sound.values);
    QCOMPARE(received.size(), std::size_t(18'000));

    // Twice round, of which the second is without the filters' start.
    constexpr int kBlock = 1'200;
    DownConvertor chain;
    QCOMPARE(chain.setup(kBlock, 48'000, 10'000, 8'000, 1), 12'000.0F);
    std::vector<std::complex<double>> wanted;
    std::vector<DoubleComplex> block(kBlock);
    for (int n = 0; n < 2 * kFrames; n += kBlock) {
        for (int k = 0; k < kBlock; ++k) {
            const std::complex<int> sample = original[static_cast<std::size_t>((n + k) % kFrames)];
            // Inside the server re is Q and im is I.
            block[static_cast<std::size_t>(k)] = {sample.imag() * PlayerSink::kCountsPerCount,
                                                  sample.real() * PlayerSink::kCountsPerCount};
        }
        const int made = chain.process(kBlock, block.data());
        for (int k = 0; k < made; ++k) {
            const DoubleComplex& sample = block[static_cast<std::size_t>(k)];
            wanted.emplace_back(sample.im, sample.re);
        }
    }
    wanted.erase(wanted.begin(), wanted.begin() + static_cast<std::ptrdiff_t>(wanted.size() / 2));
    const double worst = difference(received, wanted);
    QVERIFY2(worst <= 1.01, qPrintable(QString::number(worst)));
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::recordingTellsOfItself()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QDateTime before = QDateTime::currentDateTimeUtc();
    ClientProcess client;
    QCOMPARE(client.runWithoutLosses(kRecord, served.server,
                                     {path(QStringLiteral("a.wav")), kSeconds, QStringLiteral("1"),
                                      QStringLiteral("--frequency"), QStringLiteral("14.3M"),
                                      QStringLiteral("--offset"), QStringLiteral("-2k")}),
             0);
    const QByteArray auxi = fileContent(path(QStringLiteral("a.wav"))).mid(72);
    QVERIFY(auxi.startsWith("auxi"));
    const auto word = [&auxi](int at) { return qFromLittleEndian<quint16>(auxi.constData() + 8 + at); };
    const auto time = [&word](int at) {
        return QDateTime({word(at), word(at + 2), word(at + 6)},
                         {word(at + 8), word(at + 10), word(at + 12), word(at + 14)}, Qt::UTC);
    };
    QVERIFY(time(0) >= before && time(0) <= QDateTime::currentDateTimeUtc());
    QCOMPARE(time(0).msecsTo(time(16)), 1'000);
    QCOMPARE(qFromLittleEndian<quint32>(auxi.constData() + 8 + 32), 14'298'000U);
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::stationAboveTurnsForward()
{
    Served served(recording({{5'000, 1'000}}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(
        client.run(kRecord, served.server, {path(QStringLiteral("a.wav")), kSeconds, QStringLiteral("0.2")}),
        0);
    std::complex<double> above;
    std::complex<double> below;
    const Samples received = toSamples(Sound::read(path(QStringLiteral("a.wav"))).values);
    for (std::size_t n = 0; n < received.size(); ++n) {
        const std::complex<double> sample(received[n].real(), received[n].imag());
        const double turns = std::fmod(5'000.0 * static_cast<double>(n) / 48'000, 1.0);
        above += sample * std::polar(1.0, -kTwoPi * turns);
        below += sample * std::polar(1.0, kTwoPi * turns);
    }
    QVERIFY(std::abs(above) > 100 * std::abs(below));
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::stationAtTheOffsetStandsStill()
{
    Served served(recording({{-7'000, 1'000}}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kRecord, served.server,
                        {path(QStringLiteral("a.wav")), kSeconds, QStringLiteral("0.5"),
                         QStringLiteral("--offset"), QStringLiteral("-7k"), QStringLiteral("--bandwidth"),
                         QStringLiteral("3k")}),
             0);
    const Samples received = toSamples(Sound::read(path(QStringLiteral("a.wav"))).values);
    const std::complex<double> first(received[0].real(), received[0].imag());
    QVERIFY(std::abs(std::abs(first) - 7'600) < 120);
    for (const std::complex<int>& sample : received) {
        QVERIFY(std::abs(std::complex<double>(sample.real(), sample.imag()) - first) <
                200); // a filter of the server's stumbles where its blocks meet
    }
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::nameSaysTimeAndFrequency()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kRecord, served.server, {m_folder->path(), kSeconds, QStringLiteral("0.2")}), 0);
    const QString name = QDir(m_folder->path()).entryList(QDir::Files).value(0);
    const QRegularExpression form(QStringLiteral("^Orvenlink_\\d{8}_\\d{6}Z_14250kHz_IQ\\.wav$"));
    QVERIFY2(form.match(name).hasMatch(), qPrintable(name));
    QVERIFY(client.text().contains(name));
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::recordingForAPlayerIsTheFileAndPlays()
{
    const Samples original = noise();
    Served served(toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    const QString file = path(QStringLiteral("a.wav"));
    QCOMPARE(client.runWithoutLosses(kRecord, served.server,
                                     {file, kSeconds, QStringLiteral("1"), QStringLiteral("--for-player")}),
             0);
    QVERIFY(served.server.quit());
    const Samples recorded = toSamples(Sound::read(file).values, true);
    QCOMPARE(recorded.size(), std::size_t(kFrames));
    QVERIFY(difference(recorded, scaled(original, 1.0)) <= 1.0);

    // Played by a server it gives the same once more.
    Served second(fileContent(file));
    QVERIFY(second.server.serve());
    const QString again = path(QStringLiteral("b.wav"));
    QCOMPARE(client.runWithoutLosses(kRecord, second.server, {again, kSeconds, QStringLiteral("1")}), 0);
    const double worst = difference(toSamples(Sound::read(again).values), atFullRate(recorded));
    QVERIFY2(worst <= 1.01, qPrintable(QString::number(worst)));
    QVERIFY(second.server.quit());
}

void tst_ClientRecording::recordingIsReadableAfterAKill()
{
    const Samples original = noise();
    Served served(toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    const QString file = path(QStringLiteral("a.wav"));
    client.start(kRecord, served.server, {file});
    QVERIFY(waitUntil([&] { return QFile(file).size() > 200'000; }));
    client.signal(SIGKILL);
    QCOMPARE(client.waitForExitCode(), -1000);
    const Samples received = toSamples(Sound::read(file).values);
    // All that had reached the file, but for what was being written.
    const auto frames = static_cast<std::size_t>(QFile(file).size() - 252) / 4;
    QVERIFY(received.size() + 10'000 > frames && received.size() <= frames);
    QVERIFY(difference(received, atFullRate(original)) <= 1.01);
}

void tst_ClientRecording::fullDiskEndsInOneLine()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), path(QStringLiteral("a.sigmf-data"))));
    ClientProcess client;
    QCOMPARE(client.run(kRecord, served.server, {path(QStringLiteral("a.sigmf-data"))}), 1);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(client.errors()[0].contains(QLatin1String("No space left on device")));
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::streamHoldsTheFile_data()
{
    QTest::addColumn<QString>("format");
    QTest::newRow("cs16") << QStringLiteral("cs16");
    QTest::newRow("cf32") << QStringLiteral("cf32");
}

void tst_ClientRecording::streamHoldsTheFile()
{
    QFETCH(QString, format);
    const Samples original = noise();
    Served served(toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.runWithoutLosses(QStringLiteral("stream"), served.server,
                                     {QStringLiteral("--format"), format, kSeconds, QStringLiteral("0.5")}),
             0);
    const QByteArray bytes = client.output();
    Samples received;
    if (format == QLatin1String("cs16")) {
        received = toSamples(bytes);
    } else {
        for (int n = 0; n + 8 <= bytes.size(); n += 8) {
            const auto part = [&bytes](int at) {
                const auto bits = qFromLittleEndian<quint32>(bytes.constData() + at);
                float value = 0.0F;
                std::memcpy(&value, &bits, sizeof value);
                return static_cast<int>(std::lround(value * 32'768.0F));
            };
            received.emplace_back(part(n), part(n + 4));
        }
    }
    QCOMPARE(received.size(), std::size_t(24'000));
    const double worst = difference(received, atFullRate(original));
    QVERIFY2(worst <= 1.01, qPrintable(QString::number(worst)));
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::readerWhoGoesIsNoError()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QProcess shell;
    shell.start(
        QStringLiteral("sh"),
        QStringList{QStringLiteral("-c"),
                    QStringLiteral("{ \"$0\" stream \"$@\"; echo $? >&2; } | head -c 10000 >/dev/null"),
                    QStringLiteral(ORVENLINK_CLIENT)} +
            ClientProcess::at(served.server));
    QVERIFY(waitUntil([&] { return shell.state() == QProcess::NotRunning; }));
    const QStringList lines =
        QString::fromUtf8(shell.readAllStandardError()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.last(), QStringLiteral("0"));
    QCOMPARE(lines.size(), 2); // what was carried, and the code
    QVERIFY(served.server.quit());
}

// The session goes on: pings are answered, and it is left politely.
void tst_ClientRecording::readerWhoStandsStillHoldsUpNobody()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    int ends[2] = {-1, -1};
    QCOMPARE(::pipe(ends), 0);
    QProcess client;
    client.setStandardOutputFile(QStringLiteral("/proc/self/fd/%1").arg(ends[1]));
    client.start(QStringLiteral(ORVENLINK_CLIENT),
                 QStringList{QStringLiteral("stream")} + ClientProcess::at(served.server));
    // The pipe is full after 64 KiB, a third of a second; the server would take 7 seconds to call it silent.
    QVERIFY(waitUntil([&] {
        int filled = 0;
        return ::ioctl(ends[0], FIONREAD, &filled) == 0 && filled >= 60'000;
    }));
    ::kill(static_cast<pid_t>(client.processId()), SIGINT);
    QVERIFY(waitUntil([&] { return client.state() == QProcess::NotRunning; }));
    QCOMPARE(client.exitCode(), 0);
    ::close(ends[0]);
    ::close(ends[1]);
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientRecording)
#include "tst_ClientRecording.moc"
