#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"

/// Offers each Airspy R2 or mini that its library lists, by serial number. Each is opened for a moment to ask
/// for its version; one that fails in this ends the refresh.
class AirSpyEnumerator : public AbstractEnumerator
{
    Q_OBJECT

public:
    using AbstractEnumerator::AbstractEnumerator;

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::AirSpy; }
    void refresh() override;
};
