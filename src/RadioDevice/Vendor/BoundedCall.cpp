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
    bool leftBehind = false;
};

} // namespace

bool BoundedCall::run(const QString& what, std::function<void()> call, std::chrono::milliseconds deadline,
                      std::function<void()> late)
{
    auto completion = std::make_shared<Completion>();
    std::thread thread([completion, call = std::move(call), late = std::move(late)]() mutable {
        call();
        // What the call owns goes before anyone hears of its end.
        call = nullptr;
        std::unique_lock lock(completion->mutex);
        if (!completion->leftBehind) {
            completion->done = true;
            completion->changed.notify_one();
            return;
        }
        lock.unlock();
        if (late) {
            late();
        }
    });
    std::unique_lock lock(completion->mutex);
    if (completion->changed.wait_for(lock, deadline, [&completion] { return completion->done; })) {
        lock.unlock();
        thread.join();
        return true;
    }
    completion->leftBehind = true;
    thread.detach();
    LOG_WARNING() << "The receiver's library doesn't come back, it is left behind:" << what;
    return false;
}
