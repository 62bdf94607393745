#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "RadioDevice/Vendor/LibraryThread.h"

#include <QVariant>
#include <QVector>
#include <memory>

/// One family's driver under the contract: how to come by its device, and what is its own.
struct Driver
{
    struct Property
    {
        const char* name;
        QVariant byDefault;
        QVariant other; ///< One that its setter takes as it stands.
    };

    QString name;
    /// As the factory leaves it, on a receiver that works.
    std::unique_ptr<AbstractRadioDevice> (*make)(const QString& identificator,
                                                 std::chrono::milliseconds watchdogInterval,
                                                 const LibraryDeadlines& deadlines);
    QString identificator;
    QVector<Property> properties; ///< Those that are saved, restored and reset, in their order.
    QString openCall;             ///< Of the library, empty without one.
    QString closeCall;            ///< What each success of it is owed.

    [[nodiscard]] std::unique_ptr<AbstractRadioDevice>
    device(std::chrono::milliseconds watchdogInterval = IQSource::kWatchdogInterval,
           const LibraryDeadlines& deadlines = {}) const
    {
        return make(identificator, watchdogInterval, deadlines);
    }
};

Q_DECLARE_METATYPE(Driver)

/// The drivers that were built. `folder` is there for the player's recording.
QVector<Driver> drivers(const QString& folder);
