// The fake libairspyhf. Its keys: FakeAirspyFamily.h. The real one's close waits for good when the receiver
// went in mid-stream: that is hang.airspyhf_close.

#include "FakeAirspyFamily.h"
#include "FakeCall.h"
#include "FakeScript.h"

#include <airspyhf.h>
#include <vector>

struct airspyhf_device : FakeAirspyHandle
{
};

namespace
{

constexpr FakeAirspyFamily kFamily{"airspyhf", "R3.0.7-CD", "912000 768000 384000", 1'000, 2'048};

airspyhf_device* makeHandle(int number)
{
    static auto& handles = *new std::vector<airspyhf_device*>;
    handles.push_back(new airspyhf_device);
    handles.back()->number = number;
    return handles.back();
}

int talked()
{
    return FakeScript::flag("unplug") ? AIRSPYHF_ERROR : AIRSPYHF_SUCCESS;
}

} // namespace

int airspyhf_list_devices(std::uint64_t* serials, int count)
{
    // As the real one does: a number, not a code.
    return FakeCall("airspyhf_list_devices", count).result(kFamily.list(serials, count));
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
    kFamily.readVersion(version, length);
    return result;
}

int airspyhf_get_samplerates(airspyhf_device_t* device, std::uint32_t* buffer, const std::uint32_t len)
{
    const int result = FakeCall("airspyhf_get_samplerates", device, len).result(AIRSPYHF_SUCCESS);
    kFamily.readRates(buffer, len);
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
    kFamily.start(*device, [device, callback, ctx](float* samples, int count, bool isNull) {
        airspyhf_transfer_t transfer{};
        transfer.device = device;
        transfer.ctx = ctx;
        transfer.samples = reinterpret_cast<airspyhf_complex_float_t*>(samples);
        transfer.sample_count = count;
        callback(isNull ? nullptr : &transfer);
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
