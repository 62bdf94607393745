#pragma once

#include "RadioDevice/Vendor/LibraryThread.h"

#include <type_traits>
#include <utility>

/// The handle of one receiver in its vendor's library, and the driver's only way to it: each call goes
/// through the library's thread. One that isn't back in time takes the handle with it: the driver asks
/// nothing more of the receiver, which is closed to it, and is given back by `Release` after that call.
/// Thread:    the device's; a release runs on the library's, and owns what it touches.
/// Ownership: none; the driver closes what it opened.
///
///     m_receiver.open("airspy_open_sn", &airspy_open_sn, serial, [](airspy_device* dev) { ... });
///     m_receiver.call("airspy_set_freq", &airspy_set_freq, hertz);
///     m_receiver.finish("airspy_close", &airspy_close);
///     m_receiver.forget();
template <class Handle>
class VendorHandle
{
public:
    using Release = std::function<void(Handle*)>;

    /// `lost` is the result of a call that isn't back in time, and of each one without a handle: one of
    /// failure. `onLost` is called when the handle was given up.
    VendorHandle(LibraryThread& thread, const LibraryDeadlines& deadlines, int lost,
                 std::function<void()> onLost = nullptr)
        : m_thread(thread)
        , m_deadlines(deadlines)
        , m_lost(lost)
        , m_onLost(std::move(onLost))
    {
    }

    explicit operator bool() const { return m_handle != nullptr; }
    /// For what a thread of the driver's own asks, without end.
    [[nodiscard]] Handle* handle() const { return m_handle; }

    /// The result of `function(&handle, id)`. A handle that it leaves null stays as it is here.
    template <class Id>
    int open(const char* what, int (*function)(Handle**, Id), std::common_type_t<Id> id, Release release)
    {
        m_release = std::move(release);
        const auto handle = std::make_shared<Handle*>(nullptr);
        const auto [outcome, result] = m_thread.ask(
            what, [function, handle, id] { return function(handle.get(), id); }, m_deadlines.open);
        if (outcome == LibraryThread::Outcome::Out) {
            giveBack([handle] { return *handle; });
        }
        if (outcome != LibraryThread::Outcome::Back) {
            m_handle = nullptr;
            return lose();
        }
        if (*handle != nullptr) {
            m_handle = *handle;
        }
        return result;
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
        const auto [outcome, result] = m_thread.ask(
            what, [question = std::move(question), handle = m_handle] { return question(handle); },
            m_deadlines.call);
        return outcome == LibraryThread::Outcome::Back ? result : lose();
    }

    /// As `ask`, for what ends the use of the receiver: it is done however late. After it, if it isn't back
    /// in time, `rest` gives the receiver back; without one nothing is left to do.
    int finish(const char* what, std::function<int(Handle*)> question, Release rest = nullptr)
    {
        if (m_handle == nullptr) {
            return m_lost;
        }
        m_release = std::move(rest);
        const auto [outcome, result] = m_thread.finish(
            what, [question = std::move(question), handle = m_handle] { return question(handle); },
            m_deadlines.call);
        return outcome == LibraryThread::Outcome::Back ? result : lose();
    }

    /// How the receiver is given back once a call isn't back in time, from now on.
    void setRelease(Release release) { m_release = std::move(release); }

    /// The receiver is closed.
    void forget() { m_handle = nullptr; }

private:
    int lose()
    {
        if (m_handle != nullptr) {
            giveBack([handle = m_handle] { return handle; });
        }
        m_handle = nullptr;
        if (m_onLost) {
            m_onLost();
        }
        return m_lost;
    }

    template <class Opened>
    void giveBack(Opened opened)
    {
        if (!m_release) {
            return;
        }
        m_thread.finish(
            "closing the receiver",
            [opened, release = std::exchange(m_release, nullptr)] {
                if (Handle* const handle = opened()) {
                    release(handle);
                }
                return 0;
            },
            m_deadlines.call);
    }

    LibraryThread& m_thread;
    LibraryDeadlines m_deadlines;
    int m_lost;
    std::function<void()> m_onLost;
    Handle* m_handle = nullptr; // null while closed
    Release m_release;
};
