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
constexpr int kFrequencyChanged = 4;            // why the stream is set up anew
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

void RSP_CALL onSamples(short* xi, short* xq, unsigned /*firstSample*/, int /*gainChanged*/,
                        int /*frequencyChanged*/, int /*rateChanged*/, unsigned count, unsigned /*reset*/,
                        void* context)
{
    RspStream::deliver(context, xi, xq, count);
}

void RSP_CALL onGain(unsigned /*reductionDb*/, unsigned /*lnaReductionDb*/, void* /*context*/) {}

} // namespace

RspRadioDevice::RspRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                               std::chrono::milliseconds deadline, std::chrono::milliseconds watchdogInterval)
    : AbstractRadioDevice(std::move(info), parent, watchdogInterval)
    , m_library(RspLibrary::load())
    , m_ant(kAntennaA)
    , m_calls(deadline)
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
    const VendorCalls::Operation operation(m_calls);
    if (!libraryLoaded()) {
        m_library = RspLibrary::load();
    }
    m_streaming = true;
    ask("mir_sdr_SetDeviceIdx", [index = m_info->identificator.toUInt()](const RspLibrary& library) {
        return library.setDeviceIdx(index);
    });
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
    if (!libraryLoaded()) {
        m_lastError = RspApi::kLost;
        failStart();
        return;
    }
    AbstractRadioDevice::onStart();
    // The block is the library's thread's from here on, unless someone has stopped the device already.
    if (running()) {
        m_stream.open([this](const short* xi, const short* xq, unsigned count) { deliver(xi, xq, count); });
    }
}

qint32 RspRadioDevice::ask(const char* what, std::function<int(const RspLibrary&)> question)
{
    if (!libraryLoaded()) {
        return RspApi::kNotInstalled;
    }
    std::function<void()> late;
    if (m_streaming) {
        // What came of it is nobody's any more, unless another start has taken the library over since.
        late = [library = m_library, stream = m_stream, index = m_info->identificator.toUInt()] {
            if (!stream.isSuperseded()) {
                library.streamUninit();
                library.releaseDeviceIdx(index);
            }
        };
    }
    const auto result = m_calls.run(
        QLatin1String(what),
        [question = std::move(question), library = m_library] { return question(library); }, std::move(late));
    if (!result) {
        m_library = {};
        m_stream.close();
    }
    return result.value_or(RspApi::kLost);
}

void RspRadioDevice::failStart()
{
    const QString text = QStringLiteral("Error start RSP device ...") + QString::number(m_lastError);
    emit errorHappen(text);
    LOG_LIMITED(LOG_WARNING()) << text;
    onStop();
}

qint32 RspRadioDevice::initStream(int& samplesPerPacket)
{
    const auto samples = std::make_shared<int>(0);
    void* const context = m_stream.begin();
    const qint32 result = ask("mir_sdr_StreamInit", [samples, context, rate = sampleRate() / kPerMega,
                                                     hertz =
                                                         frequency() / kPerMega](const RspLibrary& library) {
        int reductionDb = kGainReductionDb;
        int systemReductionDb = kGainReductionDb;
        return library.streamInit(&reductionDb, rate, hertz, kBandwidthType, kIfType, kLnaState,
                                  &systemReductionDb, kGainMode, samples.get(), &onSamples, &onGain, context);
    });
    if (result == 0) {
        samplesPerPacket = *samples;
    }
    return result;
}

void RspRadioDevice::onStop()
{
    endStream();
    AbstractRadioDevice::onStop();
}

void RspRadioDevice::endStream()
{
    m_stream.close();
    m_streaming = false;
    if (!libraryLoaded()) {
        return;
    }
    const auto ended = m_calls.run(QStringLiteral("mir_sdr_StreamUninit, mir_sdr_ReleaseDeviceIdx"),
                                   [library = m_library, index = m_info->identificator.toUInt()] {
                                       library.streamUninit();
                                       library.releaseDeviceIdx(index);
                                       return 0;
                                   });
    if (!ended) {
        m_library = {};
    }
}

void RspRadioDevice::deliver(const short* xi, const short* xq, unsigned count)
{
    if (xi == nullptr || xq == nullptr || count == 0 || count > static_cast<unsigned>(inBuffer()->capacity)) {
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
        emit errorHappen(text);
        LOG_LIMITED(LOG_WARNING()) << text;
    }
}
