#include "Core/RadioDevice/AbstractRadioDevice.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Worker/DspH/DspH.h"
#include "Core/Worker/ThreadManager.h"

#include <cmath>
#include <utility>

namespace
{

constexpr int kInCapacity = 262'144; // samples
constexpr int kOutCapacity = 65'536; // samples

constexpr double kInteger64Limit = 9'223'372'036'854'775'808.0; // 2^63

constexpr double kPerMillion = 1e6;
constexpr double kLowestSampleRate = 1.0; // Hz

} // namespace

AbstractRadioDevice::AbstractRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                                         std::chrono::milliseconds watchdogInterval)
    : Worker(parent)
    , IQSource(kInCapacity, watchdogInterval)
    , m_info(std::move(info))
    , m_outBuffer(QSharedPointer<RingBuffer<DoubleComplex>>::create(kOutCapacity))
{
    setNoDataCallback([this] { emit noData(); });
}

AbstractRadioDevice::~AbstractRadioDevice()
{
    // Not left to the parent: while the DspH stops it may still emit through this object.
    delete m_dspThread;
}

void AbstractRadioDevice::initDsp()
{
    auto* const dsp = new DspH;
    dsp->reset();
    m_dspThread = new ThreadManager(dsp, this);
    if (!m_dspThread->start(QThread::HighestPriority)) {
        return;
    }
    m_dsp = dsp;
    connect(m_dsp, &DspH::outSampleRateChanged, this, &AbstractRadioDevice::outSampleRateChanged);
    m_dsp->setBuffer(inBuffer(), QStringLiteral("in"));
    m_dsp->setBuffer(outBuffer(), QStringLiteral("out"));
}

void AbstractRadioDevice::onStart()
{
    m_dsp->setProperty("inSampleRate", sampleRate());
    m_dsp->start(false);
    startWatch();
    Worker::onStart();
}

void AbstractRadioDevice::onStop()
{
    if (running() && m_dsp != nullptr) {
        m_dsp->stop();
    }
    stopWatch();
    Worker::onStop();
}

bool AbstractRadioDevice::isFrequencySupported(double hertz) const
{
    return std::any_of(m_frequencyRanges.cbegin(), m_frequencyRanges.cend(),
                       [hertz](const auto& range) { return range.first <= hertz && hertz <= range.second; });
}

bool AbstractRadioDevice::isUsable(double value)
{
    return std::abs(value) < kInteger64Limit;
}

void AbstractRadioDevice::setSampleRate(double rate)
{
    if (!isUsable(rate)) {
        refuseSampleRate(rate);
        return;
    }
    m_sampleRate = rate;
    emit sampleRateChanged(rate);
    if (m_dsp != nullptr) {
        m_dsp->setProperty("inSampleRate", rate);
    }
}

void AbstractRadioDevice::writeSampleRate(double rate)
{
    if (rate < kLowestSampleRate) {
        refuseSampleRate(rate);
        return;
    }
    setSampleRate(rate);
}

void AbstractRadioDevice::refuseSampleRate(double rate)
{
    LOG_LIMITED(LOG_WARNING()) << "Error set sample rate - value refused!" << rate;
    emit sampleRateChanged(m_sampleRate);
}

void AbstractRadioDevice::resetSampleRate()
{
    setSampleRate(m_supportSampleRates.value(0).toDouble());
}

double AbstractRadioDevice::frequency() const
{
    return m_loFrequency - m_ppm * m_loFrequency / kPerMillion;
}

void AbstractRadioDevice::setFrequency(double hertz)
{
    storeFrequency(hertz);
}

bool AbstractRadioDevice::storeFrequency(double hertz)
{
    // A correction of 1,000,000 ppm leaves nothing to divide by.
    const double corrected = hertz / (1.0 - m_ppm / kPerMillion);
    if (!isUsable(hertz) || !isUsable(corrected)) {
        LOG_LIMITED(LOG_WARNING()) << "Error set frequency - value refused!" << hertz;
        emit frequencyChanged(m_loFrequency);
        return false;
    }
    m_askedFrequency = hertz;
    m_loFrequency = corrected;
    emit frequencyChanged(m_loFrequency);
    return true;
}

void AbstractRadioDevice::restored()
{
    // The frequency comes before the correction in the list of properties, so it was set without.
    if (m_ppm != 0.0) {
        setFrequency(m_askedFrequency);
    }
}

void AbstractRadioDevice::resetFrequency()
{
    const auto [minimum, maximum] = m_frequencyRanges.value(0);
    setFrequency(minimum + 0.5 * (maximum - minimum));
}

void AbstractRadioDevice::setIF(double ifFreq)
{
    if (!isUsable(ifFreq)) {
        LOG_LIMITED(LOG_WARNING()) << "Error set IF - value refused!" << ifFreq;
        return;
    }
    m_dsp->setProperty("ifFreq", ifFreq);
}

void AbstractRadioDevice::setupDspH(double preferredBandWidth, double aliasFreeBandWidth)
{
    if (!isUsable(preferredBandWidth) || !isUsable(aliasFreeBandWidth)) {
        LOG_LIMITED(LOG_WARNING()) << "Error setup dsph - value refused!" << preferredBandWidth
                                   << aliasFreeBandWidth;
        return;
    }
    m_dsp->setProperty("aliasFreeBandWidth", aliasFreeBandWidth);
    m_dsp->setProperty("preferredBandWidth", preferredBandWidth);
}

void AbstractRadioDevice::setLevelCorrection(double decibels)
{
    m_levelDb = decibels;
    m_levelFactor = std::pow(10.0, -decibels / 20.0);
}

void AbstractRadioDevice::resetLevelCorrection()
{
    m_levelDb = 0.0;
    m_levelFactor = 1.0;
}
