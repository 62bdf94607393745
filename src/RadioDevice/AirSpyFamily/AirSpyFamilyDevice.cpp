#include "RadioDevice/AirSpyFamily/AirSpyFamilyDevice.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "RadioDevice/AirSpyFamily/AirSpyConversion.h"

#include <algorithm>
#include <cstddef>
#include <utility>

struct airspy_device;
struct airspyhf_device;

namespace
{

constexpr int kBlockSize = 2048; // samples, until the library delivers another number

} // namespace

template <class Handle>
AirSpyFamilyDevice<Handle>::AirSpyFamilyDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                                               const Library& library, const LibraryDeadlines& deadlines,
                                               std::chrono::milliseconds watchdogInterval)
    : VendorRadioDevice(std::move(info), parent, watchdogInterval)
    , m_receiver(LibraryThread::of(QLatin1String(library.name)), deadlines, library.lost,
                 [this] {
                     m_gate.close();
                     loseSession();
                 })
    , m_library(library)
{
    initDsp();
    setBlockSize(kBlockSize);
}

template <class Handle>
AirSpyFamilyDevice<Handle>::~AirSpyFamilyDevice()
{
    if (running() && m_receiver) {
        stopReceiver();
    }
    if (m_receiver) {
        // A stop that failed: kept open, the receiver could never be opened again.
        closeReceiver();
    }
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::onStart()
{
    beginSession();
    if (m_receiver) {
        closeReceiver();
    }
    if (!openReceiver()) {
        return;
    }
    const int tuned = setReceiverFrequency(m_loFrequency);
    if (!m_library.succeeded(tuned)) {
        LOG_WARNING() << "Error set lo freq!";
        if (isLost()) {
            tell(QStringLiteral("Error set lo freq!") + QString::number(tuned));
        }
    }
    applySettings();
    if (isLost()) {
        if (isLossUntold()) {
            report("Error start rx!", m_library.lost);
        }
        onStop();
        return;
    }
    AbstractRadioDevice::onStart();
    // Unless someone has stopped the device already.
    if (running()) {
        m_gate.open(this);
    }
}

template <class Handle>
bool AirSpyFamilyDevice<Handle>::openReceiver()
{
    const auto close = [call = m_library.close.call](Handle* dev) { std::ignore = call(dev); };
    const int opened =
        m_receiver.open(m_library.open.name, m_library.open.call, m_info->identificator.toULongLong(), close);
    if (!m_library.succeeded(opened)) {
        report("Error open device!", opened);
        onStop();
        return false;
    }
    m_receiver.setRelease([stop = m_library.stop.call, close](Handle* dev) {
        std::ignore = stop(dev);
        close(dev);
    });
    return readSampleRates() && proceed(setReceiverRate(m_sampleRate), "Error set sample rate!") &&
           prepare() &&
           proceed(m_receiver.call(m_library.start.name, m_library.start.call, m_gate.begin()),
                   "Error start rx!");
}

template <class Handle>
bool AirSpyFamilyDevice<Handle>::readSampleRates()
{
    const auto ask = [this](std::uint32_t limit) {
        const auto rates = std::make_shared<AirSpyConversion::Rates>();
        const int result =
            m_receiver.ask(m_library.rates.name, [call = m_library.rates.call, rates, limit](Handle* dev) {
                return call(dev, rates->data(), limit);
            });
        return std::pair(result, rates);
    };
    const auto [counted, number] = ask(0);
    if (!proceed(counted, "Error get sample rates count!")) {
        return false;
    }
    const std::uint32_t count = std::min(number->front(), AirSpyConversion::kMaxRates);
    const auto [read, rates] = ask(count);
    if (!proceed(read, "Error get sample rates!")) {
        return false;
    }
    m_supportSampleRates = AirSpyConversion::rateTexts(*rates, count);
    // A rate of a million or more is printed with an exponent and never found.
    if (!m_supportSampleRates.isEmpty() &&
        !m_supportSampleRates.contains(QString::number(m_sampleRate, 'g', 6))) {
        AbstractRadioDevice::setSampleRate(m_supportSampleRates.constFirst().toDouble());
    }
    return true;
}

template <class Handle>
bool AirSpyFamilyDevice<Handle>::proceed(int result, const char* failure)
{
    if (m_library.succeeded(result)) {
        return true;
    }
    report(failure, result);
    if (m_receiver) {
        // The handle goes with it: a client's next write would reach freed memory.
        closeReceiver();
    }
    onStop();
    return false;
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::report(const char* text, int result)
{
    const QString message = QLatin1String(text) + QString::number(result);
    tell(message);
    LOG_WARNING() << message;
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::reportRetuning(const char* text, int result)
{
    LOG_LIMITED(LOG_WARNING()) << text << result;
    if (isLost()) {
        tell(QLatin1String(text) + QString::number(result));
    }
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::onStop()
{
    if (running() && m_receiver) {
        stopReceiver();
    }
    AbstractRadioDevice::onStop();
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::stopReceiver()
{
    m_gate.close();
    const auto close = [call = m_library.close.call](Handle* dev) { std::ignore = call(dev); };
    const int stopped = m_receiver.finish(m_library.stop.name, m_library.stop.call, close);
    if (!m_receiver) {
        return;
    }
    if (!m_library.succeeded(stopped)) {
        LOG_WARNING() << qPrintable(QLatin1String(m_library.stop.name) + QStringLiteral(" failed:"))
                      << stopped;
        if (!m_library.closesAfterFailedStop) {
            return;
        }
    }
    const int closed = closeReceiver();
    if (!isLost() && !m_library.succeeded(closed)) {
        LOG_WARNING() << "airspy_close failed:" << closed;
    }
}

template <class Handle>
int AirSpyFamilyDevice<Handle>::closeReceiver()
{
    const int closed = m_receiver.finish(m_library.close.name, m_library.close.call);
    m_receiver.forget();
    return closed;
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::deliverThrough(void* gate, const float* samples, int count)
{
    Gate::visit(gate, [samples, count](AirSpyFamilyDevice& device) { device.deliver(samples, count); });
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::deliver(const float* samples, int count)
{
    if (samples == nullptr || count < 0) {
        dropUnusableBlock();
        return;
    }
    if (count > AirSpyConversion::kMaxBlock) {
        dropLargeBlock(count);
        return;
    }
    if (count != blockSize()) {
        setBlockSize(count);
    }
    using AirSpyConversion::Order;
    const Order order = m_library.swapsIQ && swapIQ() ? Order::IThenQ : Order::QThenI;
    writeMade(count, [samples, order](DoubleComplex* made, int first, int n) {
        AirSpyConversion::convert(samples + std::ptrdiff_t{2} * first, n, order, made);
    });
}

// A value that the library can't be given fails as one that it refuses.
template <class Handle>
int AirSpyFamilyDevice<Handle>::setReceiverFrequency(double hertz)
{
    const auto value = AirSpyConversion::toHertz(hertz);
    return value ? m_receiver.call(m_library.setFrequency.name, m_library.setFrequency.call, *value)
                 : m_library.refused;
}

template <class Handle>
int AirSpyFamilyDevice<Handle>::setReceiverRate(double rate)
{
    const auto value = AirSpyConversion::toHertz(rate);
    return value ? m_receiver.call(m_library.setRate.name, m_library.setRate.call, *value)
                 : m_library.refused;
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::setSampleRate(double rate)
{
    if (isUsable(rate) && running() && m_receiver) {
        LOG_LIMITED(LOG_DEBUG()) << "set samplerate" << rate;
        const int result = setReceiverRate(rate);
        if (!m_library.succeeded(result)) {
            reportRetuning("Error set sample rate!", result);
        }
    }
    AbstractRadioDevice::setSampleRate(rate);
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::setFrequency(double hertz)
{
    if (isUsable(hertz) && running() && m_receiver) {
        const int result = setReceiverFrequency(hertz);
        if (!m_library.succeeded(result)) {
            reportRetuning("Error set frequency!", result);
        }
    }
    AbstractRadioDevice::setFrequency(hertz);
}

template class AirSpyFamilyDevice<airspy_device>;
template class AirSpyFamilyDevice<airspyhf_device>;
