// The fake libairspy. Keys of its own, beside those of FakeScript.h:
//   airspy.serial.N       serial number in place N, from 1; 1 for the first, 2 for the second, ... of
//   `devices` airspy.version        version string, in bytes as they stand airspy.version.full   1: all bytes
//   of the version's buffer, without an end airspy.rates          the rates, by blanks: 6000000 3000000
//   airspy.rates.count    how many it says there are; missing ones are 1000000 times their place, from 1
//   airspy.count          what a transfer tells as its number of samples, whatever it holds
//   airspy.null           samples: a transfer without samples; transfer: no transfer at all
//   airspy.trace          1: each transfer is written down behind its callback
// A stop that fails goes on delivering, as does a close that fails. Without the receiver what talks to it
// fails, and so does a listed one's opening.

#include "FakeCall.h"
#include "FakeDelivery.h"
#include "FakeLog.h"
#include "FakeScript.h"

#include <airspy.h>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

struct airspy_device
{
    int number = 0;
    std::atomic<bool> closed{false};
    std::atomic<double> rate{0.0};
    FakeDelivery delivery;
};

static std::string text(const airspy_device* dev)
{
    if (dev == nullptr) {
        return "null";
    }
    return "dev" + std::to_string(dev->number) + (dev->closed ? " closed" : "");
}

namespace
{

constexpr int kTransfer = 65'536; // samples
constexpr long long kMillion = 1'000'000;

/// Handles stay for good, so that one used after its end is seen in the log.
airspy_device* makeHandle(int number)
{
    static auto& handles = *new std::vector<airspy_device*>;
    handles.push_back(new airspy_device);
    handles.back()->number = number;
    return handles.back();
}

std::uint64_t serial(int place)
{
    const bool present = place <= FakeScript::number("devices", 1) && !FakeScript::flag("unplug");
    const std::string value = FakeScript::text("airspy.serial." + std::to_string(place), "");
    if (value.empty()) {
        return present ? static_cast<std::uint64_t>(place) : 0;
    }
    return FakeScript::flag("unplug") ? 0 : std::strtoull(value.c_str(), nullptr, 0);
}

int talked()
{
    return FakeScript::flag("unplug") ? AIRSPY_ERROR_LIBUSB : AIRSPY_SUCCESS;
}

std::string versionText()
{
    const std::string hex = FakeScript::text("airspy.version.hex", "");
    if (hex.empty()) {
        return FakeScript::text("airspy.version", "AirSpy NOS v1.0.0-rc10");
    }
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::strtol(hex.substr(i, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

std::vector<std::uint32_t> rates()
{
    std::istringstream words(FakeScript::text("airspy.rates", "6000000 3000000"));
    std::vector<std::uint32_t> result;
    for (std::uint32_t rate = 0; words >> rate;) {
        result.push_back(rate);
    }
    return result;
}

} // namespace

int airspy_list_devices(std::uint64_t* serials, int count)
{
    int found = 0;
    for (int i = 0; i < count; ++i) {
        serials[i] = serial(i + 1);
        found += serials[i] != 0 ? 1 : 0;
    }
    // As the real one does: a number, not a code.
    return FakeCall("airspy_list_devices", count).result(found);
}

int airspy_open_sn(airspy_device** device, std::uint64_t serial_number)
{
    FakeCall call("airspy_open_sn", serial_number);
    const int result = call.result(FakeScript::flag("unplug") ? AIRSPY_ERROR_NOT_FOUND : AIRSPY_SUCCESS);
    if (result == AIRSPY_SUCCESS || result == AIRSPY_TRUE) {
        *device = makeHandle(call.number());
    }
    return result;
}

int airspy_close(airspy_device* device)
{
    const int result = FakeCall("airspy_close", device).result(AIRSPY_SUCCESS);
    if (result == AIRSPY_SUCCESS || result == AIRSPY_TRUE) {
        device->delivery.stop();
        device->closed = true;
    }
    return result;
}

int airspy_version_string_read(airspy_device* device, char* version, std::uint8_t length)
{
    const int result = FakeCall("airspy_version_string_read", device, int{length}).result(talked());
    if (FakeScript::flag("airspy.version.full")) {
        std::memset(version, 'x', length);
    } else {
        std::string value = versionText();
        value.resize(std::min<std::size_t>(value.size(), length - 1U));
        std::memcpy(version, value.c_str(), value.size() + 1);
    }
    return result;
}

int airspy_get_samplerates(airspy_device* device, std::uint32_t* buffer, const std::uint32_t len)
{
    const int result = FakeCall("airspy_get_samplerates", device, len).result(AIRSPY_SUCCESS);
    const std::vector<std::uint32_t> present = rates();
    if (len == 0) {
        *buffer = static_cast<std::uint32_t>(
            FakeScript::number("airspy.rates.count", static_cast<long long>(present.size())));
    }
    for (std::uint32_t i = 0; i < len; ++i) {
        buffer[i] = i < present.size() ? present[i] : static_cast<std::uint32_t>(kMillion * (i + 1));
    }
    return result;
}

int airspy_set_samplerate(airspy_device* device, std::uint32_t samplerate)
{
    const int result = FakeCall("airspy_set_samplerate", device, samplerate).result(talked());
    device->rate = samplerate;
    return result;
}

int airspy_set_sample_type(airspy_device* device, airspy_sample_type sample_type)
{
    return FakeCall("airspy_set_sample_type", device, int{sample_type}).result(AIRSPY_SUCCESS);
}

int airspy_start_rx(airspy_device* device, airspy_sample_block_cb_fn callback, void* rx_ctx)
{
    const int result = FakeCall("airspy_start_rx", device).result(talked());
    if (result != AIRSPY_SUCCESS && result != AIRSPY_TRUE) {
        return result;
    }
    device->delivery.start(device->rate, kTransfer,
                           [device, callback, rx_ctx, floats = std::vector<float>()](
                               FakeSource& source, int samples, double rate) mutable {
                               if (floats.empty() || !FakeScript::flag("steady")) {
                                   floats.clear();
                                   for (const FakeSource::Sample& sample : source.next(samples, rate)) {
                                       floats.push_back(static_cast<float>(sample.i));
                                       floats.push_back(static_cast<float>(sample.q));
                                   }
                               }
                               const std::string null = FakeScript::text("airspy.null", "");
                               airspy_transfer transfer{};
                               transfer.device = device;
                               transfer.ctx = rx_ctx;
                               transfer.samples = null == "samples" ? nullptr : floats.data();
                               transfer.sample_count =
                                   static_cast<int>(FakeScript::number("airspy.count", samples));
                               transfer.sample_type = AIRSPY_SAMPLE_FLOAT32_IQ;
                               callback(null == "transfer" ? nullptr : &transfer);
                               if (FakeScript::flag("airspy.trace")) {
                                   FakeLog::line("airspy transfer " + text(device));
                               }
                           });
    return result;
}

int airspy_stop_rx(airspy_device* device)
{
    const int result = FakeCall("airspy_stop_rx", device).result(talked());
    if (result == AIRSPY_SUCCESS || result == AIRSPY_TRUE) {
        device->delivery.stop();
    }
    return result;
}

int airspy_set_freq(airspy_device* device, const std::uint32_t freq_hz)
{
    return FakeCall("airspy_set_freq", device, freq_hz).result(talked());
}

int airspy_set_lna_agc(airspy_device* device, std::uint8_t value)
{
    return FakeCall("airspy_set_lna_agc", device, int{value}).result(talked());
}

int airspy_set_lna_gain(airspy_device* device, std::uint8_t value)
{
    return FakeCall("airspy_set_lna_gain", device, int{value}).result(talked());
}

int airspy_set_mixer_agc(airspy_device* device, std::uint8_t value)
{
    return FakeCall("airspy_set_mixer_agc", device, int{value}).result(talked());
}

int airspy_set_mixer_gain(airspy_device* device, std::uint8_t value)
{
    return FakeCall("airspy_set_mixer_gain", device, int{value}).result(talked());
}

int airspy_set_vga_gain(airspy_device* device, std::uint8_t value)
{
    return FakeCall("airspy_set_vga_gain", device, int{value}).result(talked());
}

int airspy_set_linearity_gain(airspy_device* device, std::uint8_t value)
{
    return FakeCall("airspy_set_linearity_gain", device, int{value}).result(talked());
}

int airspy_set_sensitivity_gain(airspy_device* device, std::uint8_t value)
{
    return FakeCall("airspy_set_sensitivity_gain", device, int{value}).result(talked());
}

int airspy_set_rf_bias(airspy_device* dev, std::uint8_t value)
{
    return FakeCall("airspy_set_rf_bias", dev, int{value}).result(talked());
}
