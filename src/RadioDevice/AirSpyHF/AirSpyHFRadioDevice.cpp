#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "RadioDevice/AirSpy/AirSpyConversion.h"

#include <QElapsedTimer>
#include <airspyhf.h>
#include <algorithm>
#include <utility>

namespace
{

// Shortwave, then VHF; hertz.
constexpr QPair<double, double> kShortwave{500'000.0, 31'000'000.0};
constexpr QPair<double, double> kVhf{60'000'000.0, 260'000'000.0};
constexpr int kBlockSize = 2048; // samples, until the library delivers another number
constexpr int kMaxAtt = 8;

// A value that the library can't be given fails as one that it refuses.
int setReceiverFrequency(airspyhf_device* dev, double hertz)
{
    const auto value = AirSpyConversion::toHertz(hertz);
    return value ? airspyhf_set_freq(dev, *value) : AIRSPYHF_ERROR;
}

int setReceiverRate(airspyhf_device* dev, double rate)
{
    const auto value = AirSpyConversion::toHertz(rate);
    return value ? airspyhf_set_samplerate(dev, *value) : AIRSPYHF_ERROR;
}

int onTransfer(airspyhf_transfer_t* transfer)
{
    if (transfer != nullptr && transfer->ctx != nullptr) {
        if (const auto device = static_cast<DeliveryGate<AirSpyHFRadioDevice>*>(transfer->ctx)->enter()) {
            device->deliver(reinterpret_cast<const float*>(transfer->samples), transfer->sample_count);
        }
    }
    return 0;
}

} // namespace

AirSpyHFRadioDevice::AirSpyHFRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                                         std::chrono::milliseconds deadline,
                                         std::chrono::milliseconds watchdogInterval)
    : AbstractRadioDevice(std::move(info), parent, watchdogInterval)
    , m_deadline(deadline)
    , m_timeLeft(deadline)
{
    initDsp();
    m_frequencyRanges.append(kShortwave);
    m_frequencyRanges.append(kVhf);
    m_supportFrequencies = QStringList{QStringLiteral("500"), QStringLiteral("31000"),
                                       QStringLiteral("60000"), QStringLiteral("260000")};
    m_supportSampleRates = QStringList{QStringLiteral("768000")};
    setBlockSize(kBlockSize);
}

AirSpyHFRadioDevice::~AirSpyHFRadioDevice()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
    if (running()) {
        stopReceiver();
    }
    if (m_dev != nullptr) {
        // A stop that failed: kept open, the receiver could never be opened again.
        closeReceiver();
    }
}

void AirSpyHFRadioDevice::onStart()
{
    if (m_dev != nullptr) {
        closeReceiver();
    }
    m_timeLeft = m_deadline;
    if (!openReceiver()) {
        return;
    }
    applySettings();
    AbstractRadioDevice::onStart();
    if (running()) {
        m_gate->open();
    }
}

bool AirSpyHFRadioDevice::openReceiver()
{
    const int opened = airspyhf_open_sn(&m_dev, m_info->identificator.toULongLong());
    if (opened != AIRSPYHF_SUCCESS) {
        m_dev = nullptr;
        report(QStringLiteral("Error open device!"), opened);
        onStop();
        return false;
    }
    m_gate = std::make_shared<Gate>(this);
    return readSampleRates() &&
           proceed(setReceiverRate(m_dev, m_sampleRate), QStringLiteral("Error set sample rate!")) &&
           proceed(airspyhf_start(m_dev, &onTransfer, m_gate.get()), QStringLiteral("Error start rx!"));
}

bool AirSpyHFRadioDevice::readSampleRates()
{
    quint32 count = 0;
    if (!proceed(airspyhf_get_samplerates(m_dev, &count, 0),
                 QStringLiteral("Error get sample rates count!"))) {
        return false;
    }
    AirSpyConversion::Rates rates{};
    count = std::min(count, AirSpyConversion::kMaxRates);
    if (!proceed(airspyhf_get_samplerates(m_dev, rates.data(), count),
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

void AirSpyHFRadioDevice::applySettings() const
{
    if (setReceiverFrequency(m_dev, m_loFrequency) != AIRSPYHF_SUCCESS) {
        LOG_WARNING() << "Error set lo freq!";
    }
    if (airspyhf_set_hf_agc(m_dev, m_agc ? 1 : 0) != AIRSPYHF_SUCCESS) {
        LOG_WARNING() << "Error set hf agc!";
    }
    if (airspyhf_set_hf_lna(m_dev, m_lna ? 1 : 0) != AIRSPYHF_SUCCESS) {
        LOG_WARNING() << "Error set hf lna!";
    }
    if (airspyhf_set_hf_att(m_dev, static_cast<quint8>(m_att)) != AIRSPYHF_SUCCESS) {
        LOG_WARNING() << "Error set hf att!";
    }
}

bool AirSpyHFRadioDevice::proceed(int result, const QString& failure)
{
    if (result == AIRSPYHF_SUCCESS) {
        return true;
    }
    report(failure, result);
    // The handle goes with it: a client's next write would reach freed memory.
    closeReceiver();
    onStop();
    return false;
}

void AirSpyHFRadioDevice::report(const QString& text, int result)
{
    const QString message = text + QString::number(result);
    emit errorHappen(message);
    LOG_WARNING() << message;
}

void AirSpyHFRadioDevice::reportSetting(const QString& text)
{
    emit errorHappen(text);
    LOG_LIMITED(LOG_WARNING()) << text;
}

void AirSpyHFRadioDevice::onStop()
{
    if (running()) {
        stopReceiver();
    }
    AbstractRadioDevice::onStop();
}

void AirSpyHFRadioDevice::stopReceiver()
{
    struct Results
    {
        int stop = AIRSPYHF_SUCCESS;
        int close = AIRSPYHF_SUCCESS;
    };
    const auto results = std::make_shared<Results>();
    m_gate->close();
    const bool back =
        runBounded(QStringLiteral("airspyhf_stop, airspyhf_close"), [dev = m_dev, gate = m_gate, results] {
            results->stop = airspyhf_stop(dev);
            if (results->stop == AIRSPYHF_SUCCESS) {
                results->close = airspyhf_close(dev);
            }
        });
    if (back && results->stop != AIRSPYHF_SUCCESS) {
        LOG_WARNING() << "airspyhf_stop failed:" << results->stop;
        return;
    }
    m_dev = nullptr;
    if (back && results->close != AIRSPYHF_SUCCESS) {
        LOG_WARNING() << "airspy_close failed:" << results->close;
        Gate::leaveBehind(m_gate);
    }
}

void AirSpyHFRadioDevice::closeReceiver()
{
    const auto result = std::make_shared<int>(AIRSPYHF_SUCCESS);
    const bool back = runBounded(QStringLiteral("airspyhf_close"),
                                 [dev = m_dev, gate = m_gate, result] { *result = airspyhf_close(dev); });
    m_dev = nullptr;
    if (back && *result != AIRSPYHF_SUCCESS) {
        Gate::leaveBehind(m_gate);
    }
}

bool AirSpyHFRadioDevice::runBounded(const QString& what, std::function<void()> call)
{
    QElapsedTimer elapsed;
    elapsed.start();
    const bool back = BoundedCall::run(what, std::move(call), m_timeLeft);
    m_timeLeft = std::max(m_timeLeft - std::chrono::milliseconds(elapsed.elapsed()),
                          std::chrono::milliseconds::zero());
    return back;
}

void AirSpyHFRadioDevice::deliver(const float* samples, int count)
{
    if (samples == nullptr || count <= 0 || count > AirSpyConversion::kMaxBlock) {
        return;
    }
    if (count != blockSize()) {
        setBlockSize(count);
    }
    AirSpyConversion::convert(samples, count, AirSpyConversion::Order::QThenI, m_block.data());
    write(0, false);
}

void AirSpyHFRadioDevice::setSampleRate(double rate)
{
    if (isUsable(rate) && running() && m_dev != nullptr) {
        LOG_LIMITED(LOG_DEBUG()) << "set samplerate" << rate;
        const int result = setReceiverRate(m_dev, rate);
        if (result != AIRSPYHF_SUCCESS) {
            LOG_LIMITED(LOG_WARNING()) << "Error set sample rate!" << result;
        }
    }
    AbstractRadioDevice::setSampleRate(rate);
}

void AirSpyHFRadioDevice::setFrequency(double hertz)
{
    if (isUsable(hertz) && running() && m_dev != nullptr) {
        const int result = setReceiverFrequency(m_dev, hertz);
        if (result != AIRSPYHF_SUCCESS) {
            LOG_LIMITED(LOG_WARNING()) << "Error set frequency!" << result;
        }
    }
    AbstractRadioDevice::setFrequency(hertz);
}

void AirSpyHFRadioDevice::setLna(bool on)
{
    m_lna = on;
    emit lnaChanged(on);
    if (m_dev != nullptr && airspyhf_set_hf_lna(m_dev, on ? 1 : 0) != AIRSPYHF_SUCCESS) {
        reportSetting(QStringLiteral("Error Airspy HF+ set LNA!"));
    }
}

void AirSpyHFRadioDevice::setAgc(bool on)
{
    m_agc = on;
    emit agcChanged(on);
    if (m_dev != nullptr && airspyhf_set_hf_agc(m_dev, on ? 1 : 0) != AIRSPYHF_SUCCESS) {
        reportSetting(QStringLiteral("Error Airspy HF+ set AGC!"));
    }
}

void AirSpyHFRadioDevice::setAtt(int steps)
{
    m_att = steps < 0 || steps > kMaxAtt ? 0 : steps;
    emit attChanged(m_att);
    if (m_dev != nullptr && airspyhf_set_hf_att(m_dev, static_cast<quint8>(m_att)) != AIRSPYHF_SUCCESS) {
        reportSetting(QStringLiteral("Error Airspy HF+ set ATT!"));
    }
}
