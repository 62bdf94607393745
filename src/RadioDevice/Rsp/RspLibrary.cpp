#include "RadioDevice/Rsp/RspLibrary.h"

#include <QLibrary>

namespace
{

template <class Function>
bool resolve(QLibrary& library, const char* name, Function*& operation)
{
    const QFunctionPointer found = library.resolve(name);
    if (found == nullptr) {
        return false;
    }
    operation = reinterpret_cast<Function*>(found);
    return true;
}

} // namespace

QStringList RspLibrary::fileNames()
{
    return {QStringLiteral("libmirsdrapi-rsp.so.2"), QStringLiteral("libmirsdrapi-rsp.so"),
            QStringLiteral("mir_sdr_api.dll")};
}

RspLibrary RspLibrary::load(const QStringList& names)
{
    for (const QString& name : names) {
        QLibrary library(name);
        library.setLoadHints(QLibrary::PreventUnloadHint);
        RspLibrary found;
        found.isLoaded =
            library.load() && resolve(library, "mir_sdr_ApiVersion", found.apiVersion) &&
            resolve(library, "mir_sdr_GetDevices", found.getDevices) &&
            resolve(library, "mir_sdr_SetDeviceIdx", found.setDeviceIdx) &&
            resolve(library, "mir_sdr_ReleaseDeviceIdx", found.releaseDeviceIdx) &&
            resolve(library, "mir_sdr_DebugEnable", found.debugEnable) &&
            resolve(library, "mir_sdr_DCoffsetIQimbalanceControl", found.dcOffsetIqImbalanceControl) &&
            resolve(library, "mir_sdr_StreamInit", found.streamInit) &&
            resolve(library, "mir_sdr_StreamUninit", found.streamUninit) &&
            resolve(library, "mir_sdr_Reinit", found.reinit) &&
            resolve(library, "mir_sdr_SetRf", found.setRf) &&
            resolve(library, "mir_sdr_SetSyncUpdatePeriod", found.setSyncUpdatePeriod) &&
            resolve(library, "mir_sdr_SetSyncUpdateSampleNum", found.setSyncUpdateSampleNum) &&
            resolve(library, "mir_sdr_RSPII_AntennaControl", found.antennaControl);
        if (found.isLoaded) {
            return found;
        }
    }
    return {};
}
