#include "Core/Worker/ThreadManager.h"

#include "Core/Log/Log.h"
#include "Core/Worker/Worker.h"

namespace
{

constexpr unsigned long kFinishTimeout = 2000; // ms

} // namespace

int ThreadManager::s_countThreads = 0;

ThreadManager::ThreadManager(Worker* worker, QObject* parent)
    : QObject(parent)
    , m_worker(worker)
{
}

ThreadManager::~ThreadManager()
{
    // Also for a manager that never started: the count is of managers that came to an end as well.
    --s_countThreads;
    if (m_worker->running()) {
        m_worker->stop();
    }
    if (m_thread == nullptr) {
        m_worker->deleteLater();
        return;
    }
    m_thread->quit();
    if (m_thread->wait(kFinishTimeout)) {
        LOG_DEBUG() << "Thread finished.";
    } else {
        m_thread->terminate();
        LOG_CRITICAL() << "Thread still running! Can not wait any more !!! Terminated.";
    }
}

void ThreadManager::start(QThread::Priority priority)
{
    m_thread = new QThread;
    m_thread->setObjectName(QString::fromUtf8(m_worker->metaObject()->className()));
    m_worker->moveToThread(m_thread);
    connect(m_thread, &QThread::finished, m_worker, &Worker::deleteLater);
    connect(m_thread, &QThread::finished, m_thread, &QThread::deleteLater);
    m_thread->start(priority);
    ++s_countThreads;
    LOG_DEBUG() << QStringLiteral("Start thread, priority: %1, count threads: %2")
                       .arg(m_thread->priority())
                       .arg(s_countThreads);
}
