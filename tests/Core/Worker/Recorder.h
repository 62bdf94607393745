#pragma once

#include "Core/Worker/Worker.h"

#include <QStringList>
#include <QThread>
#include <atomic>
#include <mutex>
#include <vector>

/// Writes down what reaches it, and the thread that the last of it came on.
class Recorder : public Worker
{
    Q_OBJECT
    Q_PROPERTY(int gain READ gain WRITE setGain RESET resetGain)
    Q_PROPERTY(int level READ gain WRITE setGain)

public:
    Recorder();

    int gain() const { return m_gain; }
    void setGain(int gain);
    void resetGain() { setGain(7); }

    void note(const QString& step);
    QStringList steps() const;
    QThread* lastThread() const;

    using Worker::onStop;

protected:
    void onStart() override;
    void onDoWork() override;
    void customEvent(QEvent* event) override;
    void setBufferEvent(AbstractEvent* event) override;

private:
    std::atomic<int> m_gain{1};
    mutable std::mutex m_mutex;
    std::vector<QString> m_steps; // a container of Qt's would be shared with who reads it
    QThread* m_lastThread = nullptr;
};

/// Lends a worker a thread for a scope; the worker goes with it.
class OnThread
{
public:
    explicit OnThread(Worker* worker);
    ~OnThread();
    QThread* thread() { return &m_thread; }

private:
    Q_DISABLE_COPY_MOVE(OnThread)
    QThread m_thread;
};
