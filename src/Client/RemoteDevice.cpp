#include "Client/RemoteDevice.h"

#include "Network/Protocol/Replication.h"
#include "Network/Remote/ReplicaObject.h"

#include <QPointer>
#include <cmath>
#include <limits>

namespace
{

constexpr int kRefreshTimeout = 2000; // ms
constexpr int kRefreshTries = 5;
constexpr int kMaximumEntries = 1000; // of a list that the server sends
constexpr double kKilohertz = 1e3;    // Hz

const QString kSampleRate = QStringLiteral("sampleRate");
const QString kFrequency = QStringLiteral("frequency");
const QString kPpmCorrection = QStringLiteral("ppmCorrection");
const QString kLevelCorrection = QStringLiteral("levelCorrection");
const QString kSwapIQ = QStringLiteral("swapIQ");

// The wire's numbers come as doubles or, whole ones, as integers, and a client may write either.
std::optional<double> toNumber(const QVariant& value)
{
    switch (static_cast<QMetaType::Type>(value.type())) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
        break;
    default:
        return std::nullopt;
    }
    const double number = value.toDouble();
    return std::isfinite(number) ? std::optional<double>(number) : std::nullopt;
}

// The numbers of a list of decimal texts, up to the first that is none.
QVector<double> toNumbers(const QVariant& value)
{
    QVector<double> numbers;
    const QVariantList list = value.toList().mid(0, kMaximumEntries);
    for (const QVariant& text : list) {
        bool isNumber = false;
        const double number = text.toString().toDouble(&isNumber);
        if (!isNumber || !std::isfinite(number)) {
            break;
        }
        numbers.append(number);
    }
    return numbers;
}

// False for a number that JSON has no text for.
bool isWritable(const QVariant& value)
{
    const auto type = static_cast<QMetaType::Type>(value.type());
    return (type != QMetaType::Double && type != QMetaType::Float) || std::isfinite(value.toDouble());
}

} // namespace

RemoteDevice::RemoteDevice(QObject* parent)
    : QObject(parent)
{
}

RemoteDevice::~RemoteDevice() = default;

bool RemoteDevice::isSynchronized() const
{
    return m_synchronized;
}

QStringList RemoteDevice::names() const
{
    return m_replica ? m_replica->propertyNames() : m_lastSet.keys();
}

bool RemoteDevice::contains(const QString& name) const
{
    return m_replica ? m_replica->contains(name) : m_lastSet.contains(name);
}

QVariant RemoteDevice::value(const QString& name) const
{
    if (!m_replica) {
        return m_lastSet.value(name);
    }
    return m_replica->contains(name) ? m_replica->property(name) : QVariant();
}

bool RemoteDevice::write(const QString& name, const QVariant& value)
{
    if (!m_replica || !m_replica->contains(name) || !isWritable(value)) {
        return false;
    }
    m_replica->setProperty(name, value);
    m_written.note(name);
    return true;
}

bool RemoteDevice::refresh()
{
    if (!m_replica) {
        return false;
    }
    if (m_synchronized) { // otherwise it is being asked for
        const QStringList names = m_replica->propertyNames();
        m_awaited = QSet<QString>(names.constBegin(), names.constEnd());
        askForSet(kRefreshTries);
    }
    return true;
}

void RemoteDevice::askForSet(int triesLeft)
{
    const quint32 serial = ++m_refreshSerial;
    const QPointer<RemoteDevice> self(this);
    const auto ended = [self, serial, triesLeft] {
        if (self && self->m_replica && self->m_refreshSerial == serial) {
            self->onSetSent(triesLeft - 1);
        }
    };
    m_rpc->invoke(
        m_source, Replication::kInitReplica + Replication::kReceiver, {},
        [ended](const QJsonObject&, const NodeInfo&) { ended(); }, ended, kRefreshTimeout);
}

// The reply leaves the server after the set, so what has not come by now is lost.
void RemoteDevice::onSetSent(int triesLeft)
{
    if (m_awaited.isEmpty()) {
        emit synchronized();
    } else if (triesLeft > 0) {
        askForSet(triesLeft);
    } else {
        emit synchronizationFailed();
    }
}

std::optional<int> RemoteDevice::type() const
{
    return integer(QStringLiteral("type"));
}

QVector<double> RemoteDevice::supportedSampleRates() const
{
    return toNumbers(value(QStringLiteral("supportSampleRates")));
}

QVector<RemoteDevice::FrequencyRange> RemoteDevice::supportedFrequencies() const
{
    const QVector<double> limits = toNumbers(value(QStringLiteral("supportFrequencies")));
    QVector<FrequencyRange> ranges;
    for (int i = 0; i + 1 < limits.size(); i += 2) {
        const FrequencyRange range{limits.at(i) * kKilohertz, limits.at(i + 1) * kKilohertz};
        if (range.lowest <= range.highest && std::isfinite(range.lowest) && std::isfinite(range.highest)) {
            ranges.append(range);
        }
    }
    return ranges;
}

std::optional<double> RemoteDevice::sampleRate() const
{
    return toNumber(value(kSampleRate));
}

std::optional<double> RemoteDevice::frequency() const
{
    return toNumber(value(kFrequency));
}

std::optional<int> RemoteDevice::ppmCorrection() const
{
    return integer(kPpmCorrection);
}

std::optional<double> RemoteDevice::levelCorrection() const
{
    return toNumber(value(kLevelCorrection));
}

std::optional<bool> RemoteDevice::swapIQ() const
{
    const QVariant swap = value(kSwapIQ);
    return swap.type() == QVariant::Bool ? std::optional<bool>(swap.toBool()) : std::nullopt;
}

bool RemoteDevice::setSampleRate(double hertz)
{
    return write(kSampleRate, hertz);
}

bool RemoteDevice::setFrequency(double hertz)
{
    return write(kFrequency, hertz);
}

bool RemoteDevice::setPpmCorrection(int ppm)
{
    return write(kPpmCorrection, ppm);
}

bool RemoteDevice::setLevelCorrection(double decibels)
{
    return write(kLevelCorrection, decibels);
}

bool RemoteDevice::setSwapIQ(bool swap)
{
    return write(kSwapIQ, swap);
}

std::optional<int> RemoteDevice::integer(const QString& name) const
{
    const std::optional<double> number = toNumber(value(name));
    if (!number || *number < std::numeric_limits<int>::min() || *number > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    return static_cast<int>(*number);
}

void RemoteDevice::attach(const QSharedPointer<RpcSocket>& rpc, const NodeInfo& source)
{
    detach();
    m_written.keep(m_lastSet);
    m_lastSet.clear();
    m_synchronized = false;
    m_rpc = rpc;
    m_source = source;
    m_replica = new ReplicaObject(Replication::kReceiver, source, rpc, this);
    connect(m_replica, &ReplicaObject::successSync, this, &RemoteDevice::onSynchronized);
    connect(m_replica, &ReplicaObject::failSync, this, &RemoteDevice::synchronizationFailed);
    connect(m_replica, &ReplicaObject::propertyChanged, this, &RemoteDevice::onChanged);
    m_replica->clone();
}

void RemoteDevice::detach()
{
    if (!m_replica) {
        return;
    }
    const QStringList names = m_replica->propertyNames();
    for (const QString& name : names) {
        m_lastSet.insert(name, m_replica->property(name));
    }
    // This may be called from within a signal of the replica's.
    disconnect(m_replica, nullptr, this, nullptr);
    m_replica->deleteLater();
    m_replica = nullptr;
    m_rpc.clear();
    ++m_refreshSerial;
}

void RemoteDevice::clear()
{
    detach();
    m_lastSet.clear();
    m_written.clear();
    m_synchronized = false;
}

void RemoteDevice::onSynchronized()
{
    m_synchronized = true;
    const WrittenProperties::Values written = m_written.take();
    for (const auto& [name, before] : written) {
        if (contains(name) && value(name) != before) {
            write(name, before);
        }
    }
    emit synchronized();
}

void RemoteDevice::onChanged(const QString& name, const QVariant& value)
{
    m_awaited.remove(name);
    emit changed(name, value);
    const std::optional<double> number = toNumber(value);
    if (number && name == kFrequency) {
        emit frequencyChanged(*number);
    } else if (number && name == kSampleRate) {
        emit sampleRateChanged(*number);
    }
}
