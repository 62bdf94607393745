#include "Recorder.h"

#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/SetBufferEvent.h"

Recorder::Recorder()
{
    const auto noteRunning = [this](bool running) { note(QStringLiteral("runningChanged %1").arg(running)); };
    connect(this, &Worker::runningChanged, this, noteRunning, Qt::DirectConnection);
    const auto noteStarted = [this] { note(QStringLiteral("started")); };
    connect(this, &Worker::started, this, noteStarted, Qt::DirectConnection);
    const auto noteStopped = [this] { note(QStringLiteral("stopped")); };
    connect(this, &Worker::stopped, this, noteStopped, Qt::DirectConnection);
}

void Recorder::setGain(int gain)
{
    m_gain = gain;
    note(QStringLiteral("gain %1").arg(gain));
}

void Recorder::note(const QString& step)
{
    const std::lock_guard lock(m_mutex);
    m_steps.push_back(step);
    m_lastThread = QThread::currentThread();
}

QStringList Recorder::steps() const
{
    const std::lock_guard lock(m_mutex);
    return {m_steps.cbegin(), m_steps.cend()};
}

QThread* Recorder::lastThread() const
{
    const std::lock_guard lock(m_mutex);
    return m_lastThread;
}

void Recorder::onStart()
{
    note(QStringLiteral("onStart"));
    Worker::onStart();
    note(QStringLiteral("onStart ends"));
}

void Recorder::onDoWork()
{
    note(QStringLiteral("onDoWork"));
}

void Recorder::customEvent(QEvent* event)
{
    note(QStringLiteral("customEvent %1").arg(event->type()));
}

void Recorder::setBufferEvent(AbstractEvent* event)
{
    if (const auto* audio = dynamic_cast<SetBufferEvent<short>*>(event)) {
        note(QStringLiteral("short %1 %2").arg(audio->key()).arg(audio->buffer()->capacity));
    } else if (const auto* samples = dynamic_cast<SetBufferEvent<DoubleComplex>*>(event)) {
        note(QStringLiteral("complex %1 %2").arg(samples->key()).arg(samples->buffer()->capacity));
    }
}

OnThread::OnThread(Worker* worker)
{
    worker->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, worker, &QObject::deleteLater);
    m_thread.start();
}

OnThread::~OnThread()
{
    m_thread.quit();
    m_thread.wait();
}
