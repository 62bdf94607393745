#include "Network/Data/int160.h"

#include <QDataStream>
#include <QDateTime>
#include <QRandomGenerator64>
#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

namespace
{

bool isHexDigit(QChar character)
{
    const ushort code = character.unicode();
    return (code >= '0' && code <= '9') || (code >= 'a' && code <= 'f') || (code >= 'A' && code <= 'F');
}

int compare(const QByteArray& left, const QByteArray& right)
{
    const auto common = static_cast<size_t>(std::min(left.size(), right.size()));
    return std::memcmp(left.constData(), right.constData(), common);
}

} // namespace

int160::int160()
    : m_bytes(kSize, '\0')
{
}

int160::int160(const char* raw)
    : m_bytes(raw, kSize)
{
}

int160::int160(const QString& hex)
{
    // QByteArray::fromHex would skip what is no digit and give some other id.
    if (hex.size() == 2 * kSize && std::all_of(hex.begin(), hex.end(), isHexDigit)) {
        m_bytes = QByteArray::fromHex(hex.toLatin1());
    }
}

int160::int160(QByteArray bytes)
    : m_bytes(std::move(bytes))
{
}

int160 int160::random()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    // The process's own generator can be computed from some of its numbers, and a session's id is its only
    // secret.
    QRandomGenerator64* const generator = QRandomGenerator64::system();
    QByteArray bytes(kSize, '\0');
    for (int i = 0; i < kSize; ++i) {
        const auto clock = static_cast<quint8>(now >> (56 - 8 * (i % 8)));
        // 32 random bits scaled to 0 .. 254.
        const auto noise = static_cast<quint8>(generator->bounded(255U));
        bytes[i] = static_cast<char>(clock ^ noise);
    }
    return int160(bytes);
}

int160 int160::lowest()
{
    return {};
}

int160 int160::highest()
{
    return int160(QByteArray(kSize, '\xFF'));
}

bool int160::operator==(const int160& other) const
{
    return m_bytes == other.m_bytes;
}

bool int160::operator!=(const int160& other) const
{
    return !(*this == other);
}

bool int160::operator<(const int160& other) const
{
    return compare(m_bytes, other.m_bytes) < 0;
}

bool int160::operator>(const int160& other) const
{
    return compare(m_bytes, other.m_bytes) > 0;
}

bool int160::operator<=(const int160& other) const
{
    return *this < other || *this == other;
}

bool int160::operator>=(const int160& other) const
{
    return *this > other || *this == other;
}

int160 int160::operator^(const int160& other) const
{
    const QByteArray left = m_bytes.leftJustified(kSize, '\0');
    QByteArray result = other.m_bytes.leftJustified(kSize, '\0');
    for (int i = 0; i < kSize; ++i) {
        result[i] = static_cast<char>(left.at(i) ^ result.at(i));
    }
    return int160(result);
}

bool int160::bit(int index) const
{
    if (index < 0 || index >= 8 * m_bytes.size()) {
        return false;
    }
    return ((static_cast<quint8>(m_bytes.at(index / 8)) >> (7 - index % 8)) & 1) != 0;
}

QString int160::toString() const
{
    return QString::fromLatin1(m_bytes.toHex());
}

const QByteArray& int160::bytes() const
{
    return m_bytes;
}

bool int160::isNull() const
{
    const int sum = std::accumulate(m_bytes.begin(), m_bytes.end(), 0);
    return static_cast<quint8>(sum) == 0;
}

QDataStream& operator<<(QDataStream& stream, const int160& id)
{
    return stream << id.toString();
}

QDataStream& operator>>(QDataStream& stream, int160& id)
{
    QString hex;
    stream >> hex;
    id = int160(hex);
    return stream;
}
