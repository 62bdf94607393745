#include "Network/Remote/SourceObject.h"

#include "Core/Log/ForeignText.h"
#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Network/Data/Json.h"
#include "Network/Protocol/Replication.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaMethod>
#include <QMetaProperty>
#include <utility>

namespace
{

constexpr int kTimeout = 5000; // ms

QJsonObject namedValue(const QMetaProperty& property, const QObject* object)
{
    return {{Replication::kName, QString::fromUtf8(property.name())},
            {Replication::kValue, QJsonValue::fromVariant(property.read(object))}};
}

// Bytes of JSON text.
int sizeOf(const QJsonValue& value)
{
    constexpr int kBrackets = 2;
    return QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact).size() - kBrackets;
}

// True if the target has the property, or a dynamic one of this name and value does no harm.
bool mayWrite(const QObject* target, const QByteArray& name, const QJsonValue& value)
{
    if (target->metaObject()->indexOfProperty(name.constData()) >= 0) {
        return true;
    }
    if (name.size() > SourceObject::kMaximumDynamicSize ||
        sizeOf(value) > SourceObject::kMaximumDynamicSize) {
        return false;
    }
    const QList<QByteArray> dynamicNames = target->dynamicPropertyNames();
    return dynamicNames.size() < SourceObject::kMaximumDynamicProperties || dynamicNames.contains(name);
}

} // namespace

SourceObject::SourceObject(const QString& name, QObject* target, QSharedPointer<RpcSocket> rpc,
                           const NodeInfo& peer, QObject* parent, RpcSocket::Clock clock)
    : QObject(parent)
    , m_name(name)
    , m_target(target)
    , m_peer(peer)
    , m_rpc(std::move(rpc))
    , m_clock(std::move(clock))
{
    declareFunctions();
    catchAllSignals(target);
}

SourceObject::~SourceObject()
{
    m_rpc->removeFunction(Replication::kInitReplica + m_name);
    m_rpc->removeFunction(Replication::kWriteProperty + m_name);
}

void SourceObject::declareFunctions()
{
    m_rpc->declareFunction(
        Replication::kInitReplica + m_name,
        [this](const QJsonObject&, const NodeInfo& caller) { return onInitReplica(caller); });
    m_rpc->declareFunction(
        Replication::kWriteProperty + m_name,
        [this](const QJsonObject& request, const NodeInfo&) { return onWriteProperty(request); });
}

void SourceObject::catchAllSignals(QObject* target)
{
    const int index = staticMetaObject.indexOfSlot("onPropertyChanged()");
    if (index < 0) {
        LOG_WARNING() << "The index of onPropertyChanged is invalid!";
        return;
    }
    const QMetaMethod slot = staticMetaObject.method(index);
    if (!slot.isValid()) {
        LOG_WARNING() << "cannot find onPropertyChanged!";
        return;
    }
    // Unique: properties that share a signal must not have the slot run once for each of them.
    constexpr auto kConnection = static_cast<Qt::ConnectionType>(Qt::AutoConnection | Qt::UniqueConnection);
    const QMetaObject* const meta = target->metaObject();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (property.hasNotifySignal()) {
            connect(target, property.notifySignal(), this, slot, kConnection);
        }
    }
}

void SourceObject::onPropertyChanged()
{
    const QObject* const object = sender();
    if (object == nullptr) {
        return;
    }
    const int signal = senderSignalIndex();
    const QMetaObject* const meta = object->metaObject();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (property.notifySignalIndex() == signal) {
            send(Replication::kPropertyChanged, namedValue(property, object));
        }
    }
}

bool SourceObject::maySendSet()
{
    constexpr qint64 kSecond = 1000; // ms
    const qint64 now = m_clock();
    if (m_setTimes.size() == kSetsPerSecond) {
        if (now - m_setTimes.front() < kSecond) {
            return false;
        }
        m_setTimes.pop_front();
    }
    m_setTimes.push_back(now);
    return true;
}

QJsonObject SourceObject::onInitReplica(const NodeInfo& caller)
{
    if (!maySendSet()) {
        m_rpc->withholdReply();
        return {};
    }
    if (m_peer.id.isNull()) {
        m_peer = caller;
    }
    if (m_target.isNull()) {
        return {};
    }
    QByteArray names;
    const QMetaObject* const meta = m_target->metaObject();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (property.isReadable()) {
            send(Replication::kInitProperty, namedValue(property, m_target));
            names += property.name();
        }
    }
    synchronized();
    send(Replication::kChecksum, {{Replication::kCrc, Replication::checksum(names)}});
    return {};
}

void SourceObject::synchronized()
{
    // The answer may come when this object has gone.
    const QPointer<SourceObject> self(this);
    const auto confirmed = [self](const QJsonObject&, const NodeInfo&) {
        if (self) {
            self->onSynchronized();
        }
    };
    const auto expired = [self] {
        if (self) {
            emit self->failSync();
        }
    };
    m_rpc->invoke(m_peer, Replication::kSynchronized + m_name, {}, confirmed, expired, kTimeout);
}

void SourceObject::onSynchronized()
{
    m_synchronized = true;
    emit successSync();
}

QJsonObject SourceObject::onWriteProperty(const QJsonObject& request)
{
    QString name;
    QVariant value;
    Json::toString(request, Replication::kName, name);
    Json::toVariant(request, Replication::kValue, value);
    if (m_target.isNull()) {
        return {};
    }
    const QByteArray key = name.toUtf8();
    if (!mayWrite(m_target, key, request.value(Replication::kValue))) {
        LOG_LIMITED(LOG_WARNING()) << "Error write property - too many dynamic properties!"
                                   << foreignText(name);
        return {};
    }
    m_target->setProperty(key.constData(), value);
    return {};
}

void SourceObject::send(const QString& prefix, const QJsonObject& args)
{
    m_rpc->invoke(m_peer, prefix + m_name, args, {}, {}, kTimeout);
}
