// The fake libusb: what lies beneath the real libraries of the RTL2832U, Airspy and Airspy HF+ receivers. It
// has the functions that these call, and receivers that answer as those libraries want it. Each call but
// those of streaming is written down; each can be given a result, as in "libusb_claim_interface = -6" (busy),
// "libusb_open = -3" (no permission), "libusb_submit_transfer = -11" (no memory). Keys of its own, besides
// those of FakeScript.h:
//   usb.rtl, usb.airspy, usb.airspyhf
//                     how many of each are in; 0 unless set otherwise
//   usb.overflow      1: transfers end by OVERFLOW
//   usb.deaf          1: nobody answers a request; it ends by TIMEOUT when the caller's time is up, and
//                     without such a time when this is 0 again
//   station           hertz, of the carrier on the air; without it the carrier is tone.hz above what is
//                     tuned to
// `unplug` ends all transfers by NO_DEVICE, and what was open stays gone. With `stall` none ends, unless it
// is cancelled. `rate` sets the pace alone, not how the carrier sounds.

#include "FakeBus.h"
#include "FakeCall.h"
#include "FakeScript.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

static std::string text(const libusb_device_handle* handle)
{
    return handle->device->model->name + std::to_string(handle->device->number);
}

namespace
{

libusb_context& contextOf(libusb_context* context)
{
    static auto& standard = *new libusb_context;
    return context != nullptr ? *context : standard;
}

std::string hexadecimal(const unsigned char* bytes, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        result += digits;
    }
    return result;
}

std::string hexadecimal(std::uint16_t value)
{
    char digits[7];
    std::snprintf(digits, sizeof digits, "0x%04x", value);
    return digits;
}

// Of what libusb asks on its own account: 1 s, as there.
constexpr unsigned kDescriptorTimeoutMs = 1000;

/// True if nobody answers; 0 is no timeout.
bool isDeaf(unsigned timeoutMs)
{
    if (!FakeScript::flag("usb.deaf")) {
        return false;
    }
    if (timeoutMs == 0) {
        FakeScript::waitWhile("usb.deaf");
    } else {
        FakeScript::holdCaller(timeoutMs);
    }
    return true;
}

void release(libusb_device* device)
{
    if (--device->references == 0) {
        delete device;
    }
}

} // namespace

int libusb_init(libusb_context** context)
{
    const int result = FakeCall("libusb_init").result(0);
    if (result == 0 && context != nullptr) {
        *context = new libusb_context;
    }
    return result;
}

void libusb_exit(libusb_context* context)
{
    FakeCall("libusb_exit").done();
    delete context;
}

ssize_t libusb_get_device_list(libusb_context* context, libusb_device*** list)
{
    std::vector<libusb_device*> devices;
    for (const FakeModel& model : kFakeModels) {
        const auto count =
            FakeScript::flag("unplug") ? 0 : FakeScript::number(std::string("usb.") + model.name, 0);
        for (int number = 0; number < count; ++number) {
            devices.push_back(new libusb_device{&contextOf(context), &model, number});
        }
    }
    *list = static_cast<libusb_device**>(std::calloc(devices.size() + 1, sizeof(libusb_device*)));
    std::copy(devices.begin(), devices.end(), *list);
    return static_cast<ssize_t>(devices.size());
}

void libusb_free_device_list(libusb_device** list, int unref)
{
    for (libusb_device** place = list; unref != 0 && *place != nullptr; ++place) {
        release(*place);
    }
    std::free(list);
}

libusb_device* libusb_get_device(libusb_device_handle* handle)
{
    return handle->device;
}

int libusb_get_device_descriptor(libusb_device* device, libusb_device_descriptor* descriptor)
{
    *descriptor = {};
    descriptor->bLength = LIBUSB_DT_DEVICE_SIZE;
    descriptor->bDescriptorType = LIBUSB_DT_DEVICE;
    descriptor->bcdUSB = 0x0200;
    descriptor->idVendor = device->model->vendor;
    descriptor->idProduct = device->model->product;
    descriptor->iManufacturer = 1;
    descriptor->iProduct = 2;
    descriptor->iSerialNumber = 3;
    descriptor->bNumConfigurations = 1;
    return 0;
}

int libusb_open(libusb_device* device, libusb_device_handle** handle)
{
    const int result = FakeCall("libusb_open", device->model->name, device->number).result(0);
    if (result == 0) {
        ++device->references;
        *handle = new libusb_device_handle;
        (*handle)->device = device;
        (*handle)->receiver = device->model->make();
        device->context->add(*handle);
    }
    return result;
}

void libusb_close(libusb_device_handle* handle)
{
    FakeCall("libusb_close", handle).done();
    handle->device->context->remove(handle);
    release(handle->device);
    delete handle;
}

int libusb_get_string_descriptor_ascii(libusb_device_handle* handle, std::uint8_t index, unsigned char* data,
                                       int length)
{
    const int answered = isDeaf(kDescriptorTimeoutMs) ? LIBUSB_ERROR_TIMEOUT : 0;
    const int result = FakeCall("libusb_get_string_descriptor_ascii", handle, index, length).result(answered);
    const auto& strings = handle->device->model->strings;
    if (result != 0 || index == 0 || index > strings.size()) {
        return result != 0 ? result : LIBUSB_ERROR_INVALID_PARAM;
    }
    std::string value = strings.at(index - 1U);
    if (const auto number = value.find("%d"); number != std::string::npos) {
        value.replace(number, 2, std::to_string(handle->device->number + 1));
    }
    value = FakeScript::text("usb.string." + std::to_string(index), value);
    value.resize(std::min(value.size(), static_cast<std::size_t>(length - 1)));
    std::memcpy(data, value.c_str(), value.size() + 1);
    return static_cast<int>(value.size());
}

int libusb_set_configuration(libusb_device_handle* handle, int configuration)
{
    return FakeCall("libusb_set_configuration", handle, configuration).result(0);
}

int libusb_set_interface_alt_setting(libusb_device_handle* handle, int number, int setting)
{
    return FakeCall("libusb_set_interface_alt_setting", handle, number, setting).result(0);
}

int libusb_claim_interface(libusb_device_handle* handle, int number)
{
    return FakeCall("libusb_claim_interface", handle, number).result(0);
}

int libusb_release_interface(libusb_device_handle* handle, int number)
{
    const int otherwise = handle->device->context->isGone(*handle) ? LIBUSB_ERROR_NO_DEVICE : 0;
    return FakeCall("libusb_release_interface", handle, number).result(otherwise);
}

int libusb_kernel_driver_active(libusb_device_handle* handle, int number)
{
    return FakeCall("libusb_kernel_driver_active", handle, number).result(0);
}

int libusb_detach_kernel_driver(libusb_device_handle* handle, int number)
{
    return FakeCall("libusb_detach_kernel_driver", handle, number).result(0);
}

int libusb_attach_kernel_driver(libusb_device_handle* handle, int number)
{
    return FakeCall("libusb_attach_kernel_driver", handle, number).result(0);
}

int libusb_clear_halt(libusb_device_handle* handle, unsigned char endpoint)
{
    return FakeCall("libusb_clear_halt", handle, static_cast<int>(endpoint)).result(0);
}

int libusb_reset_device(libusb_device_handle* handle)
{
    return FakeCall("libusb_reset_device", handle).result(0);
}

int libusb_control_transfer(libusb_device_handle* handle, std::uint8_t type, std::uint8_t request,
                            std::uint16_t value, std::uint16_t index, unsigned char* data,
                            std::uint16_t length, unsigned timeout)
{
    const int moved =
        isDeaf(timeout)
            ? LIBUSB_ERROR_TIMEOUT
            : handle->device->context->control(*handle, {type, request, value, index, data, length});
    const std::string bytes =
        (type & LIBUSB_ENDPOINT_IN) != 0 ? std::to_string(length) : hexadecimal(data, length);
    return FakeCall("libusb_control_transfer", handle, type, request, hexadecimal(value), hexadecimal(index),
                    bytes)
        .result(moved);
}

int libusb_bulk_transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* /*data*/,
                         int length, int* moved, unsigned /*timeout*/)
{
    *moved = 0;
    return FakeCall("libusb_bulk_transfer", handle, static_cast<int>(endpoint), length)
        .result(LIBUSB_ERROR_TIMEOUT);
}

unsigned char* libusb_dev_mem_alloc(libusb_device_handle* /*handle*/, size_t length)
{
    return FakeScript::flag("libusb_dev_mem_alloc") ? nullptr
                                                    : static_cast<unsigned char*>(std::calloc(1, length));
}

int libusb_dev_mem_free(libusb_device_handle* /*handle*/, unsigned char* buffer, size_t /*length*/)
{
    std::free(buffer);
    return 0;
}

libusb_transfer* libusb_alloc_transfer(int packets)
{
    if (FakeCall("libusb_alloc_transfer", packets).result(0) != 0) {
        return nullptr;
    }
    return static_cast<libusb_transfer*>(std::calloc(1, sizeof(libusb_transfer)));
}

void libusb_free_transfer(libusb_transfer* transfer)
{
    if (transfer != nullptr && (transfer->flags & LIBUSB_TRANSFER_FREE_BUFFER) != 0) {
        std::free(transfer->buffer);
    }
    std::free(transfer);
}

int libusb_submit_transfer(libusb_transfer* transfer)
{
    const auto scripted = static_cast<int>(FakeScript::number("libusb_submit_transfer", 0));
    return scripted != 0 ? scripted : transfer->dev_handle->device->context->submit(transfer);
}

int libusb_cancel_transfer(libusb_transfer* transfer)
{
    // What was never submitted has no handle yet.
    return transfer->dev_handle == nullptr ? LIBUSB_ERROR_NOT_FOUND
                                           : transfer->dev_handle->device->context->cancel(transfer);
}

int libusb_handle_events_timeout_completed(libusb_context* context, timeval* timeout, int* completed)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(timeout->tv_sec) +
                     std::chrono::microseconds(timeout->tv_usec);
    contextOf(context).handleEvents(end, completed);
    return 0;
}
