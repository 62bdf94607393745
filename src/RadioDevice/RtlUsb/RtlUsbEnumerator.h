#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"
#include "RadioDevice/Vendor/VendorCalls.h"

/// Lists the RTL2832U dongles that librtlsdr sees, without opening any. A record's identificator is the
/// position in the library's list, not the serial, which many dongles share. A dongle that isn't read by the
/// deadline, which each has for itself, is passed over as one that can't be read.
class RtlUsbEnumerator : public AbstractEnumerator
{
    Q_OBJECT

public:
    explicit RtlUsbEnumerator(EnumeratorRadioDevice* owner,
                              std::chrono::milliseconds deadline = BoundedCall::kDeadline);

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::RtlUsb; }
    void refresh() override;

private:
    [[nodiscard]] quint32 count();

    VendorCalls m_calls;
};
