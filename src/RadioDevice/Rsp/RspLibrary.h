#pragma once

#include "RadioDevice/Rsp/RspApi.h"

#include <QStringList>

/// The operations of the RSP receivers' library. No distribution carries it, so it is looked for at run time;
/// once found it stays loaded, since its threads may outlive whoever asked for it.
/// Where it isn't installed every operation can still be called, and fails with RspApi::kNotInstalled.
struct RspLibrary
{
    /// The names of the library's file, on any platform.
    static QStringList fileNames();

    /// The first of `names` that can be loaded and has every operation.
    [[nodiscard]] static RspLibrary load(const QStringList& names = fileNames());

    bool isLoaded = false;
    RspApi::ApiVersion* apiVersion = &RspApi::Absent<RspApi::ApiVersion>::call;
    RspApi::GetDevices* getDevices = &RspApi::Absent<RspApi::GetDevices>::call;
    RspApi::SetDeviceIdx* setDeviceIdx = &RspApi::Absent<RspApi::SetDeviceIdx>::call;
    RspApi::ReleaseDeviceIdx* releaseDeviceIdx = &RspApi::Absent<RspApi::ReleaseDeviceIdx>::call;
    RspApi::DebugEnable* debugEnable = &RspApi::Absent<RspApi::DebugEnable>::call;
    RspApi::DCoffsetIQimbalanceControl* dcOffsetIqImbalanceControl =
        &RspApi::Absent<RspApi::DCoffsetIQimbalanceControl>::call;
    RspApi::StreamInit* streamInit = &RspApi::Absent<RspApi::StreamInit>::call;
    RspApi::StreamUninit* streamUninit = &RspApi::Absent<RspApi::StreamUninit>::call;
    RspApi::Reinit* reinit = &RspApi::Absent<RspApi::Reinit>::call;
    RspApi::SetRf* setRf = &RspApi::Absent<RspApi::SetRf>::call;
    RspApi::SetSyncUpdatePeriod* setSyncUpdatePeriod = &RspApi::Absent<RspApi::SetSyncUpdatePeriod>::call;
    RspApi::SetSyncUpdateSampleNum* setSyncUpdateSampleNum =
        &RspApi::Absent<RspApi::SetSyncUpdateSampleNum>::call;
    RspApi::AntennaControl* antennaControl = &RspApi::Absent<RspApi::AntennaControl>::call;
};
