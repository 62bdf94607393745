// The fake of the RSP receivers' library, held to the driver's own declarations. Keys of its own, besides
// those of FakeScript.h:
//   rsp.version       the version that it reports; 2.1 without it
//   rsp.devices       how many receivers it says it has, whatever it fills in
//   rsp.packet        samples of a packet, 1344 without it
//   rsp.count         what a callback gives as its number of samples, whatever it holds
//   rsp.null          i, q: a callback without those samples
//   rsp.late          1: a stream goes on after its end, and writes down "late callback"; the end of one
//                     without this ends them all
//   rsp.tell          1: every callback that has come back is written down as "callback"
// Without the receiver nothing is listed and the stream falls silent; every call goes on succeeding.

#include "FakeCall.h"
#include "FakeDelivery.h"
#include "FakeLog.h"
#include "FakeScript.h"
#include "RadioDevice/Rsp/RspApi.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

extern "C" {
RspApi::ApiVersion mir_sdr_ApiVersion;
RspApi::GetDevices mir_sdr_GetDevices;
RspApi::SetDeviceIdx mir_sdr_SetDeviceIdx;
RspApi::ReleaseDeviceIdx mir_sdr_ReleaseDeviceIdx;
RspApi::DebugEnable mir_sdr_DebugEnable;
RspApi::DCoffsetIQimbalanceControl mir_sdr_DCoffsetIQimbalanceControl;
RspApi::StreamInit mir_sdr_StreamInit;
RspApi::StreamUninit mir_sdr_StreamUninit;
RspApi::Reinit mir_sdr_Reinit;
RspApi::SetRf mir_sdr_SetRf;
RspApi::SetSyncUpdatePeriod mir_sdr_SetSyncUpdatePeriod;
RspApi::SetSyncUpdateSampleNum mir_sdr_SetSyncUpdateSampleNum;
RspApi::AntennaControl mir_sdr_RSPII_AntennaControl;
}

namespace
{

constexpr int kMaxHeld = 65'536; // samples; a callback may say that it holds more

/// Does one stream's calling back.
struct Stream
{
    RspApi::StreamCallback* callback;
    void* context;
    std::atomic<bool> ended{false};
    unsigned position = 0;
    std::vector<short> xi;
    std::vector<short> xq;
    FakeDelivery delivery;

    void deliver(FakeSource& source, int count, double rate)
    {
        const std::vector<FakeSource::Sample>& samples = source.next(std::clamp(count, 0, kMaxHeld), rate);
        xi.resize(samples.size());
        xq.resize(samples.size());
        for (std::size_t n = 0; n < samples.size(); ++n) {
            xi[n] = value(samples[n].i, source.isCounter());
            xq[n] = value(samples[n].q, source.isCounter());
        }
        const std::string missing = FakeScript::text("rsp.null", "");
        const auto told = static_cast<unsigned>(FakeScript::number("rsp.count", count));
        callback(missing == "i" ? nullptr : xi.data(), missing == "q" ? nullptr : xq.data(), position, 0, 0,
                 0, told, 0, context);
        if (ended) {
            FakeLog::line("late callback");
        } else if (FakeScript::flag("rsp.tell")) {
            FakeLog::line("callback");
        }
        position += static_cast<unsigned>(samples.size());
    }

    /// A count is cut to 16 bits, what lies within -1 to 1 takes up all of them.
    static short value(double sample, bool isCounter)
    {
        return static_cast<short>(isCounter ? static_cast<std::uint16_t>(static_cast<long long>(sample))
                                            : std::lround(sample * 32'767.0));
    }
};

/// The present stream is the last; those before it go on after their end.
class Streams
{
public:
    static Streams& instance()
    {
        static auto& streams = *new Streams;
        return streams;
    }

    void start(RspApi::StreamCallback* callback, void* context, double rate, int packet)
    {
        auto stream = std::make_unique<Stream>();
        stream->callback = callback;
        stream->context = context;
        stream->delivery.start(rate, packet, [stream = stream.get()](auto& source, int count, double actual) {
            stream->deliver(source, count, actual);
        });
        const std::lock_guard lock(m_mutex);
        m_streams.push_back(std::move(stream));
    }

    void end(bool late)
    {
        const std::lock_guard lock(m_mutex);
        if (!late) {
            m_streams.clear();
        } else if (!m_streams.empty()) {
            m_streams.back()->ended = true;
        }
    }

private:
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Stream>> m_streams;
};

} // namespace

int mir_sdr_ApiVersion(float* version)
{
    *version = static_cast<float>(FakeScript::real("rsp.version", 2.1));
    return FakeCall("mir_sdr_ApiVersion").result(0);
}

int mir_sdr_GetDevices(RspApi::Device* devices, unsigned* count, unsigned maxCount)
{
    static char serial[] = "B0123456";
    static char name[] = "RSP";
    const auto present =
        FakeScript::flag("unplug") ? 0U : static_cast<unsigned>(FakeScript::number("devices", 1));
    for (unsigned n = 0; n < std::min(present, maxCount); ++n) {
        devices[n] = {serial, name, 2};
    }
    *count = static_cast<unsigned>(FakeScript::number("rsp.devices", present));
    return FakeCall("mir_sdr_GetDevices", maxCount).result(0);
}

int mir_sdr_SetDeviceIdx(unsigned index)
{
    return FakeCall("mir_sdr_SetDeviceIdx", index).result(0);
}

int mir_sdr_ReleaseDeviceIdx(unsigned index)
{
    return FakeCall("mir_sdr_ReleaseDeviceIdx", index).result(0);
}

int mir_sdr_DebugEnable(unsigned enable)
{
    return FakeCall("mir_sdr_DebugEnable", enable).result(0);
}

int mir_sdr_DCoffsetIQimbalanceControl(unsigned dcCorrection, unsigned iqCorrection)
{
    return FakeCall("mir_sdr_DCoffsetIQimbalanceControl", dcCorrection, iqCorrection).result(0);
}

int mir_sdr_StreamInit(int* reductionDb, double rateMHz, double frequencyMHz, int bandwidthType, int ifType,
                       int lnaState, int* systemReductionDb, int gainMode, int* samplesPerPacket,
                       RspApi::StreamCallback* onSamples, RspApi::GainCallback* onGain, void* context)
{
    const int packet = static_cast<int>(FakeScript::number("rsp.packet", 1344));
    const int result = FakeCall("mir_sdr_StreamInit", *reductionDb, rateMHz, frequencyMHz, bandwidthType,
                                ifType, lnaState, *systemReductionDb, gainMode)
                           .result(0);
    if (result != 0) {
        return result;
    }
    *samplesPerPacket = packet;
    onGain(static_cast<unsigned>(*reductionDb), 0, context);
    Streams::instance().start(onSamples, context, rateMHz * 1e6, packet);
    return result;
}

int mir_sdr_StreamUninit()
{
    Streams::instance().end(FakeScript::flag("rsp.late"));
    return FakeCall("mir_sdr_StreamUninit").result(0);
}

int mir_sdr_Reinit(int* reductionDb, double rateMHz, double frequencyMHz, int bandwidthType, int ifType,
                   int loMode, int lnaState, int* systemReductionDb, int gainMode, int* samplesPerPacket,
                   int reason)
{
    *systemReductionDb = *reductionDb;
    *samplesPerPacket = static_cast<int>(FakeScript::number("rsp.packet", 1344));
    return FakeCall("mir_sdr_Reinit", *reductionDb, rateMHz, frequencyMHz, bandwidthType, ifType, loMode,
                    lnaState, gainMode, reason)
        .result(0);
}

int mir_sdr_SetRf(double hertz, int absolute, int synchronous)
{
    return FakeCall("mir_sdr_SetRf", hertz, absolute, synchronous).result(0);
}

int mir_sdr_SetSyncUpdatePeriod(unsigned samples)
{
    return FakeCall("mir_sdr_SetSyncUpdatePeriod", samples).result(0);
}

int mir_sdr_SetSyncUpdateSampleNum(unsigned samples)
{
    return FakeCall("mir_sdr_SetSyncUpdateSampleNum", samples).result(0);
}

int mir_sdr_RSPII_AntennaControl(int antenna)
{
    return FakeCall("mir_sdr_RSPII_AntennaControl", antenna).result(0);
}
