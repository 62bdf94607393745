#pragma once

#include <QString>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

class QThread;

/// How long a device waits for one call of its library, from when the call is made.
struct LibraryDeadlines
{
    std::chrono::milliseconds open{10'000};
    std::chrono::milliseconds call{3'000}; ///< Any other.
};

/// The one thread that makes every call of a vendor's library, in the order asked, whichever device asked. A
/// call may never come back: a stick that is pulled out, or has stopped answering, leaves some of them
/// waiting for good. Whoever asks waits no longer than the call's own deadline. A call that has missed it is
/// "out"; until it comes back nothing new is asked of that library, and what has to follow it waits its turn.
/// A call owns by value or by shared pointer all that it touches: it may outlive the device that asked.
///
///     auto found = std::make_shared<AirSpyConversion::Serials>();
///     const auto answer = LibraryThread::of("libairspy").ask(
///         "airspy_list_devices", [found] { return airspy_list_devices(found->data(), 64); }, deadline);
///
/// Thread:    any may ask; the thread itself starts with the first call and lives as long as the process.
/// Ownership: kept for good.
/// Errors:    one warning names each call that is out. A thread that can't be started makes no call, and is
///            tried again by the next one.
class LibraryThread
{
public:
    enum class Outcome
    {
        Back,    ///< In time.
        Out,     ///< Made, or going to be; nobody hears its result.
        NotMade, ///< Nor will it be.
    };

    struct Answer
    {
        Outcome outcome;
        int result; ///< What the call gave, if it is back.
    };

    /// The thread of the library of that name.
    static LibraryThread& of(const QString& library);

    /// Makes the call, unless another one is out.
    [[nodiscard]] Answer ask(const char* what, std::function<int()> call, std::chrono::milliseconds deadline);
    /// Makes the call, however late: for what ends a session. Doesn't wait while another one is out.
    Answer finish(const char* what, std::function<int()> call, std::chrono::milliseconds deadline);

private:
    struct Call
    {
        const char* what;
        std::function<int()> function;
        std::chrono::milliseconds deadline;
        std::chrono::steady_clock::time_point begin; // once it is the first
        int result = 0;
        bool done = false;
        bool warned = false; // that it is out
    };

    explicit LibraryThread(const QString& library);
    Answer make(const std::shared_ptr<Call>& call, bool howeverLate);
    [[nodiscard]] bool isStarted();
    void run();

    QThread* m_thread;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::shared_ptr<Call>> m_calls; // the first is being made
};
