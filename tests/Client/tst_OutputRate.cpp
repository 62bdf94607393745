#include "Client/ClientSession.h"

#include "System/Served.h"
#include "support/LossyLink.h"

#include <QtTest>
#include <memory>

/// The rate of the samples over a link that loses what the server says of it; the server is the real one.
class tst_OutputRate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void rateThatArrivesIsNotAskedForAgain();
    void rateLostAtStartIsAskedForAgain_data();
    void rateLostAtStartIsAskedForAgain();
    void rateOfAnotherBandwidthIsNotTakenForItsOwn();
    void rateLostInMidSessionIsAskedForAgain();
    void serverThatNeverTellsIsNotAskedForEver();

private:
    [[nodiscard]] bool open();
    [[nodiscard]] QVector<double> bandwidths() const;

    std::unique_ptr<Served> m_served;
    std::unique_ptr<LossyLink> m_link;
    std::unique_ptr<ClientSession> m_session;
    QVector<QByteArray> m_asked; // setupDspH
    int m_told = 0;
    int m_toLose = 0;
};

namespace
{

constexpr int kPatience = 200; // ms
constexpr double kReceiverRate = 48'000.0;

} // namespace

void tst_OutputRate::initTestCase()
{
    m_served = std::make_unique<Served>(recording({{5000, 1000}}));
    QVERIFY(m_served->server.serve());
}

void tst_OutputRate::cleanupTestCase()
{
    QVERIFY(m_served->server.quit());
}

void tst_OutputRate::init()
{
    m_asked.clear();
    m_told = 0;
    m_toLose = 0;
    m_link = std::make_unique<LossyLink>(1);
    m_link->join(0, m_served->server.port());
    m_link->setLoss([this](const QByteArray& datagram) {
        if (datagram.contains("setupDspH\"") && datagram.contains("aliasFree")) {
            m_asked.append(datagram);
        }
        return datagram.contains("\"outSampleRate\"") && ++m_told <= m_toLose;
    });
    ClientSession::Timing timing;
    timing.ratePatience = kPatience;
    m_session = std::make_unique<ClientSession>(timing, nullptr);
}

// The link carries the goodbye.
void tst_OutputRate::cleanup()
{
    const int before = m_link->passed();
    m_session->close();
    QTRY_VERIFY(m_link->passed() > before);
    m_session.reset();
    m_link.reset();
}

bool tst_OutputRate::open()
{
    return m_session->open({int160(m_served->server.id().constData()), QHostAddress(QHostAddress::LocalHost),
                            m_link->portForFirst(), m_served->server.identificator()}) &&
           QTest::qWaitFor([this] { return m_session->device().isSynchronized(); });
}

// That the server has been asked for, in their order.
QVector<double> tst_OutputRate::bandwidths() const
{
    QVector<double> result;
    for (const QByteArray& datagram : m_asked) {
        const QJsonObject request = QJsonDocument::fromJson(datagram.mid(45)).object();
        result.append(request.value(QStringLiteral("prefBandWidth")).toDouble());
    }
    return result;
}

void tst_OutputRate::rateThatArrivesIsNotAskedForAgain()
{
    QVERIFY(open());
    QTRY_COMPARE(m_session->outSampleRate(), std::optional<double>(kReceiverRate));
    // Longer than the rate would be waited for: the IQ of a second, and a new bandwidth.
    QTRY_VERIFY(m_session->iq().receivedSamples() > 48'000);
    QVERIFY(m_asked.isEmpty());
    QVERIFY(m_session->setBandwidth(10'000, 8'000));
    QTRY_COMPARE(m_session->outSampleRate(), std::optional<double>(12'000));
    const qint64 before = m_session->iq().receivedSamples();
    QTRY_VERIFY(m_session->iq().receivedSamples() > before + 12'000);
    QCOMPARE(bandwidths(), QVector<double>{10'000});
}

void tst_OutputRate::rateLostAtStartIsAskedForAgain_data()
{
    QTest::addColumn<int>("toLose");
    QTest::newRow("once") << 1;
    QTest::newRow("and the first answer") << 2;
    QTest::newRow("and the second") << 3;
}

// The server is left with the bandwidth that it begins with.
void tst_OutputRate::rateLostAtStartIsAskedForAgain()
{
    QFETCH(int, toLose);
    m_toLose = toLose;
    QVERIFY(open());
    QTRY_COMPARE(m_session->outSampleRate(), std::optional<double>(kReceiverRate));
    QVERIFY(m_told > m_toLose);
    QTRY_COMPARE(bandwidths().last(), 30'000.0);
    QCOMPARE(m_session->iq().sampleRate(), kReceiverRate);
}

// The session begins with the server's own bandwidth, and what comes of the client's gets lost.
void tst_OutputRate::rateOfAnotherBandwidthIsNotTakenForItsOwn()
{
    m_link->setLoss([this](const QByteArray& datagram) {
        m_asked += datagram.contains("aliasFree") ? QVector<QByteArray>{datagram} : QVector<QByteArray>();
        return datagram.contains("\"outSampleRate\":12000") && ++m_told == 1;
    });
    QVERIFY(m_session->setBandwidth(10'000, 8'000));
    QVERIFY(open());
    QTRY_COMPARE(m_session->outSampleRate(), std::optional<double>(12'000));
    QVERIFY(m_told > 1);
    QTRY_COMPARE(bandwidths().last(), 10'000.0);
}

void tst_OutputRate::rateLostInMidSessionIsAskedForAgain()
{
    QVERIFY(open());
    QTRY_VERIFY(m_session->outSampleRate());
    m_toLose = m_told + 1;
    QVERIFY(m_session->setBandwidth(5'000, 4'000));
    QTRY_COMPARE(m_session->outSampleRate(), std::optional<double>(6'000));
    QVERIFY(m_told > m_toLose);
    QTRY_COMPARE(bandwidths().last(), 5'000.0);
    // And wider again.
    m_toLose = m_told + 1;
    QVERIFY(m_session->setBandwidth(20'000, 16'000));
    QTRY_COMPARE(m_session->outSampleRate(), std::optional<double>(24'000));
}

void tst_OutputRate::serverThatNeverTellsIsNotAskedForEver()
{
    m_toLose = 1'000;
    QVERIFY(open());
    QTRY_VERIFY(m_asked.size() >= 4);
    const qint64 before = m_session->iq().receivedSamples();
    QTRY_VERIFY(m_session->iq().receivedSamples() > before + static_cast<qint64>(2 * kReceiverRate));
    QVERIFY2(m_asked.size() <= 8, qPrintable(QString::number(m_asked.size())));
    QVERIFY(!m_session->outSampleRate());
    QCOMPARE(m_session->state(), ClientSession::State::Connected);
}

QTEST_GUILESS_MAIN(tst_OutputRate)
#include "tst_OutputRate.moc"
