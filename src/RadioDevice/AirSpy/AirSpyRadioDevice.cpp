#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include "Core/Log/Log.h"

#include <airspy.h>
#include <array>
#include <utility>

namespace
{

constexpr double kMinFrequency = 24'000'000.0; // Hz
constexpr double kMaxFrequency = 1'700'000'000.0;
constexpr double kDefaultFrequency = 100'000'000.0;
constexpr double kSampleRate = 3'000'000.0; // Hz, until the first reset

constexpr int kMaxGain = 21;
constexpr int kMaxStageGain = 15;

bool succeeded(int result)
{
    return result == AIRSPY_SUCCESS || result == AIRSPY_TRUE;
}

int openReceiver(airspy_device** dev, std::uint64_t serial)
{
    const int result = airspy_open_sn(dev, serial);
    if (!succeeded(result)) {
        *dev = nullptr;
    }
    return result;
}

int startReceiver(airspy_device* dev, void* gate)
{
    const auto onTransfer = [](airspy_transfer* transfer) {
        if (transfer != nullptr) {
            AirSpyRadioDevice::deliverThrough(transfer->ctx, static_cast<const float*>(transfer->samples),
                                              transfer->sample_count);
        }
        return 0;
    };
    return airspy_start_rx(dev, onTransfer, gate);
}

constexpr AirSpyRadioDevice::Library kLibrary{
    "libairspy",
    {"airspy_list_devices", &airspy_list_devices},
    {"airspy_open_sn", &openReceiver},
    {"airspy_close", &airspy_close},
    {"airspy_version_string_read", &airspy_version_string_read},
    {"airspy_get_samplerates", &airspy_get_samplerates},
    {"airspy_set_samplerate", &airspy_set_samplerate},
    {"airspy_start_rx", &startReceiver},
    {"airspy_stop_rx", &airspy_stop_rx},
    {"airspy_set_freq", &airspy_set_freq},
    &succeeded,
    AIRSPY_ERROR_INVALID_PARAM,
    AIRSPY_ERROR_OTHER,
    true,
    true,
};

// In the order of AirSpyGains::Call.
constexpr std::array<AirSpyRadioDevice::Library::Named<int(airspy_device*, std::uint8_t)>, 7> kGainCalls{{
    {"airspy_set_lna_agc", &airspy_set_lna_agc},
    {"airspy_set_lna_gain", &airspy_set_lna_gain},
    {"airspy_set_mixer_agc", &airspy_set_mixer_agc},
    {"airspy_set_mixer_gain", &airspy_set_mixer_gain},
    {"airspy_set_vga_gain", &airspy_set_vga_gain},
    {"airspy_set_linearity_gain", &airspy_set_linearity_gain},
    {"airspy_set_sensitivity_gain", &airspy_set_sensitivity_gain},
}};

} // namespace

const AirSpyRadioDevice::Library& AirSpyRadioDevice::library()
{
    return kLibrary;
}

AirSpyRadioDevice::AirSpyRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                                     const LibraryDeadlines& deadlines,
                                     std::chrono::milliseconds watchdogInterval)
    : AirSpyFamilyDevice(std::move(info), parent, kLibrary, deadlines, watchdogInterval)
{
    m_frequencyRanges.append({kMinFrequency, kMaxFrequency});
    m_supportFrequencies = QStringList{QStringLiteral("24000"), QStringLiteral("1700000")};
    m_supportSampleRates = QStringList{QStringLiteral("6000000")};
    m_sampleRate = kSampleRate;
    setBlockSize(blockSize()); // which depends on the rate
}

AirSpyRadioDevice::~AirSpyRadioDevice()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
}

bool AirSpyRadioDevice::prepare()
{
    return proceed(
        m_receiver.call("airspy_set_sample_type", &airspy_set_sample_type, AIRSPY_SAMPLE_FLOAT32_IQ),
        "Error set sample type!");
}

void AirSpyRadioDevice::resetFrequency()
{
    setFrequency(kDefaultFrequency);
}

void AirSpyRadioDevice::setBiasTee(bool on)
{
    m_biasTee = on;
    emit biasTeeChanged(on);
    m_receiver.call("airspy_set_rf_bias", &airspy_set_rf_bias, on ? 1 : 0);
}

void AirSpyRadioDevice::setGainMode(int mode)
{
    m_gains.mode = mode;
    emit gainModeChanged(mode);
    applyGains(AirSpyGains::GainMode);
}

void AirSpyRadioDevice::setGain(int gain)
{
    m_gains.gain = qBound(0, gain, kMaxGain);
    emit gainChanged(m_gains.gain);
    applyGains(AirSpyGains::Gain);
}

void AirSpyRadioDevice::setLnaAgc(bool on)
{
    m_gains.lnaAgc = on;
    emit lnaAgcChanged(on);
    applyGains(AirSpyGains::LnaAgc);
}

void AirSpyRadioDevice::setLnaGain(int gain)
{
    m_gains.lnaGain = qBound(0, gain, kMaxStageGain);
    emit lnaGainChanged(m_gains.lnaGain);
    applyGains(AirSpyGains::LnaGain);
}

void AirSpyRadioDevice::setMixerAgc(bool on)
{
    m_gains.mixerAgc = on;
    emit mixerAgcChanged(on);
    applyGains(AirSpyGains::MixerAgc);
}

void AirSpyRadioDevice::setMixerGain(int gain)
{
    m_gains.mixerGain = qBound(0, gain, kMaxStageGain);
    emit mixerGainChanged(m_gains.mixerGain);
    applyGains(AirSpyGains::MixerGain);
}

void AirSpyRadioDevice::setVgaGain(int gain)
{
    m_gains.vgaGain = gain;
    emit vgaGainChanged(gain);
    applyGains(AirSpyGains::VgaGain);
}

void AirSpyRadioDevice::applyGains(AirSpyGains::Setting changed)
{
    m_gains.apply(changed, [this](AirSpyGains::Call call, quint8 value) {
        const auto& [name, function] = kGainCalls.at(static_cast<std::size_t>(call));
        m_receiver.call(name, function, value);
    });
}
