#pragma once

// The C interface of the RSP receivers' library, version 2.1, as far as the driver uses it: the type of each
// operation by the operation's name. A result of 0 is success. No Qt, so that whatever stands in for the
// library can be held to the same types.

#if defined(_WIN32)
#define RSP_CALL __cdecl
#else
#define RSP_CALL
#endif

namespace RspApi
{

/// A receiver, as the library describes it; the texts are the library's own.
struct Device
{
    char* serial;
    char* name;
    unsigned char hardwareVersion;
};

constexpr unsigned kMaxDevices = 4;

/// `count` samples, I and Q apart, on the library's thread.
using StreamCallback = void RSP_CALL(short* xi, short* xq, unsigned firstSample, int gainChanged,
                                     int frequencyChanged, int rateChanged, unsigned count, unsigned reset,
                                     void* context);
using GainCallback = void RSP_CALL(unsigned reductionDb, unsigned lnaReductionDb, void* context);

using ApiVersion = int RSP_CALL(float* version);
using GetDevices = int RSP_CALL(Device* devices, unsigned* count, unsigned maxCount);
using SetDeviceIdx = int RSP_CALL(unsigned index);
using ReleaseDeviceIdx = int RSP_CALL(unsigned index);
using DebugEnable = int RSP_CALL(unsigned enable);
using DCoffsetIQimbalanceControl = int RSP_CALL(unsigned dcCorrection, unsigned iqCorrection);
using StreamInit = int RSP_CALL(int* reductionDb, double rateMHz, double frequencyMHz, int bandwidthType,
                                int ifType, int lnaState, int* systemReductionDb, int gainMode,
                                int* samplesPerPacket, StreamCallback* onSamples, GainCallback* onGain,
                                void* context);
using StreamUninit = int RSP_CALL();
using Reinit = int RSP_CALL(int* reductionDb, double rateMHz, double frequencyMHz, int bandwidthType,
                            int ifType, int loMode, int lnaState, int* systemReductionDb, int gainMode,
                            int* samplesPerPacket, int reason);
using SetRf = int RSP_CALL(double hertz, int absolute, int synchronous);
using SetSyncUpdatePeriod = int RSP_CALL(unsigned samples);
using SetSyncUpdateSampleNum = int RSP_CALL(unsigned samples);
using AntennaControl = int RSP_CALL(int antenna);

constexpr int kNotInstalled = -1; ///< No result of the library's own, as the next.
constexpr int kLost = -1;         ///< Of a call that isn't back in time.

/// Stands where an operation would be if there were a library, and fails.
template <class Function>
struct Absent;
template <class... Arguments>
struct Absent<int RSP_CALL(Arguments...)>
{
    static int RSP_CALL call(Arguments... /*unused*/) { return kNotInstalled; }
};

} // namespace RspApi
