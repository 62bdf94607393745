#include "Receiving/Dsp/PlayerSink.h"
#include "Receiving/Sinks/AuxiChunk.h"
#include "Receiving/Sinks/SigMfSink.h"
#include "Receiving/Sinks/StreamSink.h"
#include "Receiving/Sinks/WavSink.h"
#include "Receiving/Sound.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <cmath>
#include <complex>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <unistd.h>

namespace
{

constexpr double kTwoPi = 6.283185307179586;

IqBlock block(const QVector<IqSample>& samples, qint64 missing = 0)
{
    IqBlock made;
    made.samples = samples;
    made.missing = missing;
    return made;
}

IqBlock tone(double hertz, double rate, double amplitude, int count)
{
    QVector<IqSample> samples;
    for (int n = 0; n < count; ++n) {
        const std::complex<double> value = std::polar(amplitude, kTwoPi * hertz * n / rate);
        samples.append(
            {static_cast<qint16>(std::lround(value.real())), static_cast<qint16>(std::lround(value.imag()))});
    }
    return block(samples);
}

RecordingInfo info(double rate = 48'000)
{
    RecordingInfo made;
    made.sampleRate = rate;
    made.centre = 14'250'000;
    made.bandwidth = 12'000;
    made.hardware = QStringLiteral("a receiver");
    made.start = QDateTime({2025, 1, 31}, {23, 59, 58, 500}, Qt::UTC); // a Friday
    return made;
}

QJsonObject json(const QString& path)
{
    return QJsonDocument::fromJson(fileContent(path)).object();
}

} // namespace

class tst_IqSinks : public QObject
{
    Q_OBJECT

private slots:
    void auxiTellsTimesAndFrequencies();
    void auxiTakesNearestOfFrequencyBeyondItsBits();
    void fileNameTellsTimeAndFrequency();

    void wavHasInphaseLeft();
    void wavStopTimeFollowsSamples();
    void wavIsOnDiskAfterFlush();

    void playerFileHasQuadratureLeftAtPlayersScale();
    void playerFileFromAnotherRateIsAt48000_data();
    void playerFileFromAnotherRateIsAt48000();

    void sigMfIsTwoFilesByAnyName_data();
    void sigMfIsTwoFilesByAnyName();
    void sigMfMetaIsThereFromStart();
    void sigMfTellsOfGaps();
    void sigMfOnFullDiskIsError();

    void streamWritesPairsLittleEndian_data();
    void streamWritesPairsLittleEndian();
    void pipeWithoutReaderSaysSo();
    void pipeWithSlowReaderWaitsUntilStopped();
    void pipeToFullDeviceIsError();

private:
    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
};

void tst_IqSinks::auxiTellsTimesAndFrequencies()
{
    const QDateTime start({2025, 1, 31}, {23, 59, 58, 500}, Qt::UTC);
    const QByteArray auxi = AuxiChunk::content(start, start.addMSecs(2'250), 14'250'000, 48'000, 12'000);
    QCOMPARE(auxi.size(), 164);
    QCOMPARE(auxi.left(48),
             QByteArray::fromHex("e907010005001f0017003b003a00f401" // 2025-01-31, 5, 23:59:58.500
                                 "e907020006000100000000000000ee02" // 2025-02-01, 6, 00:00:00.750
                                 "1070d900"                         // 14,250,000
                                 "80bb0000"                         // 48,000
                                 "00000000"
                                 "e02e0000")); // 12,000
    QCOMPARE(auxi.mid(48), QByteArray(116, '\0'));
}

void tst_IqSinks::auxiTakesNearestOfFrequencyBeyondItsBits()
{
    const QByteArray auxi = AuxiChunk::content({}, {}, 10e9, -5, 0.6);
    QCOMPARE(auxi.mid(32, 16), QByteArray::fromHex("ffffffff000000000000000001000000"));
}

void tst_IqSinks::fileNameTellsTimeAndFrequency()
{
    QCOMPARE(info().fileName(QStringLiteral(".wav")),
             QStringLiteral("Orvenlink_20250131_235958Z_14250kHz_IQ.wav"));
}

void tst_IqSinks::wavHasInphaseLeft()
{
    WavSink sink;
    QVERIFY(sink.open(path(QStringLiteral("a.wav")), info()));
    QCOMPARE(sink.write(block({{1, 2}, {-3, 4}})), IqSink::Outcome::Going);
    QCOMPARE(sink.write(block({{32767, -32768}})), IqSink::Outcome::Going);
    QCOMPARE(sink.finish(), IqSink::Outcome::Going);
    const Sound sound = Sound::read(path(QStringLiteral("a.wav")));
    QCOMPARE(sound.sampleRate, 48'000);
    QCOMPARE(sound.channels, 2);
    QCOMPARE(sound.values, (std::vector<qint16>{1, 2, -3, 4, 32767, -32768}));
}

void tst_IqSinks::wavStopTimeFollowsSamples()
{
    WavSink sink;
    const QString file = path(QStringLiteral("a.wav"));
    QVERIFY(sink.open(file, info()));
    const auto auxi = [&file] { return fileContent(file).mid(80, 164); };
    QCOMPARE(auxi(), AuxiChunk::content(info().start, info().start, 14'250'000, 48'000, 12'000));
    QCOMPARE(sink.write(block(QVector<IqSample>(72'000))), IqSink::Outcome::Going);
    QCOMPARE(sink.finish(), IqSink::Outcome::Going);
    QCOMPARE(fileContent(file).mid(72, 4), QByteArray("auxi"));
    QCOMPARE(auxi(),
             AuxiChunk::content(info().start, info().start.addMSecs(1'500), 14'250'000, 48'000, 12'000));
}

void tst_IqSinks::wavIsOnDiskAfterFlush()
{
    WavSink sink;
    const QString file = path(QStringLiteral("a.wav"));
    QVERIFY(sink.open(file, info()));
    QCOMPARE(sink.write(block({{1, 2}})), IqSink::Outcome::Going);
    QCOMPARE(sink.flush(), IqSink::Outcome::Going);
    QCOMPARE(Sound::read(file).values, (std::vector<qint16>{1, 2}));
    QCOMPARE(sink.size(), QFile(file).size());
}

// A count of the player's file is 7.6 on the wire.
void tst_IqSinks::playerFileHasQuadratureLeftAtPlayersScale()
{
    PlayerSink sink;
    const QString file = path(QStringLiteral("p.wav"));
    QVERIFY(sink.open(file, 48'000));
    QCOMPARE(sink.write(block({{760, 7'600}, {-76, 3}, {32'767, -32'768}, {4, -4}})), IqSink::Outcome::Going);
    QCOMPARE(sink.finish(), IqSink::Outcome::Going);
    const Sound sound = Sound::read(file);
    QCOMPARE(sound.values, (std::vector<qint16>{1000, 100, 0, -10, -4312, 4311, -1, 1}));
    QCOMPARE(fileContent(file).mid(36, 4), QByteArray("data"));
    QCOMPARE(sound.sampleRate, 48'000);
}

void tst_IqSinks::playerFileFromAnotherRateIsAt48000_data()
{
    QTest::addColumn<double>("rate");
    QTest::newRow("62,500") << 62'500.0;
    QTest::newRow("75,000") << 75'000.0;
    QTest::newRow("24,000") << 24'000.0;
    QTest::newRow("937,500") << 937'500.0;
}

void tst_IqSinks::playerFileFromAnotherRateIsAt48000()
{
    QFETCH(double, rate);
    constexpr double kHertz = 3'000;
    PlayerSink sink;
    const QString file = path(QStringLiteral("p.wav"));
    QVERIFY(sink.open(file, rate));
    IqBlock whole = tone(kHertz, rate, 7'600.0, static_cast<int>(rate));
    for (int n = 0; n < whole.samples.size(); n += 128) {
        QCOMPARE(sink.write(block(whole.samples.mid(n, 128))), IqSink::Outcome::Going);
    }
    QCOMPARE(sink.finish(), IqSink::Outcome::Going);
    const Sound sound = Sound::read(file);
    QCOMPARE(sound.sampleRate, 48'000);
    const int frames = static_cast<int>(sound.values.size() / 2);
    QVERIFY2(std::abs(frames - 48'000) < 200, qPrintable(QString::number(frames)));
    // The tone is there, on its side of the middle, with its level, and nothing else of note.
    std::complex<double> sum;
    double power = 0.0;
    constexpr int kSkip = 4'000;
    for (int n = kSkip; n < frames - kSkip; ++n) {
        const std::complex<double> sample(sound.values[static_cast<std::size_t>(2 * n + 1)],
                                          sound.values[static_cast<std::size_t>(2 * n)]);
        sum += sample * std::polar(1.0, -kTwoPi * kHertz * n / 48'000);
        power += std::norm(sample);
    }
    const double count = frames - 2 * kSkip;
    const double amplitude = std::abs(sum) / count;
    QVERIFY2(std::abs(amplitude - 1'000) < 20, qPrintable(QString::number(amplitude)));
    QVERIFY(power / count - amplitude * amplitude < 0.002 * power / count);
}

void tst_IqSinks::sigMfIsTwoFilesByAnyName_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("without an extension") << QStringLiteral("a");
    QTest::newRow("data") << QStringLiteral("a.sigmf-data");
    QTest::newRow("meta") << QStringLiteral("a.sigmf-meta");
}

void tst_IqSinks::sigMfIsTwoFilesByAnyName()
{
    QFETCH(QString, name);
    QTemporaryDir folder;
    SigMfSink sink;
    QVERIFY(sink.open(folder.filePath(name), info()));
    QCOMPARE(sink.write(block({{1, -2}, {0x1234, 0}})), IqSink::Outcome::Going);
    QCOMPARE(sink.finish(), IqSink::Outcome::Going);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files),
             (QStringList{QStringLiteral("a.sigmf-data"), QStringLiteral("a.sigmf-meta")}));
    QCOMPARE(fileContent(sink.dataPath()), QByteArray::fromHex("0100feff34120000"));
}

void tst_IqSinks::sigMfMetaIsThereFromStart()
{
    SigMfSink sink;
    QVERIFY(sink.open(path(QStringLiteral("b")), info()));
    const QJsonObject meta = json(path(QStringLiteral("b.sigmf-meta")));
    const QJsonObject global = meta[QStringLiteral("global")].toObject();
    QCOMPARE(global[QStringLiteral("core:datatype")].toString(), QStringLiteral("ci16_le"));
    QCOMPARE(global[QStringLiteral("core:sample_rate")].toDouble(), 48'000.0);
    QCOMPARE(global[QStringLiteral("core:version")].toString(), QStringLiteral("1.0.0"));
    QCOMPARE(global[QStringLiteral("core:hw")].toString(), QStringLiteral("a receiver"));
    const QJsonArray captures = meta[QStringLiteral("captures")].toArray();
    QCOMPARE(captures.size(), 1);
    QCOMPARE(captures[0].toObject()[QStringLiteral("core:sample_start")].toInt(-1), 0);
    QCOMPARE(captures[0].toObject()[QStringLiteral("core:frequency")].toDouble(), 14'250'000.0);
    QCOMPARE(captures[0].toObject()[QStringLiteral("core:datetime")].toString(),
             QStringLiteral("2025-01-31T23:59:58.500Z"));
    QVERIFY(meta[QStringLiteral("annotations")].isArray());
}

void tst_IqSinks::sigMfTellsOfGaps()
{
    SigMfSink sink;
    QVERIFY(sink.open(path(QStringLiteral("c")), info()));
    QCOMPARE(sink.write(block(QVector<IqSample>(24'000))), IqSink::Outcome::Going);
    QCOMPARE(sink.write(block(QVector<IqSample>(128), 48'000)), IqSink::Outcome::Going);
    QCOMPARE(sink.finish(), IqSink::Outcome::Going);
    const QJsonArray captures =
        json(path(QStringLiteral("c.sigmf-meta")))[QStringLiteral("captures")].toArray();
    QCOMPARE(captures.size(), 2);
    const QJsonObject second = captures[1].toObject();
    QCOMPARE(second[QStringLiteral("core:sample_start")].toInt(), 24'000);
    QCOMPARE(second[QStringLiteral("core:global_index")].toInt(), 72'000);
    QCOMPARE(second[QStringLiteral("core:datetime")].toString(), QStringLiteral("2025-02-01T00:00:00.000Z"));
    QCOMPARE(QFile(sink.dataPath()).size(), qint64(24'128 * 4));
}

void tst_IqSinks::sigMfOnFullDiskIsError()
{
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), path(QStringLiteral("d.sigmf-data"))));
    SigMfSink sink;
    QVERIFY(sink.open(path(QStringLiteral("d")), info()));
    QCOMPARE(sink.write(block({{1, 2}})), IqSink::Outcome::Going);
    QCOMPARE(sink.flush(), IqSink::Outcome::Failed);
    QCOMPARE(sink.errorString(), QStringLiteral("No space left on device"));
}

void tst_IqSinks::streamWritesPairsLittleEndian_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("cs16") << static_cast<int>(StreamSink::Format::Cs16)
                          << QByteArray::fromHex("0100feff0080ff7f");
    QTest::newRow("cf32") << static_cast<int>(StreamSink::Format::Cf32)
                          << QByteArray::fromHex("00000038000080b8000080bf00fe7f3f");
}

void tst_IqSinks::streamWritesPairsLittleEndian()
{
    QFETCH(int, format);
    QFETCH(QByteArray, bytes);
    std::array<int, 2> ends{};
    QCOMPARE(::pipe(ends.data()), 0);
    OutputPipe pipe(ends[1]);
    StreamSink sink(pipe, static_cast<StreamSink::Format>(format));
    QCOMPARE(sink.write(block({{1, -2}, {-32768, 32767}})), IqSink::Outcome::Going);
    QCOMPARE(sink.size(), qint64(bytes.size()));
    std::array<char, 100> buffer{};
    const ssize_t count = ::read(ends[0], buffer.data(), buffer.size());
    QCOMPARE(QByteArray(buffer.data(), static_cast<int>(count)), bytes);
    ::close(ends[0]);
    ::close(ends[1]);
}

void tst_IqSinks::pipeWithoutReaderSaysSo()
{
    std::array<int, 2> ends{};
    QCOMPARE(::pipe(ends.data()), 0);
    ::close(ends[0]);
    OutputPipe pipe(ends[1]);
    QCOMPARE(pipe.write("abc"), IqSink::Outcome::ReaderGone);
    ::close(ends[1]);
}

void tst_IqSinks::pipeWithSlowReaderWaitsUntilStopped()
{
    std::array<int, 2> ends{};
    QCOMPARE(::pipe(ends.data()), 0);
    OutputPipe pipe(ends[1]);
    const QByteArray much(10'000'000, 'x');
    auto writing = std::async(std::launch::async, [&] { return pipe.write(much); });
    QTRY_VERIFY(pipe.size() > 0);
    pipe.stop();
    QCOMPARE(writing.get(), IqSink::Outcome::Going);
    QVERIFY(pipe.size() < much.size());
    ::close(ends[0]);
    ::close(ends[1]);
}

void tst_IqSinks::pipeToFullDeviceIsError()
{
    const int device = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    QVERIFY(device >= 0);
    OutputPipe pipe(device);
    QCOMPARE(pipe.write("abc"), IqSink::Outcome::Failed);
    QCOMPARE(pipe.errorString(), QStringLiteral("No space left on device"));
    ::close(device);
}

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // as the program does
    QCoreApplication application(argc, argv);
    tst_IqSinks test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_IqSinks.moc"
