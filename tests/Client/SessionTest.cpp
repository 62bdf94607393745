#include "Client/SessionTest.h"

#include <QtTest>

ClientSession::Timing SessionTest::quick()
{
    ClientSession::Timing timing;
    timing.repeat = 500;
    timing.patience = 30'000;
    timing.pause = 50;
    timing.clock = [start = QDateTime::currentMSecsSinceEpoch()] {
        return start + 4 * (QDateTime::currentMSecsSinceEpoch() - start);
    };
    return timing;
}

void SessionTest::init()
{
    m_log = std::make_unique<LogCapture>();
    m_server = std::make_unique<ServerDouble>();
    m_ends.clear();
    m_refusals.clear();
    m_texts.clear();
    m_connected = 0;
    useSession(quick());
}

void SessionTest::useSession(const ClientSession::Timing& timing)
{
    m_session = std::make_unique<ClientSession>(timing, nullptr);
    connect(m_session.get(), &ClientSession::connected, this, [this] { ++m_connected; });
    connect(m_session.get(), &ClientSession::ended, this, [this](End end) { m_ends.append(end); });
    connect(m_session.get(), &ClientSession::refused, this, [this](Refusal refusal, const QString& why) {
        m_refusals.append(refusal);
        m_texts.append(why);
    });
}

void SessionTest::cleanup()
{
    m_session.reset();
    m_server.reset();
    QStringList warnings = m_log->texts(QtWarningMsg) + m_log->texts(QtCriticalMsg);
    // The server's, where its session ends as soon as it has begun.
    const QStringList late = warnings.filter(text("\"it_ra_rrd\" - command name not found!")) +
                             warnings.filter(text("lines left out")); // of all these sessions' ends
    for (const QString& line : late) {
        warnings.removeAll(line);
    }
    m_log.reset();
    QVERIFY2(warnings.isEmpty(), qPrintable(warnings.join(QLatin1Char(10))));
}

ClientSession::Target SessionTest::target() const
{
    const NodeInfo info = m_server->info();
    return {info.id, info.address, info.port, m_server->identificator()};
}

bool SessionTest::openAndWait()
{
    const int before = m_connected;
    return m_session->open(target()) && QTest::qWaitFor([this, before] { return m_connected > before; });
}
