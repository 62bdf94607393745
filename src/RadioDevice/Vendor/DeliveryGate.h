#pragma once

#include <cstdint>
#include <map>
#include <mutex>

/// How the callbacks of a library find their device, and only while it wants them. Nobody can say when a
/// library calls back for the last time: a stop may hang, or fail, and some call on after they have ended. So
/// what it is given as its context is no address but the number of a start, and a callback that comes late
/// finds nobody under it, whatever was started or deleted since.
///
///     int callback(airspy_transfer* transfer)
///     {
///         DeliveryGate<AirSpyRadioDevice>::visit(
///             transfer->ctx, [transfer](AirSpyRadioDevice& device) { device.deliver(transfer); });
///         return 0;
///     }
///
/// A driver begins with each start, opens after AbstractRadioDevice::onStart, from where on the block belongs
/// to the delivering thread, and closes before it asks the library to stop, so that the block is its own
/// again.
/// Thread: `begin`, `open` and `close` on the device's thread, `visit` on the library's. A visit waits for
///         nothing but the few instructions of those three; they wait for the block that is delivered.
template <class Device>
class DeliveryGate
{
public:
    DeliveryGate() = default;
    DeliveryGate(const DeliveryGate&) = delete;
    DeliveryGate& operator=(const DeliveryGate&) = delete;
    ~DeliveryGate() { close(); }

    /// Takes a new number and gives it, as the library's context; never null. Shut until `open`.
    [[nodiscard]] void* begin()
    {
        close();
        const std::lock_guard lock(table().mutex);
        m_number = ++table().lastNumber;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a number in the shape that the libraries take
        return reinterpret_cast<void*>(m_number);
    }

    void open(Device* device)
    {
        const std::lock_guard lock(table().mutex);
        table().devices[m_number] = device;
    }

    /// When this returns nobody is inside, and nobody comes in under this number any more.
    void close()
    {
        const std::lock_guard lock(table().mutex);
        table().devices.erase(m_number);
    }

    /// Calls `delivery(device)` with the one whose gate is open under this number, if there is one.
    template <class Delivery>
    static void visit(const void* context, Delivery delivery)
    {
        const std::lock_guard lock(table().mutex);
        const auto found = table().devices.find(reinterpret_cast<std::uintptr_t>(context));
        if (found != table().devices.end()) {
            delivery(*found->second);
        }
    }

private:
    struct Table
    {
        std::mutex mutex;
        std::uintptr_t lastNumber = 0;
        std::map<std::uintptr_t, Device*> devices; // whose gates are open, by number
    };

    static Table& table()
    {
        // Never destroyed: a library's thread may run to the end of the process.
        static auto& instance = *new Table;
        return instance;
    }

    std::uintptr_t m_number = 0; // none
};
