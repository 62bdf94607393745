#include "FakeBus.h"

#include "FakeScript.h"

#include <algorithm>

namespace
{

constexpr std::chrono::milliseconds kPoll{4};     // between two looks at the script
constexpr std::chrono::milliseconds kLongest{50}; // that a bus is late before it lets samples go

} // namespace

void libusb_context::look(libusb_device_handle& handle)
{
    const std::string in = std::string("usb.") + handle.device->model->name;
    handle.gone =
        handle.gone || FakeScript::flag("unplug") || FakeScript::number(in, 0) <= handle.device->number;
}

bool libusb_context::isGone(libusb_device_handle& handle)
{
    const std::lock_guard lock(m_mutex);
    look(handle);
    return handle.gone;
}

libusb_context::Clock::duration libusb_context::duration(const libusb_device_handle& handle)
{
    // A script's `rate` sets the pace alone: the samples stay those of the rate that the receiver was set to.
    const double nominal = handle.receiver->bytesPerSecond();
    const double perSample = handle.device->model->name == std::string("rtl") ? 2.0 : 4.0;
    const double bytes = FakeScript::real("rate", nominal / perSample) * perSample;
    const double seconds = bytes > 0 ? handle.waiting.front().transfer->length / bytes : 0.0;
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

int libusb_context::submit(libusb_transfer* transfer)
{
    libusb_device_handle& handle = *transfer->dev_handle;
    const std::lock_guard lock(m_mutex);
    look(handle);
    if (handle.gone) {
        return LIBUSB_ERROR_NO_DEVICE;
    }
    transfer->actual_length = 0;
    handle.waiting.push_back({transfer, false});
    if (handle.waiting.size() == 1) {
        const auto now = Clock::now();
        handle.due = std::max(handle.due, now - kLongest) + duration(handle);
    }
    m_changed.notify_all();
    return 0;
}

int libusb_context::cancel(libusb_transfer* transfer)
{
    const std::lock_guard lock(m_mutex);
    auto& waiting = transfer->dev_handle->waiting;
    const auto found = std::find_if(waiting.begin(), waiting.end(), [transfer](const auto& entry) {
        return entry.transfer == transfer && !entry.cancelled;
    });
    if (found == waiting.end()) {
        return LIBUSB_ERROR_NOT_FOUND;
    }
    found->cancelled = true;
    m_changed.notify_all();
    return 0;
}

int libusb_context::control(libusb_device_handle& handle, const FakeReceiver::Request& request)
{
    const std::lock_guard lock(m_mutex);
    look(handle);
    return handle.gone ? LIBUSB_ERROR_NO_DEVICE : handle.receiver->control(request);
}

void libusb_context::add(libusb_device_handle* handle)
{
    const std::lock_guard lock(m_mutex);
    m_handles.push_back(handle);
}

void libusb_context::remove(libusb_device_handle* handle)
{
    const std::lock_guard lock(m_mutex);
    m_handles.erase(std::remove(m_handles.begin(), m_handles.end(), handle), m_handles.end());
}

void libusb_context::takeOver(libusb_device_handle& handle, std::vector<libusb_transfer*>& over)
{
    if (handle.waiting.empty()) {
        return;
    }
    look(handle);
    const auto end = [&handle, &over](std::deque<libusb_device_handle::Waiting>::iterator place,
                                      libusb_transfer_status status) {
        place->transfer->status = status;
        over.push_back(place->transfer);
        return handle.waiting.erase(place);
    };
    for (auto place = handle.waiting.begin(); place != handle.waiting.end();) {
        if (handle.gone) {
            place = end(place, LIBUSB_TRANSFER_NO_DEVICE);
        } else if (place->cancelled) {
            place = end(place, LIBUSB_TRANSFER_CANCELLED);
        } else {
            ++place;
        }
    }
    if (FakeScript::flag("stall")) {
        handle.due = Clock::now();
        return;
    }
    while (!handle.waiting.empty() && handle.due <= Clock::now()) {
        libusb_transfer* const first = handle.waiting.front().transfer;
        const bool overflow = FakeScript::flag("usb.overflow");
        if (!overflow) {
            handle.receiver->fill(first->buffer, static_cast<std::size_t>(first->length));
            first->actual_length = first->length;
        }
        end(handle.waiting.begin(), overflow ? LIBUSB_TRANSFER_OVERFLOW : LIBUSB_TRANSFER_COMPLETED);
        if (!handle.waiting.empty()) {
            handle.due += duration(handle);
        }
    }
}

void libusb_context::handleEvents(Clock::time_point end, const int* completed)
{
    std::vector<libusb_transfer*> over;
    {
        std::unique_lock lock(m_mutex);
        while (completed == nullptr || *completed == 0) {
            auto next = std::min(end, Clock::now() + kPoll);
            for (libusb_device_handle* handle : m_handles) {
                takeOver(*handle, over);
                if (!handle->waiting.empty()) {
                    next = std::min(next, std::max(handle->due, Clock::now()));
                }
            }
            if (!over.empty() || Clock::now() >= end) {
                break;
            }
            m_changed.wait_until(lock, next);
        }
    }
    for (libusb_transfer* transfer : over) {
        transfer->callback(transfer);
    }
}
