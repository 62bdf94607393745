#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"
#include "RadioDevice/Vendor/LibraryThread.h"

/// Lists the RTL2832U dongles that librtlsdr sees, without opening any. A record's identificator is the
/// position in the library's list, not the serial, which many dongles share. A dongle that can't be read, or
/// not in time, is passed over.
class RtlUsbEnumerator : public AbstractEnumerator
{
    Q_OBJECT

public:
    explicit RtlUsbEnumerator(EnumeratorRadioDevice* owner, const LibraryDeadlines& deadlines = {});

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::RtlUsb; }
    void refresh() override;

private:
    /// True if the call is back in time, with 0.
    [[nodiscard]] bool ask(const char* what, std::function<int()> call);
    [[nodiscard]] quint32 count();

    LibraryThread& m_thread;
    LibraryDeadlines m_deadlines;
};
