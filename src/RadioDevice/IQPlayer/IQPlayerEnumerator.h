#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"

/// Offers each "*.wav" file of the resource folder ":/res/" and of the user's documents folder as a receiver.
/// Thread: that of the registry.
class IQPlayerEnumerator : public AbstractEnumerator
{
    Q_OBJECT

public:
    using AbstractEnumerator::AbstractEnumerator;

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::IQFilePlayer; }
    void refresh() override;
};
