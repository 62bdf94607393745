#include "RadioDevice/Vendor/LibraryThread.h"

#include "support/LogCapture.h"
#include "support/NoThreads.h"

#include <QElapsedTimer>
#include <QThread>
#include <QtTest>
#include <future>
#include <memory>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

class tst_LibraryThread : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void callThatReturnsGivesItsResultAndIsQuiet();
    void callsAreMadeOnOneThreadOfLibrarysName();
    void whatCallOwnsIsGoneWhenItIsBack();
    void callThatHangsIsOutWithOneWarning();
    void callerIsHeldNoLongerThanDeadline();
    void callThatIsOutKeepsWhatItOwnsUntilItReturns();
    void nothingNewIsAskedWhileCallIsOut();
    void whatEndsSessionIsDoneInOrderAfterCallThatWasOut();
    void callThatIsBackLateIsForgotten();
    void deadlineIsThatOfOneCall();
    void newCallWaitsForEndOfSessionBefore();
    void newCallIsNotMadeOnceEndBeforeItIsOut();
    void librariesDoNotWaitForEachOther();
    void threadThatSystemDeniesMakesNoCall();

private:
    using Outcome = LibraryThread::Outcome;

    LibraryThread& thread() { return LibraryThread::of(m_name); }

    QString m_name; // of another library for each test
    int m_tests = 0;
};

namespace
{

/// What a call waits for that the test lets go in the end.
struct Hang
{
    std::promise<void> promise;
    std::shared_future<void> released{promise.get_future().share()};

    std::function<int()> call() const
    {
        return [released = released] {
            released.wait();
            return 0;
        };
    }
    void letGo() { promise.set_value(); }
};

int nothing()
{
    return 0;
}

} // namespace

void tst_LibraryThread::init()
{
    m_name = QStringLiteral("library%1").arg(++m_tests);
}

void tst_LibraryThread::callThatReturnsGivesItsResultAndIsQuiet()
{
    const LogCapture log;
    const auto [outcome, result] = thread().ask(
        "quick", [] { return 7; }, 3s);
    QCOMPARE(outcome, Outcome::Back);
    QCOMPARE(result, 7);
    QCOMPARE(thread()
                 .finish(
                     "quick", [] { return -7; }, 3s)
                 .result,
             -7);
    QCOMPARE(log.texts(), QStringList());
}

void tst_LibraryThread::callsAreMadeOnOneThreadOfLibrarysName()
{
    const auto threads = std::make_shared<std::vector<QThread*>>();
    const auto note = [threads] {
        threads->push_back(QThread::currentThread());
        return 0;
    };
    QCOMPARE(thread().ask("first", note, 3s).outcome, Outcome::Back);
    QCOMPARE(thread().finish("second", note, 3s).outcome, Outcome::Back);
    QCOMPARE(threads->size(), std::size_t{2});
    QCOMPARE(threads->at(0), threads->at(1));
    QVERIFY(threads->at(0) != QThread::currentThread());
    QCOMPARE(threads->at(0)->objectName(), m_name);
}

void tst_LibraryThread::whatCallOwnsIsGoneWhenItIsBack()
{
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> seen = owned;
    QCOMPARE(thread()
                 .ask(
                     "quick", [owned = std::move(owned)] { return *owned; }, 3s)
                 .result,
             1);
    QVERIFY(seen.expired());
}

void tst_LibraryThread::callThatHangsIsOutWithOneWarning()
{
    Hang hang;
    const LogCapture log;
    QCOMPARE(thread().ask("some_close", hang.call(), 10ms).outcome, Outcome::Out);
    QCOMPARE(thread().ask("some_open", &nothing, 10ms).outcome, Outcome::NotMade);
    QCOMPARE(log.texts().size(), 1);
    const QString text = log.texts(QtWarningMsg).value(0);
    QVERIFY2(text.startsWith(QLatin1String("[ W ][ RadioDevice/Vendor/LibraryThread ] ")), qPrintable(text));
    QVERIFY2(text.endsWith(QLatin1String("The receiver's library doesn't come back: some_close")),
             qPrintable(text));
    hang.letGo();
}

void tst_LibraryThread::callerIsHeldNoLongerThanDeadline()
{
    Hang hang;
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(thread().ask("close", hang.call(), 100ms).outcome, Outcome::Out);
    QVERIFY2(timer.elapsed() >= 99 && timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    hang.letGo();
}

void tst_LibraryThread::callThatIsOutKeepsWhatItOwnsUntilItReturns()
{
    Hang hang;
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> seen = owned;
    const LogCapture log;
    QCOMPARE(thread()
                 .ask(
                     "close",
                     [released = hang.released, owned = std::move(owned)] {
                         released.wait();
                         return *owned;
                     },
                     10ms)
                 .outcome,
             Outcome::Out);
    QVERIFY(!seen.expired());
    hang.letGo();
    QTRY_VERIFY(seen.expired());
}

void tst_LibraryThread::nothingNewIsAskedWhileCallIsOut()
{
    Hang hang;
    const LogCapture log;
    QCOMPARE(thread().ask("hangs", hang.call(), 10ms).outcome, Outcome::Out);
    const auto made = std::make_shared<std::atomic<int>>(0);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 100; ++i) {
        QCOMPARE(thread()
                     .ask(
                         "open", [made] { return ++*made; }, 10s)
                     .outcome,
                 Outcome::NotMade);
    }
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    hang.letGo();
    QTRY_COMPARE(thread().ask("quick", &nothing, 3s).outcome, Outcome::Back);
    QCOMPARE(made->load(), 0);
}

void tst_LibraryThread::whatEndsSessionIsDoneInOrderAfterCallThatWasOut()
{
    Hang hang;
    const LogCapture log;
    QCOMPARE(thread().ask("set", hang.call(), 10ms).outcome, Outcome::Out);
    const auto order = std::make_shared<std::vector<int>>();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 3; ++i) {
        const auto note = [order, i] {
            order->push_back(i);
            return 0;
        };
        QCOMPARE(thread().finish("close", note, 10s).outcome, Outcome::Out);
    }
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    hang.letGo();
    QTRY_COMPARE(thread().ask("quick", &nothing, 3s).outcome, Outcome::Back);
    QCOMPARE(*order, (std::vector<int>{0, 1, 2}));
}

void tst_LibraryThread::callThatIsBackLateIsForgotten()
{
    Hang hang;
    const LogCapture log;
    QCOMPARE(thread().ask("set", hang.call(), 10ms).outcome, Outcome::Out);
    hang.letGo();
    QTRY_COMPARE(thread()
                     .ask(
                         "quick", [] { return 7; }, 3s)
                     .result,
                 7);
}

void tst_LibraryThread::deadlineIsThatOfOneCall()
{
    const auto slow = [] {
        std::this_thread::sleep_for(300ms); // the slow library: the time is what it is about
        return 0;
    };
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(thread().ask("slow", slow, 1s).outcome, Outcome::Back);
    }
}

void tst_LibraryThread::newCallWaitsForEndOfSessionBefore()
{
    Hang hang;
    Hang end;
    const LogCapture log;
    QCOMPARE(thread().ask("set", hang.call(), 10ms).outcome, Outcome::Out);
    const auto closing = std::make_shared<std::promise<void>>();
    const auto closed = std::make_shared<std::atomic<bool>>(false);
    const auto close = [closing, closed, released = end.released] {
        closing->set_value();
        released.wait();
        *closed = true;
        return 0;
    };
    QCOMPARE(thread().finish("close", close, 10s).outcome, Outcome::Out);
    hang.letGo();
    closing->get_future().wait();
    std::thread letGo([&end] { end.letGo(); });
    QCOMPARE(thread()
                 .ask(
                     "open", [closed] { return closed->load() ? 1 : 0; }, 3s)
                 .result,
             1);
    letGo.join();
}

void tst_LibraryThread::newCallIsNotMadeOnceEndBeforeItIsOut()
{
    Hang hang;
    Hang end;
    const LogCapture log;
    QCOMPARE(thread().ask("set", hang.call(), 10ms).outcome, Outcome::Out);
    QCOMPARE(thread().finish("close", end.call(), 50ms).outcome, Outcome::Out);
    hang.letGo();
    const auto made = std::make_shared<std::atomic<bool>>(false);
    const auto open = [made] {
        *made = true;
        return 0;
    };
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(thread().ask("open", open, 10s).outcome, Outcome::NotMade);
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
    end.letGo();
    QTRY_COMPARE(thread().ask("quick", &nothing, 3s).outcome, Outcome::Back);
    QVERIFY(!*made);
}

void tst_LibraryThread::librariesDoNotWaitForEachOther()
{
    Hang hang;
    const LogCapture log;
    QCOMPARE(thread().ask("hangs", hang.call(), 10ms).outcome, Outcome::Out);
    QCOMPARE(LibraryThread::of(m_name + QStringLiteral("b")).ask("quick", &nothing, 3s).outcome,
             Outcome::Back);
    hang.letGo();
}

void tst_LibraryThread::threadThatSystemDeniesMakesNoCall()
{
    const auto made = std::make_shared<std::atomic<int>>(0);
    const auto count = [made] { return ++*made; };
    {
        const NoThreads none;
        QTest::ignoreMessage(QtSystemMsg,
                             QRegularExpression(QStringLiteral("^QThread::start: Thread creation error")));
        QCOMPARE(thread().ask("open", count, 3s).outcome, Outcome::NotMade);
    }
    // The next call tries again.
    QCOMPARE(thread().ask("open", count, 3s).result, 1);
}

QTEST_GUILESS_MAIN(tst_LibraryThread)
#include "tst_LibraryThread.moc"
