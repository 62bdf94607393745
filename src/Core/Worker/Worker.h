#pragma once

#include <QObject>
#include <QReadWriteLock>
#include <QSharedPointer>
#include <QVariant>

class AbstractEvent;
class SetPropertyEvent;
struct DoubleComplex;
template <class T>
class RingBuffer;

/// What works on a thread of its own: a lifecycle of three states, driven from any thread, and properties
/// and sample rings passed to it by event.
/// Thread:    lives where it was moved to (ThreadManager); its slots and events run there. The operations
///            above `signals` may be called from any thread.
/// Ownership: shares the rings it is given.
/// A subclass with continuous work loops in `onDoWork` while `running()`, calling `processEvents` each
/// round; one driven by timers or callbacks leaves it empty.
class Worker : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)

public:
    enum State
    {
        STOPPED = 0,   ///< The only state that `start` takes.
        TRY_START = 1, ///< `start` was accepted, `onStart` has not finished.
        STARTED = 2,   ///< The only state in which `running()` is true.
    };
    Q_ENUM(State)

    explicit Worker(QObject* parent = nullptr);

    [[nodiscard]] bool running() const;
    [[nodiscard]] State state() const;

    /// Runs `onStart` on the worker's thread. From another thread the call waits for it, unless `queued`.
    /// False, with a warning, if the worker is not stopped.
    bool start(bool queued = false);

    /// Runs `onStop` on the worker's thread and waits for it; nothing if the worker is not started.
    void stop();

    /// Run `onRestore`, `onSave` and `onReset` on the worker's thread and wait. They act on the properties
    /// that are writable and resettable, stored under `key`. The result is that of the invocation.
    bool restore(const QString& key);
    bool save(const QString& key);
    bool reset();

    /// Reads a property on the caller's thread.
    virtual QVariant getProperty(const char* name);

    /// Posts the value; the property is set when the worker's thread gets to it. Always true: a failure is
    /// only logged, there.
    virtual bool setProperty(const char* name, const QVariant& value);

    /// Post a ring; what a key means is up to the subclass.
    virtual void setBuffer(QSharedPointer<RingBuffer<DoubleComplex>> buffer, const QString& key);
    virtual void setBuffer(QSharedPointer<RingBuffer<short>> buffer, const QString& key);

    bool event(QEvent* event) override;

signals:
    void started();
    void stopped();
    void runningChanged(bool running);
    /// A start or a run that failed; emitted by subclasses alone.
    void errorHappen(QString text = QString());

protected slots:
    /// Sets STARTED, signals it, and queues `onDoWork`, once for each start. An override calls it last.
    virtual void onStart();
    /// Sets STOPPED, from any state, and signals it.
    virtual void onStop();
    virtual void onDoWork();

protected:
    /// Receives a SetBufferEvent<DoubleComplex> or <short>; the key tells which.
    virtual void setBufferEvent(AbstractEvent* event);

    void setState(State next);

    /// Called when every property has been restored.
    virtual void restored() {}

    /// Handles the events that wait for this thread, once, without blocking.
    void processEvents();

    void setPropertyEvent(SetPropertyEvent* event);

    /// Guards the state, and what else a subclass lets other threads read.
    mutable QReadWriteLock m_stateLock;

private slots:
    void onRestore(const QString& key);
    void onSave(const QString& key);
    void onReset();

private:
    [[nodiscard]] Qt::ConnectionType waitingConnection() const;
    [[nodiscard]] QString className() const;

    State m_state = STOPPED;
};
