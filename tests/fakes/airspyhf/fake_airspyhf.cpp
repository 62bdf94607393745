// The fake libairspyhf. Keys of its own, beside those of FakeScript.h:
//   airspyhf.serial.N       serial number in place N, from 1; 1 for the first, 2 for the second, ... of
//   `devices` airspyhf.version        version string, in bytes as they stand airspyhf.version.full   1: all
//   bytes of the version's buffer, without an end airspyhf.rates          the rates, by blanks: 912000 768000
//   airspyhf.rates.count    how many it says there are; missing ones are 1000 times their place, from 1
//   airspyhf.count          what a transfer tells as its number of samples, whatever it holds
//   airspyhf.null           samples: a transfer without samples; transfer: no transfer at all
//   airspyhf.trace          1: each transfer is written down behind its callback
// A stop that fails goes on delivering, as does a close that fails. Without the receiver what talks to it
// fails, and so does a listed one's opening. The real one's close waits for good when the receiver went in
// mid-stream: that is hang.airspyhf_close.

#include "FakeCall.h"
#include "FakeDelivery.h"
#include "FakeLog.h"
#include "FakeScript.h"

#include <airspyhf.h>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

struct airspyhf_device
{
    int number = 0;
    std::atomic<bool> closed{false};
    std::atomic<double> rate{0.0};
    FakeDelivery delivery;
};

static std::string text(const airspyhf_device* dev)
{
    if (dev == nullptr) {
        return "null";
    }
    return "dev" + std::to_string(dev->number) + (dev->closed ? " closed" : "");
}

namespace
{

constexpr int kTransfer = 2048; // samples
constexpr std::uint32_t kThousand = 1000;

/// Handles stay for good, so that one used after its end is seen in the log.
airspyhf_device* makeHandle(int number)
{
    static auto& handles = *new std::vector<airspyhf_device*>;
    handles.push_back(new airspyhf_device);
    handles.back()->number = number;
    return handles.back();
}

std::uint64_t serial(int place)
{
    const bool present = place <= FakeScript::number("devices", 1) && !FakeScript::flag("unplug");
    const std::string value = FakeScript::text("airspyhf.serial." + std::to_string(place), "");
    if (value.empty()) {
        return present ? static_cast<std::uint64_t>(place) : 0;
    }
    return FakeScript::flag("unplug") ? 0 : std::strtoull(value.c_str(), nullptr, 0);
}

int talked()
{
    return FakeScript::flag("unplug") ? AIRSPYHF_ERROR : AIRSPYHF_SUCCESS;
}

std::string versionText()
{
    const std::string hex = FakeScript::text("airspyhf.version.hex", "");
    if (hex.empty()) {
        return FakeScript::text("airspyhf.version", "R3.0.7-CD");
    }
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::strtol(hex.substr(i, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

std::vector<std::uint32_t> rates()
{
    std::istringstream words(FakeScript::text("airspyhf.rates", "912000 768000 384000"));
    std::vector<std::uint32_t> result;
    for (std::uint32_t rate = 0; words >> rate;) {
        result.push_back(rate);
    }
    return result;
}

} // namespace

int airspyhf_list_devices(std::uint64_t* serials, int count)
{
    int found = 0;
    for (int i = 0; i < count; ++i) {
        serials[i] = serial(i + 1);
        found += serials[i] != 0 ? 1 : 0;
    }
    // As the real one does: a number, not a code.
    return FakeCall("airspyhf_list_devices", count).result(found);
}

int airspyhf_open_sn(airspyhf_device_t** device, std::uint64_t serial_number)
{
    FakeCall call("airspyhf_open_sn", serial_number);
    const int result = call.result(talked());
    if (result == AIRSPYHF_SUCCESS) {
        *device = makeHandle(call.number());
    }
    return result;
}

int airspyhf_close(airspyhf_device_t* device)
{
    const int result = FakeCall("airspyhf_close", device).result(AIRSPYHF_SUCCESS);
    if (result == AIRSPYHF_SUCCESS) {
        device->delivery.stop();
        device->closed = true;
    }
    return result;
}

int airspyhf_version_string_read(airspyhf_device_t* device, char* version, std::uint8_t length)
{
    const int result = FakeCall("airspyhf_version_string_read", device, int{length}).result(talked());
    if (FakeScript::flag("airspyhf.version.full")) {
        std::memset(version, 'x', length);
    } else {
        std::string value = versionText();
        value.resize(std::min<std::size_t>(value.size(), length - 1U));
        std::memcpy(version, value.c_str(), value.size() + 1);
    }
    return result;
}

int airspyhf_get_samplerates(airspyhf_device_t* device, std::uint32_t* buffer, const std::uint32_t len)
{
    const int result = FakeCall("airspyhf_get_samplerates", device, len).result(AIRSPYHF_SUCCESS);
    const std::vector<std::uint32_t> present = rates();
    if (len == 0) {
        *buffer = static_cast<std::uint32_t>(
            FakeScript::number("airspyhf.rates.count", static_cast<long long>(present.size())));
    }
    for (std::uint32_t i = 0; i < len; ++i) {
        buffer[i] = i < present.size() ? present[i] : kThousand * (i + 1);
    }
    return result;
}

int airspyhf_set_samplerate(airspyhf_device_t* device, std::uint32_t samplerate)
{
    const int result = FakeCall("airspyhf_set_samplerate", device, samplerate).result(talked());
    device->rate = samplerate;
    return result;
}

int airspyhf_start(airspyhf_device_t* device, airspyhf_sample_block_cb_fn callback, void* ctx)
{
    const int result = FakeCall("airspyhf_start", device).result(talked());
    if (result != AIRSPYHF_SUCCESS) {
        return result;
    }
    device->delivery.start(
        device->rate, kTransfer,
        [device, callback, ctx, floats = std::vector<airspyhf_complex_float_t>()](
            FakeSource& source, int samples, double rate) mutable {
            floats.clear();
            for (const FakeSource::Sample& sample : source.next(samples, rate)) {
                floats.push_back({static_cast<float>(sample.i), static_cast<float>(sample.q)});
            }
            const std::string null = FakeScript::text("airspyhf.null", "");
            airspyhf_transfer_t transfer{};
            transfer.device = device;
            transfer.ctx = ctx;
            transfer.samples = null == "samples" ? nullptr : floats.data();
            transfer.sample_count = static_cast<int>(FakeScript::number("airspyhf.count", samples));
            callback(null == "transfer" ? nullptr : &transfer);
            if (FakeScript::flag("airspyhf.trace")) {
                FakeLog::line("airspyhf transfer " + text(device));
            }
        });
    return result;
}

int airspyhf_stop(airspyhf_device_t* device)
{
    const int result = FakeCall("airspyhf_stop", device).result(talked());
    if (result == AIRSPYHF_SUCCESS) {
        device->delivery.stop();
    }
    return result;
}

int airspyhf_set_freq(airspyhf_device_t* device, const std::uint32_t freq_hz)
{
    return FakeCall("airspyhf_set_freq", device, freq_hz).result(talked());
}

int airspyhf_set_hf_agc(airspyhf_device_t* device, std::uint8_t flag)
{
    return FakeCall("airspyhf_set_hf_agc", device, int{flag}).result(talked());
}

int airspyhf_set_hf_lna(airspyhf_device_t* device, std::uint8_t flag)
{
    return FakeCall("airspyhf_set_hf_lna", device, int{flag}).result(talked());
}

int airspyhf_set_hf_att(airspyhf_device_t* device, std::uint8_t value)
{
    return FakeCall("airspyhf_set_hf_att", device, int{value}).result(talked());
}
