#include "Client/ClientSession.h"
#include "Client/ServerFinder.h"

#include "System/Served.h"

#include <QElapsedTimer>
#include <QtTest>
#include <cmath>
#include <complex>
#include <csignal>
#include <memory>

/// The client's library against the real server program, which plays a recording of one station.
class tst_ClientAndServer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void serverIsFoundAndCanBeConnectedTo();
    void deviceIsPlayer();
    void stationAboveCentreTurnsCounterClockwise();
    void spectrumShowsStationWhereItIs();
    void offsetBringsStationToZero();
    void bandwidthDecidesRate();
    void retunedReceiverMovesStation();
    void nothingIsLostOnLoopback();
    void secondClientIsToldBusy();
    void serverStoppedForSecondsGoesOn();
    void serverThatWasKilledIsFoundAgain();

private:
    void makeSession(const ClientSession::Timing& timing);
    [[nodiscard]] ClientSession::Target target() const;
    [[nodiscard]] bool openAndSynchronize();
    void collect(int count);
    [[nodiscard]] double toneOf() const;

    std::unique_ptr<Served> m_served;
    std::unique_ptr<ClientSession> m_session;
    QVector<IqSample> m_samples;
    bool m_collecting = false;
};

namespace
{

constexpr double kStation = 5000;  // Hz above the recording's centre
constexpr double kStrength = 1000; // counts

// The power at a frequency, in counts squared, by the direct sum.
double powerAt(const QVector<IqSample>& samples, double hertz, double rate)
{
    std::complex<double> sum;
    for (int n = 0; n < samples.size(); ++n) {
        const IqSample& sample = samples.at(n);
        sum += std::complex<double>(sample.i, sample.q) * std::polar(1.0, -2.0 * M_PI * hertz * n / rate);
    }
    return std::norm(sum / static_cast<double>(samples.size()));
}

} // namespace

void tst_ClientAndServer::initTestCase()
{
    m_served = std::make_unique<Served>(recording({{kStation, kStrength}}));
    QVERIFY(m_served->server.serve());
}

void tst_ClientAndServer::cleanupTestCase()
{
    QVERIFY(m_served->server.quit());
}

void tst_ClientAndServer::init()
{
    makeSession({});
    m_samples.clear();
    m_collecting = false;
}

void tst_ClientAndServer::makeSession(const ClientSession::Timing& timing)
{
    m_session = std::make_unique<ClientSession>(timing, nullptr);
    connect(&m_session->iq(), &IqReceiver::blockReceived, this, [this](const IqBlock& block) {
        if (m_collecting) {
            m_samples += block.samples;
        }
    });
}

void tst_ClientAndServer::cleanup()
{
    m_session.reset();
}

ClientSession::Target tst_ClientAndServer::target() const
{
    const ServerProcess& server = m_served->server;
    return {int160(server.id().constData()), QHostAddress(QHostAddress::LocalHost), server.port(),
            server.identificator()};
}

bool tst_ClientAndServer::openAndSynchronize()
{
    return m_session->open(target()) && QTest::qWaitFor([this] {
               return m_session->device().isSynchronized() && m_session->outSampleRate();
           });
}

// Leaves `count` samples or more, all of them later than this call by a second's tenth.
void tst_ClientAndServer::collect(int count)
{
    const qint64 begin =
        m_session->iq().receivedSamples() + static_cast<qint64>(*m_session->outSampleRate() / 10);
    QTRY_VERIFY(m_session->iq().receivedSamples() >= begin);
    m_samples.clear();
    m_collecting = true;
    QTRY_VERIFY(m_samples.size() >= count);
    m_collecting = false;
}

// The strongest of the frequencies from -10 to 10 kHz, in steps of 500 Hz.
double tst_ClientAndServer::toneOf() const
{
    double best = 0;
    double strongest = -1;
    for (double hertz = -10'000; hertz <= 10'000; hertz += 500) {
        const double power = powerAt(m_samples.mid(0, 4800), hertz, *m_session->outSampleRate());
        if (power > strongest) {
            strongest = power;
            best = hertz;
        }
    }
    return best;
}

void tst_ClientAndServer::serverIsFoundAndCanBeConnectedTo()
{
    ServerFinder finder;
    QVERIFY(finder.listen());
    QTRY_COMPARE(finder.servers().size(), 1);
    const ServerFinder::Server found = finder.servers().first();
    QCOMPARE(found.announcement.id.bytes(), m_served->server.id());
    QCOMPARE(found.announcement.port, m_served->server.port());
    QCOMPARE(found.announcement.identificator, m_served->file);
    QCOMPARE(found.announcement.title, QStringLiteral("IQ file player"));
    QVERIFY(found.announcement.isCompatible());
    QVERIFY(m_session->open(
        {found.announcement.id, found.address, found.announcement.port, found.announcement.identificator}));
    QTRY_COMPARE(m_session->state(), ClientSession::State::Connected);
    QTRY_VERIFY(m_session->iq().receivedSamples() > 0);
}

void tst_ClientAndServer::deviceIsPlayer()
{
    QVERIFY(openAndSynchronize());
    const RemoteDevice& device = m_session->device();
    QCOMPARE(device.type(), std::optional<int>(0));
    QCOMPARE(device.sampleRate(), std::optional<double>(48'000));
    QCOMPARE(device.frequency(), std::optional<double>(14'250'000));
    QCOMPARE(device.supportedSampleRates(), QVector<double>{48'000});
    QCOMPARE(device.supportedFrequencies().size(), 1);
    QCOMPARE(device.supportedFrequencies().first().highest, 14'500'000.0);
    QVERIFY(device.contains(QStringLiteral("running")));
}

void tst_ClientAndServer::stationAboveCentreTurnsCounterClockwise()
{
    QVERIFY(openAndSynchronize());
    collect(4800);
    QCOMPARE(toneOf(), kStation);
    const double rate = *m_session->outSampleRate();
    // Counts of the recording come with a factor of 8: 32768 / 4096.
    const double level = std::sqrt(powerAt(m_samples.mid(0, 4800), kStation, rate));
    QVERIFY2(std::abs(level / (8 * kStrength) - 1.0) < 0.1, qPrintable(QString::number(level)));
    QVERIFY(powerAt(m_samples.mid(0, 4800), -kStation, rate) < 1e-4 * level * level);
}

void tst_ClientAndServer::spectrumShowsStationWhereItIs()
{
    QVector<SpectrumFrame> frames;
    connect(&m_session->spectrum(), &SpectrumReceiver::frameReceived, this,
            [&frames](const SpectrumFrame& frame) { frames.append(frame); });
    const SpectrumRange range{0, 4096, 4096, 4096};
    QVERIFY(m_session->setSpectrumRange(range));
    QVERIFY(openAndSynchronize());
    QTRY_VERIFY(frames.size() >= 25); // the first may show the silence before the recording
    const SpectrumFrame& frame = frames.last();
    QVERIFY(frame.range == range);
    const auto peak = std::max_element(frame.decibels.begin(), frame.decibels.end());
    const auto bin = std::distance(frame.decibels.begin(), peak);
    QCOMPARE(static_cast<int>(bin), static_cast<int>(std::lround(2048 + kStation / (48'000.0 / 4096))));
    // A quarter of full scale, the 4096th part of the counts.
    QVERIFY(std::abs(*peak - (5.5 + 20 * std::log10(kStrength / 4096))) < 2.0);
    QCOMPARE(m_session->spectrum().droppedFrames(), 0);
}

void tst_ClientAndServer::offsetBringsStationToZero()
{
    QVERIFY(m_session->setOffset(kStation));
    QVERIFY(openAndSynchronize());
    collect(4800);
    QCOMPARE(toneOf(), 0.0);
    QVERIFY(m_session->setOffset(kStation + 1000));
    collect(4800);
    QCOMPARE(toneOf(), -1000.0);
}

void tst_ClientAndServer::bandwidthDecidesRate()
{
    QVERIFY(openAndSynchronize());
    const double before = *m_session->outSampleRate();
    QVERIFY(m_session->setBandwidth(5000, 4000));
    QTRY_VERIFY(*m_session->outSampleRate() < before);
    QElapsedTimer time;
    time.start();
    const qint64 begin = m_session->iq().receivedSamples();
    QTRY_VERIFY(m_session->iq().receivedSamples() >=
                begin + static_cast<qint64>(*m_session->outSampleRate()));
    QVERIFY(time.elapsed() > 800);
}

void tst_ClientAndServer::retunedReceiverMovesStation()
{
    QVERIFY(openAndSynchronize());
    QVector<double> echoes;
    connect(&m_session->device(), &RemoteDevice::frequencyChanged, this,
            [&echoes](double hertz) { echoes.append(hertz); });
    QVERIFY(m_session->device().setFrequency(14'252'000));
    QTRY_COMPARE(echoes, QVector<double>{14'252'000});
    collect(4800);
    QCOMPARE(toneOf(), kStation - 2000);
    QVERIFY(m_session->device().setFrequency(15'000'000)); // out of its range
    QTRY_COMPARE(echoes.size(), 2);
    QCOMPARE(m_session->device().frequency(), std::optional<double>(14'252'000));
    QVERIFY(m_session->device().setFrequency(14'250'000)); // it is kept from session to session
    QTRY_COMPARE(echoes.size(), 3);
}

void tst_ClientAndServer::nothingIsLostOnLoopback()
{
    QVERIFY(m_session->setSpectrumRange({0, 4096, 1000, 4096}));
    QVERIFY(openAndSynchronize());
    const qint64 begin = m_session->iq().receivedSamples();
    QTRY_VERIFY(m_session->iq().receivedSamples() > begin + 3 * 48'000);
    QCOMPARE(m_session->datagramsLost(), 0);
    QCOMPARE(m_session->iq().damagedDatagrams(), 0);
    QCOMPARE(m_session->spectrum().droppedFrames(), 0);
}

void tst_ClientAndServer::secondClientIsToldBusy()
{
    QVERIFY(openAndSynchronize());
    ClientSession second;
    QVector<ClientSession::Refusal> refusals;
    connect(&second, &ClientSession::refused, this,
            [&refusals](ClientSession::Refusal refusal) { refusals.append(refusal); });
    QVERIFY(second.open(target()));
    QTRY_COMPARE(refusals, QVector<ClientSession::Refusal>{ClientSession::Refusal::Busy});
    QCOMPARE(m_session->state(), ClientSession::State::Connected);
}

void tst_ClientAndServer::serverStoppedForSecondsGoesOn()
{
    QVERIFY(openAndSynchronize());
    QTRY_VERIFY(m_session->iq().receivedSamples() > 48'000);
    m_served->server.signal(SIGSTOP);
    const qint64 begin = m_session->iq().receivedSamples();
    QElapsedTimer time;
    time.start();
    QTRY_VERIFY(time.elapsed() > 1000);
    m_served->server.signal(SIGCONT);
    QTRY_VERIFY(m_session->iq().receivedSamples() > begin + 5 * 24'000);
    QCOMPARE(m_session->state(), ClientSession::State::Connected);
    // The player makes up for the last 250 ms of what it didn't play.
    const qint64 missing = m_session->iq().missingSamples();
    QVERIFY2(missing > 48 * 700 && missing < 48 * 1500, qPrintable(QString::number(missing)));
    QCOMPARE(m_session->datagramsLost(), 0);
}

void tst_ClientAndServer::serverThatWasKilledIsFoundAgain()
{
    // By a clock that runs three times as fast the server is found to be silent sooner.
    ClientSession::Timing timing;
    timing.clock = [start = QDateTime::currentMSecsSinceEpoch()] {
        return start + 3 * (QDateTime::currentMSecsSinceEpoch() - start);
    };
    makeSession(timing);
    m_session->setReconnecting(true);
    QVERIFY(m_session->setOffset(kStation));
    QVERIFY(openAndSynchronize());
    QVERIFY(m_session->device().setFrequency(14'251'000));
    QTRY_COMPARE(m_session->iq().receivedSamples() > 1000, true);
    const quint16 port = m_served->server.port();
    m_served->server.signal(SIGKILL);
    QTRY_VERIFY(!m_served->server.isRunning());
    m_served->server.start({QStringLiteral("-p"), QString::number(port)});
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), ClientSession::State::Reconnecting, 20'000);
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), ClientSession::State::Connected, 10'000);
    QTRY_VERIFY(m_session->device().isSynchronized());
    collect(4800);
    QCOMPARE(toneOf(), -1000.0);
    QVERIFY(m_session->device().setFrequency(14'250'000));
    QVERIFY(m_session->iq().missingSamples() > 48 * 5000);
}

QTEST_GUILESS_MAIN(tst_ClientAndServer)
#include "tst_ClientAndServer.moc"
