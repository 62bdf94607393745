#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"
#include "RadioDevice/Rsp/RspLibrary.h"
#include "RadioDevice/Vendor/LibraryThread.h"

/// Offers each RSP that its library lists, by its number alone: nothing else of it goes into the record.
/// Where the library isn't installed there are none. One of another version is warned of and used, one that
/// isn't back in time fails.
class RspEnumerator : public AbstractEnumerator
{
    Q_OBJECT

public:
    explicit RspEnumerator(EnumeratorRadioDevice* owner, const LibraryDeadlines& deadlines = {});

    [[nodiscard]] DefRadioDevice::Type type() const override { return DefRadioDevice::Rsp; }
    void refresh() override;
    [[nodiscard]] QString hindrance() const override;

    [[nodiscard]] bool libraryLoaded() const { return m_library.isLoaded; }

private:
    RspLibrary m_library;
    float m_apiVersion = 0.0F; // as the library reports it
    qint32 m_lastError = 0;    // the library's last result
    LibraryThread& m_thread;
    LibraryDeadlines m_deadlines;
};
