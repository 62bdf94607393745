#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// What stands between a library's delivery thread and a device. The library is given the gate as its
/// context, never the device: a callback that comes late finds the gate shut, and no device.
///
/// A driver makes one gate for each start, as a shared pointer, and gives `gate.get()` to the library. It
/// opens it behind AbstractRadioDevice::onStart, from where on the block belongs to the delivery thread, and
/// closes it in onStop before it asks the library to stop, so that the block is its own again. Whatever may
/// outlive the device in the library (the call of BoundedCall that stops it, a thread that reads) holds a
/// copy of the pointer; where the library may go on delivering with nobody to hold it, `leaveBehind`.
///
///     int callback(airspy_transfer* transfer)
///     {
///         if (const auto device = static_cast<DeliveryGate<AirSpyRadioDevice>*>(transfer->ctx)->enter()) {
///             device->onSamples(static_cast<const float*>(transfer->samples), transfer->sample_count);
///         }
///         return 0;
///     }
///
/// Thread: `enter` from the delivery thread, lock-free; `open` and `close` from the device's thread. Not from
///         within a visit: `close` waits for those inside, which convert one block and never wait.
template <class Device>
class DeliveryGate
{
public:
    /// Inside while it lives. False if there is no device to reach.
    class Visit
    {
    public:
        Visit(Visit&& other) noexcept
            : m_gate(std::exchange(other.m_gate, nullptr))
        {
        }
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;
        Visit& operator=(Visit&&) = delete;
        ~Visit()
        {
            if (m_gate != nullptr) {
                m_gate->leave();
            }
        }

        explicit operator bool() const { return m_gate != nullptr; }
        Device* operator->() const { return m_gate->m_device; }

    private:
        friend class DeliveryGate;
        explicit Visit(DeliveryGate* gate)
            : m_gate(gate)
        {
        }

        DeliveryGate* m_gate;
    };

    /// Shut. `device` lives at least until `close` has returned, if the gate is ever opened.
    explicit DeliveryGate(Device* device)
        : m_device(device)
    {
    }
    DeliveryGate(const DeliveryGate&) = delete;
    DeliveryGate& operator=(const DeliveryGate&) = delete;
    ~DeliveryGate() = default;

    void open() { m_state.fetch_and(~kShut); }

    [[nodiscard]] Visit enter()
    {
        if ((m_state.fetch_add(kVisitor) & kShut) != 0) {
            leave();
            return Visit(nullptr);
        }
        return Visit(this);
    }

    /// When this returns nobody is inside, and nobody comes in any more.
    void close()
    {
        m_state.fetch_or(kShut);
        while (m_state != kShut) {
            std::this_thread::sleep_for(kPoll);
        }
    }

    /// Keeps a gate for the rest of the process: for a library that didn't let go of it.
    static void leaveBehind(std::shared_ptr<DeliveryGate> gate)
    {
        static std::mutex mutex;
        static auto& kept = *new std::vector<std::shared_ptr<DeliveryGate>>;
        const std::lock_guard lock(mutex);
        kept.push_back(std::move(gate));
    }

private:
    static constexpr unsigned kShut = 1;
    static constexpr unsigned kVisitor = 2; // counts those inside, and those just being turned away
    static constexpr std::chrono::microseconds kPoll{100};

    void leave() { m_state.fetch_sub(kVisitor); }

    Device* m_device;
    std::atomic<unsigned> m_state{kShut};
};
