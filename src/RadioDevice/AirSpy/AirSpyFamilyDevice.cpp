#include "RadioDevice/AirSpy/AirSpyFamilyDevice.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "RadioDevice/AirSpy/AirSpyConversion.h"

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
                                               const Library& library, std::chrono::milliseconds deadline,
                                               std::chrono::milliseconds watchdogInterval)
    : AbstractRadioDevice(std::move(info), parent, watchdogInterval)
    , m_receiver(deadline, library.lost,
                 [this] {
                     if (m_gate != nullptr) {
                         m_gate->close();
                     }
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
    const auto operation = m_receiver.operation();
    if (m_receiver) {
        closeReceiver();
    }
    if (!openReceiver()) {
        return;
    }
    if (!m_library.succeeded(setReceiverFrequency(m_loFrequency))) {
        LOG_WARNING() << "Error set lo freq!";
    }
    applySettings();
    if (!m_receiver) {
        report("Error start rx!", m_library.lost);
        onStop();
        return;
    }
    AbstractRadioDevice::onStart();
    if (running()) {
        m_gate->open();
    }
}

template <class Handle>
bool AirSpyFamilyDevice<Handle>::openReceiver()
{
    const auto close = m_library.close.call;
    const int opened =
        m_receiver.open(m_library.open.name, m_library.open.call, m_info->identificator.toULongLong(),
                        [close](Handle* dev) { std::ignore = close(dev); });
    if (!m_library.succeeded(opened)) {
        report("Error open device!", opened);
        onStop();
        return false;
    }
    m_gate = std::make_shared<Gate>(this);
    m_receiver.setRelease([library = m_library, gate = m_gate](Handle* dev) {
        library.stop.call(dev);
        if (!library.succeeded(library.close.call(dev))) {
            Gate::leaveBehind(gate);
        }
    });
    return readSampleRates() && proceed(setReceiverRate(m_sampleRate), "Error set sample rate!") &&
           prepare() &&
           proceed(m_receiver.ask(m_library.start.name, [start = m_library.start.call, gate = m_gate](
                                                            Handle* dev) { return start(dev, gate.get()); }),
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
    emit errorHappen(message);
    LOG_WARNING() << message;
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
    struct Results
    {
        int stop = 0;
        int close = 0;
        bool closed = false;
    };
    const auto operation = m_receiver.operation();
    const auto results = std::make_shared<Results>();
    m_gate->close();
    const bool back =
        m_receiver.finish(m_library.stopAndClose, [library = m_library, gate = m_gate, results](Handle* dev) {
            results->stop = library.stop.call(dev);
            results->closed = library.succeeded(results->stop) || library.closesAfterFailedStop;
            if (results->closed) {
                results->close = library.close.call(dev);
            }
        });
    if (!back) {
        return;
    }
    if (!m_library.succeeded(results->stop)) {
        LOG_WARNING() << qPrintable(QLatin1String(m_library.stop.name) + QStringLiteral(" failed:"))
                      << results->stop;
    }
    if (!results->closed) {
        return;
    }
    m_receiver.forget();
    if (!m_library.succeeded(results->close)) {
        LOG_WARNING() << "airspy_close failed:" << results->close;
        Gate::leaveBehind(m_gate);
    }
}

// The end of a start that failed, or of a receiver that a failed stop left open.
template <class Handle>
void AirSpyFamilyDevice<Handle>::closeReceiver()
{
    const auto result = std::make_shared<int>(0);
    const bool back =
        m_receiver.finish(m_library.close.name, [close = m_library.close.call, gate = m_gate,
                                                 result](Handle* dev) { *result = close(dev); });
    m_receiver.forget();
    if (back && !m_library.succeeded(*result)) {
        Gate::leaveBehind(m_gate);
    }
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::deliverThrough(void* gate, const float* samples, int count)
{
    if (gate != nullptr) {
        if (const auto device = static_cast<Gate*>(gate)->enter()) {
            device->deliver(samples, count);
        }
    }
}

template <class Handle>
void AirSpyFamilyDevice<Handle>::deliver(const float* samples, int count)
{
    if (samples == nullptr || count <= 0 || count > AirSpyConversion::kMaxBlock) {
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
            LOG_LIMITED(LOG_WARNING()) << "Error set sample rate!" << result;
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
            LOG_LIMITED(LOG_WARNING()) << "Error set frequency!" << result;
        }
    }
    AbstractRadioDevice::setFrequency(hertz);
}

template class AirSpyFamilyDevice<airspy_device>;
template class AirSpyFamilyDevice<airspyhf_device>;
