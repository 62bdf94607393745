#pragma once

#include "FakeReceiver.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <libusb.h>
#include <mutex>
#include <vector>

/// A receiver as a list holds it: a reference counted by those who have it.
struct libusb_device
{
    libusb_context* context = nullptr;
    const FakeModel* model = nullptr;
    int number = 0; ///< Among those of its model, from 0.
    int references = 1;
};

/// One opened receiver and the transfers that wait for its samples, in order.
struct libusb_device_handle
{
    struct Waiting
    {
        libusb_transfer* transfer;
        bool cancelled;
    };

    libusb_device* device = nullptr;
    std::unique_ptr<FakeReceiver> receiver;
    bool gone = false; ///< Once unplugged, for good: what is plugged in again is another device.
    std::deque<Waiting> waiting;
    std::chrono::steady_clock::time_point due; ///< When the first transfer will be full.
};

/// All that one caller of libusb_init has to do with. Each function is safe from any thread.
struct libusb_context
{
    int submit(libusb_transfer* transfer);
    int cancel(libusb_transfer* transfer);
    int control(libusb_device_handle& handle, const FakeReceiver::Request& request);
    void add(libusb_device_handle* handle);
    void remove(libusb_device_handle* handle);
    [[nodiscard]] bool isGone(libusb_device_handle& handle);

    /// Calls the transfers back that are over. Returns when there were some, at `end`, or when `completed` is
    /// nonzero.
    void handleEvents(std::chrono::steady_clock::time_point end, const int* completed);

private:
    using Clock = std::chrono::steady_clock;
    void look(libusb_device_handle& handle);
    [[nodiscard]] static Clock::duration duration(const libusb_device_handle& handle);
    void takeOver(libusb_device_handle& handle, std::vector<libusb_transfer*>& over);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<libusb_device_handle*> m_handles;
};
