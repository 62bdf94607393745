#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"
#include "RadioDevice/Vendor/LibraryThread.h"
#include "support/FakeVendor.h"

#include <QVariant>
#include <QVector>
#include <memory>

/// A driver under the contract of all: how to come by its device, and what is its own. Each driver's folder
/// of tests has its row; what is about a library is empty without one.
struct Driver
{
    struct Property
    {
        const char* name;
        QVariant byDefault;
        QVariant other; ///< One that its setter takes as it is.
    };

    struct Call
    {
        const char* name;  ///< The library's function, of a start with the number of the call: "open.1".
        const char* error; ///< What is told when it hangs.
    };

    struct Setter
    {
        const char* property;
        QVariant value;
        const char* call = nullptr;
        const char* error = "No IQ data - stop!"; ///< What the client hears when the call hangs.
    };

    using DeviceMaker = std::unique_ptr<AbstractRadioDevice> (*)(const QString& identificator,
                                                                 std::chrono::milliseconds watchdogInterval,
                                                                 const LibraryDeadlines& deadlines);
    using EnumeratorMaker = QSharedPointer<AbstractEnumerator> (*)(EnumeratorRadioDevice* owner,
                                                                   const LibraryDeadlines& deadlines);

    QString name;
    DeviceMaker make = nullptr;
    QString identificator;
    QVector<Property> properties; ///< Those that are saved, restored and reset, in their order.

    EnumeratorMaker makeEnumerator = nullptr;
    QString library;                 ///< The name of its thread.
    QPair<QString, QString> script;  ///< A key of the fake's and its value, with which `properties` hold.
    QString openCall;                ///< Begins the name of the call that opens a receiver.
    QString closeCall;               ///< What each success of it is owed.
    QString claimCall;               ///< What comes before the opening, if the library has that.
    QString releaseCall;             ///< What the claim is owed.
    QPair<QString, int> blockLength; ///< The fake's key for it, and how many of its units a sample has.
    QVector<Call> listCalls;         ///< Of a refresh, with its warning.
    QVector<Call> startCalls;        ///< Of a start with the defaults, those that it can hang in.
    QStringList stopCalls;           ///< Those that a stop can hang in.
    QVector<QVector<Setter>> setterCalls; ///< One for each last of a row; the others prepare it.
    QStringList faultCalls;               ///< Those that may hang and take their time.
    QStringList failingCalls;             ///< Those that may fail without leaving a receiver open.

    [[nodiscard]] bool hasLibrary() const { return !library.isEmpty(); }

    /// As the factory leaves it, on a receiver that works.
    [[nodiscard]] std::unique_ptr<AbstractRadioDevice>
    device(std::chrono::milliseconds watchdogInterval = IQSource::kWatchdogInterval,
           const LibraryDeadlines& deadlines = {}) const
    {
        return make(identificator, watchdogInterval, deadlines);
    }

    /// The row of a driver that has a library; its own properties come after those of every device, of which
    /// the first two are as its driver has them.
    template <class Enumerator, class Device>
    static Driver ofLibrary(const char* library)
    {
        Driver driver;
        driver.library = QString::fromLatin1(library);
        driver.make = [](const QString& receiver, std::chrono::milliseconds watchdogInterval,
                         const LibraryDeadlines& deadlines) -> std::unique_ptr<AbstractRadioDevice> {
            auto device =
                std::make_unique<Device>(record<Device>(receiver), nullptr, deadlines, watchdogInterval);
            device->reset();
            return device;
        };
        driver.makeEnumerator = [](EnumeratorRadioDevice* owner,
                                   const LibraryDeadlines& deadlines) -> QSharedPointer<AbstractEnumerator> {
            return QSharedPointer<Enumerator>::create(owner, deadlines);
        };
        return driver;
    }

    template <class Device>
    static QSharedPointer<InfoRadioDevice> record(const QString& identificator)
    {
        const auto info = QSharedPointer<typename Device::DeviceInfo>::create();
        info->identificator = identificator;
        return info;
    }

    /// `properties`, of which the first two are as a driver has them, before its own.
    static QVector<Property> withCommon(const Property& sampleRate, const Property& frequency,
                                        const QVector<Property>& own = {});

    /// The names with the prefix of a library.
    static QStringList prefixed(const char* prefix, std::initializer_list<const char*> names);
};

Q_DECLARE_METATYPE(Driver)

/// Puts the row of a driver among those of `drivers` before main is entered.
struct DriverRow
{
    using Make = Driver (*)();
    explicit DriverRow(Make make);
};

/// The drivers that were built, in no certain order.
QVector<Driver> drivers();
/// Those that have a library.
QVector<Driver> vendorDrivers();
/// The fakes as the rows have them: each with one receiver, and with what its row needs.
void resetFakes(FakeVendor& vendor);
