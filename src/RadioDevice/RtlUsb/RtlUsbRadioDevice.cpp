#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "RadioDevice/RtlUsb/RtlUsbConversion.h"
#include "RadioDevice/RtlUsb/RtlUsbFormat.h"
#include "RadioDevice/Vendor/UsbHolders.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <rtl-sdr.h>
#include <utility>

namespace
{

constexpr double kDefaultSampleRate = 2'048'000.0; // Hz
constexpr double kDefaultFrequency = 100'000'000.0;

// Tuner type as the library numbers it -> lowest frequency it tunes to, hertz.
constexpr std::array<qint32, 7> kTunerMinFrequency{0,           52'000'000, 22'000'000, 22'000'000,
                                                   146'000'000, 24'000'000, 24'000'000};
constexpr qint32 kUnknownMinFrequency = 50'000'000;      // of a tuner that is not in the table
constexpr qint32 kDirectMinFrequency = 500'000;          // without a tuner in the way
constexpr double kMaxFrequency = 2'200'000'000.0;        // Hz
constexpr const char* kMaxFrequencyKhz = "2200000";      // the same, for the client's list
constexpr const char* kUnknownMinFrequencyKhz = "50000"; // of kUnknownMinFrequency

constexpr int kBlockSize = 32'768; // samples of a buffer
constexpr int kBytesPerSample = 2;

// Truncated, and held to what the library's calls take.
quint32 toHertz(double hertz)
{
    return static_cast<quint32>(std::clamp(hertz, 0.0, double{std::numeric_limits<quint32>::max()}));
}

QString sampleRateError(double rate)
{
    return QStringLiteral("Error set sampleRate! ") + QString::number(rate, 'g', 6);
}

// Result of a call that isn't back in time: a failure, as each that isn't 0 is.
constexpr int kLost = -1;
constexpr int kBusy = -6; // LIBUSB_ERROR_BUSY, which rtlsdr_open passes on

void closeDongle(rtlsdr_dev* dev)
{
    rtlsdr_close(dev);
}

} // namespace

RtlUsbRadioDevice::RtlUsbRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                                     const LibraryDeadlines& deadlines,
                                     std::chrono::milliseconds watchdogInterval)
    : VendorRadioDevice(std::move(info), parent, watchdogInterval)
    , m_receiver(LibraryThread::of(library()), deadlines, kLost, [this] {
        m_gate.close();
        loseSession();
    })
{
    initDsp();
    for (const char* rate : {"3200000", "2880000", "2400000", "2048000", "1800000", "1600000", "1152000",
                             "1024000", "960000", "300000", "250000"}) {
        m_supportSampleRates.append(QLatin1String(rate));
    }
    m_frequencyRanges.append({kUnknownMinFrequency, kMaxFrequency});
    // Clients know the list of a dongle that was never started with these two limits at its end.
    m_supportSampleRates.append(QLatin1String(kUnknownMinFrequencyKhz));
    m_supportSampleRates.append(QLatin1String(kMaxFrequencyKhz));
}

RtlUsbRadioDevice::~RtlUsbRadioDevice()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
    stopReading();
}

void RtlUsbRadioDevice::onStart()
{
    LOG_DEBUG() << "Start rtlsdr dongle #" << m_info->identificator << "...";
    beginSession();
    const QString openError = QStringLiteral("Error open device #") + m_info->identificator;
    const int opened = m_receiver.open("rtlsdr_open", &rtlsdr_open,
                                       static_cast<quint32>(m_info->identificator.toInt()), &closeDongle);
    if (opened != 0) {
        failStart(openError);
        if (opened == kBusy) {
            LOG_LIMITED(LOG_INFO()) << "The receiver is" << UsbHolders::describe();
        }
        return;
    }
    if (setReceiverRate(sampleRate()) != 0) {
        failStart(sampleRateError(sampleRate()));
        return;
    }
    m_tunerType = m_receiver.ask("rtlsdr_get_tuner_type",
                                 [](rtlsdr_dev* dev) { return int{rtlsdr_get_tuner_type(dev)}; });
    LOG_DEBUG() << "rtl type " << m_tunerType;
    if (isTunerKnown()) {
        LOG_DEBUG() << "min freq:" << kTunerMinFrequency.at(static_cast<std::size_t>(m_tunerType));
    }
    setSamplingMode(m_samplingMode);
    // What is corrected already is corrected once more by each start.
    setFrequency(m_loFrequency);
    setRtlAgc(m_rtlAgc);
    setTunerAgc(m_tunerAgc);
    setTunerGain(m_tunerGain);
    m_receiver.call("rtlsdr_reset_buffer", &rtlsdr_reset_buffer);
    if (isLost()) {
        failStart(isLossUntold() ? openError : QString());
        return;
    }
    setBlockSize(kBlockSize);
    if (!startReading()) {
        failStart(openError);
        return;
    }
    AbstractRadioDevice::onStart();
    // Unless someone has stopped the device already.
    if (running()) {
        m_gate.open(this);
    }
}

bool RtlUsbRadioDevice::startReading()
{
    m_readThread =
        std::make_shared<CRTL_SDR_Thread>(m_receiver.handle(), m_gate.begin(), kBytesPerSample * kBlockSize);
    if (!m_readThread->isStarted()) {
        m_readThread.reset();
        closeReceiver();
        return false;
    }
    m_receiver.setRelease([thread = m_readThread](rtlsdr_dev* dev) {
        thread->end();
        rtlsdr_close(dev);
    });
    return true;
}

void RtlUsbRadioDevice::onStop()
{
    const bool wasRunning = running();
    AbstractRadioDevice::onStop();
    if (wasRunning) {
        stopReading();
    }
}

void RtlUsbRadioDevice::stopReading()
{
    m_gate.close();
    const auto thread = std::exchange(m_readThread, nullptr);
    if (thread == nullptr || !m_receiver) {
        return;
    }
    const auto end = [thread](rtlsdr_dev* /*dev*/) {
        thread->end();
        return 0;
    };
    m_receiver.finish("rtlsdr_cancel_async", end, &closeDongle);
    closeReceiver();
}

void RtlUsbRadioDevice::closeReceiver()
{
    m_receiver.finish("rtlsdr_close", &rtlsdr_close);
    m_receiver.forget();
}

void RtlUsbRadioDevice::failStart(const QString& text)
{
    if (!text.isEmpty()) {
        tell(text);
        LOG_WARNING() << text;
    }
    onStop();
}

void RtlUsbRadioDevice::onRead(const unsigned char* buffer, quint32 length)
{
    if (buffer == nullptr) {
        dropUnusableBlock();
        return;
    }
    if (length / kBytesPerSample > static_cast<quint32>(inBuffer()->capacity)) {
        dropLargeBlock(length / kBytesPerSample);
        return;
    }
    const int samples = static_cast<int>(length) / kBytesPerSample;
    if (kBytesPerSample * blockSize() != static_cast<int>(length)) {
        setBlockSize(samples);
    }
    if (!running()) {
        return;
    }
    const auto convert = RtlUsbFormat::offsetBinary ? convertRtlUsbOffset : convertRtlUsb;
    writeMade(samples, [buffer, convert, swapped = swapIQ()](DoubleComplex* made, int first, int count) {
        convert(buffer + std::ptrdiff_t{kBytesPerSample} * first, count, swapped, made);
    });
}

void RtlUsbRadioDevice::setSampleRate(double rate)
{
    AbstractRadioDevice::setSampleRate(rate);
    if (isUsable(rate) && running() && m_receiver && setReceiverRate(rate) != 0) {
        reportSetter(sampleRateError(rate));
    }
}

int RtlUsbRadioDevice::setReceiverRate(double rate)
{
    return m_receiver.call("rtlsdr_set_sample_rate", &rtlsdr_set_sample_rate, toHertz(rate));
}

void RtlUsbRadioDevice::resetSampleRate()
{
    setSampleRate(kDefaultSampleRate);
}

void RtlUsbRadioDevice::setFrequency(double hertz)
{
    if (!isFrequencySupported(hertz)) {
        AbstractRadioDevice::setFrequency(m_loFrequency);
        return;
    }
    if (m_receiver &&
        m_receiver.call("rtlsdr_set_center_freq", &rtlsdr_set_center_freq, toHertz(hertz)) != 0) {
        LOG_LIMITED(LOG_WARNING()) << "Error set RTLSDR LO " << hertz;
        if (isLost()) {
            tell(QStringLiteral("Error set RTLSDR LO ") + QString::number(hertz, 'g', 6));
        }
        AbstractRadioDevice::setFrequency(m_loFrequency);
        return;
    }
    AbstractRadioDevice::setFrequency(hertz);
}

void RtlUsbRadioDevice::resetFrequency()
{
    setFrequency(kDefaultFrequency);
}

bool RtlUsbRadioDevice::isTunerKnown() const
{
    return m_tunerType > 0 && m_tunerType < static_cast<int>(kTunerMinFrequency.size());
}

void RtlUsbRadioDevice::setSamplingMode(int mode)
{
    m_samplingMode = mode;
    if (!m_receiver) {
        return;
    }
    if (m_receiver.call("rtlsdr_set_direct_sampling", &rtlsdr_set_direct_sampling, mode) != 0) {
        reportSetter(QStringLiteral("Error set sampling mpde = %1!").arg(mode));
    }
    qint32 lowest = kUnknownMinFrequency;
    if (isTunerKnown()) {
        lowest =
            mode >= 1 ? kDirectMinFrequency : kTunerMinFrequency.at(static_cast<std::size_t>(m_tunerType));
    }
    m_frequencyRanges = {qMakePair(static_cast<double>(lowest), kMaxFrequency)};
    m_supportFrequencies = QStringList{QString::number(lowest / 1000), QLatin1String(kMaxFrequencyKhz)};
    if (!isFrequencySupported(m_loFrequency)) {
        resetFrequency();
    }
}

void RtlUsbRadioDevice::setRtlPpm(int ppm)
{
    m_rtlPpm = ppm != 0;
    if (m_receiver && m_receiver.call("rtlsdr_set_freq_correction", &rtlsdr_set_freq_correction, ppm) != 0) {
        reportSetter(QStringLiteral("Error set correction ppm = %1!").arg(ppm));
    }
}

void RtlUsbRadioDevice::setOffsetTuning(bool offsetTuning)
{
    m_offsetTuning = offsetTuning;
    if (m_receiver &&
        m_receiver.call("rtlsdr_set_offset_tuning", &rtlsdr_set_offset_tuning, offsetTuning ? 1 : 0) != 0) {
        reportSetter(QStringLiteral("Error set offset tuning = %1!").arg(offsetTuning ? 1 : 0));
    }
}

void RtlUsbRadioDevice::setRtlAgc(bool rtlAgc)
{
    m_rtlAgc = rtlAgc;
    if (m_receiver && m_receiver.call("rtlsdr_set_agc_mode", &rtlsdr_set_agc_mode, rtlAgc ? 1 : 0) != 0) {
        reportSetter(QStringLiteral("Error RTLUSB set agc rtl2832!"));
    }
}

void RtlUsbRadioDevice::setTunerAgc(bool tunerAgc)
{
    m_tunerAgc = tunerAgc;
    if (m_receiver &&
        m_receiver.call("rtlsdr_set_tuner_gain_mode", &rtlsdr_set_tuner_gain_mode, tunerAgc ? 1 : 0) != 0) {
        reportSetter(QStringLiteral("Error RTLUSB set agc tuner!"));
    }
}

void RtlUsbRadioDevice::setTunerGain(int tunerGain)
{
    m_tunerGain = tunerGain;
    if (m_tunerAgc || !m_receiver) {
        return;
    }
    LOG_LIMITED(LOG_DEBUG()) << "set tuner gain" << tunerGain;
    if (m_receiver.call("rtlsdr_set_tuner_gain", &rtlsdr_set_tuner_gain, tunerGain) != 0) {
        reportSetter(QStringLiteral("Error set tuner gain = %1!").arg(tunerGain));
    }
}

void RtlUsbRadioDevice::reportSetter(const QString& text)
{
    tell(text);
    LOG_LIMITED(LOG_WARNING()) << text;
}
