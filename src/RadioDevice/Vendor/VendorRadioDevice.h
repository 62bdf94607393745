#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"

/// A receiver behind a vendor's library, whose calls may not come back in time.
/// Thread: the device's.
/// Errors: such a call ends the session. In a start it makes that fail; later the device says by errorHappen
///         what failed, or that no more samples come, and stops by itself.
class VendorRadioDevice : public AbstractRadioDevice
{
    Q_OBJECT

protected:
    using AbstractRadioDevice::AbstractRadioDevice;

    /// A driver's start begins with this.
    void beginSession() { m_loss = Loss::None; }

    /// For the driver, when a call wasn't back in time: ends the session, but not from within the setter.
    void loseSession();
    /// errorHappen.
    void tell(const QString& text);

    [[nodiscard]] bool isLost() const { return m_loss != Loss::None; }
    /// While the client hasn't heard why.
    [[nodiscard]] bool isLossUntold() const { return m_loss == Loss::Untold; }

private slots:
    void endLostSession();

private:
    enum class Loss
    {
        None,
        Untold,
        Told,
    };

    Loss m_loss = Loss::None;
};
