#include "RadioDevice/Vendor/BoundedCall.h"

#include "support/LogCapture.h"

#include <QElapsedTimer>
#include <QtTest>
#include <future>
#include <memory>
#include <thread>

class tst_BoundedCall : public QObject
{
    Q_OBJECT

private slots:
    void callThatReturnsIsTrueAndQuiet();
    void callRunsOnAThreadOfItsOwn();
    void whatTheCallOwnsIsGoneWhenItIsTrue();
    void callThatHangsIsLeftBehindWithOneWarning();
    void callerIsHeldNoLongerThanTheDeadline();
    void callLeftBehindKeepsWhatItOwnsUntilItReturns();
    void deadlineIsThreeSecondsByDefault();
};

using namespace std::chrono_literals;

namespace
{

/// What a call waits for that the test lets go in the end.
struct Hang
{
    std::promise<void> promise;
    std::shared_future<void> released{promise.get_future().share()};
};

} // namespace

void tst_BoundedCall::callThatReturnsIsTrueAndQuiet()
{
    auto result = std::make_shared<int>(0);
    const LogCapture log;
    QVERIFY(BoundedCall::run(QStringLiteral("quick"), [result] { *result = 7; }));
    QCOMPARE(*result, 7);
    QCOMPARE(log.texts(), QStringList());
}

void tst_BoundedCall::callRunsOnAThreadOfItsOwn()
{
    auto id = std::make_shared<std::thread::id>();
    QVERIFY(BoundedCall::run(QStringLiteral("quick"), [id] { *id = std::this_thread::get_id(); }));
    QVERIFY(*id != std::thread::id());
    QVERIFY(*id != std::this_thread::get_id());
}

void tst_BoundedCall::whatTheCallOwnsIsGoneWhenItIsTrue()
{
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> seen = owned;
    QVERIFY(BoundedCall::run(QStringLiteral("quick"), [owned = std::move(owned)] { Q_UNUSED(*owned) }));
    QVERIFY(seen.expired());
}

void tst_BoundedCall::callThatHangsIsLeftBehindWithOneWarning()
{
    Hang hang;
    const LogCapture log;
    QVERIFY(!BoundedCall::run(
        QStringLiteral("some_close"), [released = hang.released] { released.wait(); }, 10ms));
    QCOMPARE(log.texts().size(), 1);
    const QString text = log.texts(QtWarningMsg).value(0);
    QVERIFY2(text.startsWith(QLatin1String("[ W ][ RadioDevice/Vendor/BoundedCall ] run : ")),
             qPrintable(text));
    QVERIFY2(text.contains(QLatin1String("some_close")), qPrintable(text));
    hang.promise.set_value();
}

void tst_BoundedCall::callerIsHeldNoLongerThanTheDeadline()
{
    Hang hang;
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!BoundedCall::run(
        QStringLiteral("close"), [released = hang.released] { released.wait(); }, 100ms));
    QVERIFY2(timer.elapsed() >= 99 && timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    hang.promise.set_value();
}

void tst_BoundedCall::callLeftBehindKeepsWhatItOwnsUntilItReturns()
{
    Hang hang;
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> seen = owned;
    const LogCapture log;
    QVERIFY(!BoundedCall::run(
        QStringLiteral("close"), [released = hang.released, owned = std::move(owned)] { released.wait(); },
        10ms));
    QVERIFY(!seen.expired());
    hang.promise.set_value();
    QTRY_VERIFY(seen.expired());
}

void tst_BoundedCall::deadlineIsThreeSecondsByDefault()
{
    QCOMPARE(BoundedCall::kDeadline.count(), std::chrono::milliseconds::rep{3000});
}

QTEST_GUILESS_MAIN(tst_BoundedCall)
#include "tst_BoundedCall.moc"
