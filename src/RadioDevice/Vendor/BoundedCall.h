#pragma once

#include <QString>
#include <chrono>
#include <functional>

/// Calls into a vendor's library that may never come back (a stick pulled out in mid-stream leaves some of
/// them waiting for good) without waiting for ever. The call runs on a thread of its own.
///
/// What a driver does with it: everything that one stop asks of the library goes into one call, so that the
/// whole of it is held to one deadline. The call owns by value or by shared pointer all that it touches,
/// results included, and neither the device nor anything of the event loop is among that; it may still run
/// when the device is gone.
///
///     auto result = std::make_shared<std::atomic<int>>(0);
///     if (BoundedCall::run(QStringLiteral("airspy_close"),
///                          [dev = m_dev, gate = m_gate, result] { *result = airspy_close(dev); })) { ... }
///     m_dev = nullptr; // either way
class BoundedCall
{
public:
    /// The event loop is held no longer than this by one stop.
    static constexpr std::chrono::milliseconds kDeadline{3000};

    /// Any thread. True if `call` came back in time. Otherwise it is left behind on its thread, one warning
    /// names `what`, and the caller gives up the handle that it was about; the call, with all that it owns,
    /// is let go when it comes back after all.
    [[nodiscard]] static bool run(const QString& what, std::function<void()> call,
                                  std::chrono::milliseconds deadline = kDeadline);
};
