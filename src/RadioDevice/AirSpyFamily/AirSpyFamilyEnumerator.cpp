#include "RadioDevice/AirSpyFamily/AirSpyFamilyEnumerator.h"

#include "Core/Log/Log.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"

struct airspy_device;
struct airspyhf_device;

template <class Handle>
AirSpyFamilyEnumerator<Handle>::AirSpyFamilyEnumerator(EnumeratorRadioDevice* owner,
                                                       const AirSpyLibrary<Handle>& library,
                                                       const LibraryDeadlines& deadlines)
    : AbstractEnumerator(owner)
    , m_library(library)
    , m_thread(LibraryThread::of(QLatin1String(library.name)))
    , m_deadlines(deadlines)
    , m_receiver(m_thread, deadlines, library.lost)
{
}

template <class Handle>
bool AirSpyFamilyEnumerator<Handle>::addAll()
{
    AirSpyConversion::Serials serials{};
    if (!list(serials)) {
        return false;
    }
    for (const std::uint64_t serial : serials) {
        if (serial == 0) {
            continue;
        }
        AirSpyConversion::Version version{};
        if (!readVersion(serial, version)) {
            break;
        }
        const auto info = makeRecord();
        info->description = AirSpyConversion::description(version, serial);
        info->identificator = QString::number(serial);
        m_owner->add(info);
    }
    return true;
}

template <class Handle>
bool AirSpyFamilyEnumerator<Handle>::list(AirSpyConversion::Serials& serials)
{
    const auto found = std::make_shared<AirSpyConversion::Serials>();
    const auto [outcome, count] = m_thread.ask(
        m_library.list.name,
        [list = m_library.list.call, found] { return list(found->data(), AirSpyConversion::kMaxSerials); },
        m_deadlines.call);
    // A success is the number of receivers here.
    if (outcome != LibraryThread::Outcome::Back || count < 0) {
        return false;
    }
    serials = *found;
    return true;
}

template <class Handle>
bool AirSpyFamilyEnumerator<Handle>::readVersion(quint64 serial, AirSpyConversion::Version& version)
{
    const int opened =
        m_receiver.open(m_library.open.name, m_library.open.call, serial,
                        [close = m_library.close.call](Handle* dev) { std::ignore = close(dev); });
    if (!m_library.succeeded(opened)) {
        LOG_WARNING() << "Error open airspy hf device!";
        return false;
    }
    const auto text = std::make_shared<AirSpyConversion::Version>();
    const int read =
        m_receiver.ask(m_library.readVersion.name, [call = m_library.readVersion.call, text](Handle* dev) {
            return call(dev, text->data(), AirSpyConversion::kVersionSize);
        });
    if (!m_library.succeeded(read)) {
        LOG_WARNING() << "Error read airspy hf version!";
        if (m_receiver) {
            // Left open it could not be opened again.
            std::ignore = close();
        }
        return false;
    }
    version = *text;
    if (!close()) {
        LOG_WARNING() << "Error close airspy hf device!";
        return false;
    }
    return true;
}

template <class Handle>
bool AirSpyFamilyEnumerator<Handle>::close()
{
    const int closed = m_receiver.finish(m_library.close.name, m_library.close.call);
    m_receiver.forget();
    return m_library.succeeded(closed);
}

template class AirSpyFamilyEnumerator<airspy_device>;
template class AirSpyFamilyEnumerator<airspyhf_device>;
