#include "RadioDevice/Driver.h"

#include "RadioDevice/AirSpyHF/AirSpyHFEnumerator.h"
#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

namespace
{

const DriverRow kRow([] {
    auto driver = Driver::ofLibrary<AirSpyHFEnumerator, AirSpyHFRadioDevice>("libairspyhf");
    driver.name = QStringLiteral("Airspy HF+");
    driver.identificator = QStringLiteral("1");
    driver.properties = Driver::withCommon({"sampleRate", 768e3, 912e3}, {"frequency", 15.75e6, 7e6},
                                           {{"lna", false, true}, {"agc", false, true}, {"att", 0, 3}});
    // The first of an open receiver's rates is the one that a reset sets.
    driver.script = {QStringLiteral("airspyhf.rates"), QStringLiteral("768000 912000")};
    driver.openCall = QStringLiteral("airspyhf_open_sn(");
    driver.closeCall = QStringLiteral("airspyhf_close(");
    driver.blockLength = {QStringLiteral("airspyhf.count"), 1};
    driver.listCalls = {{"airspyhf_list_devices", "Error get airspy hf list devices!"},
                        {"airspyhf_open_sn", "Error open airspy hf device!"},
                        {"airspyhf_version_string_read", "Error read airspy hf version!"},
                        {"airspyhf_close", "Error close airspy hf device!"}};
    driver.startCalls = {{"airspyhf_open_sn.1", "Error open device!-1"},
                         {"airspyhf_get_samplerates.1", "Error get sample rates count!-1"},
                         {"airspyhf_get_samplerates.2", "Error get sample rates!-1"},
                         {"airspyhf_set_samplerate.1", "Error set sample rate!-1"},
                         {"airspyhf_start.1", "Error start rx!-1"},
                         {"airspyhf_set_freq.1", "Error set lo freq!-1"},
                         {"airspyhf_set_hf_agc.1", "Error set hf agc!"},
                         {"airspyhf_set_hf_lna.1", "Error set hf lna!"},
                         {"airspyhf_set_hf_att.1", "Error set hf att!"}};
    driver.stopCalls = Driver::prefixed("airspyhf_", {"stop", "close"});
    driver.setterCalls = {{{"sampleRate", 912e3, "airspyhf_set_samplerate", "Error set sample rate!-1"}},
                          {{"frequency", 7e6, "airspyhf_set_freq", "Error set frequency!-1"}},
                          {{"lna", true, "airspyhf_set_hf_lna", "Error Airspy HF+ set LNA!"}},
                          {{"agc", true, "airspyhf_set_hf_agc", "Error Airspy HF+ set AGC!"}},
                          {{"att", 3, "airspyhf_set_hf_att", "Error Airspy HF+ set ATT!"}}};
    driver.failingCalls =
        Driver::prefixed("airspyhf_", {"open_sn", "close", "get_samplerates", "set_samplerate", "start",
                                       "stop", "set_freq", "set_hf_agc", "set_hf_lna"});
    driver.faultCalls = driver.failingCalls + Driver::prefixed("airspyhf_", {"set_hf_att"});
    return driver;
});

} // namespace
