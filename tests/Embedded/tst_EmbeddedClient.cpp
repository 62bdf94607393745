#include "System/Served.h"
#include "support/LogCapture.h"

#include <orvenlink/Client.h>
#include <orvenlink/Finder.h>
#include <orvenlink/Log.h>

#include <QElapsedTimer>
#include <QUdpSocket>
#include <QtTest>
#include <atomic>
#include <cmath>
#include <csignal>
#include <future>
#include <thread>

using namespace orvenlink;
using Code = Error::Code;

/// The library as its hosts see it, against the real server, which plays a recording of one station.
class tst_EmbeddedClient : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void serverIsFoundWithAllThatSessionNeeds();
    void serverIsConnectedToByItsAddressAlone();
    void whatCanNotBeConnectedToIsError_data();
    void whatCanNotBeConnectedToIsError();
    void secondClientIsToldBusy();
    void connectThatWaitsIsEndedByDisconnect();
    void propertiesTellWhatTheyTake();
    void whatReceiverMakesOfValueComesBack();
    void valuesThatCanNotBeMeantAreRefused();
    void nothingCanBeSetWithoutSession();
    void samplesAreTrueBaseband();
    void offsetAndRateAreObeyed();
    void readWithoutSessionWaitsItsTime();
    void pauseOfServerIsOneGapInPlaceAndTime();
    void spectraTellTheirFrequencies();
    void countsAreKept();
    void sessionIsLeftAtOnce();
    void everyFunctionMayBeCalledFromAnyThread();
    void linesGoToHostsHandler();
    void linesGoToQtOtherwise();
    void lostSessionIsToldAndComesBack();

private:
    [[nodiscard]] QString place() const;
    [[nodiscard]] Error connectClient(Client& client) const;
    [[nodiscard]] double toneOf(int count = 4800);

    std::unique_ptr<Served> m_served;
    std::unique_ptr<Client> m_client;
};

namespace
{

constexpr double kStation = 5000;  // Hz above the recording's centre
constexpr double kStrength = 1000; // counts
constexpr milliseconds kLong(60'000);

// Waits for an event of this kind; its text.
std::optional<std::string> waitFor(Client& client, Event::Kind kind, const std::string& text = {})
{
    const QDeadlineTimer deadline(kLong.count());
    while (!deadline.hasExpired()) {
        const auto event = client.waitForEvent(kLong);
        if (event && event->kind == kind && (text.empty() || event->text == text)) {
            return event->text;
        }
    }
    return std::nullopt;
}

} // namespace

void tst_EmbeddedClient::initTestCase()
{
    m_served = std::make_unique<Served>(recording({{kStation, kStrength}}));
    QVERIFY(m_served->server.serve());
}

void tst_EmbeddedClient::cleanupTestCase()
{
    QVERIFY(m_served->server.quit());
}

void tst_EmbeddedClient::init()
{
    m_client = std::make_unique<Client>();
}

void tst_EmbeddedClient::cleanup()
{
    m_client.reset();
}

QString tst_EmbeddedClient::place() const
{
    return m_served->server.address() + QStringLiteral("@127.0.0.1:%1").arg(m_served->server.port());
}

Error tst_EmbeddedClient::connectClient(Client& client) const
{
    return client.connect(place().toStdString(), m_served->server.identificator().toStdString(), kLong);
}

// The strongest of the frequencies from -10 to 10 kHz, in steps of 500 Hz, a second's tenth from now.
double tst_EmbeddedClient::toneOf(int count)
{
    m_client->discard();
    std::vector<std::complex<float>> samples(static_cast<std::size_t>(m_client->sampleRate() / 10));
    if (m_client->read(samples.data(), samples.size(), kLong).count != samples.size()) {
        return NAN;
    }
    samples.resize(static_cast<std::size_t>(count));
    const Read read = m_client->read(samples.data(), samples.size(), kLong);
    double best = NAN;
    double strongest = -1;
    for (double hertz = -10'000; hertz <= 10'000; hertz += 500) {
        std::complex<double> sum;
        for (std::size_t n = 0; n < read.count; ++n) {
            sum += std::complex<double>(samples[n]) *
                   std::polar(1.0, -2.0 * M_PI * hertz * static_cast<double>(n) / read.sampleRate);
        }
        if (std::norm(sum) > strongest) {
            strongest = std::norm(sum);
            best = hertz;
        }
    }
    return best;
}

void tst_EmbeddedClient::serverIsFoundWithAllThatSessionNeeds()
{
    const Finder finder;
    QVERIFY(!finder.error());
    QVERIFY(finder.servers(milliseconds(0)).size() <= 1);
    QTRY_COMPARE(finder.servers().size(), std::size_t(1)); // after its time, at once
    const Server server = finder.servers().front();
    QCOMPARE(QString::fromStdString(server.address), m_served->server.address());
    QCOMPARE(server.port, m_served->server.port());
    QCOMPARE(server.type, 0);
    QCOMPARE(QString::fromStdString(server.title), QStringLiteral("IQ file player"));
    QVERIFY(server.isCompatible);
    QVERIFY(!m_client->connect(server.place(), server.identificator, kLong));
    QVERIFY(m_client->state() == State::Connected);
}

void tst_EmbeddedClient::serverIsConnectedToByItsAddressAlone()
{
    const Error error = m_client->connect(m_served->server.address().toStdString(), {}, kLong);
    QVERIFY2(!error, error.text.c_str());
    QVERIFY(waitFor(*m_client, Event::Kind::Connected));
    QCOMPARE(QString::fromStdString(m_client->receiver().name), QStringLiteral("IQ file player"));
    QCOMPARE(m_client->receiver().sampleRate, 48'000.0);
    QCOMPARE(m_client->receiver().frequencies.front().highest, 14'500'000.0);
}

void tst_EmbeddedClient::whatCanNotBeConnectedToIsError_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("identificator");
    QTest::addColumn<int>("limit"); // ms
    QTest::addColumn<int>("code");
    const auto add = [](const char* name, const QString& server, const char* identificator, int limit,
                        Code code) {
        QTest::newRow(name) << server << QString::fromLatin1(identificator) << limit
                            << static_cast<int>(code);
    };
    const QString other = QStringLiteral("3mJr7AoUXx2Wqd5bYcYwVVYqQvGk");
    add("nonsense", QStringLiteral("nonsense"), "", 60'000, Code::BadArgument);
    add("no identificator", place(), "", 60'000, Code::BadArgument);
    add("not heard", other, "", 60'000, Code::NotFound);
    add("another identificator", m_served->server.address(), "x", 60'000, Code::BadArgument);
    add("another server there", other + place().mid(place().indexOf(QLatin1Char('@'))), "x", 1'000,
        Code::TimedOut);
    add("nobody there", other + QStringLiteral("@127.0.0.1:9"), "x", 60'000, Code::NoAnswer);
}

void tst_EmbeddedClient::whatCanNotBeConnectedToIsError()
{
    QFETCH(QString, server);
    QFETCH(QString, identificator);
    QFETCH(int, limit);
    QFETCH(int, code);
    const Error error =
        m_client->connect(server.toStdString(), identificator.toStdString(), milliseconds(limit));
    QCOMPARE(static_cast<int>(error.code), code);
    QVERIFY(!error.text.empty());
    QVERIFY(m_client->state() == State::Idle);
}

void tst_EmbeddedClient::secondClientIsToldBusy()
{
    QVERIFY(!connectClient(*m_client));
    Client second;
    const Error error = connectClient(second);
    QVERIFY(error.code == Code::Busy);
    QVERIFY(QString::fromStdString(error.text).startsWith(QStringLiteral("Server busy!")));
    QVERIFY(m_client->state() == State::Connected);
}

void tst_EmbeddedClient::connectThatWaitsIsEndedByDisconnect()
{
    Error error;
    std::thread other([this, &error] {
        error = m_client->connect("3mJr7AoUXx2Wqd5bYcYwVVYqQvGk@127.0.0.1:9", "x", kLong);
    });
    QTRY_VERIFY(m_client->state() == State::Connecting);
    m_client->disconnect();
    other.join();
    QVERIFY(error.code == Code::NotConnected);
}

void tst_EmbeddedClient::propertiesTellWhatTheyTake()
{
    QVERIFY(!connectClient(*m_client));
    const std::vector<Property> properties = m_client->properties();
    QCOMPARE(properties.size(), std::size_t(10));
    const auto frequency = m_client->property("frequency");
    QVERIFY(frequency);
    QVERIFY(frequency->type == Property::Type::Number);
    QCOMPARE(std::get<double>(frequency->value), 14'250'000.0);
    QCOMPARE(QString::fromStdString(frequency->unit), QStringLiteral("Hz"));
    QVERIFY(frequency->isWritable);
    QCOMPARE(frequency->range->lowest, 14'000'000.0);
    QCOMPARE(frequency->range->highest, 14'500'000.0);
    QCOMPARE(m_client->property("sampleRate")->options.front().value, 48'000);
    const auto ppm = m_client->property("ppmCorrection");
    QCOMPARE(std::get<std::int64_t>(ppm->value), 0);
    QCOMPARE(std::get<bool>(m_client->property("running")->value), true);
    QVERIFY(!m_client->property("running")->isWritable);
    QCOMPARE(std::get<std::vector<std::string>>(m_client->property("supportSampleRates")->value).front(),
             "48000");
    QVERIFY(!m_client->property("volume"));
}

void tst_EmbeddedClient::whatReceiverMakesOfValueComesBack()
{
    QVERIFY(!connectClient(*m_client));
    QVERIFY(!m_client->set("ppmCorrection", std::int64_t(3)));
    QVERIFY(!m_client->set("levelCorrection", std::int64_t(-2)));
    QVERIFY(!m_client->refresh(kLong));
    QCOMPARE(std::get<std::int64_t>(m_client->property("ppmCorrection")->value), 3);
    QCOMPARE(std::get<double>(m_client->property("levelCorrection")->value), -2.0);
    QVERIFY(!m_client->set("ppmCorrection", std::int64_t(0)));
    QVERIFY(!m_client->set("levelCorrection", 0.0));
    QVERIFY(!m_client->tune(15'000'000)); // beyond the receiver's range
    QVERIFY(!m_client->refresh(kLong));
    QCOMPARE(m_client->receiver().frequency, 14'250'000.0);
    while (m_client->waitForEvent(milliseconds(0))) {
    }
    QVERIFY(!m_client->tune(14'252'000)); // announces itself
    QVERIFY(waitFor(*m_client, Event::Kind::Property, "frequency"));
    QCOMPARE(m_client->receiver().frequency, 14'252'000.0);
    QCOMPARE(toneOf(), kStation - 2000);
    QVERIFY(!m_client->tune(14'250'000));
    QVERIFY(!m_client->refresh(kLong));
}

void tst_EmbeddedClient::valuesThatCanNotBeMeantAreRefused()
{
    QVERIFY(!connectClient(*m_client));
    QVERIFY(m_client->set("volume", std::int64_t(1)).code == Code::BadArgument);
    QVERIFY(m_client->set("running", false).code == Code::BadArgument);
    QVERIFY(m_client->set("swapIQ", std::int64_t(1)).code == Code::BadArgument);
    QVERIFY(m_client->set("ppmCorrection", 1.5).code == Code::BadArgument);
    QVERIFY(m_client->set("frequency", "14250000").code == Code::BadArgument);
    QVERIFY(m_client->set("frequency", Value()).code == Code::BadArgument);
    QVERIFY(m_client->tune(NAN).code == Code::BadArgument);
    QVERIFY(m_client->setOffset(INFINITY).code == Code::BadArgument);
    QVERIFY(m_client->setRate(0, 0).code == Code::BadArgument);
    SpectrumRequest request;
    request.fftSize = 1000;
    QVERIFY(m_client->setSpectrum(request).code == Code::BadArgument);
    QVERIFY(!m_client->set("swapIQ", false));
    QVERIFY(!m_client->set("ppmCorrection", 0.0));
}

void tst_EmbeddedClient::nothingCanBeSetWithoutSession()
{
    QVERIFY(m_client->tune(14'250'000).code == Code::NotConnected);
    QVERIFY(m_client->refresh(kLong).code == Code::NotConnected);
    QVERIFY(m_client->properties().empty());
    QCOMPARE(m_client->sampleRate(), 0.0);
    QVERIFY(!m_client->waitForSpectrum(milliseconds(1)));
}

void tst_EmbeddedClient::samplesAreTrueBaseband()
{
    QVERIFY(!connectClient(*m_client));
    QCOMPARE(m_client->sampleRate(), 48'000.0);
    QCOMPARE(toneOf(), kStation);
    std::vector<Sample> samples(9600);
    const Read first = m_client->read(samples.data(), samples.size(), kLong);
    const Read second = m_client->read(samples.data(), samples.size(), kLong);
    QCOMPARE(second.position, first.position + 9600);
    QCOMPARE(second.time - first.time, std::chrono::nanoseconds(200'000'000));
    double power = 0;
    for (const Sample& sample : samples) {
        power += std::norm(std::complex<double>(sample.i, sample.q));
    }
    // 4096 counts of the recording are full scale.
    QVERIFY(std::abs(std::sqrt(power / 9600) / (8 * kStrength) - 1) < 0.1);
}

void tst_EmbeddedClient::offsetAndRateAreObeyed()
{
    QVERIFY(!m_client->setOffset(kStation - 1000));
    QVERIFY(!connectClient(*m_client));
    QCOMPARE(toneOf(), 1000.0);
    QVERIFY(!m_client->setRate(20'000, 8'000));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->sampleRate(), 24'000.0, kLong.count());
    QVERIFY(waitFor(*m_client, Event::Kind::RateChanged));
    QCOMPARE(toneOf(), 1000.0);
}

void tst_EmbeddedClient::readWithoutSessionWaitsItsTime()
{
    QElapsedTimer time;
    time.start();
    Sample sample;
    QCOMPARE(m_client->read(&sample, 1, milliseconds(100)).count, std::size_t(0));
    QVERIFY(time.nsecsElapsed() >= 100'000'000);
}

void tst_EmbeddedClient::pauseOfServerIsOneGapInPlaceAndTime()
{
    m_client->setBuffer(milliseconds(1'000));
    QVERIFY(!connectClient(*m_client));
    m_client->discard();
    std::vector<Sample> samples(4800);
    const Read first = m_client->read(samples.data(), samples.size(), kLong);
    QElapsedTimer time;
    time.start();
    m_served->server.signal(SIGSTOP);
    QTRY_VERIFY(time.elapsed() > 1500);
    m_served->server.signal(SIGCONT);
    std::vector<Read> gaps;
    Read last;
    std::chrono::nanoseconds leastLag = std::chrono::hours(1); // from two seconds after the gap on
    while (last.position < first.position + 6 * 48'000) {
        last = m_client->read(samples.data(), samples.size(), kLong);
        QVERIFY(last.count > 0);
        if (last.lost > 0) {
            gaps.push_back(last);
        } else if (!gaps.empty() && last.position > gaps[0].position + 2 * 48'000) {
            leastLag = std::min(leastLag, std::chrono::system_clock::now().time_since_epoch() - last.time);
        }
    }
    QCOMPARE(gaps.size(), std::size_t(1));
    // The player makes up for the last 250 ms of what it didn't play.
    QVERIFY2(gaps[0].lost > 48 * 1'200 && gaps[0].lost < 48 * 2'000,
             qPrintable(QString::number(gaps[0].lost)));
    QCOMPARE(last.time - first.time, std::chrono::nanoseconds(std::llround(
                                         static_cast<double>(last.position - first.position) / 48e3 * 1e9)));
    // The samples of a read take 100 ms to come.
    const auto lag = std::chrono::duration_cast<milliseconds>(leastLag).count();
    QVERIFY2(lag >= 50 && lag < 200, qPrintable(QString::number(lag)));
    QCOMPARE(m_client->counts().lost, gaps[0].lost);
}

void tst_EmbeddedClient::spectraTellTheirFrequencies()
{
    SpectrumRequest request;
    request.points = 4096;
    QVERIFY(!m_client->setSpectrum(request));
    QVERIFY(!connectClient(*m_client));
    std::optional<Spectrum> spectrum;
    for (int i = 0; i < 25; ++i) { // the first may show the silence before the recording
        spectrum = m_client->waitForSpectrum(kLong);
        QVERIFY(spectrum);
    }
    QCOMPARE(spectrum->decibels.size(), std::size_t(4096));
    QCOMPARE(spectrum->lowest, 14'226'000.0);
    QCOMPARE(spectrum->highest, 14'274'000.0);
    const auto peak = std::max_element(spectrum->decibels.begin(), spectrum->decibels.end());
    const auto point = static_cast<double>(std::distance(spectrum->decibels.begin(), peak));
    const double found = spectrum->lowest + point * (spectrum->highest - spectrum->lowest) / 4096;
    QVERIFY(std::abs(found - (14'250'000 + kStation)) < 12.0);
}

void tst_EmbeddedClient::countsAreKept()
{
    QVERIFY(!connectClient(*m_client));
    m_client->discard();
    std::vector<Sample> samples(48'000);
    QCOMPARE(m_client->read(samples.data(), samples.size(), kLong).count, samples.size());
    QTRY_VERIFY_WITH_TIMEOUT(m_client->counts().received > 96'000, 60'000); // with nobody who reads
    QVERIFY(m_client->read(samples.data(), 1, kLong).late > 48 * 400);
    const Counts counts = m_client->counts();
    QVERIFY(counts.late > 48 * 400);
    QCOMPARE(counts.damaged, 0);
    QCOMPARE(counts.datagramsLost, 0);
    QVERIFY(counts.receiveSpeed > 0);
    QCOMPARE(counts.spectra, 0);
}

void tst_EmbeddedClient::sessionIsLeftAtOnce()
{
    for (int i = 0; i < 5; ++i) {
        QVERIFY(!connectClient(*m_client)); // which a server still in a session would refuse
        QElapsedTimer time;
        time.start();
        m_client = std::make_unique<Client>();
        QVERIFY(time.elapsed() < 300);
    }
}

void tst_EmbeddedClient::everyFunctionMayBeCalledFromAnyThread()
{
    QVERIFY(!connectClient(*m_client));
    QVERIFY(!m_client->setSpectrum({}));
    std::atomic<bool> isOver = false;
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    const auto run = [&](auto turn) {
        threads.emplace_back([&isOver, turn] {
            while (!isOver) {
                turn();
            }
        });
    };
    run([this] {
        std::complex<float> samples[480];
        (void)m_client->read(samples, 480, milliseconds(20));
    });
    run([this] { m_client->discard(); });
    run([this] { (void)m_client->waitForSpectrum(milliseconds(20)); });
    run([this] { (void)m_client->waitForEvent(milliseconds(20)); });
    run([this, &failures] {
        failures += m_client->properties().size() == 10 ? 0 : 1;
        failures += m_client->counts().received >= 0 ? 0 : 1;
        failures += m_client->state() == State::Connected ? 0 : 1;
    });
    run([this, &failures] {
        failures += m_client->setOffset(1000) ? 1 : 0;
        failures += m_client->tune(14'250'000) ? 1 : 0;
    });
    run([this, &failures] { failures += m_client->refresh(kLong) ? 1 : 0; });
    const std::int64_t received = m_client->counts().received;
    QTRY_VERIFY_WITH_TIMEOUT(m_client->counts().received > received + 48'000, kLong.count());
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(failures.load(), 0);
}

void tst_EmbeddedClient::linesGoToHostsHandler()
{
    std::promise<std::string> line;
    setLogHandler([&line](LogLevel level, const std::string& text) {
        if (level == LogLevel::Warning) {
            line.set_value(text);
        }
    });
    const Finder finder; // warns of what is no announcement, once
    QUdpSocket stranger;
    QCOMPARE(stranger.writeDatagram("nonsense", QHostAddress::LocalHost, 45433), 8);
    const std::string heard = line.get_future().get();
    setLogHandler({});
    QVERIFY(QString::fromStdString(heard).startsWith(QStringLiteral("[ W ][ Client/ServerFinder ] receive")));
}

void tst_EmbeddedClient::linesGoToQtOtherwise()
{
    const LogCapture log;
    const Finder finder;
    QUdpSocket stranger;
    QCOMPARE(stranger.writeDatagram("nonsense", QHostAddress::LocalHost, 45433), 8);
    (void)finder.servers(); // heard by now
    QCOMPARE(log.texts(QtWarningMsg).filter(QStringLiteral("What is no announcement")).size(), 1);
}

void tst_EmbeddedClient::lostSessionIsToldAndComesBack()
{
    QVERIFY(!m_client->setOffset(kStation));
    QVERIFY(!connectClient(*m_client));
    QVERIFY(!m_client->tune(14'251'000));
    QVERIFY(!m_client->refresh(kLong));
    QCOMPARE(toneOf(), -1000.0);
    const quint16 port = m_served->server.port();
    m_served->server.signal(SIGKILL);
    QTRY_VERIFY(!m_served->server.isRunning());
    int broken = 0;
    std::vector<Sample> samples(4800);
    std::thread reader([&] { // waits as a host's would
        while (broken == 0) {
            broken += m_client->read(samples.data(), samples.size(), kLong).isBroken ? 1 : 0;
        }
    });
    QVERIFY(waitFor(*m_client, Event::Kind::Lost));
    QVERIFY(m_client->state() == State::Reconnecting);
    reader.join();
    QVERIFY(m_client->refresh(kLong).code == Code::NotConnected);
    QCOMPARE(m_client->receiver().frequency, 14'251'000.0);
    QElapsedTimer time;
    time.start();
    QVERIFY(!m_client->read(samples.data(), samples.size(), milliseconds(50)).isBroken);
    QVERIFY(time.nsecsElapsed() >= 50'000'000);
    m_served->server.start({QStringLiteral("-p"), QString::number(port)});
    QTRY_VERIFY(m_served->server.isRunning());
    QVERIFY(waitFor(*m_client, Event::Kind::Connected));
    QVERIFY(m_client->read(samples.data(), samples.size(), kLong).lost > 48 * 5'000);
    QVERIFY(!m_client->refresh(kLong));
    QCOMPARE(toneOf(), -1000.0);
    QVERIFY(!m_client->tune(14'250'000));
    QVERIFY(!m_client->refresh(kLong));
    m_client->setReconnecting(false);
    m_served->server.signal(SIGKILL);
    const auto text = waitFor(*m_client, Event::Kind::Ended);
    QVERIFY(text);
    QVERIFY(QString::fromStdString(*text).contains(QStringLiteral("silent")));
    QVERIFY(m_client->state() == State::Idle);
    QTRY_VERIFY(!m_served->server.isRunning());
    QVERIFY(m_served->server.serve());
}

QTEST_GUILESS_MAIN(tst_EmbeddedClient)
#include "tst_EmbeddedClient.moc"
