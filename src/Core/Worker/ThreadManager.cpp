#include "Core/Worker/ThreadManager.h"

#include "Core/Log/Log.h"
#include "Core/Worker/Worker.h"

#include <memory>

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
    // Also for a manager that never started: each destructor counts down, whether or not there was a start.
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

bool ThreadManager::start(QThread::Priority priority)
{
    auto thread = std::make_unique<QThread>();
    thread->setObjectName(QString::fromUtf8(m_worker->metaObject()->className()));
    connect(thread.get(), &QThread::finished, m_worker, &Worker::deleteLater);
    connect(thread.get(), &QThread::finished, thread.get(), &QThread::deleteLater);
    thread->start(priority);
    ++s_countThreads; // also of a start that fails: the destructor counts down for it
    if (!thread->isRunning()) {
        LOG_CRITICAL() << "Error start thread!" << thread->objectName();
        return false;
    }
    m_thread = thread.release();
    m_worker->moveToThread(m_thread);
    LOG_DEBUG() << QStringLiteral("Start thread, priority: %1, count threads: %2")
                       .arg(m_thread->priority())
                       .arg(s_countThreads);
    return true;
}
