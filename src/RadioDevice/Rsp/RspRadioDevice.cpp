#include "RadioDevice/Rsp/RspRadioDevice.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "RadioDevice/Rsp/RspConversion.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{

constexpr double kSampleRate = 2'048'000.0; // Hz
constexpr double kMinFrequency = 1'000'000.0;
constexpr double kMaxFrequency = 2'000'000'000.0;
constexpr int kBlockSize = 1344; // samples, until the library delivers another number
constexpr double kPerMega = 1e6;

// What the library is asked for, in its own numbers.
constexpr int kGainReductionDb = 40;
constexpr int kBandwidthType = 1536; // kHz
constexpr int kIfType = 0;           // zero IF
constexpr int kLoMode = 0;
constexpr int kLnaState = 0;
constexpr int kGainMode = 2;
constexpr int kFrequencyChanged = 4;            // why the stream is set up again
constexpr unsigned kSyncUpdatePeriod = 682'666; // samples, a third of a second
constexpr int kAbsolute = 1;
constexpr int kNotSynchronous = 0;

constexpr int kAntennaA = 5;
constexpr int kAntennaB = 6;

// Upper limits of bands 1 to 6 in hertz, not included.
constexpr std::array kBandLimits{60e6, 120e6, 250e6, 420e6, 1000e6, 2000e6};

/// The receiver's band, only to tell whether two frequencies share one; -1 above all of them.
int band(double hertz)
{
    const auto* const limit = std::upper_bound(kBandLimits.cbegin(), kBandLimits.cend(), hertz);
    return limit == kBandLimits.cend() ? -1 : static_cast<int>(limit - kBandLimits.cbegin()) + 1;
}

void onSamples(short* xi, short* xq, unsigned /*firstSample*/, int /*gainChanged*/, int /*frequencyChanged*/,
               int /*rateChanged*/, unsigned count, unsigned /*reset*/, void* context)
{
    DeliveryGate<RspRadioDevice>::visit(context,
                                        [=](RspRadioDevice& device) { device.deliver(xi, xq, count); });
}

void onGain(unsigned /*reductionDb*/, unsigned /*lnaReductionDb*/, void* /*context*/) {}

} // namespace

RspRadioDevice::RspRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                               const LibraryDeadlines& deadlines, std::chrono::milliseconds watchdogInterval)
    : VendorRadioDevice(std::move(info), parent, watchdogInterval)
    , m_library(RspLibrary::load())
    , m_ant(kAntennaA)
    , m_thread(LibraryThread::of(library()))
    , m_deadlines(deadlines)
{
    m_supportSampleRates = QStringList{QStringLiteral("2048000")};
    m_sampleRate = kSampleRate;
    m_frequencyRanges.append({kMinFrequency, kMaxFrequency});
    m_supportFrequencies = QStringList{QStringLiteral("1000"), QStringLiteral("2000000")};
    m_loFrequency = kMinFrequency + 0.5 * (kMaxFrequency - kMinFrequency);
    setBlockSize(kBlockSize);
    initDsp();
}

RspRadioDevice::~RspRadioDevice()
{
    if (m_streaming) {
        endStream();
    }
}

void RspRadioDevice::onStart()
{
    beginSession();
    if (!selectReceiver()) {
        failStart();
        return;
    }
    ask("mir_sdr_DebugEnable", [](const RspLibrary& library) { return library.debugEnable(1); });
    ask("mir_sdr_DCoffsetIQimbalanceControl",
        [](const RspLibrary& library) { return library.dcOffsetIqImbalanceControl(1, 0); });
    int samplesPerPacket = 0;
    m_lastError = initStream(samplesPerPacket);
    if (m_lastError != 0) {
        failStart();
        return;
    }
    ask("mir_sdr_SetSyncUpdatePeriod",
        [](const RspLibrary& library) { return library.setSyncUpdatePeriod(kSyncUpdatePeriod); });
    ask("mir_sdr_SetSyncUpdateSampleNum", [samplesPerPacket](const RspLibrary& library) {
        return library.setSyncUpdateSampleNum(static_cast<unsigned>(samplesPerPacket));
    });
    if (isLost()) {
        m_lastError = RspApi::kLost;
        failStart();
        return;
    }
    AbstractRadioDevice::onStart();
    // The block is the library's thread's from here on, unless someone has stopped the device already.
    if (running()) {
        m_gate.open(this);
    }
}

LibraryThread::Answer RspRadioDevice::make(const char* what, std::function<int(const RspLibrary&)> question,
                                           std::chrono::milliseconds deadline)
{
    return m_thread.ask(
        what, [question = std::move(question), library = m_library] { return question(library); }, deadline);
}

// The result is ignored, but for one that isn't back in time.
bool RspRadioDevice::selectReceiver()
{
    if (!libraryLoaded()) {
        return true; // and the stream fails
    }
    const auto [outcome, result] = make(
        "mir_sdr_SetDeviceIdx",
        [index = m_info->identificator.toUInt()](const RspLibrary& library) {
            return library.setDeviceIdx(index);
        },
        m_deadlines.open);
    // What has never begun needs no end.
    m_streaming = outcome != LibraryThread::Outcome::NotMade;
    if (outcome == LibraryThread::Outcome::Back) {
        return true;
    }
    m_lastError = RspApi::kLost;
    lose();
    return false;
}

qint32 RspRadioDevice::ask(const char* what, std::function<int(const RspLibrary&)> question)
{
    return ask(what, std::move(question), m_deadlines.call);
}

qint32 RspRadioDevice::ask(const char* what, std::function<int(const RspLibrary&)> question,
                           std::chrono::milliseconds deadline)
{
    if (!libraryLoaded()) {
        return RspApi::kNotInstalled;
    }
    if (isLost() && state() != STOPPED) {
        return RspApi::kLost;
    }
    const auto [outcome, result] = make(what, std::move(question), deadline);
    if (outcome == LibraryThread::Outcome::Back) {
        return result;
    }
    lose();
    return RspApi::kLost;
}

void RspRadioDevice::lose()
{
    loseSession();
    if (m_streaming) {
        endStream();
    }
}

void RspRadioDevice::failStart()
{
    const QString text = QStringLiteral("Error start RSP device ...") + QString::number(m_lastError);
    tell(text);
    LOG_LIMITED(LOG_WARNING()) << text;
    onStop();
}

qint32 RspRadioDevice::initStream(int& samplesPerPacket)
{
    const auto samples = std::make_shared<int>(0);
    const auto start = [samples, context = m_gate.begin(), rate = sampleRate() / kPerMega,
                        hertz = frequency() / kPerMega](const RspLibrary& library) {
        int reductionDb = kGainReductionDb;
        int systemReductionDb = kGainReductionDb;
        return library.streamInit(&reductionDb, rate, hertz, kBandwidthType, kIfType, kLnaState,
                                  &systemReductionDb, kGainMode, samples.get(), &onSamples, &onGain, context);
    };
    const qint32 result = ask("mir_sdr_StreamInit", start, m_deadlines.open);
    if (result == 0) {
        samplesPerPacket = *samples;
    }
    return result;
}

void RspRadioDevice::onStop()
{
    // Of a session that is lost the end is asked for already.
    if (!isLost()) {
        endStream();
    }
    AbstractRadioDevice::onStop();
}

void RspRadioDevice::endStream()
{
    m_gate.close();
    m_streaming = false;
    if (!libraryLoaded()) {
        return;
    }
    m_thread.finish("mir_sdr_StreamUninit", m_library.streamUninit, m_deadlines.call);
    m_thread.finish(
        "mir_sdr_ReleaseDeviceIdx",
        [release = m_library.releaseDeviceIdx, index = m_info->identificator.toUInt()] {
            return release(index);
        },
        m_deadlines.call);
}

void RspRadioDevice::deliver(const short* xi, const short* xq, unsigned count)
{
    if (xi == nullptr || xq == nullptr) {
        dropUnusableBlock();
        return;
    }
    if (count > static_cast<unsigned>(inBuffer()->capacity)) {
        dropLargeBlock(count);
        return;
    }
    const int samples = static_cast<int>(count);
    if (samples != blockSize()) {
        setBlockSize(samples);
    }
    writeMade(samples, [xi, xq](DoubleComplex* made, int first, int n) {
        convertRsp(xi + first, xq + first, n, made);
    });
}

void RspRadioDevice::setFrequency(double hertz)
{
    if (isUsable(hertz)) {
        m_lastError = retune(hertz);
        if (m_lastError != 0) {
            LOG_LIMITED(LOG_WARNING()) << "Error set rsp lo frequency" << m_lastError;
            if (isLost()) {
                tell(QStringLiteral("Error set rsp lo frequency ") + QString::number(m_lastError));
            }
            return;
        }
    }
    AbstractRadioDevice::setFrequency(hertz);
}

qint32 RspRadioDevice::retune(double hertz)
{
    if (band(hertz) == band(frequency())) {
        return ask("mir_sdr_SetRf", [hertz](const RspLibrary& library) {
            return library.setRf(hertz, kAbsolute, kNotSynchronous);
        });
    }
    return ask("mir_sdr_Reinit", [hertz](const RspLibrary& library) {
        int reductionDb = kGainReductionDb;
        int systemReductionDb = 0;
        int samplesPerPacket = 0;
        return library.reinit(&reductionDb, kSampleRate / kPerMega, hertz / kPerMega, kBandwidthType, kIfType,
                              kLoMode, kLnaState, &systemReductionDb, kGainMode, &samplesPerPacket,
                              kFrequencyChanged);
    });
}

void RspRadioDevice::setAnt(int ant)
{
    m_ant = ant == kAntennaA || ant == kAntennaB ? ant : kAntennaA;
    emit antChanged(m_ant);
    m_lastError = ask("mir_sdr_RSPII_AntennaControl",
                      [ant = m_ant](const RspLibrary& library) { return library.antennaControl(ant); });
    if (m_lastError != 0) {
        const QString text = QStringLiteral("Error select antenna port ...") + QString::number(m_lastError);
        tell(text);
        LOG_LIMITED(LOG_WARNING()) << text;
    }
}
