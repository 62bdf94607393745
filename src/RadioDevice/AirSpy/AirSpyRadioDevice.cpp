#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "RadioDevice/AirSpy/AirSpyConversion.h"

#include <airspy.h>
#include <algorithm>
#include <array>
#include <utility>

namespace
{

constexpr double kMinFrequency = 24'000'000.0; // Hz
constexpr double kMaxFrequency = 1'700'000'000.0;
constexpr double kDefaultFrequency = 100'000'000.0;
constexpr double kSampleRate = 3'000'000.0; // Hz, until the first reset
constexpr int kBlockSize = 2048;            // samples, until the library delivers another number

constexpr int kMaxGain = 21;
constexpr int kMaxStageGain = 15;

bool succeeded(int result)
{
    return result == AIRSPY_SUCCESS || result == AIRSPY_TRUE;
}

// A value that the library can't be given fails as one that it refuses.
int setReceiverFrequency(airspy_device* dev, double hertz)
{
    const auto value = AirSpyConversion::toHertz(hertz);
    return value ? airspy_set_freq(dev, *value) : AIRSPY_ERROR_INVALID_PARAM;
}

int setReceiverRate(airspy_device* dev, double rate)
{
    const auto value = AirSpyConversion::toHertz(rate);
    return value ? airspy_set_samplerate(dev, *value) : AIRSPY_ERROR_INVALID_PARAM;
}

int onTransfer(airspy_transfer* transfer)
{
    if (transfer != nullptr && transfer->ctx != nullptr) {
        if (const auto device = static_cast<DeliveryGate<AirSpyRadioDevice>*>(transfer->ctx)->enter()) {
            device->deliver(static_cast<const float*>(transfer->samples), transfer->sample_count);
        }
    }
    return 0;
}

// In the order of AirSpyGains::Call.
constexpr std::array kGainCalls{
    &airspy_set_lna_agc,  &airspy_set_lna_gain,       &airspy_set_mixer_agc,        &airspy_set_mixer_gain,
    &airspy_set_vga_gain, &airspy_set_linearity_gain, &airspy_set_sensitivity_gain,
};

} // namespace

AirSpyRadioDevice::AirSpyRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                                     std::chrono::milliseconds deadline,
                                     std::chrono::milliseconds watchdogInterval)
    : AbstractRadioDevice(std::move(info), parent, watchdogInterval)
    , m_deadline(deadline)
{
    initDsp();
    m_frequencyRanges.append({kMinFrequency, kMaxFrequency});
    m_supportFrequencies = QStringList{QStringLiteral("24000"), QStringLiteral("1700000")};
    m_supportSampleRates = QStringList{QStringLiteral("6000000")};
    m_sampleRate = kSampleRate;
    setBlockSize(kBlockSize);
}

AirSpyRadioDevice::~AirSpyRadioDevice()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
    if (m_dev != nullptr) {
        stopReceiver();
    }
}

void AirSpyRadioDevice::onStart()
{
    if (!openReceiver()) {
        return;
    }
    if (!succeeded(setReceiverFrequency(m_dev, m_loFrequency))) {
        LOG_WARNING() << "Error set lo freq!";
    }
    setGainMode(gainMode());
    AbstractRadioDevice::onStart();
    if (running()) {
        m_gate->open();
    }
}

bool AirSpyRadioDevice::openReceiver()
{
    const int opened = airspy_open_sn(&m_dev, m_info->identificator.toULongLong());
    if (!succeeded(opened)) {
        m_dev = nullptr;
        report(QStringLiteral("Error open device!"), opened);
        onStop();
        return false;
    }
    m_gate = std::make_shared<Gate>(this);
    return readSampleRates() &&
           proceed(setReceiverRate(m_dev, m_sampleRate), QStringLiteral("Error set sample rate!")) &&
           proceed(airspy_set_sample_type(m_dev, AIRSPY_SAMPLE_FLOAT32_IQ),
                   QStringLiteral("Error set sample type!")) &&
           proceed(airspy_start_rx(m_dev, &onTransfer, m_gate.get()), QStringLiteral("Error start rx!"));
}

bool AirSpyRadioDevice::readSampleRates()
{
    quint32 count = 0;
    if (!proceed(airspy_get_samplerates(m_dev, &count, 0), QStringLiteral("Error get sample rates count!"))) {
        return false;
    }
    AirSpyConversion::Rates rates{};
    count = std::min(count, AirSpyConversion::kMaxRates);
    if (!proceed(airspy_get_samplerates(m_dev, rates.data(), count),
                 QStringLiteral("Error get sample rates!"))) {
        return false;
    }
    m_supportSampleRates = AirSpyConversion::rateTexts(rates, count);
    // A rate of a million or more is printed with an exponent and never found.
    if (!m_supportSampleRates.isEmpty() &&
        !m_supportSampleRates.contains(QString::number(m_sampleRate, 'g', 6))) {
        AbstractRadioDevice::setSampleRate(m_supportSampleRates.constFirst().toDouble());
    }
    return true;
}

bool AirSpyRadioDevice::proceed(int result, const QString& failure)
{
    if (succeeded(result)) {
        return true;
    }
    report(failure, result);
    closeReceiver();
    onStop();
    return false;
}

void AirSpyRadioDevice::report(const QString& text, int result)
{
    const QString message = text + QString::number(result);
    emit errorHappen(message);
    LOG_WARNING() << message;
}

void AirSpyRadioDevice::onStop()
{
    if (running()) {
        stopReceiver();
    }
    AbstractRadioDevice::onStop();
}

void AirSpyRadioDevice::stopReceiver()
{
    struct Results
    {
        int stop = AIRSPY_SUCCESS;
        int close = AIRSPY_SUCCESS;
    };
    const auto results = std::make_shared<Results>();
    m_gate->close();
    const bool back = BoundedCall::run(
        QStringLiteral("airspy_stop_rx, airspy_close"),
        [dev = m_dev, gate = m_gate, results] {
            results->stop = airspy_stop_rx(dev);
            results->close = airspy_close(dev);
        },
        m_deadline);
    m_dev = nullptr;
    if (!back) {
        return;
    }
    if (!succeeded(results->stop)) {
        LOG_WARNING() << "airspy_stop_rx failed:" << results->stop;
    }
    if (!succeeded(results->close)) {
        LOG_WARNING() << "airspy_close failed:" << results->close;
        Gate::leaveBehind(m_gate);
    }
}

// The end of a start that failed. The handle goes with it: a client's next write would reach freed memory.
void AirSpyRadioDevice::closeReceiver()
{
    const auto result = std::make_shared<int>(AIRSPY_SUCCESS);
    const bool back = BoundedCall::run(
        QStringLiteral("airspy_close"), [dev = m_dev, gate = m_gate, result] { *result = airspy_close(dev); },
        m_deadline);
    m_dev = nullptr;
    if (back && !succeeded(*result)) {
        Gate::leaveBehind(m_gate);
    }
}

void AirSpyRadioDevice::deliver(const float* samples, int count)
{
    if (samples == nullptr || count <= 0 || count > AirSpyConversion::kMaxBlock) {
        return;
    }
    if (count != blockSize()) {
        setBlockSize(count);
    }
    AirSpyConversion::convert(samples, count,
                              swapIQ() ? AirSpyConversion::Order::IThenQ : AirSpyConversion::Order::QThenI,
                              m_block.data());
    write(0, false);
}

void AirSpyRadioDevice::setSampleRate(double rate)
{
    if (isUsable(rate) && running() && m_dev != nullptr) {
        LOG_LIMITED(LOG_DEBUG()) << "set samplerate" << rate;
        const int result = setReceiverRate(m_dev, rate);
        if (!succeeded(result)) {
            LOG_LIMITED(LOG_WARNING()) << "Error set sample rate!" << result;
        }
    }
    AbstractRadioDevice::setSampleRate(rate);
}

void AirSpyRadioDevice::setFrequency(double hertz)
{
    if (isUsable(hertz) && running() && m_dev != nullptr) {
        const int result = setReceiverFrequency(m_dev, hertz);
        if (!succeeded(result)) {
            LOG_LIMITED(LOG_WARNING()) << "Error set frequency!" << result;
        }
    }
    AbstractRadioDevice::setFrequency(hertz);
}

void AirSpyRadioDevice::resetFrequency()
{
    setFrequency(kDefaultFrequency);
}

void AirSpyRadioDevice::setBiasTee(bool on)
{
    m_biasTee = on;
    emit biasTeeChanged(on);
    if (m_dev != nullptr) {
        airspy_set_rf_bias(m_dev, on ? 1 : 0);
    }
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

void AirSpyRadioDevice::applyGains(AirSpyGains::Setting changed) const
{
    if (m_dev != nullptr) {
        m_gains.apply(changed, [this](AirSpyGains::Call call, quint8 value) {
            kGainCalls[static_cast<std::size_t>(call)](m_dev, value);
        });
    }
}
