#include "RadioDevice/RtlUsb/RtlUsbEnumerator.h"

#include "Core/Log/Log.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include <algorithm>
#include <array>
#include <rtl-sdr.h>

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

} // namespace

void RtlUsbEnumerator::refresh()
{
    const quint32 count = std::min(rtlsdr_get_device_count(), kMaxDevices);
    for (quint32 index = 0; index < count; ++index) {
        const QString name = QString::fromUtf8(rtlsdr_get_device_name(index));
        UsbString manufacturer{};
        UsbString product{};
        UsbString serial{};
        if (rtlsdr_get_device_usb_strings(index, manufacturer.data(), product.data(), serial.data()) != 0) {
            LOG_WARNING() << "Unable to access rtlusb device #" << index << name;
            continue;
        }
        auto info = QSharedPointer<RtlUsbRadioDevice::DeviceInfo>::create();
        info->title = QStringLiteral("RTL-SDR");
        info->description = toText(manufacturer) + QLatin1Char(' ') + toText(product) +
                            QStringLiteral(" S/N: ") + toText(serial);
        info->identificator = QString::number(index);
        m_owner->add(info);
    }
}
