#include "RadioDevice/RtlUsb/RtlUsbEnumerator.h"

#include "Core/Log/Log.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include <algorithm>
#include <array>
#include <rtl-sdr.h>
#include <utility>

namespace
{

// More than any machine has; what the library says beyond it is not believed.
constexpr quint32 kMaxDevices = 256;

// What the library writes at most, its end included.
using UsbString = std::array<char, 256>;

QString toText(const UsbString& bytes)
{
    const auto end = std::find(bytes.cbegin(), bytes.cend(), '\0');
    return QString::fromUtf8(bytes.data(), static_cast<int>(end - bytes.cbegin()));
}

struct Dongle
{
    QByteArray name;
    UsbString manufacturer{};
    UsbString product{};
    UsbString serial{};
};

} // namespace

RtlUsbEnumerator::RtlUsbEnumerator(EnumeratorRadioDevice* owner, const LibraryDeadlines& deadlines)
    : AbstractEnumerator(owner)
    , m_thread(LibraryThread::of(RtlUsbRadioDevice::library()))
    , m_deadlines(deadlines)
{
}

bool RtlUsbEnumerator::ask(const char* what, std::function<int()> call)
{
    const auto [outcome, result] = m_thread.ask(what, std::move(call), m_deadlines.call);
    return outcome == LibraryThread::Outcome::Back && result == 0;
}

quint32 RtlUsbEnumerator::count()
{
    const auto found = std::make_shared<quint32>(0);
    const bool counted = ask("rtlsdr_get_device_count", [found] {
        *found = rtlsdr_get_device_count();
        return 0;
    });
    return counted ? std::min(*found, kMaxDevices) : 0;
}

void RtlUsbEnumerator::refresh()
{
    const quint32 dongles = count();
    for (quint32 index = 0; index < dongles; ++index) {
        const auto dongle = std::make_shared<Dongle>();
        const bool named = ask("rtlsdr_get_device_name", [dongle, index] {
            dongle->name = rtlsdr_get_device_name(index);
            return 0;
        });
        const bool read =
            named && ask("rtlsdr_get_device_usb_strings", [dongle, index] {
                return rtlsdr_get_device_usb_strings(index, dongle->manufacturer.data(),
                                                     dongle->product.data(), dongle->serial.data());
            });
        if (!read) {
            LOG_WARNING() << "Unable to access rtlusb device #" << index
                          << (named ? QString::fromUtf8(dongle->name) : QString());
            continue;
        }
        auto info = QSharedPointer<RtlUsbRadioDevice::DeviceInfo>::create();
        info->title = QStringLiteral("RTL-SDR");
        info->description = toText(dongle->manufacturer) + QLatin1Char(' ') + toText(dongle->product) +
                            QStringLiteral(" S/N: ") + toText(dongle->serial);
        info->identificator = QString::number(index);
        m_owner->add(info);
    }
}
