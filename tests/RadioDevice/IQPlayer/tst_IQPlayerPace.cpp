#include "Core/Losses/Losses.h"
#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "RadioDevice/IQPlayer/PlayerRig.h"
#include "System/Recording.h"

#include <QtTest>

using namespace std::chrono_literals;

/// What is played when the event loop comes late, by a clock that the test sets.
class tst_IQPlayerPace : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void whatIsDueIsPlayed_data();
    void whatIsDueIsPlayed();
    void whatIsDueIsPlayedOnce();
    void lateTicksAddUpToWhatClockSays();
    void beyondQuarterOfSecondIsLostAndCounted();
    void restartOwesNothing();
    void clockThatRunsByItselfIsKeptPaceWith();

private:
    // Lets the player's timer come, as late as the test's clock says that it is.
    void turn();
    [[nodiscard]] quint64 played() const;
    [[nodiscard]] qint64 lost() const;

    PlayerRig m_rig;
    std::chrono::nanoseconds m_now{0};
    std::unique_ptr<IQPlayerRadioDevice> m_player;
    qint64 m_lostBefore = 0;
};

void tst_IQPlayerPace::init()
{
    m_now = 90'000s;
    m_lostBefore = Losses::process().total(Losses::Cause::Recording);
    auto info = QSharedPointer<IQPlayerRadioDevice::DeviceInfo>::create();
    info->identificator = m_rig.put(wavHeader(0, 48'000) + PlayerRig::ones(100 * kBlock));
    m_player = std::make_unique<IQPlayerRadioDevice>(info, nullptr, IQSource::kWatchdogInterval,
                                                     [this] { return m_now; });
    QVERIFY(m_player->start(false));
}

void tst_IQPlayerPace::cleanup()
{
    m_player->stop();
    m_player.reset();
}

void tst_IQPlayerPace::turn()
{
    bool came = false;
    auto* const timer = m_player->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    const auto connection = connect(timer, &QTimer::timeout, this, [&came] { came = true; });
    QTRY_VERIFY(came);
    disconnect(connection);
}

quint64 tst_IQPlayerPace::played() const
{
    const QMutexLocker lock(&m_player->inBuffer()->mutex);
    return m_player->inBuffer()->written / kBlock;
}

qint64 tst_IQPlayerPace::lost() const
{
    return Losses::process().total(Losses::Cause::Recording) - m_lostBefore;
}

void tst_IQPlayerPace::whatIsDueIsPlayed_data()
{
    QTest::addColumn<int>("ms"); // since the start
    QTest::addColumn<quint64>("blocks");
    QTest::newRow("a moment too soon") << 24 << quint64{0};
    QTest::newRow("a tick") << 25 << quint64{1};
    QTest::newRow("a tick and a half") << 37 << quint64{1};
    QTest::newRow("four ticks") << 110 << quint64{4};
    QTest::newRow("ten ticks") << 250 << quint64{10};
    QTest::newRow("short of eleven") << 274 << quint64{10};
}

void tst_IQPlayerPace::whatIsDueIsPlayed()
{
    QFETCH(const int, ms);
    m_now += std::chrono::milliseconds(ms);
    turn();
    QTEST(played(), "blocks");
    QCOMPARE(lost(), 0);
}

void tst_IQPlayerPace::whatIsDueIsPlayedOnce()
{
    m_now += 100ms;
    turn();
    turn();
    QCOMPARE(played(), quint64{4});
}

void tst_IQPlayerPace::lateTicksAddUpToWhatClockSays()
{
    // Each tick is late by a third of itself.
    for (int i = 1; i <= 12; ++i) {
        m_now += 33'400us;
        turn();
    }
    QCOMPARE(played(), quint64{16}); // of 400.8 ms
    QCOMPARE(lost(), 0);
}

void tst_IQPlayerPace::beyondQuarterOfSecondIsLostAndCounted()
{
    m_now += 1000ms;
    turn();
    QCOMPARE(played(), quint64{10});
    QCOMPARE(lost(), 30 * kBlock);
    m_now += 25ms;
    turn();
    QCOMPARE(played(), quint64{11});
    QCOMPARE(lost(), 30 * kBlock);
}

void tst_IQPlayerPace::restartOwesNothing()
{
    m_player->stop();
    m_now += 60s;
    QVERIFY(m_player->start(false));
    m_now += 25ms;
    turn();
    QCOMPARE(played(), quint64{1});
    QCOMPARE(lost(), 0);
}

void tst_IQPlayerPace::clockThatRunsByItselfIsKeptPaceWith()
{
    m_player->stop();
    const auto player = PlayerRig::make(m_rig.path(QStringLiteral("a.wav")));
    QElapsedTimer sinceStart;
    sinceStart.start();
    QVERIFY(player->start(false));
    const auto written = [&player] {
        const QMutexLocker lock(&player->inBuffer()->mutex);
        return static_cast<qint64>(player->inBuffer()->written) / kBlock;
    };
    for (int stall = 0; stall < 5; ++stall) {
        QTest::qSleep(110); // the event loop is away
        const qint64 due = sinceStart.elapsed() / 25;
        QTRY_VERIFY(written() + lost() / kBlock >= due - 1);
        QVERIFY(written() <= sinceStart.elapsed() / 25);
    }
    player->stop();
}

QTEST_GUILESS_MAIN(tst_IQPlayerPace)
#include "tst_IQPlayerPace.moc"
