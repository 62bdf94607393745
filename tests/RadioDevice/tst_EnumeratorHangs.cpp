#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/Driver.h"

#include "support/LogCapture.h"

#include <QElapsedTimer>
#include <QtTest>
#include <algorithm>

using namespace std::chrono_literals;

/// Libraries that don't come back while their receivers are listed.
class tst_EnumeratorHangs : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void callOfRefreshThatHangsEndsIt_data();
    void callOfRefreshThatHangsEndsIt();
    void handleOfRefreshThatHungIsClosedAtLast_data();
    void handleOfRefreshThatHungIsClosedAtLast();

private:
    FakeVendor m_vendor;
};

namespace
{

constexpr LibraryDeadlines kDeadlines{150ms, 150ms};
constexpr qint64 kLongMs = 1500;

EnumeratorRadioDevice::Maker makerOf(const Driver& driver)
{
    return [make = driver.makeEnumerator](EnumeratorRadioDevice* owner) { return make(owner, kDeadlines); };
}

QStringList warnings(const LogCapture& log)
{
    QStringList result;
    for (const QString& text : log.texts(QtWarningMsg)) {
        result.append(text.section(QStringLiteral("=>\t "), 1));
    }
    return result;
}

QString isOut(const QString& call)
{
    return QStringLiteral("The receiver's library doesn't come back: ") + call;
}

} // namespace

void tst_EnumeratorHangs::init()
{
    resetFakes(m_vendor);
}

void tst_EnumeratorHangs::callOfRefreshThatHangsEndsIt_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("warning");
    for (const Driver& driver : vendorDrivers()) {
        for (const Driver::Call& call : driver.listCalls) {
            QTest::newRow(call.name) << driver << QString::fromLatin1(call.name)
                                     << QString::fromLatin1(call.error);
        }
    }
}

void tst_EnumeratorHangs::callOfRefreshThatHangsEndsIt()
{
    QFETCH(Driver, driver);
    QFETCH(QString, call);
    QFETCH(QString, warning);
    EnumeratorRadioDevice registry(nullptr, {makerOf(driver)});
    m_vendor.set(QStringLiteral("hang.%1.1").arg(call), 1);
    {
        const LogCapture log;
        QElapsedTimer elapsed;
        elapsed.start();
        registry.refresh({});
        QVERIFY2(elapsed.elapsed() < kLongMs, qPrintable(QString::number(elapsed.elapsed())));
        QStringList expected{isOut(call)};
        if (!warning.isEmpty()) {
            expected.append(warning);
        }
        QCOMPARE(warnings(log), expected);
    }
    QCOMPARE(registry.devices().size(), 0);
    // The call hangs on, and the next refresh neither waits for it nor asks meanwhile.
    {
        const LogCapture log;
        QElapsedTimer elapsed;
        elapsed.start();
        registry.refresh({});
        QVERIFY2(elapsed.elapsed() < kDeadlines.call.count(), qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(registry.devices().size(), 0);
    }
    m_vendor.remove(QStringLiteral("hang.%1.1").arg(call));
    QTRY_VERIFY(!m_vendor.calls(call + QLatin1Char('(')).isEmpty());
    const LogCapture log;
    QTRY_VERIFY((registry.refresh({}), registry.devices().size() == 1));
}

void tst_EnumeratorHangs::handleOfRefreshThatHungIsClosedAtLast_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<QString>("call");
    for (const Driver& driver : vendorDrivers()) {
        // Those of a receiver that is opened for a moment, which its close ends.
        const auto opens = [&driver](const Driver::Call& call) {
            return driver.openCall == QLatin1String(call.name) + QLatin1Char('(');
        };
        const auto& calls = driver.listCalls;
        for (auto call = std::find_if(calls.begin(), calls.end(), opens); call != calls.end(); ++call) {
            QTest::newRow(call->name) << driver << QString::fromLatin1(call->name);
        }
    }
}

void tst_EnumeratorHangs::handleOfRefreshThatHungIsClosedAtLast()
{
    QFETCH(Driver, driver);
    QFETCH(QString, call);
    const QString close = driver.closeCall + QStringLiteral("dev1) = 0");
    m_vendor.set(QStringLiteral("hang.") + call, 1);
    {
        const LogCapture log;
        EnumeratorRadioDevice registry(nullptr, {makerOf(driver)});
        registry.refresh({});
        QCOMPARE(m_vendor.calls(close), QStringList());
    }
    m_vendor.remove(QStringLiteral("hang.") + call);
    QTRY_COMPARE(m_vendor.calls(close).size(), 1);
}

QTEST_GUILESS_MAIN(tst_EnumeratorHangs)
#include "tst_EnumeratorHangs.moc"
