#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <complex>
#include <vector>

namespace
{

using Complex = std::complex<double>;

constexpr int kRate = 48'000;
constexpr double kTwoPi = 6.283185307179586;

/// The amplitude and phase of one frequency among `count` samples from `first` on, past the end from the
/// start again. A direct sum; frequencies that are whole cycles of `count` do not see each other.
Complex tone(const std::vector<Complex>& samples, double hertz, int first, int count)
{
    Complex sum;
    const Complex step = std::polar(1.0, -kTwoPi * hertz / kRate);
    Complex turn = 1.0;
    for (int i = 0; i < count; ++i) {
        sum += samples[static_cast<std::size_t>(first + i) % samples.size()] * turn;
        turn *= step;
    }
    return sum / static_cast<double>(count);
}

double level(const std::vector<Complex>& samples, double hertz, int first, int count)
{
    return std::abs(tone(samples, hertz, first, count));
}

/// `hertz` moved to 0 and all but a band around it averaged away, one value for each `step` samples.
std::vector<Complex> station(const std::vector<Complex>& samples, double hertz, int first, int count,
                             int step)
{
    std::vector<Complex> result;
    for (int i = 0; i + step <= count; i += step) {
        result.push_back(tone(samples, hertz, first + i, step) *
                         std::polar(1.0, -kTwoPi * hertz * (i % kRate) / kRate));
    }
    return result;
}

/// The strength of one audio frequency, of values that come `rate` times a second.
double audio(const std::vector<double>& values, double hertz, double rate)
{
    Complex sum;
    for (std::size_t i = 0; i < values.size(); ++i) {
        sum += values[i] * std::polar(1.0, -kTwoPi * hertz / rate * static_cast<double>(i));
    }
    return 2.0 * std::abs(sum) / static_cast<double>(values.size());
}

const QHash<QString, QChar> kMorse{
    {QStringLiteral(".-"), QLatin1Char('A')},   {QStringLiteral("-..."), QLatin1Char('B')},
    {QStringLiteral("-.-."), QLatin1Char('C')}, {QStringLiteral("-.."), QLatin1Char('D')},
    {QStringLiteral("."), QLatin1Char('E')},    {QStringLiteral("..-."), QLatin1Char('F')},
    {QStringLiteral("--."), QLatin1Char('G')},  {QStringLiteral("...."), QLatin1Char('H')},
    {QStringLiteral(".."), QLatin1Char('I')},   {QStringLiteral(".---"), QLatin1Char('J')},
    {QStringLiteral("-.-"), QLatin1Char('K')},  {QStringLiteral(".-.."), QLatin1Char('L')},
    {QStringLiteral("--"), QLatin1Char('M')},   {QStringLiteral("-."), QLatin1Char('N')},
    {QStringLiteral("---"), QLatin1Char('O')},  {QStringLiteral(".--."), QLatin1Char('P')},
    {QStringLiteral("--.-"), QLatin1Char('Q')}, {QStringLiteral(".-."), QLatin1Char('R')},
    {QStringLiteral("..."), QLatin1Char('S')},  {QStringLiteral("-"), QLatin1Char('T')},
    {QStringLiteral("..-"), QLatin1Char('U')},  {QStringLiteral("...-"), QLatin1Char('V')},
    {QStringLiteral(".--"), QLatin1Char('W')},  {QStringLiteral("-..-"), QLatin1Char('X')},
    {QStringLiteral("-.--"), QLatin1Char('Y')}, {QStringLiteral("--.."), QLatin1Char('Z')},
};

/// Reads text from a key, '#' down and ' ' up, one character for each dit.
QString readMorse(const QString& key)
{
    QString text;
    for (const QString& word : key.trimmed().split(QStringLiteral("       "), Qt::SkipEmptyParts)) {
        for (const QString& letter : word.split(QStringLiteral("   "), Qt::SkipEmptyParts)) {
            QString code;
            for (const QString& sign : letter.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
                code += sign.size() == 3 ? QLatin1Char('-') : QLatin1Char('.');
            }
            text += kMorse.value(code, QLatin1Char('?'));
        }
        text += QLatin1Char(' ');
    }
    return text.trimmed();
}

} // namespace

/// The tool that makes what a server without a receiver plays.
class tst_DemoRecording : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void headerIsThatOf60SecondsOf16BitStereo();
    void lengthIsWholeNumberOfPlayersBlocks();
    void everySampleStaysWithinPlayersScale();
    void carrierStandsAbove5kHzAndNotBelow();
    void loopHasNoSeam();
    void amStationCarriesMelody();
    void beaconSpellsItsTextInMorse();
    void fmStationCarriesTwoTonesInTurn();
    void noiseLiesFarBelowStations();
    void sameBytesOnEveryRun();
    void fileAppearsOnlyWhole();
    void toolSaysWhatItCannotDo();

private:
    static int run(const QStringList& arguments, QByteArray* errors = nullptr);

    QTemporaryDir m_folder;
    QByteArray m_bytes;
    std::vector<Complex> m_samples; // I + jQ
};

int tst_DemoRecording::run(const QStringList& arguments, QByteArray* errors)
{
    QProcess tool;
    tool.start(QStringLiteral(ORVENLINK_DEMO_TOOL), arguments);
    if (!tool.waitForFinished() || tool.exitStatus() != QProcess::NormalExit) {
        return -1;
    }
    if (errors != nullptr) {
        *errors = tool.readAllStandardError();
    }
    return tool.exitCode();
}

void tst_DemoRecording::initTestCase()
{
    QFile file(m_folder.filePath(QStringLiteral("demo.wav")));
    QCOMPARE(run({file.fileName()}), 0);
    QVERIFY(file.open(QIODevice::ReadOnly));
    m_bytes = file.readAll();
    for (int at = 44; at + 4 <= m_bytes.size(); at += 4) {
        const auto left = qFromLittleEndian<qint16>(m_bytes.constData() + at);
        const auto right = qFromLittleEndian<qint16>(m_bytes.constData() + at + 2);
        m_samples.emplace_back(right, left); // Q is the left channel
    }
}

void tst_DemoRecording::headerIsThatOf60SecondsOf16BitStereo()
{
    QCOMPARE(m_bytes.left(44).toHex(), QByteArray("52494646"
                                                  "24c8af00"
                                                  "57415645666d7420"
                                                  "10000000"
                                                  "0100"
                                                  "0200"
                                                  "80bb0000"
                                                  "00ee0200"
                                                  "0400"
                                                  "1000"
                                                  "64617461"
                                                  "00c8af00"));
    QCOMPARE(m_bytes.size(), 44 + 60 * kRate * 4);
}

void tst_DemoRecording::lengthIsWholeNumberOfPlayersBlocks()
{
    QCOMPARE((m_bytes.size() - 44) % 4800, 0);
}

void tst_DemoRecording::everySampleStaysWithinPlayersScale()
{
    double peak = 0.0;
    for (const Complex& sample : m_samples) {
        peak = std::max(peak, std::abs(sample));
    }
    QVERIFY2(peak < 4096.0, qPrintable(QString::number(peak)));
    QVERIFY2(peak > 2000.0, qPrintable(QString::number(peak)));
}

void tst_DemoRecording::carrierStandsAbove5kHzAndNotBelow()
{
    for (int second = 0; second < 60; second += 7) {
        const double wanted = level(m_samples, 5000.0, second * kRate, kRate);
        const double mirrored = level(m_samples, -5000.0, second * kRate, kRate);
        QVERIFY2(std::abs(wanted - 500.0) < 5.0, qPrintable(QString::number(wanted)));
        QVERIFY2(mirrored < 5.0, qPrintable(QString::number(mirrored)));
    }
}

void tst_DemoRecording::loopHasNoSeam()
{
    // Across the end each station that has a steady carrier goes on in the phase it was in.
    const int last = 60 * kRate - kRate / 2;
    for (const double hertz : {5000.0, -12'000.0}) {
        const Complex inside = tone(m_samples, hertz, 30 * kRate, kRate);
        const Complex across = tone(m_samples, hertz, last, kRate);
        QVERIFY(std::abs(std::abs(across) / std::abs(inside) - 1.0) < 0.02);
    }
}

void tst_DemoRecording::amStationCarriesMelody()
{
    QVERIFY(std::abs(level(m_samples, -12'000.0, 0, 12 * kRate) - 700.0) < 20.0);
    // E E F G of 0.375 s each; the melody comes five times.
    const QVector<double> notes{659.26, 659.26, 698.46, 783.99};
    for (int round = 0; round < 5; ++round) {
        for (int i = 0; i < notes.size(); ++i) {
            std::vector<double> envelope;
            for (const Complex& value :
                 station(m_samples, -12'000.0, round * 12 * kRate + i * 18'000, 18'000, 8)) {
                envelope.push_back(std::abs(value));
            }
            const double played = audio(envelope, notes[i], kRate / 8.0);
            QVERIFY2(played > 150.0, qPrintable(QString::number(played)));
            for (const double other : {523.25, 587.33, 659.26, 698.46, 783.99}) {
                if (other != notes[i]) {
                    QVERIFY2(audio(envelope, other, kRate / 8.0) < played / 4,
                             qPrintable(QString::number(i)));
                }
            }
        }
    }
}

void tst_DemoRecording::beaconSpellsItsTextInMorse()
{
    QString key;
    for (const Complex& value : station(m_samples, 10'000.0, 0, 60 * kRate, 3840)) {
        QVERIFY(std::abs(value) < 60.0 || std::abs(value) > 300.0);
        key += std::abs(value) > 200.0 ? QLatin1Char('#') : QLatin1Char(' ');
    }
    QCOMPARE(readMorse(key), QStringLiteral("VVV DE ORVENLINK VVV DE ORVENLINK VVV DE ORVENLINK "
                                            "VVV DE ORVENLINK VVV DE ORVENLINK"));
}

void tst_DemoRecording::fmStationCarriesTwoTonesInTurn()
{
    for (int turn = 0; turn < 120; turn += 13) {
        const std::vector<Complex> band = station(m_samples, 18'000.0, turn * kRate / 2, kRate / 2, 4);
        std::vector<double> deviation; // Hz
        for (std::size_t i = 1; i < band.size(); ++i) {
            deviation.push_back(std::arg(band[i] / band[i - 1]) / kTwoPi * kRate / 4);
        }
        const bool low = turn % 2 == 0;
        const double sent = audio(deviation, low ? 600.0 : 900.0, kRate / 4.0);
        const double other = audio(deviation, low ? 900.0 : 600.0, kRate / 4.0);
        QVERIFY2(std::abs(sent - 2000.0) < 200.0, qPrintable(QString::number(sent)));
        QVERIFY2(other < 100.0, qPrintable(QString::number(other)));
    }
}

void tst_DemoRecording::noiseLiesFarBelowStations()
{
    double sum = 0.0;
    int count = 0;
    for (double hertz = -23'000.0; hertz < -17'000.0; hertz += 47.0) {
        sum += std::norm(tone(m_samples, hertz, 0, kRate));
        ++count;
    }
    const double floor = std::sqrt(sum / count);
    // There, but some 55 dB below a carrier of 500 in a band of 1 Hz.
    QVERIFY2(floor > 0.1 && floor < 1.0, qPrintable(QString::number(floor)));
}

void tst_DemoRecording::sameBytesOnEveryRun()
{
    QFile again(m_folder.filePath(QStringLiteral("again.wav")));
    QCOMPARE(run({again.fileName()}), 0);
    QVERIFY(again.open(QIODevice::ReadOnly));
    QVERIFY(again.readAll() == m_bytes);
}

void tst_DemoRecording::fileAppearsOnlyWhole()
{
    QCOMPARE(QDir(m_folder.path()).entryList({QStringLiteral("*.part")}), QStringList());
    // What was cut off before is not in the way.
    QFile part(m_folder.filePath(QStringLiteral("third.wav.part")));
    QVERIFY(part.open(QIODevice::WriteOnly) && part.write("RIFF") == 4);
    part.close();
    QCOMPARE(run({m_folder.filePath(QStringLiteral("third.wav"))}), 0);
    QCOMPARE(QFileInfo(m_folder.filePath(QStringLiteral("third.wav"))).size(), qint64(m_bytes.size()));
    QVERIFY(!part.exists());
}

void tst_DemoRecording::toolSaysWhatItCannotDo()
{
    QByteArray errors;
    QCOMPARE(run({}, &errors), 2);
    QVERIFY(errors.startsWith("usage: "));
    QCOMPARE(run({QStringLiteral("/none/demo.wav")}, &errors), 1);
    QVERIFY(errors.contains("/none/demo.wav"));
}

QTEST_GUILESS_MAIN(tst_DemoRecording)
#include "tst_DemoRecording.moc"
