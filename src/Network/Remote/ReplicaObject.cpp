#include "Network/Remote/ReplicaObject.h"

#include "Core/Log/Log.h"
#include "Network/Data/Json.h"
#include "Network/Protocol/Replication.h"

#include <QPointer>
#include <QTimer>
#include <utility>

namespace
{

constexpr int kTimeout = 5000; // ms

constexpr qint64 kValueSize = 32;    // bytes that any value takes at the least, about
constexpr qint64 kCharacterSize = 2; // bytes

// What a value that came as JSON takes, about. The parser bounds the depth.
qint64 sizeOf(const QVariant& value)
{
    qint64 size = kValueSize;
    switch (static_cast<QMetaType::Type>(value.type())) {
    case QMetaType::QString:
        size += kCharacterSize * value.toString().size();
        break;
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        for (const QVariant& element : list) {
            size += sizeOf(element);
        }
        break;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto element = map.constBegin(); element != map.constEnd(); ++element) {
            size += kCharacterSize * element.key().size() + sizeOf(element.value());
        }
        break;
    }
    default:
        break;
    }
    return size;
}

qint64 sizeOf(const QString& name, const QVariant& value)
{
    return kValueSize + kCharacterSize * name.size() + sizeOf(value);
}

} // namespace

ReplicaObject::ReplicaObject(const QString& name, const NodeInfo& source, QSharedPointer<RpcSocket> rpc,
                             QObject* parent, int retryMs, int patienceMs)
    : QObject(parent)
    , m_name(name)
    , m_source(source)
    , m_rpc(std::move(rpc))
    , m_retryTimer(new QTimer(this))
    , m_retryInterval(retryMs)
    , m_patience(patienceMs)
{
    connect(m_retryTimer, &QTimer::timeout, this, &ReplicaObject::onTimeout);
    declareFunctions();
}

ReplicaObject::~ReplicaObject()
{
    m_rpc->removeFunction(Replication::kSynchronized + m_name);
    m_rpc->removeFunction(Replication::kPropertyChanged + m_name);
}

// Two of the handlers outlive this object: each looks first.
void ReplicaObject::declareFunctions()
{
    using Take = void (ReplicaObject::*)(const QJsonObject&);
    const auto declare = [this](const QString& prefix, Take take) {
        m_rpc->declareFunction(prefix + m_name, [self = QPointer<ReplicaObject>(this),
                                                 take](const QJsonObject& request, const NodeInfo&) {
            if (self) {
                (self->*take)(request);
            }
            return QJsonObject();
        });
    };
    m_rpc->declareFunction(Replication::kSynchronized + m_name,
                           [](const QJsonObject&, const NodeInfo&) { return QJsonObject(); });
    declare(Replication::kPropertyChanged, &ReplicaObject::onPropertyChanged);
    declare(Replication::kInitProperty, &ReplicaObject::onInitProperty);
    declare(Replication::kChecksum, &ReplicaObject::onChecksum);
}

void ReplicaObject::clone()
{
    if (m_synchronized) {
        return;
    }
    LOG_DEBUG() << "Clone replica ...";
    m_cloning = true;
    askForSet();
    m_retryTimer->start(m_retryInterval);
    auto* const patience = new QTimer(this);
    patience->setSingleShot(true);
    connect(patience, &QTimer::timeout, this, &ReplicaObject::onPatienceOver);
    connect(patience, &QTimer::timeout, patience, &QObject::deleteLater);
    patience->start(m_patience);
}

void ReplicaObject::onPatienceOver()
{
    if (!m_synchronized) {
        emit failSync();
    }
}

void ReplicaObject::onTimeout()
{
    if (!m_cloning || m_synchronized) {
        return;
    }
    LOG_DEBUG() << "Try reinit replica ...";
    askForSet();
}

void ReplicaObject::askForSet()
{
    m_receivedNames.clear();
    m_rpc->invoke(m_source, Replication::kInitReplica + m_name, {}, {}, {}, kTimeout);
}

void ReplicaObject::onInitProperty(const QJsonObject& request)
{
    QString name;
    Json::toString(request, Replication::kName, name);
    const QByteArray bytes = name.toUtf8();
    if (m_receivedNames.size() + bytes.size() <= kMaximumSize) {
        m_receivedNames += bytes;
    }
    onPropertyChanged(request);
}

void ReplicaObject::onPropertyChanged(const QJsonObject& request)
{
    QString name;
    QVariant value;
    Json::toString(request, Replication::kName, name);
    Json::toVariant(request, Replication::kValue, value);

    const auto known = m_properties.constFind(name);
    const qint64 before = known == m_properties.constEnd() ? 0 : sizeOf(name, *known);
    const qint64 size = m_size - before + sizeOf(name, value);
    if (size > kMaximumSize) {
        warnOfSize();
        return;
    }
    m_size = size;
    m_properties.insert(name, value);
    emit propertyChanged(name, value);
}

void ReplicaObject::onChecksum(const QJsonObject& request)
{
    quint16 checksum = 0;
    if (!Json::toUInt16(request, Replication::kCrc, checksum)) {
        return;
    }
    if (checksum != Replication::checksum(m_receivedNames)) {
        return;
    }
    m_retryTimer->stop();
    m_synchronized = true;
    const QString name = m_name; // the slots may take this object away
    emit successSync();
    LOG_DEBUG() << "Success sync!" << name;
}

void ReplicaObject::warnOfSize()
{
    if (!m_warnedOfSize) {
        m_warnedOfSize = true;
        LOG_WARNING() << "Error store property - the set is too large!" << m_name;
    }
}

bool ReplicaObject::isSynchronized() const
{
    return m_synchronized;
}

QStringList ReplicaObject::propertyNames() const
{
    return m_properties.keys();
}

bool ReplicaObject::contains(const QString& name) const
{
    return m_properties.contains(name);
}

QVariant ReplicaObject::property(const QString& name) const
{
    const auto found = m_properties.constFind(name);
    if (found == m_properties.constEnd()) {
        LOG_WARNING() << "Error get property - no contains!" << name;
        return {};
    }
    return *found;
}

void ReplicaObject::setProperty(const QString& name, const QVariant& value)
{
    const auto found = m_properties.find(name);
    if (found == m_properties.end()) {
        LOG_WARNING() << "Error set property - no contains!" << name << value;
    } else {
        m_size += sizeOf(value) - sizeOf(*found);
        *found = value;
    }
    m_rpc->invoke(m_source, Replication::kWriteProperty + m_name,
                  {{Replication::kName, name}, {Replication::kValue, QJsonValue::fromVariant(value)}}, {}, {},
                  kTimeout);
}
