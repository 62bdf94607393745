#include "Receiving/Sinks/WavFile.h"
#include "Receiving/Sound.h"

#include <QTemporaryDir>
#include <csignal>
#include <numeric>
#include <sys/resource.h>

namespace
{

// 0, 1, 2, ... wrapping.
std::vector<qint16> ramp(int count, int first = 0)
{
    std::vector<qint16> values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), static_cast<qint16>(first));
    return values;
}

} // namespace

class tst_WavFile : public QObject
{
    Q_OBJECT

private slots:
    void plainFileIs44BytesThenSamples();
    void extendedFileHoldsAuxiAndRoomForLongSizes();
    void fileIsReadBackByAnotherLibrary_data();
    void fileIsReadBackByAnotherLibrary();
    void beyondLimitItIsRf64();
    void sizesOfRf64StandInTheirChunk();
    void atLimitItIsStillRiff();
    void plainFileIsFullAtLimit();
    void everyWriteLeavesReadableFile();
    void cutFileIsReadUpToCut();
    void fullDiskLeavesWhatWasWritten();
    void auxiFollowsAtNextWrite();
    void whatIsNoFileIsRefused();
    void missingFolderIsError();
    void oldContentIsGone();

private:
    [[nodiscard]] QString path() const { return m_folder.filePath(QStringLiteral("a.wav")); }

    QTemporaryDir m_folder;
};

void tst_WavFile::plainFileIs44BytesThenSamples()
{
    WavFile file;
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Plain, {}}));
    const std::vector<qint16> values{1, -2, 0x1234, -32768};
    QVERIFY(file.write(values.data(), 2));
    QVERIFY(file.close());
    const QByteArray wanted = QByteArray("RIFF") + QByteArray::fromHex("2c000000") + "WAVEfmt " +
                              QByteArray::fromHex("10000000" // size of the format
                                                  "0100"     // PCM
                                                  "0200"     // channels
                                                  "80bb0000" // samples a second
                                                  "00ee0200" // bytes a second
                                                  "0400"     // bytes a frame
                                                  "1000") +  // bits
                              "data" +
                              QByteArray::fromHex("08000000"
                                                  "0100feff34120080");
    QCOMPARE(fileContent(path()), wanted);
}

void tst_WavFile::extendedFileHoldsAuxiAndRoomForLongSizes()
{
    WavFile file;
    QVERIFY(file.open(path(), {8'000, 1, WavFile::Form::Extended, "abcdef"}));
    const std::vector<qint16> values{7};
    QVERIFY(file.write(values.data(), 1));
    QVERIFY(file.close());
    const QByteArray wanted = QByteArray("RIFF") + QByteArray::fromHex("58000000") + "WAVE" + "JUNK" +
                              QByteArray::fromHex("1c000000") + QByteArray(28, '\0') + "fmt " +
                              QByteArray::fromHex("1000000001000100401f0000803e000002001000") + "auxi" +
                              QByteArray::fromHex("06000000") + "abcdef" + "data" +
                              QByteArray::fromHex("020000000700");
    QCOMPARE(fileContent(path()), wanted);
}

void tst_WavFile::fileIsReadBackByAnotherLibrary_data()
{
    QTest::addColumn<bool>("isPlain");
    QTest::addColumn<int>("channels");
    QTest::newRow("plain, one channel") << true << 1;
    QTest::newRow("plain, two channels") << true << 2;
    QTest::newRow("extended, one channel") << false << 1;
    QTest::newRow("extended, two channels") << false << 2;
}

void tst_WavFile::fileIsReadBackByAnotherLibrary()
{
    QFETCH(bool, isPlain);
    QFETCH(int, channels);
    const auto form = isPlain ? WavFile::Form::Plain : WavFile::Form::Extended;
    const std::vector<qint16> values = ramp(100'000);
    WavFile file;
    QVERIFY(file.open(path(), {12'345, channels, form, isPlain ? QByteArray() : QByteArray(164, 'a')}));
    int written = 0;
    for (const int frames : {1, 7, 4800, 0, 20'000}) {
        QVERIFY(file.write(values.data() + written * channels, frames));
        written += frames;
    }
    QVERIFY(file.close());
    const Sound sound = Sound::read(path());
    QCOMPARE(sound.sampleRate, 12'345);
    QCOMPARE(sound.channels, channels);
    QCOMPARE(sound.format, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    QCOMPARE(sound.values, std::vector<qint16>(values.begin(), values.begin() + written * channels));
    QCOMPARE(QFile(path()).size(), file.size());
}

void tst_WavFile::beyondLimitItIsRf64()
{
    const std::vector<qint16> values = ramp(10'000);
    WavFile file(4'000);
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Extended, QByteArray(164, 'a')}));
    for (int n = 0; n < 10; ++n) {
        QVERIFY(file.write(values.data() + n * 1000, 500));
        const Sound sound = Sound::read(path());
        QCOMPARE(sound.format & SF_FORMAT_TYPEMASK, file.size() - 8 > 4'000 ? SF_FORMAT_RF64 : SF_FORMAT_WAV);
        QCOMPARE(sound.values, std::vector<qint16>(values.begin(), values.begin() + (n + 1) * 1000));
    }
    QVERIFY(file.close());
    QCOMPARE(Sound::read(path()).values, values);
}

void tst_WavFile::sizesOfRf64StandInTheirChunk()
{
    const std::vector<qint16> values{1, 2, 3, 4};
    WavFile file(10);
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Extended, {}}));
    QVERIFY(file.write(values.data(), 2));
    QVERIFY(file.close());
    const QByteArray wanted = QByteArray("RF64") + QByteArray::fromHex("ffffffff") + "WAVE" + "ds64" +
                              QByteArray::fromHex("1c000000"
                                                  "5000000000000000" // all that follows the first 8 bytes
                                                  "0800000000000000" // the samples, bytes
                                                  "0200000000000000" // frames
                                                  "00000000") +      // no table
                              "fmt " +
                              QByteArray::fromHex("100000000100020080bb000000ee020004001000") + "data" +
                              QByteArray::fromHex("ffffffff0100020003000400");
    QCOMPARE(fileContent(path()), wanted);
}

void tst_WavFile::atLimitItIsStillRiff()
{
    const std::vector<qint16> values = ramp(100);
    WavFile probe;
    QVERIFY(probe.open(path(), {48'000, 1, WavFile::Form::Extended, {}}));
    const qint64 header = probe.size();
    WavFile file(header - 8 + 200);
    QVERIFY(file.open(path(), {48'000, 1, WavFile::Form::Extended, {}}));
    QVERIFY(file.write(values.data(), 100));
    QVERIFY(fileContent(path()).startsWith("RIFF"));
    QVERIFY(file.write(values.data(), 1));
    QVERIFY(fileContent(path()).startsWith("RF64"));
}

void tst_WavFile::plainFileIsFullAtLimit()
{
    const std::vector<qint16> values = ramp(200);
    WavFile file(44 + 400);
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Plain, {}}));
    QVERIFY(!file.isFull(100));
    QVERIFY(file.isFull(101));
    QVERIFY(file.write(values.data(), 60));
    QVERIFY(!file.isFull(40));
    QVERIFY(file.isFull(41));
}

void tst_WavFile::everyWriteLeavesReadableFile()
{
    const std::vector<qint16> values = ramp(2'000);
    WavFile file;
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Extended, {}}));
    QVERIFY(Sound::read(path()).values.empty());
    QCOMPARE(Sound::read(path()).sampleRate, 48'000);
    for (int n = 1; n <= 4; ++n) {
        QVERIFY(file.write(values.data() + (n - 1) * 500, 250));
        QCOMPARE(Sound::read(path()).values, std::vector<qint16>(values.begin(), values.begin() + n * 500));
    }
}

// As after a kill between the samples and the header, or with a file system that lost its last blocks.
void tst_WavFile::cutFileIsReadUpToCut()
{
    const std::vector<qint16> values = ramp(2'000);
    WavFile file;
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Extended, QByteArray(164, 'a')}));
    QVERIFY(file.write(values.data(), 1'000));
    const QString copy = m_folder.filePath(QStringLiteral("cut.wav"));
    for (const int frames : {999, 500, 1, 0}) {
        QFile::remove(copy);
        QVERIFY(QFile::copy(path(), copy));
        QVERIFY(QFile::resize(copy, file.size() - (1'000 - frames) * 4));
        QCOMPARE(Sound::read(copy).values, std::vector<qint16>(values.begin(), values.begin() + frames * 2));
    }
}

void tst_WavFile::fullDiskLeavesWhatWasWritten()
{
    // The system refuses to let a file grow beyond this, in the middle of a frame.
    constexpr rlim_t kRoom = 10'002;
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const std::vector<qint16> values = ramp(10'000);
    WavFile file;
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Plain, {}}));
    rlimit small = before;
    small.rlim_cur = kRoom;
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool isFirstWritten = file.write(values.data(), 2'000);
    const bool isSecondWritten = file.write(values.data() + 4'000, 2'000);
    const bool isClosed = file.close();
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &before), 0);
    QVERIFY(isFirstWritten);
    QVERIFY(!isSecondWritten);
    QVERIFY(isClosed);
    QVERIFY(!file.errorString().isEmpty());
    constexpr int kFrames = (kRoom - 44) / 4;
    QCOMPARE(Sound::read(path()).values, std::vector<qint16>(values.begin(), values.begin() + kFrames * 2));
    QCOMPARE(QFile(path()).size(), qint64(44 + kFrames * 4));
}

void tst_WavFile::auxiFollowsAtNextWrite()
{
    WavFile file;
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Extended, "old!"}));
    file.setAuxi("new!");
    QVERIFY(fileContent(path()).contains("old!"));
    QVERIFY(file.close());
    QVERIFY(fileContent(path()).contains("auxi" + QByteArray::fromHex("04000000") + "new!"));
}

void tst_WavFile::whatIsNoFileIsRefused()
{
    WavFile file;
    QVERIFY(!file.open(QStringLiteral("/dev/full"), {48'000, 2, WavFile::Form::Plain, {}}));
    QCOMPARE(file.errorString(), QStringLiteral("it is a device or a pipe, not a file"));
}

void tst_WavFile::missingFolderIsError()
{
    WavFile file;
    QVERIFY(
        !file.open(m_folder.filePath(QStringLiteral("none/a.wav")), {48'000, 2, WavFile::Form::Plain, {}}));
    QCOMPARE(file.errorString(), QStringLiteral("No such file or directory"));
    QVERIFY(file.close());
}

void tst_WavFile::oldContentIsGone()
{
    QFile old(path());
    QVERIFY(old.open(QIODevice::WriteOnly));
    QCOMPARE(old.write(QByteArray(1'000, 'x')), 1'000);
    old.close();
    WavFile file;
    QVERIFY(file.open(path(), {48'000, 2, WavFile::Form::Plain, {}}));
    QVERIFY(file.close());
    QCOMPARE(QFile(path()).size(), qint64(44));
}

QTEST_GUILESS_MAIN(tst_WavFile)
#include "tst_WavFile.moc"
