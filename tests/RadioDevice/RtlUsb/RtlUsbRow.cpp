#include "RadioDevice/Driver.h"

#include "RadioDevice/RtlUsb/RtlUsbEnumerator.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

namespace
{

const DriverRow kRow([] {
    auto driver = Driver::ofLibrary<RtlUsbEnumerator, RtlUsbRadioDevice>("librtlsdr");
    driver.name = QStringLiteral("RTL2832U");
    driver.identificator = QStringLiteral("0");
    driver.properties = Driver::withCommon({"sampleRate", 2.048e6, 1.024e6}, {"frequency", 100e6, 433e6},
                                           {{"biasTee", false, true},
                                            {"rtlPpm", false, true},
                                            {"offsetTuning", true, false},
                                            {"rtlAgc", true, false},
                                            {"tunerAgc", true, false},
                                            {"tunerGain", 0, 297},
                                            {"samplingMode", 0, 2}});
    driver.openCall = QStringLiteral("rtlsdr_open(");
    driver.closeCall = QStringLiteral("rtlsdr_close(");
    driver.blockLength = {QStringLiteral("rtlsdr.length"), 2};
    driver.listCalls = {
        {"rtlsdr_get_device_count", ""},
        {"rtlsdr_get_device_name", "Unable to access rtlusb device # 0 "},
        {"rtlsdr_get_device_usb_strings", "Unable to access rtlusb device # 0 Generic RTL2832U OEM"}};
    driver.startCalls = {{"rtlsdr_open.1", "Error open device #0"},
                         {"rtlsdr_set_sample_rate.1", "Error set sampleRate! 2.048e+06"},
                         {"rtlsdr_get_tuner_type.1", "Error open device #0"},
                         {"rtlsdr_set_direct_sampling.1", "Error set sampling mpde = 0!"},
                         {"rtlsdr_set_center_freq.1", "Error set RTLSDR LO 1e+08"},
                         {"rtlsdr_set_agc_mode.1", "Error RTLUSB set agc rtl2832!"},
                         {"rtlsdr_set_tuner_gain_mode.1", "Error RTLUSB set agc tuner!"},
                         {"rtlsdr_reset_buffer.1", "Error open device #0"}};
    driver.stopCalls = Driver::prefixed("rtlsdr_", {"cancel_async", "close"});
    driver.setterCalls = {
        {{"sampleRate", 1.024e6, "rtlsdr_set_sample_rate", "Error set sampleRate! 1.024e+06"}},
        {{"frequency", 433e6, "rtlsdr_set_center_freq", "Error set RTLSDR LO 4.33e+08"}},
        {{"rtlPpm", 5, "rtlsdr_set_freq_correction", "Error set correction ppm = 1!"}},
        {{"offsetTuning", false, "rtlsdr_set_offset_tuning", "Error set offset tuning = 0!"}},
        {{"rtlAgc", false, "rtlsdr_set_agc_mode", "Error RTLUSB set agc rtl2832!"}},
        {{"tunerAgc", false, "rtlsdr_set_tuner_gain_mode", "Error RTLUSB set agc tuner!"}},
        {{"tunerAgc", false}, {"tunerGain", 297, "rtlsdr_set_tuner_gain", "Error set tuner gain = 297!"}},
        {{"samplingMode", 2, "rtlsdr_set_direct_sampling", "Error set sampling mpde = 2!"}}};
    driver.faultCalls = Driver::prefixed("rtlsdr_", {"open", "close", "set_sample_rate", "get_tuner_type",
                                                     "set_direct_sampling", "set_center_freq", "set_agc_mode",
                                                     "set_tuner_gain_mode", "set_tuner_gain", "reset_buffer",
                                                     "read_async", "cancel_async"});
    // Without the rate: a dongle stays open when that is refused.
    driver.failingCalls =
        Driver::prefixed("rtlsdr_", {"open", "get_tuner_type", "set_direct_sampling", "set_center_freq",
                                     "set_agc_mode", "reset_buffer", "read_async"});
    return driver;
});

} // namespace
