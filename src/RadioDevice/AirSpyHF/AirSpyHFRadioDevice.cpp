#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"

#include <airspyhf.h>
#include <utility>

namespace
{

// Shortwave, then VHF; hertz.
constexpr QPair<double, double> kShortwave{500'000.0, 31'000'000.0};
constexpr QPair<double, double> kVhf{60'000'000.0, 260'000'000.0};
constexpr int kMaxAtt = 8;

bool succeeded(int result)
{
    return result == AIRSPYHF_SUCCESS;
}

int openReceiver(airspyhf_device** dev, std::uint64_t serial)
{
    const int result = airspyhf_open_sn(dev, serial);
    if (!succeeded(result)) {
        *dev = nullptr;
    }
    return result;
}

int startReceiver(airspyhf_device* dev, void* gate)
{
    const auto onTransfer = [](airspyhf_transfer_t* transfer) {
        if (transfer != nullptr) {
            AirSpyHFRadioDevice::deliverThrough(
                transfer->ctx, reinterpret_cast<const float*>(transfer->samples), transfer->sample_count);
        }
        return 0;
    };
    return airspyhf_start(dev, onTransfer, gate);
}

constexpr AirSpyHFRadioDevice::Library kLibrary{
    "libairspyhf",
    {"airspyhf_list_devices", &airspyhf_list_devices},
    {"airspyhf_open_sn", &openReceiver},
    {"airspyhf_close", &airspyhf_close},
    {"airspyhf_version_string_read", &airspyhf_version_string_read},
    {"airspyhf_get_samplerates", &airspyhf_get_samplerates},
    {"airspyhf_set_samplerate", &airspyhf_set_samplerate},
    {"airspyhf_start", &startReceiver},
    {"airspyhf_stop", &airspyhf_stop},
    {"airspyhf_set_freq", &airspyhf_set_freq},
    &succeeded,
    AIRSPYHF_ERROR,
    AIRSPYHF_ERROR,
    false,
    false,
};

} // namespace

struct AirSpyHFRadioDevice::Setting
{
    const char* name;
    int (*call)(airspyhf_device*, std::uint8_t);
    const char* failureAtStart;
    const char* failure;
};

namespace
{

constexpr AirSpyHFRadioDevice::Setting kLna{"airspyhf_set_hf_lna", &airspyhf_set_hf_lna, "Error set hf lna!",
                                            "Error Airspy HF+ set LNA!"};
constexpr AirSpyHFRadioDevice::Setting kAgc{"airspyhf_set_hf_agc", &airspyhf_set_hf_agc, "Error set hf agc!",
                                            "Error Airspy HF+ set AGC!"};
constexpr AirSpyHFRadioDevice::Setting kAtt{"airspyhf_set_hf_att", &airspyhf_set_hf_att, "Error set hf att!",
                                            "Error Airspy HF+ set ATT!"};

} // namespace

const AirSpyHFRadioDevice::Library& AirSpyHFRadioDevice::library()
{
    return kLibrary;
}

AirSpyHFRadioDevice::AirSpyHFRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                                         const LibraryDeadlines& deadlines,
                                         std::chrono::milliseconds watchdogInterval)
    : AirSpyFamilyDevice(std::move(info), parent, kLibrary, deadlines, watchdogInterval)
{
    m_frequencyRanges.append(kShortwave);
    m_frequencyRanges.append(kVhf);
    m_supportFrequencies = QStringList{QStringLiteral("500"), QStringLiteral("31000"),
                                       QStringLiteral("60000"), QStringLiteral("260000")};
    m_supportSampleRates = QStringList{QStringLiteral("768000")};
}

AirSpyHFRadioDevice::~AirSpyHFRadioDevice()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
}

bool AirSpyHFRadioDevice::apply(const Setting& setting, int value)
{
    return succeeded(m_receiver.call(setting.name, setting.call, static_cast<std::uint8_t>(value)));
}

void AirSpyHFRadioDevice::applySettings()
{
    for (const auto& [setting, value] :
         {std::pair(&kAgc, m_agc ? 1 : 0), std::pair(&kLna, m_lna ? 1 : 0), std::pair(&kAtt, m_att)}) {
        if (m_receiver && !apply(*setting, value)) {
            LOG_WARNING() << setting->failureAtStart;
            if (isLost()) {
                tell(QLatin1String(setting->failureAtStart));
            }
        }
    }
}

void AirSpyHFRadioDevice::change(const Setting& setting, int value)
{
    if (m_receiver && !apply(setting, value)) {
        tell(QLatin1String(setting.failure));
        LOG_LIMITED(LOG_WARNING()) << setting.failure;
    }
}

void AirSpyHFRadioDevice::setLna(bool on)
{
    m_lna = on;
    emit lnaChanged(on);
    change(kLna, on ? 1 : 0);
}

void AirSpyHFRadioDevice::setAgc(bool on)
{
    m_agc = on;
    emit agcChanged(on);
    change(kAgc, on ? 1 : 0);
}

void AirSpyHFRadioDevice::setAtt(int steps)
{
    m_att = steps < 0 || steps > kMaxAtt ? 0 : steps;
    emit attChanged(m_att);
    change(kAtt, m_att);
}
