#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"
#include "Core/RadioDevice/InfoRadioDevice.h"
#include "RadioDevice/AirSpyFamily/AirSpyConversion.h"
#include "RadioDevice/AirSpyFamily/AirSpyLibrary.h"
#include "RadioDevice/Vendor/VendorHandle.h"

/// Offers each receiver of an Airspy family that its library lists, by serial number. Each is opened for a
/// moment to ask for its version; one that fails in this, or isn't back in time, ends the refresh.
template <class Handle>
class AirSpyFamilyEnumerator : public AbstractEnumerator
{
protected:
    AirSpyFamilyEnumerator(EnumeratorRadioDevice* owner, const AirSpyLibrary<Handle>& library,
                           const LibraryDeadlines& deadlines);

    /// What a refresh does. False if there is no list at all.
    [[nodiscard]] bool addAll();

    /// With its title.
    [[nodiscard]] virtual QSharedPointer<InfoRadioDevice> makeRecord() const = 0;

private:
    [[nodiscard]] bool list(AirSpyConversion::Serials& serials);
    [[nodiscard]] bool readVersion(quint64 serial, AirSpyConversion::Version& version);
    [[nodiscard]] bool close();

    const AirSpyLibrary<Handle>& m_library;
    LibraryThread& m_thread;
    LibraryDeadlines m_deadlines;
    VendorHandle<Handle> m_receiver;
};
