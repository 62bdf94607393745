#include "RadioDevice/Vendor/LibraryThread.h"

#include "Core/Log/Log.h"

#include <QMap>
#include <QThread>
#include <algorithm>
#include <utility>

LibraryThread& LibraryThread::of(const QString& library)
{
    // Never destroyed: a call may be out until the end of the process.
    static auto& mutex = *new std::mutex;
    static auto& threads = *new QMap<QString, LibraryThread*>;
    const std::lock_guard lock(mutex);
    LibraryThread*& thread = threads[library];
    if (thread == nullptr) {
        thread = new LibraryThread(library);
    }
    return *thread;
}

LibraryThread::LibraryThread(const QString& library)
    : m_thread(QThread::create([this] { run(); }))
{
    m_thread->setObjectName(library);
}

LibraryThread::Answer LibraryThread::ask(const char* what, std::function<int()> call,
                                         std::chrono::milliseconds deadline)
{
    return make(std::make_shared<Call>(Call{what, std::move(call), deadline, {}}), false);
}

LibraryThread::Answer LibraryThread::finish(const char* what, std::function<int()> call,
                                            std::chrono::milliseconds deadline)
{
    return make(std::make_shared<Call>(Call{what, std::move(call), deadline, {}}), true);
}

LibraryThread::Answer LibraryThread::make(const std::shared_ptr<Call>& call, bool howeverLate)
{
    std::unique_lock lock(m_mutex);
    if (!isStarted()) {
        return {Outcome::NotMade, 0};
    }
    call->begin = std::chrono::steady_clock::now();
    m_calls.push_back(call);
    m_changed.notify_all();
    while (!call->done) {
        const auto first = m_calls.front();
        if (m_changed.wait_until(lock, first->begin + first->deadline, [&first] { return first->done; })) {
            continue;
        }
        const bool remains = first == call || howeverLate;
        if (!remains) {
            m_calls.erase(std::find(m_calls.begin(), m_calls.end(), call));
        }
        const bool isNews = !std::exchange(first->warned, true);
        lock.unlock();
        if (isNews) {
            LOG_WARNING() << "The receiver's library doesn't come back:" << first->what;
        }
        return {remains ? Outcome::Out : Outcome::NotMade, 0};
    }
    return {Outcome::Back, call->result};
}

// Under the mutex.
bool LibraryThread::isStarted()
{
    if (!m_thread->isRunning()) {
        m_thread->start();
    }
    return m_thread->isRunning();
}

void LibraryThread::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return !m_calls.empty(); });
        const auto call = m_calls.front();
        lock.unlock();
        const int result = call->function();
        // What the call owns goes before anyone hears of its end.
        call->function = nullptr;
        lock.lock();
        call->result = result;
        call->done = true;
        m_calls.pop_front();
        if (!m_calls.empty()) {
            m_calls.front()->begin = std::chrono::steady_clock::now();
        }
        m_changed.notify_all();
    }
}
