#include "ClientApplication/Program/ClientProcess.h"
#include "ClientApplication/Program/Noise.h"
#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/DspH/DownConvertor.h"
#include "Receiving/Dsp/PlayerSink.h"
#include "Receiving/Sound.h"
#include "System/Served.h"
#include "support/Wait.h"

#include <QJsonObject>
#include <QTemporaryDir>
#include <QtEndian>
#include <cmath>
#include <complex>
#include <csignal>

namespace
{

constexpr double kTwoPi = 6.283185307179586;

const QString kRecord = QStringLiteral("record");
const QString kSeconds = QStringLiteral("--seconds");

} // namespace

class tst_ClientRecording : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void recordingHoldsFileSampleBySample_data();
    void recordingHoldsFileSampleBySample();
    void recordingHoldsWhatChainMakes();
    void recordingTellsOfItself();
    void stationAboveTurnsForward();
    void stationAtOffsetStandsStill();
    void nameSaysTimeAndFrequency();
    void recordingForPlayerIsFileAndPlays();
    void recordingIsReadableAfterKill();
    void fullDiskEndsInOneLine();

private:
    [[nodiscard]] QString path(const QString& name) const { return m_folder->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_ClientRecording::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
}

void tst_ClientRecording::recordingHoldsFileSampleBySample_data()
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

void tst_ClientRecording::recordingHoldsFileSampleBySample()
{
    QFETCH(QString, name);
    QFETCH(QStringList, options);
    QFETCH(QString, file);
    const Noise::Samples original = Noise::samples();
    Served served(Noise::toRecording(original));
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
    const Noise::Samples received =
        isWav ? Noise::toSamples(Sound::read(path(file)).values) : Noise::toSamples(fileContent(path(file)));
    QCOMPARE(received.size(), std::size_t(72'000));
    const double worst = Noise::difference(received, Noise::atFullRate(original));
    QVERIFY2(worst <= 1.01, qPrintable(QString::number(worst)));
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::recordingHoldsWhatChainMakes()
{
    const Noise::Samples original = Noise::samples();
    Served served(Noise::toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.runWithoutLosses(kRecord, served.server,
                                     {path(QStringLiteral("a.wav")), kSeconds, QStringLiteral("1.5"),
                                      QStringLiteral("--bandwidth"), QStringLiteral("10k")}),
             0);
    const Sound sound = Sound::read(path(QStringLiteral("a.wav")));
    QCOMPARE(sound.sampleRate, 12'000);
    const Noise::Samples received = Noise::toSamples(sound.values);
    QCOMPARE(received.size(), std::size_t(18'000));

    // Twice round, of which the second is without the filters' start.
    constexpr int kBlock = 1'200;
    DownConvertor chain;
    QCOMPARE(chain.setup(kBlock, 48'000, 10'000, 8'000, 1), 12'000.0F);
    std::vector<std::complex<double>> wanted;
    std::vector<DoubleComplex> block(kBlock);
    for (int n = 0; n < 2 * Noise::kFrames; n += kBlock) {
        for (int k = 0; k < kBlock; ++k) {
            const std::complex<int> sample = original[static_cast<std::size_t>((n + k) % Noise::kFrames)];
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
    const double worst = Noise::difference(received, wanted);
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
    const Noise::Samples received = Noise::toSamples(Sound::read(path(QStringLiteral("a.wav"))).values);
    for (std::size_t n = 0; n < received.size(); ++n) {
        const std::complex<double> sample(received[n].real(), received[n].imag());
        const double turns = std::fmod(5'000.0 * static_cast<double>(n) / 48'000, 1.0);
        above += sample * std::polar(1.0, -kTwoPi * turns);
        below += sample * std::polar(1.0, kTwoPi * turns);
    }
    QVERIFY(std::abs(above) > 100 * std::abs(below));
    QVERIFY(served.server.quit());
}

void tst_ClientRecording::stationAtOffsetStandsStill()
{
    Served served(recording({{-7'000, 1'000}}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kRecord, served.server,
                        {path(QStringLiteral("a.wav")), kSeconds, QStringLiteral("0.5"),
                         QStringLiteral("--offset"), QStringLiteral("-7k"), QStringLiteral("--bandwidth"),
                         QStringLiteral("3k")}),
             0);
    const Noise::Samples received = Noise::toSamples(Sound::read(path(QStringLiteral("a.wav"))).values);
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

void tst_ClientRecording::recordingForPlayerIsFileAndPlays()
{
    const Noise::Samples original = Noise::samples();
    Served served(Noise::toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    const QString file = path(QStringLiteral("a.wav"));
    QCOMPARE(client.runWithoutLosses(kRecord, served.server,
                                     {file, kSeconds, QStringLiteral("1"), QStringLiteral("--for-player")}),
             0);
    QVERIFY(served.server.quit());
    const Noise::Samples recorded = Noise::toSamples(Sound::read(file).values, true);
    QCOMPARE(recorded.size(), std::size_t(Noise::kFrames));
    QVERIFY(Noise::difference(recorded, Noise::scaled(original, 1.0)) <= 1.0);

    // Played by a server it gives the same once more.
    Served second(fileContent(file));
    QVERIFY(second.server.serve());
    const QString again = path(QStringLiteral("b.wav"));
    QCOMPARE(client.runWithoutLosses(kRecord, second.server, {again, kSeconds, QStringLiteral("1")}), 0);
    const double worst =
        Noise::difference(Noise::toSamples(Sound::read(again).values), Noise::atFullRate(recorded));
    QVERIFY2(worst <= 1.01, qPrintable(QString::number(worst)));
    QVERIFY(second.server.quit());
}

void tst_ClientRecording::recordingIsReadableAfterKill()
{
    const Noise::Samples original = Noise::samples();
    Served served(Noise::toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    const QString file = path(QStringLiteral("a.wav"));
    client.start(kRecord, served.server, {file});
    QVERIFY(waitUntil([&] { return QFile(file).size() > 200'000; }));
    client.signal(SIGKILL);
    QCOMPARE(client.waitForExitCode(), -1000);
    const Noise::Samples received = Noise::toSamples(Sound::read(file).values);
    // All that had reached the file, but for what was being written.
    const auto frames = static_cast<std::size_t>(QFile(file).size() - 252) / 4;
    QVERIFY(received.size() + 10'000 > frames && received.size() <= frames);
    QVERIFY(Noise::difference(received, Noise::atFullRate(original)) <= 1.01);
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

QTEST_GUILESS_MAIN(tst_ClientRecording)
#include "tst_ClientRecording.moc"
