#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"

/// Lists the RTL2832U dongles that librtlsdr sees, without opening any. A record's identificator is the
/// position in the library's list, not the serial, which many dongles share.
class RtlUsbEnumerator : public AbstractEnumerator
{
    Q_OBJECT

public:
    using AbstractEnumerator::AbstractEnumerator;

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::RtlUsb; }
    void refresh() override;
};
