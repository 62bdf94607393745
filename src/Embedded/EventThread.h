#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

class QObject;

/// A thread that runs timers and sockets of Qt's whether or not the process has an application object, has
/// had one or will have one. Alone in knowing Qt's private headers.
/// Thread:    any, but for the destructor, which the thread itself must not call. A host's threads come into contact
///            with no object of Qt's here: the first that does would count as the application's main thread.
/// Ownership: objects made in the thread have to be gone before it.
class EventThread
{
public:
    using Task = std::function<void()>;

    /// Returns when the thread runs its events.
    EventThread();
    /// Runs what has been posted, and ends the thread.
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    void post(Task task);
    /// Runs the task in the thread and waits for its end.
    void call(const Task& task);

private:
    class Postbox;
    void run();

    std::mutex m_mutex;
    std::condition_variable m_running;
    std::deque<Task> m_tasks;
    QObject* m_postbox = nullptr; // the thread's, while it runs
    std::thread m_thread;
};
