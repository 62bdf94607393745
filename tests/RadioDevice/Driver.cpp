#include "RadioDevice/Driver.h"

#include <algorithm>
#include <iterator>

namespace
{

QVector<DriverRow::Make>& rows()
{
    static QVector<DriverRow::Make> all;
    return all;
}

} // namespace

DriverRow::DriverRow(Make make)
{
    rows().append(make);
}

QVector<Driver> drivers()
{
    QVector<Driver> result;
    std::transform(rows().cbegin(), rows().cend(), std::back_inserter(result),
                   [](DriverRow::Make make) { return make(); });
    return result;
}

QVector<Driver> vendorDrivers()
{
    QVector<Driver> result;
    for (const Driver& driver : drivers()) {
        if (driver.hasLibrary()) {
            result.append(driver);
        }
    }
    return result;
}

void resetFakes(FakeVendor& vendor)
{
    vendor.reset();
    for (const Driver& driver : vendorDrivers()) {
        if (!driver.script.first.isEmpty()) {
            vendor.set(driver.script.first, driver.script.second);
        }
    }
}

QVector<Driver::Property> Driver::withCommon(const Property& sampleRate, const Property& frequency,
                                             const QVector<Property>& own)
{
    return QVector<Property>{sampleRate,
                             frequency,
                             {"ppmCorrection", 0, 25},
                             {"levelCorrection", 0.0, 4.0},
                             {"swapIQ", false, true}} +
           own;
}

QStringList Driver::prefixed(const char* prefix, std::initializer_list<const char*> names)
{
    QStringList result;
    for (const char* name : names) {
        result.append(QLatin1String(prefix) + QLatin1String(name));
    }
    return result;
}
