#pragma once

#include <QObject>
#include <QThread>

class Worker;

/// Gives one worker a thread of its own, for good: the thread runs on while the worker starts and stops.
/// Thread:    that of its owner; the destructor needs a worker that still handles events.
/// Ownership: the worker and the thread, which delete themselves when the thread ends.
class ThreadManager : public QObject
{
    Q_OBJECT

public:
    explicit ThreadManager(Worker* worker, QObject* parent = nullptr);

    /// Stops the worker and ends the thread: within two seconds, or by force.
    ~ThreadManager() override;

    /// Moves the worker, which has no parent, to a new thread. Once for each manager. False, with a critical
    /// record, if the system gives no thread: the worker stays where it is.
    bool start(QThread::Priority priority);

private:
    Q_DISABLE_COPY_MOVE(ThreadManager)

    static int s_countThreads;

    Worker* m_worker;
    QThread* m_thread = nullptr;
};
