#include "Embedded/EventThread.h"

#include <QEventLoop>
#include <QtCore/private/qcoreapplication_p.h>
#include <QtCore/private/qthread_p.h>
#include <future>
#include <utility>

// Runs the tasks as they come.
class EventThread::Postbox : public QObject
{
public:
    explicit Postbox(EventThread& thread)
        : m_thread(thread)
    {
    }

    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User) {
            return QObject::event(event);
        }
        std::deque<Task> tasks;
        {
            const std::lock_guard lock(m_thread.m_mutex);
            tasks.swap(m_thread.m_tasks);
        }
        for (const Task& task : tasks) {
            task();
        }
        return true;
    }

private:
    EventThread& m_thread;
};

EventThread::EventThread()
    : m_thread(&EventThread::run, this)
{
    std::unique_lock lock(m_mutex);
    m_running.wait(lock, [this] { return m_postbox != nullptr; });
}

EventThread::~EventThread()
{
    post([] { QThreadData::get2(QThread::currentThread())->eventLoops.top()->quit(); });
    m_thread.join();
}

void EventThread::run()
{
    QThread* const self = QThread::currentThread();
    // Until there is an application, the first thread that Qt meets counts as the main one, and a host that
    // made an application later would do so in a wrong thread.
    QCoreApplicationPrivate::theMainThread.testAndSetOrdered(self, nullptr);
    // Events here go straight to their objects, past an application of the host's.
    QThreadData::get2(self)->requiresCoreApplication = false;
    QEventLoop loop;
    Postbox postbox(*this);
    {
        const std::lock_guard lock(m_mutex);
        m_postbox = &postbox;
        m_running.notify_one();
    }
    loop.exec();
}

void EventThread::post(Task task)
{
    const std::lock_guard lock(m_mutex);
    m_tasks.push_back(std::move(task));
    QCoreApplication::postEvent(m_postbox, new QEvent(QEvent::User));
}

void EventThread::call(const Task& task)
{
    std::promise<void> done;
    post([&task, &done] {
        task();
        done.set_value();
    });
    done.get_future().wait();
}
