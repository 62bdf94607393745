#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/RadioDevice/RadioDriver.h"

/// Turns the record of a receiver into its device.
class FactoryRadioDevice : public QObject
{
    Q_OBJECT

public:
    /// A device with every property at its default, without a parent and owned by the caller; null, with a
    /// critical record, for a type that no driver here serves and if the system gives no thread for its DspH.
    [[nodiscard]] static AbstractRadioDevice* make(const QSharedPointer<InfoRadioDevice>& info)
    {
        return make(info, RadioDriver::all());
    }
    /// By the first of these drivers that serves its type.
    [[nodiscard]] static AbstractRadioDevice* make(const QSharedPointer<InfoRadioDevice>& info,
                                                   const std::vector<RadioDriver>& drivers);
};
