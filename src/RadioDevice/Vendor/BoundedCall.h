#pragma once

#include <QString>
#include <chrono>
#include <functional>

/// Calls into a vendor's library that may never come back (a stick that is pulled out, or answers to nothing
/// any more, leaves some of them waiting for good) without waiting for ever. The call runs on a thread of its
/// own, which costs some 15 us. It owns by value or by shared pointer all that it touches, results included,
/// and neither the device nor anything of the event loop is among that; it may still run when the device is
/// gone. Results are only read when it came back.
///
///     auto found = std::make_shared<AirSpyConversion::Serials>();
///     if (BoundedCall::run(QStringLiteral("airspy_list_devices"),
///                          [found] { airspy_list_devices(found->data(), 64); })) { ... }
///
/// A driver asks its library through VendorCalls, which is built on this.
class BoundedCall
{
public:
    /// The event loop is held no longer than this by one operation of a device.
    static constexpr std::chrono::milliseconds kDeadline{3000};

    /// Any thread. True if `call` came back in time. Otherwise it is left behind on its thread, one warning
    /// names `what`, and the caller gives up the handle that it was about. When it comes back after all,
    /// `late` follows on the same thread, to clean up behind it, and all that the two own is let go.
    [[nodiscard]] static bool run(const QString& what, std::function<void()> call,
                                  std::chrono::milliseconds deadline = kDeadline,
                                  std::function<void()> late = nullptr);
};
