#pragma once

#include <QSharedPointer>
#include <vector>

class AbstractEnumerator;
class AbstractRadioDevice;
class EnumeratorRadioDevice;
class InfoRadioDevice;

/// A driver, as the registry and the factory know it. Constant: any thread.
struct RadioDriver
{
    int type; ///< A value of DefRadioDevice::Type.
    QSharedPointer<AbstractEnumerator> (*makeEnumerator)(EnumeratorRadioDevice* owner);
    /// The caller owns the device.
    AbstractRadioDevice* (*makeDevice)(const QSharedPointer<InfoRadioDevice>& info);

    /// The drivers of this program, in the order in which their receivers are listed. RadioDevice/Drivers
    /// defines it, and only inline functions ask for it: so whoever uses the registry or the factory links
    /// the table, which isn't lost as one that nobody refers to would be, and this layer needs none.
    static const std::vector<RadioDriver>& all();
};
