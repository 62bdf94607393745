#include "Core/Worker/Worker.h"

#include "Core/Log/ForeignText.h"
#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Settings/Settings.h"
#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/SetBufferEvent.h"
#include "Core/Worker/SetPropertyEvent.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QMetaEnum>
#include <QMetaProperty>
#include <QPair>
#include <QThread>
#include <utility>

namespace
{

const char* stateName(Worker::State state)
{
    return QMetaEnum::fromType<Worker::State>().valueToKey(state);
}

} // namespace

Worker::Worker(QObject* parent)
    : QObject(parent)
{
    // Qt registers this pair with the first conversion of a value. Left to two threads at once, each would
    // do it, and the later one warn.
    static const int pair = qMetaTypeId<QPair<QVariant, QVariant>>();
    Q_UNUSED(pair)
}

bool Worker::running() const
{
    return state() == STARTED;
}

Worker::State Worker::state() const
{
    const QReadLocker lock(&m_stateLock);
    return m_state;
}

bool Worker::start(bool queued)
{
    LOG_DEBUG() << "======================== Start worker ========================" << className();
    const State current = state();
    if (current != STOPPED) {
        // The state is taken as the width of the name, and "%2" stays as it is: readers of these logs know
        // the line in this form.
        LOG_WARNING() << QStringLiteral("Error start worker! Name: %1, current state: %2")
                             .arg(className(), static_cast<int>(current), QLatin1Char(' '));
        return false;
    }
    setState(TRY_START);
    const Qt::ConnectionType waiting = waitingConnection();
    const bool direct = waiting == Qt::DirectConnection;
    return QMetaObject::invokeMethod(this, "onStart", queued && !direct ? Qt::QueuedConnection : waiting);
}

void Worker::stop()
{
    LOG_DEBUG() << "======================== Stop worker ========================" << className();
    if (state() != STARTED) {
        return;
    }
    QMetaObject::invokeMethod(this, "onStop", waitingConnection());
}

bool Worker::restore(const QString& key)
{
    return QMetaObject::invokeMethod(this, "onRestore", waitingConnection(), Q_ARG(QString, key));
}

bool Worker::save(const QString& key)
{
    return QMetaObject::invokeMethod(this, "onSave", waitingConnection(), Q_ARG(QString, key));
}

bool Worker::reset()
{
    return QMetaObject::invokeMethod(this, "onReset", waitingConnection());
}

QVariant Worker::getProperty(const char* name)
{
    return property(name);
}

bool Worker::setProperty(const char* name, const QVariant& value)
{
    QCoreApplication::postEvent(this, new SetPropertyEvent(QString::fromUtf8(name), value));
    return true;
}

void Worker::setBuffer(QSharedPointer<RingBuffer<DoubleComplex>> buffer, const QString& key)
{
    QCoreApplication::postEvent(this, new SetBufferEvent<DoubleComplex>(std::move(buffer), key));
}

void Worker::setBuffer(QSharedPointer<RingBuffer<short>> buffer, const QString& key)
{
    QCoreApplication::postEvent(this, new SetBufferEvent<short>(std::move(buffer), key));
}

bool Worker::event(QEvent* event)
{
    switch (static_cast<int>(event->type())) {
    case AbstractEvent::kSetPropertyType:
        setPropertyEvent(static_cast<SetPropertyEvent*>(event));
        return true;
    case AbstractEvent::kReservedType:
        return true;
    case AbstractEvent::kSetBufferType:
        setBufferEvent(static_cast<AbstractEvent*>(event));
        return true;
    default:
        return QObject::event(event);
    }
}

void Worker::onStart()
{
    setState(STARTED);
    emit runningChanged(true);
    emit started();
    QMetaObject::invokeMethod(this, "onDoWork", Qt::QueuedConnection);
}

void Worker::onStop()
{
    setState(STOPPED);
    emit runningChanged(false);
    emit stopped();
}

void Worker::onDoWork() {}

void Worker::setBufferEvent(AbstractEvent* /*event*/) {}

void Worker::setState(State next)
{
    const QWriteLocker lock(&m_stateLock);
    LOG_DEBUG() << "State changed (" << className() << "):" << stateName(m_state) << "->" << stateName(next);
    m_state = next;
}

void Worker::processEvents()
{
    // The dispatcher alone skips what was posted before the event from whose handler this is called: it takes
    // that round to be still under way.
    QCoreApplication::sendPostedEvents();
    QAbstractEventDispatcher* const dispatcher = thread()->eventDispatcher();
    dispatcher->processEvents(QEventLoop::AllEvents);
    if (!running()) {
        // This round may have taken the wake-up by which the thread was asked to end, and the round that this
        // is called from would then wait for another.
        dispatcher->wakeUp();
    }
}

void Worker::setPropertyEvent(SetPropertyEvent* event)
{
    const int index = metaObject()->indexOfProperty(event->name().toUtf8().constData());
    const QMetaProperty property = metaObject()->property(index);
    if (!property.isWritable()) {
        LOG_LIMITED(LOG_WARNING())
            << QStringLiteral(
                   "Error set property - property not writable! Class name: %1, property: %2, value: %3")
                   .arg(className(), event->name(), foreignText(event->value().toString()));
    } else if (!property.write(this, event->value())) {
        LOG_LIMITED(LOG_WARNING()) << QStringLiteral(
                                          "Error set property! Class name: %1, property: %2, value: %3")
                                          .arg(className(), event->name(),
                                               foreignText(event->value().toString()));
    }
}

void Worker::onRestore(const QString& key)
{
    Settings::restore(key, this);
    restored();
}

void Worker::onSave(const QString& key)
{
    Settings::save(key, this);
}

void Worker::onReset()
{
    LOG_DEBUG() << "Reset properties ..";
    for (int i = 0; i < metaObject()->propertyCount(); ++i) {
        const QMetaProperty property = metaObject()->property(i);
        if (property.isWritable() && property.isResettable() && !property.reset(this)) {
            LOG_LIMITED(LOG_WARNING()) << QStringLiteral("Error reset property! Class name: %1, property: %2")
                                              .arg(className(), QString::fromUtf8(property.name()));
        }
    }
}

Qt::ConnectionType Worker::waitingConnection() const
{
    return QThread::currentThread() == thread() ? Qt::DirectConnection : Qt::BlockingQueuedConnection;
}

QString Worker::className() const
{
    return QString::fromUtf8(metaObject()->className());
}
