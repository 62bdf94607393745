#pragma once

// The C interface of the RSP receivers' library, version 2.1, as far as the driver uses it: the type of each
// operation by the operation's name. A result of 0 is success. No Qt, so that what takes the
// library's place can be held to the same types.

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
using StreamCallback = void(short* xi, short* xq, unsigned firstSample, int gainChanged, int frequencyChanged,
                            int rateChanged, unsigned count, unsigned reset, void* context);
using GainCallback = void(unsigned reductionDb, unsigned lnaReductionDb, void* context);

using ApiVersion = int(float* version);
using GetDevices = int(Device* devices, unsigned* count, unsigned maxCount);
using SetDeviceIdx = int(unsigned index);
using ReleaseDeviceIdx = int(unsigned index);
using DebugEnable = int(unsigned enable);
using DCoffsetIQimbalanceControl = int(unsigned dcCorrection, unsigned iqCorrection);
using StreamInit = int(int* reductionDb, double rateMHz, double frequencyMHz, int bandwidthType, int ifType,
                       int lnaState, int* systemReductionDb, int gainMode, int* samplesPerPacket,
                       StreamCallback* onSamples, GainCallback* onGain, void* context);
using StreamUninit = int();
using Reinit = int(int* reductionDb, double rateMHz, double frequencyMHz, int bandwidthType, int ifType,
                   int loMode, int lnaState, int* systemReductionDb, int gainMode, int* samplesPerPacket,
                   int reason);
using SetRf = int(double hertz, int absolute, int synchronous);
using SetSyncUpdatePeriod = int(unsigned samples);
using SetSyncUpdateSampleNum = int(unsigned samples);
using AntennaControl = int(int antenna);

constexpr int kNotInstalled = -1; ///< No result of the library's own, as the next.
constexpr int kLost = -1;         ///< Of a call that isn't back in time.

/// Takes the place of an operation where there is no library, and fails.
template <class Function>
struct Absent;
template <class... Arguments>
struct Absent<int(Arguments...)>
{
    static int call(Arguments... /*unused*/) { return kNotInstalled; }
};

} // namespace RspApi
