#pragma once

#include "RadioDevice/AirSpyFamily/AirSpyFamilyEnumerator.h"

struct airspyhf_device;

/// Offers each Airspy HF+ that its library lists.
/// Thread: that of the registry.
class AirSpyHFEnumerator : public AirSpyFamilyEnumerator<airspyhf_device>
{
    Q_OBJECT

public:
    explicit AirSpyHFEnumerator(EnumeratorRadioDevice* owner, const LibraryDeadlines& deadlines = {});

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::AirSpyHF; }
    void refresh() override;

private:
    [[nodiscard]] QSharedPointer<InfoRadioDevice> makeRecord() const override;
};
