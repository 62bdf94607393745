#pragma once

#include "RadioDevice/AirSpyFamily/AirSpyFamilyEnumerator.h"

struct airspy_device;

/// Offers each Airspy R2 or mini that its library lists.
/// Thread: that of the registry.
class AirSpyEnumerator : public AirSpyFamilyEnumerator<airspy_device>
{
    Q_OBJECT

public:
    explicit AirSpyEnumerator(EnumeratorRadioDevice* owner, const LibraryDeadlines& deadlines = {});

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::AirSpy; }
    void refresh() override;

private:
    [[nodiscard]] QSharedPointer<InfoRadioDevice> makeRecord() const override;
};
