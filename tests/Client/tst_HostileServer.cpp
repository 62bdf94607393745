#include "Client/ClientSession.h"

#include "Client/Hostility.h"
#include "support/LogCapture.h"

#include <QFile>
#include <QJsonArray>
#include <QSignalSpy>
#include <QtTest>
#include <ctime>
#include <memory>
#include <random>

/// A server that has let the client in and then sends what no server should.
class tst_HostileServer : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void datagramsOfEveryKindAndLength();
    void lyingCountsAndLengthsInBothStreams_data();
    void lyingCountsAndLengthsInBothStreams();
    void compressedBombs();
    void bombCostsWhatAnyDatagramOfItsSizeCosts();
    void propertiesWithoutEnd();
    void namesOf60kB();
    void valuesThatAreNoNumbers();
    void ratesThatAreNone();
    void spectrumWithoutEnd();
    void anythingAtAll_data();
    void anythingAtAll();

private:
    void settle();

    std::unique_ptr<ServerDouble> m_server;
    std::unique_ptr<Hostility> m_hostility;
    std::unique_ptr<ClientSession> m_session;
    std::unique_ptr<LogCapture> m_log;
    qint64 m_memory = 0; // KiB
};

namespace
{

#ifdef __SANITIZE_ADDRESS__
constexpr qint64 kGrowth = 512 * 1024; // KiB; what is freed is kept for a while
#else
constexpr qint64 kGrowth = 64 * 1024; // KiB
#endif

QString text(const char* latin)
{
    return QString::fromLatin1(latin);
}

qint64 residentMemory()
{
    QFile status(text("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArrayList lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').first().toLongLong();
        }
    }
    return 0;
}

} // namespace

void tst_HostileServer::init()
{
    m_log = std::make_unique<LogCapture>();
    m_server = std::make_unique<ServerDouble>();
    m_hostility = std::make_unique<Hostility>(*m_server);
    m_session = std::make_unique<ClientSession>();
    const NodeInfo info = m_server->info();
    QVERIFY(m_session->setSpectrumRange({0, 512, 300, 512}));
    QVERIFY(m_session->open({info.id, info.address, info.port, m_server->identificator()}));
    QTRY_VERIFY(m_session->device().isSynchronized());
    m_memory = residentMemory();
}

// The session has to be as good as ever.
void tst_HostileServer::cleanup()
{
    settle();
    QCOMPARE(m_session->state(), ClientSession::State::Connected);
    const qint64 before = m_session->iq().receivedSamples();
    m_server->sendIq(QVector<qint16>(256));
    QTRY_COMPARE(m_session->iq().receivedSamples(), before + 128);
    QVERIFY(m_session->device().setFrequency(14'123'000));
    QTRY_COMPARE(m_server->device.frequency, 14'123'000.0);
    const qint64 growth = residentMemory() - m_memory;
    m_session.reset();
    m_server.reset();
    m_log.reset();
    QVERIFY2(growth < kGrowth, qPrintable(QString::number(growth)));
}

void tst_HostileServer::settle()
{
    QVERIFY(m_hostility->settle());
}

void tst_HostileServer::datagramsOfEveryKindAndLength()
{
    m_hostility->datagramsOfEveryKindAndLength();
    settle();
    QVERIFY(m_session->iq().damagedDatagrams() > 0);
    QCOMPARE(m_session->iq().receivedSamples(), 0);
    QCOMPARE(m_log->texts(QtWarningMsg),
             m_log->texts(QtWarningMsg).filter(text("The server sends damaged IQ")));
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
}

void tst_HostileServer::lyingCountsAndLengthsInBothStreams_data()
{
    QTest::addColumn<QByteArray>("payload"); // after the type byte
    QTest::newRow("more than there is") << QByteArray::fromHex("00000003 0001 0002");
    QTest::newRow("negative") << QByteArray::fromHex("ffffffff 0001");
    QTest::newRow("the most negative") << QByteArray::fromHex("80000000 0001");
    QTest::newRow("two thousand million") << QByteArray::fromHex("7fffffff 0001");
    QTest::newRow("no stream") << QByteArray::fromHex("00000010");
    QTest::newRow("garbage") << QByteArray::fromHex("00000010") + QByteArray(20, '\x55');
}

void tst_HostileServer::lyingCountsAndLengthsInBothStreams()
{
    QFETCH(QByteArray, payload);
    for (const char type : {'\x02', '\x03', '\x04', '\x05'}) {
        m_server->sendRaw(type + payload);
    }
    QTRY_COMPARE(m_session->iq().damagedDatagrams(), 2);
    settle();
    QCOMPARE(m_session->iq().receivedSamples(), 0);
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
}

void tst_HostileServer::compressedBombs()
{
    m_hostility->compressedBombs();
    QCOMPARE(m_session->iq().damagedDatagrams(), 40);
    QCOMPARE(m_session->iq().receivedSamples(), 0);
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
}

// Unpacked, each one would take some ten milliseconds.
void tst_HostileServer::bombCostsWhatAnyDatagramOfItsSizeCosts()
{
    const QByteArray bomb = qCompress(QByteArray(15 * 1024 * 1024, '\0'), 9);
    const QByteArray random(bomb.size(), '\x55');
    const auto cost = [this](const QByteArray& payload) {
        const std::clock_t begin = std::clock(); // of the processor, for both ends
        for (int i = 0; i < 200; ++i) {
            m_server->sendRaw((i % 2 == 0 ? '\x03' : '\x05') + payload);
            if (i % 10 == 9) {
                settle();
            }
        }
        return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    };
    const double honest = cost(random);
    const double evil = cost(bomb);
    QCOMPARE(m_session->iq().damagedDatagrams(), 200);
    QVERIFY2(evil < 5 * honest + 0.1, qPrintable(QStringLiteral("%1 s, %2 s").arg(evil).arg(honest)));
}

void tst_HostileServer::propertiesWithoutEnd()
{
    m_hostility->properties(100'000);
    const int count = m_session->device().names().size();
    QVERIFY2(count > 1000 && count < 99'000, qPrintable(QString::number(count)));
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
    QVERIFY(m_log->texts(QtWarningMsg).first().contains(text("the set is too large! rrd")));
    QCOMPARE(m_session->device().frequency(), std::optional<double>(14'250'000));
}

void tst_HostileServer::namesOf60kB()
{
    m_hostility->namesOf60kB();
    QVERIFY(m_session->device().names().size() < 100);
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
}

void tst_HostileServer::valuesThatAreNoNumbers()
{
    RemoteDevice& device = m_session->device();
    QSignalSpy changed(&device, &RemoteDevice::frequencyChanged);
    const QStringList numbers{
        text("frequency"), text("sampleRate"), text("ppmCorrection"),      text("levelCorrection"),
        text("swapIQ"),    text("type"),       text("supportSampleRates"), text("supportFrequencies")};
    for (const QJsonValue& value : {QJsonValue(), QJsonValue(text("NaN")), QJsonValue(QJsonArray{1, 2}),
                                    QJsonValue(QJsonObject{{text("a"), 1}}), QJsonValue(qQNaN())}) {
        for (const QString& name : numbers) {
            m_server->call(text("pc_rrd"), {{text("n"), name}, {text("v"), value}});
        }
        settle();
        QVERIFY(!device.frequency() && !device.sampleRate() && !device.ppmCorrection());
        QVERIFY(!device.levelCorrection() && !device.swapIQ() && !device.type());
    }
    QCOMPARE(changed.size(), 0);
    for (const QString& name : numbers) {
        m_server->call(text("pc_rrd"), {{text("n"), name}, {text("v"), 1e300}});
    }
    settle();
    QVERIFY(!device.type() && !device.ppmCorrection()); // beyond an integer
    QVERIFY(device.supportedSampleRates().isEmpty() && device.supportedFrequencies().isEmpty());
    QJsonArray endless;
    for (int i = 0; i < 20'000; ++i) {
        endless.append(text("1"));
    }
    m_server->call(text("pc_rrd"), {{text("n"), text("supportFrequencies")}, {text("v"), endless}});
    settle();
    QVERIFY(device.supportedFrequencies().size() <= 500);
}

void tst_HostileServer::ratesThatAreNone()
{
    const QJsonArray rates{QJsonValue(), text("x"), 0, -48'000, 1e300, -1e300, QJsonArray(), true};
    for (const QJsonValue& rate : rates) {
        m_server->call(text("outSampleRateChanged"), {{text("outSampleRate"), rate}});
    }
    m_server->call(text("outSampleRateChanged"));
    settle();
    QVERIFY(!m_session->outSampleRate());
    QCOMPARE(m_session->iq().sampleRate(), 0.0);
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
    QVERIFY(m_log->texts(QtWarningMsg).first().endsWith(text("The server tells a sample rate that is none")));
}

void tst_HostileServer::spectrumWithoutEnd()
{
    QTRY_COMPARE(m_server->calls(text("fft_data_range")).size(), 1);
    settle();
    m_server->sendSpectrum({32527, 300, 0});
    for (int i = 0; i < 5000; ++i) {
        m_server->sendSpectrum(QVector<qint16>(i % 2 == 0 ? 252 : 30'000, 5));
        if (i % 100 == 0) {
            settle();
        }
    }
    m_server->sendSpectrum({32527, -1, 0});
    settle();
    QCOMPARE(m_session->spectrum().droppedFrames(), 1);
    QCOMPARE(m_session->spectrum().receivedFrames(), 0);
}

void tst_HostileServer::anythingAtAll_data()
{
    QTest::addColumn<unsigned>("seed");
    for (unsigned seed = 1; seed <= 3; ++seed) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

// Mutations of honest datagrams, stream and RPC alike, under the ids of the session.
void tst_HostileServer::anythingAtAll()
{
    QFETCH(unsigned, seed);
    std::mt19937 random(seed);
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    const QByteArray head = QByteArray(5, '\0') + QByteArray(20, '\x51') + m_server->client().id.bytes();
    const QByteArray block = QByteArray::fromHex("00000004 0001 0002 0003 0004");
    const QByteArrayList seeds{head + R"({"cd":"pc_rrd","n":"frequency","v":14000000})",
                               head + R"({"cd":"pci_rrd","n":"rates","v":["1",{"a":[null]}]})",
                               head + R"({"cd":"sync_crc_rrd","crc":7})",
                               head + R"({"cd":"sss_syc_rrd"})",
                               head + R"({"cd":"outSampleRateChanged","outSampleRate":48000})",
                               head + R"({"cd":"error_happen","err":"x"})",
                               head + R"({"cd":"ping","c":100})",
                               head + R"({"cd":""})",
                               '\x02' + block,
                               '\x03' + qCompress(block, 9),
                               '\x04' + QByteArray::fromHex("00000003 7f0f 012c 0000"),
                               '\x04' + block,
                               '\x05' + qCompress(block.repeated(60), 9)};
    for (int round = 0; round < 10'000; ++round) {
        QByteArray datagram = seeds.at(below(seeds.size()));
        for (int changes = below(4); changes > 0; --changes) {
            // Mostly after the ids, which would keep the rest from being looked at.
            const int first = datagram.size() > 46 ? 45 : 0;
            const int at = first + below(datagram.size() - first);
            switch (below(3)) {
            case 0:
                datagram[at] = static_cast<char>(below(256));
                break;
            case 1:
                datagram.insert(at, seeds.at(below(seeds.size())).mid(below(60), below(40)));
                break;
            default:
                datagram.remove(at, below(12));
                break;
            }
            datagram.append(' ');
        }
        m_server->sendRaw(datagram);
        if (round % 200 == 0) {
            settle();
        }
    }
}

QTEST_GUILESS_MAIN(tst_HostileServer)
#include "tst_HostileServer.moc"
