#include "RadioDevice/Vendor/BoundedCall.h"

#include "Core/Log/Log.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace
{

struct Completion
{
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
};

} // namespace

bool BoundedCall::run(const QString& what, std::function<void()> call, std::chrono::milliseconds deadline)
{
    auto completion = std::make_shared<Completion>();
    std::thread thread([completion, call = std::move(call)]() mutable {
        call();
        // What the call owns goes before anyone hears of its end.
        call = nullptr;
        const std::lock_guard lock(completion->mutex);
        completion->done = true;
        completion->changed.notify_one();
    });
    std::unique_lock lock(completion->mutex);
    if (completion->changed.wait_for(lock, deadline, [&completion] { return completion->done; })) {
        lock.unlock();
        thread.join();
        return true;
    }
    thread.detach();
    LOG_WARNING() << "The receiver's library doesn't come back, it is left behind:" << what;
    return false;
}
