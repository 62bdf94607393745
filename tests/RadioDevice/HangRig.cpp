#include "RadioDevice/HangRig.h"

#include <QDir>
#include <QtTest>

void HangRig::addDrivers()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& driver : vendorDrivers()) {
        QTest::newRow(qPrintable(driver.name)) << driver;
    }
}

int HangRig::opened(const Driver& driver) const
{
    return vendor.calls(driver.openCall).filter(QStringLiteral(" = 0")).size();
}

bool HangRig::letGo(const Driver& driver, const QString& hang)
{
    constexpr int kPatienceMs = 20'000; // under a sanitizer, on a busy machine
    vendor.remove(hang);
    return QTest::qWaitFor(
               [this, &driver] {
                   const int closed = vendor.calls(driver.closeCall).size();
                   return closed > 0 && closed >= opened(driver);
               },
               kPatienceMs) &&
           vendor.calls().filter(QStringLiteral(" closed")).isEmpty();
}

int HangRig::received(const AbstractRadioDevice& device)
{
    const QMutexLocker lock(&device.inBuffer()->mutex);
    return device.inBuffer()->writeIndex;
}

QStringList HangRig::out(const LogCapture& log)
{
    return log.texts(QtWarningMsg).filter(QStringLiteral("The receiver's library doesn't come back:"));
}

int HangRig::threads()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

void HangRig::writeAll(AbstractRadioDevice& device, const Driver& driver)
{
    for (const Driver::Property& property : driver.properties) {
        device.QObject::setProperty(property.name, property.other);
        device.QObject::setProperty(property.name, property.byDefault);
    }
}
