// The fake libairspy. Its keys: FakeAirspyFamily.h.

#include "FakeAirspyFamily.h"
#include "FakeCall.h"
#include "FakeScript.h"

#include <airspy.h>
#include <vector>

struct airspy_device : FakeAirspyHandle
{
};

namespace
{

constexpr FakeAirspyFamily kFamily{"airspy", "AirSpy NOS v1.0.0-rc10", "6000000 3000000", 1'000'000, 65'536};

airspy_device* makeHandle(int number)
{
    static auto& handles = *new std::vector<airspy_device*>;
    handles.push_back(new airspy_device);
    handles.back()->number = number;
    return handles.back();
}

int talked()
{
    return FakeScript::flag("unplug") ? AIRSPY_ERROR_LIBUSB : AIRSPY_SUCCESS;
}

} // namespace

int airspy_list_devices(std::uint64_t* serials, int count)
{
    // As the real one does: a number, not a code.
    return FakeCall("airspy_list_devices", count).result(kFamily.list(serials, count));
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
    kFamily.readVersion(version, length);
    return result;
}

int airspy_get_samplerates(airspy_device* device, std::uint32_t* buffer, const std::uint32_t len)
{
    const int result = FakeCall("airspy_get_samplerates", device, len).result(AIRSPY_SUCCESS);
    kFamily.readRates(buffer, len);
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
    kFamily.start(*device, [device, callback, rx_ctx](float* samples, int count, bool isNull) {
        airspy_transfer transfer{};
        transfer.device = device;
        transfer.ctx = rx_ctx;
        transfer.samples = samples;
        transfer.sample_count = count;
        transfer.sample_type = AIRSPY_SAMPLE_FLOAT32_IQ;
        callback(isNull ? nullptr : &transfer);
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
