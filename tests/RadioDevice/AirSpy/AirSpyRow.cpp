#include "RadioDevice/Driver.h"

#include "RadioDevice/AirSpy/AirSpyEnumerator.h"
#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

namespace
{

const DriverRow kRow([] {
    auto driver = Driver::ofLibrary<AirSpyEnumerator, AirSpyRadioDevice>("libairspy");
    driver.name = QStringLiteral("Airspy R2/mini");
    driver.identificator = QStringLiteral("1");
    driver.properties = Driver::withCommon({"sampleRate", 6e6, 3e6}, {"frequency", 100e6, 433e6},
                                           {{"biasTee", false, true},
                                            {"gainMode", 0, 2},
                                            {"gain", 12, 7},
                                            {"lnaAgc", true, false},
                                            {"lnaGain", 5, 9},
                                            {"mixerAgc", true, false},
                                            {"mixerGain", 5, 3},
                                            {"vgaGain", 5, 11}});
    driver.openCall = QStringLiteral("airspy_open_sn(");
    driver.closeCall = QStringLiteral("airspy_close(");
    driver.blockLength = {QStringLiteral("airspy.count"), 1};
    driver.listCalls = {{"airspy_list_devices", "Error get airspy list devices!"},
                        {"airspy_open_sn", "Error open airspy hf device!"},
                        {"airspy_version_string_read", "Error read airspy hf version!"},
                        {"airspy_close", "Error close airspy hf device!"}};
    driver.startCalls = {{"airspy_open_sn.1", "Error open device!-9999"},
                         {"airspy_get_samplerates.1", "Error get sample rates count!-9999"},
                         {"airspy_get_samplerates.2", "Error get sample rates!-9999"},
                         {"airspy_set_samplerate.1", "Error set sample rate!-9999"},
                         {"airspy_set_sample_type.1", "Error set sample type!-9999"},
                         {"airspy_start_rx.1", "Error start rx!-9999"},
                         {"airspy_set_freq.1", "Error set lo freq!-9999"},
                         {"airspy_set_lna_agc.1", "Error start rx!-9999"},
                         {"airspy_set_mixer_agc.1", "Error start rx!-9999"},
                         {"airspy_set_linearity_gain.1", "Error start rx!-9999"}};
    driver.stopCalls = Driver::prefixed("airspy_", {"stop_rx", "close"});
    driver.setterCalls = {{{"sampleRate", 3e6, "airspy_set_samplerate", "Error set sample rate!-9999"}},
                          {{"frequency", 433e6, "airspy_set_freq", "Error set frequency!-9999"}},
                          {{"biasTee", true, "airspy_set_rf_bias"}},
                          {{"gain", 7, "airspy_set_linearity_gain"}},
                          {{"gainMode", 1, "airspy_set_sensitivity_gain"}},
                          {{"gainMode", 2, "airspy_set_lna_agc"}},
                          {{"gainMode", 2, "airspy_set_mixer_agc"}},
                          {{"gainMode", 2}, {"lnaAgc", false, "airspy_set_lna_gain"}},
                          {{"gainMode", 2}, {"mixerAgc", false, "airspy_set_mixer_gain"}},
                          {{"gainMode", 2}, {"vgaGain", 11, "airspy_set_vga_gain"}}};
    driver.failingCalls =
        Driver::prefixed("airspy_", {"open_sn", "close", "get_samplerates", "set_samplerate",
                                     "set_sample_type", "start_rx", "stop_rx", "set_freq", "set_lna_agc"});
    driver.faultCalls = driver.failingCalls + Driver::prefixed("airspy_", {"set_linearity_gain"});
    return driver;
});

} // namespace
