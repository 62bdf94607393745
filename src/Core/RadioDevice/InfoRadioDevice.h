#pragma once

#include "Core/RadioDevice/DefRadioDevice.h"

#include <QString>

/// One receiver that an enumerator found. Shared by the registry, the server and the device made for it.
/// Thread: any; filled in before it is shared.
class InfoRadioDevice
{
public:
    explicit InfoRadioDevice(int type = DefRadioDevice::Unknown);
    virtual ~InfoRadioDevice();

    /// A value of DefRadioDevice::Type. Each driver's own record answers with a constant.
    [[nodiscard]] virtual int type() const { return m_type; }

    bool acquired = false; ///< In use; kept by EnumeratorRadioDevice.
    QString title;         ///< Short name for people.
    QString description;   ///< Longer text for people.
    QString identificator; ///< Unique in the registry: opens the hardware and keys the settings.

private:
    Q_DISABLE_COPY_MOVE(InfoRadioDevice)
    qint32 m_type;
};
