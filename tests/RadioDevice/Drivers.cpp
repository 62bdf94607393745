#include "RadioDevice/Drivers.h"

#include "RadioDevice/IQPlayer/IQPlayerRadioDevice.h"
#include "RadioDevice/Rsp/RspRadioDevice.h"
#include "System/Recording.h"
#ifdef ORVENLINK_RTLSDR
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"
#endif
#ifdef ORVENLINK_AIRSPYHF
#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"
#endif
#ifdef ORVENLINK_AIRSPY
#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"
#endif

#include <QFile>

namespace
{

template <class Device>
QSharedPointer<InfoRadioDevice> record(const QString& identificator)
{
    const auto info = QSharedPointer<typename Device::DeviceInfo>::create();
    info->identificator = identificator;
    return info;
}

/// A device of one of the libraries.
template <class Device>
std::unique_ptr<AbstractRadioDevice> make(const QString& identificator,
                                          std::chrono::milliseconds watchdogInterval,
                                          const LibraryDeadlines& deadlines)
{
    auto device =
        std::make_unique<Device>(record<Device>(identificator), nullptr, deadlines, watchdogInterval);
    device->reset();
    return device;
}

template <>
std::unique_ptr<AbstractRadioDevice> make<IQPlayerRadioDevice>(const QString& identificator,
                                                               std::chrono::milliseconds watchdogInterval,
                                                               const LibraryDeadlines& /*deadlines*/)
{
    auto device = std::make_unique<IQPlayerRadioDevice>(record<IQPlayerRadioDevice>(identificator), nullptr,
                                                        watchdogInterval);
    device->reset();
    return device;
}

/// The properties of every device, with the first two as its driver has them, then the driver's own.
QVector<Driver::Property> properties(const Driver::Property& sampleRate, const Driver::Property& frequency,
                                     const QVector<Driver::Property>& own = {})
{
    return QVector<Driver::Property>{sampleRate,
                                     frequency,
                                     {"ppmCorrection", 0, 25},
                                     {"levelCorrection", 0.0, 4.0},
                                     {"swapIQ", false, true}} +
           own;
}

Driver player(const QString& folder)
{
    QFile file(folder + QStringLiteral("/a.wav"));
    file.open(QIODevice::WriteOnly);
    file.write(recording({{1000.0, 2000.0}}));
    return {QStringLiteral("IQ file player"),
            &make<IQPlayerRadioDevice>,
            file.fileName(),
            properties({"sampleRate", 48e3, 96e3}, {"frequency", 14.25e6, 14.1e6}),
            {},
            {}};
}

} // namespace

QVector<Driver> drivers(const QString& folder)
{
    QVector<Driver> result{player(folder)};
#ifdef ORVENLINK_RTLSDR
    result.append({QStringLiteral("RTL2832U"), &make<RtlUsbRadioDevice>, QStringLiteral("0"),
                   properties({"sampleRate", 2.048e6, 1.024e6}, {"frequency", 100e6, 433e6},
                              {{"biasTee", false, true},
                               {"rtlPpm", false, true},
                               {"offsetTuning", true, false},
                               {"rtlAgc", true, false},
                               {"tunerAgc", true, false},
                               {"tunerGain", 0, 297},
                               {"samplingMode", 0, 2}}),
                   QStringLiteral("rtlsdr_open("), QStringLiteral("rtlsdr_close(")});
#endif
#ifdef ORVENLINK_AIRSPYHF
    result.append({QStringLiteral("Airspy HF+"), &make<AirSpyHFRadioDevice>, QStringLiteral("1"),
                   properties({"sampleRate", 768e3, 912e3}, {"frequency", 15.75e6, 7e6},
                              {{"lna", false, true}, {"agc", false, true}, {"att", 0, 3}}),
                   QStringLiteral("airspyhf_open_sn("), QStringLiteral("airspyhf_close(")});
#endif
#ifdef ORVENLINK_AIRSPY
    result.append({QStringLiteral("Airspy R2/mini"), &make<AirSpyRadioDevice>, QStringLiteral("1"),
                   properties({"sampleRate", 6e6, 3e6}, {"frequency", 100e6, 433e6},
                              {{"biasTee", false, true},
                               {"gainMode", 0, 2},
                               {"gain", 12, 7},
                               {"lnaAgc", true, false},
                               {"lnaGain", 5, 9},
                               {"mixerAgc", true, false},
                               {"mixerGain", 5, 3},
                               {"vgaGain", 5, 11}}),
                   QStringLiteral("airspy_open_sn("), QStringLiteral("airspy_close(")});
#endif
    result.append({QStringLiteral("RSP"), &make<RspRadioDevice>, QStringLiteral("0"),
                   properties({"sampleRate", 2.048e6, 8e6}, {"frequency", 1000.5e6, 433e6}),
                   QStringLiteral("mir_sdr_StreamInit("), QStringLiteral("mir_sdr_StreamUninit(")});
    return result;
}
