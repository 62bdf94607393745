// The fake librtlsdr. Keys of its own, besides those of FakeScript.h:
//   rtlsdr.name          of every dongle
//   rtlsdr.manufacturer, rtlsdr.product, rtlsdr.serial     its USB strings, in bytes as they are
//   rtlsdr.strings       full: all 256 bytes of each buffer, without an end
//   rtlsdr.deaf          1: a cancelled read goes on without delivering, and never returns until this is 0
//   rtlsdr.late          buffers that still come after a cancel
//   rtlsdr.length        what a callback gives as its length, whatever the buffer holds
//   rtlsdr.null          1: a callback brings no buffer
//   rtlsdr.count         1: "delivered" is written down after each callback
//   rtlsdr_get_tuner_type                                  5, the R820T, unless set otherwise
// `buffer` counts samples of two bytes. A read is written down when it begins, and "rtlsdr_read_async ends"
// when it returns; told a result other than 0 it returns that at once.

#include "FakeCall.h"
#include "FakeDelivery.h"
#include "FakeLog.h"
#include "FakeScript.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <rtl-sdr.h>
#include <vector>

struct rtlsdr_dev
{
    int number = 0;
    std::atomic<bool> closed{false};
    std::atomic<double> rate{0.0};
    FakeDelivery delivery;
};

static std::string text(const rtlsdr_dev* dev)
{
    if (dev == nullptr) {
        return "null";
    }
    return "dev" + std::to_string(dev->number) + (dev->closed ? " closed" : "");
}

namespace
{

constexpr std::size_t kStringSize = 256;
constexpr std::uint32_t kDefaultLength = 262'144; // bytes

/// Handles stay for good, so that one used after its end is seen in the log.
rtlsdr_dev* makeHandle(int number)
{
    static auto& handles = *new std::vector<rtlsdr_dev*>;
    handles.push_back(new rtlsdr_dev);
    handles.back()->number = number;
    return handles.back();
}

void put(char* buffer, const char* key, const char* otherwise)
{
    if (buffer == nullptr) {
        return;
    }
    if (FakeScript::text("rtlsdr.strings", "") == "full") {
        std::memset(buffer, 'x', kStringSize);
        return;
    }
    std::string value = FakeScript::text(key, otherwise);
    value.resize(std::min(value.size(), kStringSize - 1));
    std::memcpy(buffer, value.c_str(), value.size() + 1);
}

unsigned char toByte(double value, bool counter)
{
    // Offset binary: the middle lies between 127 and 128.
    return static_cast<unsigned char>(counter ? static_cast<long long>(value)
                                              : std::llround(127.5 + 127.0 * value));
}

} // namespace

std::uint32_t rtlsdr_get_device_count(void)
{
    const long long devices = FakeScript::flag("unplug") ? 0 : FakeScript::number("devices", 1);
    return static_cast<std::uint32_t>(FakeCall("rtlsdr_get_device_count").result(static_cast<int>(devices)));
}

const char* rtlsdr_get_device_name(std::uint32_t index)
{
    static thread_local std::string name;
    name = FakeScript::text("rtlsdr.name", "Generic RTL2832U OEM");
    FakeCall("rtlsdr_get_device_name", index).done();
    return name.c_str();
}

int rtlsdr_get_device_usb_strings(std::uint32_t index, char* manufact, char* product, char* serial)
{
    const int result = FakeCall("rtlsdr_get_device_usb_strings", index).result(0);
    if (result == 0) {
        put(manufact, "rtlsdr.manufacturer", "Realtek");
        put(product, "rtlsdr.product", "RTL2838UHIDIR");
        put(serial, "rtlsdr.serial", "00000001");
    }
    return result;
}

int rtlsdr_open(rtlsdr_dev_t** dev, std::uint32_t index)
{
    FakeCall call("rtlsdr_open", index);
    const long long devices = FakeScript::flag("unplug") ? 0 : FakeScript::number("devices", 1);
    const int result = call.result(index < devices ? 0 : -1);
    if (result == 0) {
        *dev = makeHandle(call.number());
    }
    return result;
}

int rtlsdr_close(rtlsdr_dev_t* dev)
{
    const int result = FakeCall("rtlsdr_close", dev).result(0);
    // As the real one does.
    dev->delivery.waitForEnd();
    dev->closed = true;
    return result;
}

int rtlsdr_set_sample_rate(rtlsdr_dev_t* dev, std::uint32_t rate)
{
    const int result = FakeCall("rtlsdr_set_sample_rate", dev, rate).result(0);
    if (result == 0) {
        dev->rate = rate;
    }
    return result;
}

rtlsdr_tuner rtlsdr_get_tuner_type(rtlsdr_dev_t* dev)
{
    return static_cast<rtlsdr_tuner>(FakeCall("rtlsdr_get_tuner_type", dev).result(RTLSDR_TUNER_R820T));
}

int rtlsdr_set_center_freq(rtlsdr_dev_t* dev, std::uint32_t freq)
{
    return FakeCall("rtlsdr_set_center_freq", dev, freq).result(0);
}

int rtlsdr_set_freq_correction(rtlsdr_dev_t* dev, int ppm)
{
    return FakeCall("rtlsdr_set_freq_correction", dev, ppm).result(0);
}

int rtlsdr_set_offset_tuning(rtlsdr_dev_t* dev, int on)
{
    return FakeCall("rtlsdr_set_offset_tuning", dev, on).result(0);
}

int rtlsdr_set_agc_mode(rtlsdr_dev_t* dev, int on)
{
    return FakeCall("rtlsdr_set_agc_mode", dev, on).result(0);
}

int rtlsdr_set_tuner_gain_mode(rtlsdr_dev_t* dev, int manual)
{
    return FakeCall("rtlsdr_set_tuner_gain_mode", dev, manual).result(0);
}

int rtlsdr_set_tuner_gain(rtlsdr_dev_t* dev, int gain)
{
    return FakeCall("rtlsdr_set_tuner_gain", dev, gain).result(0);
}

int rtlsdr_set_direct_sampling(rtlsdr_dev_t* dev, int on)
{
    return FakeCall("rtlsdr_set_direct_sampling", dev, on).result(0);
}

int rtlsdr_set_bias_tee(rtlsdr_dev_t* dev, int on)
{
    return FakeCall("rtlsdr_set_bias_tee", dev, on).result(0);
}

int rtlsdr_reset_buffer(rtlsdr_dev_t* dev)
{
    return FakeCall("rtlsdr_reset_buffer", dev).result(0);
}

int rtlsdr_read_async(rtlsdr_dev_t* dev, rtlsdr_read_async_cb_t cb, void* ctx, std::uint32_t buf_num,
                      std::uint32_t buf_len)
{
    const int result = FakeCall("rtlsdr_read_async", dev, buf_num, buf_len).result(0);
    if (result != 0) {
        return result;
    }
    std::vector<unsigned char> bytes;
    const auto deliver = [&](FakeSource& source, int samples, double rate) {
        if (bytes.empty() || !FakeScript::flag("steady")) {
            bytes.clear();
            for (const FakeSource::Sample& sample : source.next(samples, rate)) {
                bytes.push_back(toByte(sample.i, source.isCounter()));
                bytes.push_back(toByte(sample.q, source.isCounter()));
            }
        }
        const auto length = FakeScript::number("rtlsdr.length", static_cast<long long>(bytes.size()));
        cb(FakeScript::flag("rtlsdr.null") ? nullptr : bytes.data(), static_cast<std::uint32_t>(length), ctx);
        if (FakeScript::flag("rtlsdr.count")) {
            FakeLog::line("delivered");
        }
    };
    const auto samples = static_cast<int>((buf_len == 0 ? kDefaultLength : buf_len) / 2);
    const auto end = dev->delivery.run(dev->rate, samples, deliver);
    FakeScript::waitWhile("rtlsdr.deaf");
    if (end == FakeDelivery::End::Stopped) {
        FakeSource source;
        for (long long late = FakeScript::number("rtlsdr.late", 0); late > 0; --late) {
            deliver(source, samples, dev->rate);
        }
    }
    FakeLog::line("rtlsdr_read_async ends");
    return 0;
}

int rtlsdr_cancel_async(rtlsdr_dev_t* dev)
{
    // The real one knows of a read only while it runs.
    const bool reading = dev->delivery.requestStop();
    return FakeCall("rtlsdr_cancel_async", dev).result(reading ? 0 : -2);
}
