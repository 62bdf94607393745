#include "RadioDevice/Driver.h"

#include "RadioDevice/Rsp/RspEnumerator.h"
#include "RadioDevice/Rsp/RspRadioDevice.h"

namespace
{

const DriverRow kRow([] {
    auto driver = Driver::ofLibrary<RspEnumerator, RspRadioDevice>("libmirsdrapi-rsp");
    driver.name = QStringLiteral("RSP");
    driver.identificator = QStringLiteral("0");
    driver.properties = Driver::withCommon({"sampleRate", 2.048e6, 8e6}, {"frequency", 1000.5e6, 433e6});
    driver.openCall = QStringLiteral("mir_sdr_StreamInit(");
    driver.closeCall = QStringLiteral("mir_sdr_StreamUninit(");
    driver.claimCall = QStringLiteral("mir_sdr_SetDeviceIdx(");
    driver.releaseCall = QStringLiteral("mir_sdr_ReleaseDeviceIdx(");
    driver.blockLength = {QStringLiteral("rsp.count"), 1};
    driver.listCalls = {{"mir_sdr_GetDevices", "Error get RSP devices list!"}};
    driver.startCalls = {{"mir_sdr_SetDeviceIdx.1", "Error start RSP device ...-1"},
                         {"mir_sdr_DebugEnable.1", "Error start RSP device ...-1"},
                         {"mir_sdr_DCoffsetIQimbalanceControl.1", "Error start RSP device ...-1"},
                         {"mir_sdr_StreamInit.1", "Error start RSP device ...-1"},
                         {"mir_sdr_SetSyncUpdatePeriod.1", "Error start RSP device ...-1"},
                         {"mir_sdr_SetSyncUpdateSampleNum.1", "Error start RSP device ...-1"}};
    driver.stopCalls = Driver::prefixed("mir_sdr_", {"StreamUninit", "ReleaseDeviceIdx"});
    driver.setterCalls = {{{"frequency", 1001e6, "mir_sdr_SetRf", "Error set rsp lo frequency -1"}},
                          {{"frequency", 433e6, "mir_sdr_Reinit", "Error set rsp lo frequency -1"}},
                          {{"ant", 6, "mir_sdr_RSPII_AntennaControl", "Error select antenna port ...-1"}}};
    driver.faultCalls =
        Driver::prefixed("mir_sdr_", {"SetDeviceIdx", "DebugEnable", "StreamInit", "SetSyncUpdatePeriod",
                                      "SetRf", "Reinit", "StreamUninit", "ReleaseDeviceIdx"});
    driver.failingCalls =
        Driver::prefixed("mir_sdr_", {"SetDeviceIdx", "StreamInit", "SetRf", "Reinit", "StreamUninit"});
    return driver;
});

} // namespace
