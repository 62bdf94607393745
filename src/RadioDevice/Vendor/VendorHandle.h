#pragma once

#include "RadioDevice/Vendor/VendorCalls.h"

#include <memory>
#include <type_traits>
#include <utility>

/// The handle of one receiver in its vendor's library, and the driver's only way to it: a call through it is
/// held to a deadline. One that is left behind takes the handle with it: the driver asks nothing more of the
/// receiver, which is closed to it, and can open it anew. When that call comes back after all, the receiver
/// is given back by `Release` on the thread of the call.
/// Thread:    the device's.
/// Ownership: none; the driver closes what it opened.
///
///     m_receiver.open("airspy_open_sn", &airspy_open_sn, serial, [](airspy_device* dev) { ... });
///     m_receiver.call("airspy_set_freq", &airspy_set_freq, hertz);
///     m_receiver.finish("airspy_close", [](airspy_device* dev) { airspy_close(dev); });
///     m_receiver.forget();
template <class Handle>
class VendorHandle
{
public:
    using Release = std::function<void(Handle*)>;
    using Operation = VendorCalls::Operation;

    /// `lost` is the result of a call that was left behind, and of each one without a handle: one of failure.
    /// `onLost` is called when the handle was given up.
    VendorHandle(std::chrono::milliseconds deadline, int lost, std::function<void()> onLost = nullptr)
        : m_calls(deadline)
        , m_lost(lost)
        , m_onLost(std::move(onLost))
    {
    }

    explicit operator bool() const { return m_handle != nullptr; }
    /// For what a thread of the driver's own asks, without end.
    [[nodiscard]] Handle* handle() const { return m_handle; }

    [[nodiscard]] Operation operation() { return Operation(m_calls); }
    /// For what is asked of the library without a receiver.
    [[nodiscard]] VendorCalls& calls() { return m_calls; }

    /// The result of `function(&handle, id)`. A handle that it leaves null stays as it is here.
    template <class Id>
    int open(const char* what, int (*function)(Handle**, Id), std::common_type_t<Id> id, Release release)
    {
        m_release = std::move(release);
        const auto handle = std::make_shared<Handle*>(nullptr);
        const auto result = m_calls.run(
            QLatin1String(what), [function, handle, id] { return function(handle.get(), id); },
            [handle, giveBack = m_release] {
                if (*handle != nullptr) {
                    giveBack(*handle);
                }
            });
        if (!result) {
            return lose();
        }
        if (*handle != nullptr) {
            m_handle = *handle;
        }
        return *result;
    }

    /// The result of `function(handle, arguments...)`.
    template <class... Parameters>
    int call(const char* what, int (*function)(Handle*, Parameters...),
             std::common_type_t<Parameters>... arguments)
    {
        return ask(what, [=](Handle* handle) { return function(handle, arguments...); });
    }

    /// The result of `question(handle)`, which owns what it touches.
    int ask(const char* what, std::function<int(Handle*)> question)
    {
        if (m_handle == nullptr) {
            return m_lost;
        }
        const auto result = m_calls.run(
            QLatin1String(what),
            [question = std::move(question), handle = m_handle] { return question(handle); },
            [giveBack = m_release, handle = m_handle] { giveBack(handle); });
        return result ? *result : lose();
    }

    /// How a call that was left behind gives the receiver back, from now on.
    void setRelease(Release release) { m_release = std::move(release); }

    /// Runs `last(handle)`, which closes the receiver, however late. False if it was left behind. Outside of
    /// any operation it has the time that the last one has left over.
    bool finish(const char* what, Release last)
    {
        const auto result = m_calls.runOn(QLatin1String(what), [last = std::move(last), handle = m_handle] {
            last(handle);
            return 0;
        });
        if (!result) {
            lose();
        }
        return result.has_value();
    }

    /// The receiver is closed.
    void forget() { m_handle = nullptr; }

private:
    int lose()
    {
        m_handle = nullptr;
        if (m_onLost) {
            m_onLost();
        }
        return m_lost;
    }

    VendorCalls m_calls;
    int m_lost;
    std::function<void()> m_onLost;
    Handle* m_handle = nullptr; // null while closed
    Release m_release;
};
