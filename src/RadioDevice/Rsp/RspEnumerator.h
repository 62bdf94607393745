#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"
#include "RadioDevice/Rsp/RspLibrary.h"
#include "RadioDevice/Vendor/VendorCalls.h"

/// Offers each RSP that its library lists, by its number alone: nothing else of it goes into the record.
/// Where the library isn't installed there are none. One of another version is warned of and used, one that
/// doesn't come back by the deadline fails.
class RspEnumerator : public AbstractEnumerator
{
    Q_OBJECT

public:
    explicit RspEnumerator(EnumeratorRadioDevice* owner,
                           std::chrono::milliseconds deadline = BoundedCall::kDeadline);

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::Rsp; }
    void refresh() override;

    [[nodiscard]] bool libraryLoaded() const { return m_library.isLoaded; }

private:
    RspLibrary m_library;
    float m_apiVersion = 0.0F; // as the library reports it
    qint32 m_lastError = 0;    // the library's last result
    VendorCalls m_calls;
};
