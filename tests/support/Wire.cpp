#include "support/Wire.h"

#include <QJsonDocument>
#include <QRandomGenerator>
#include <QtEndian>

namespace
{

constexpr int kNumberAt = 1;
constexpr int kSenderAt = 5;
constexpr int kTargetAt = 25;
constexpr int kBodyAt = 45;
constexpr int kCountSize = 4; // of a sample block

const QString kCommandKey = QStringLiteral("cd");

} // namespace

int Wire::type(const QByteArray& datagram)
{
    return datagram.isEmpty() ? -1 : datagram.at(0) & 15;
}

std::optional<Wire::Message> Wire::read(const QByteArray& datagram)
{
    if (datagram.size() <= kBodyAt || datagram.at(0) != 0) {
        return std::nullopt;
    }
    Message message;
    message.number = qFromBigEndian<quint32>(datagram.constData() + kNumberAt);
    message.sender = datagram.mid(kSenderAt, kIdSize);
    message.target = datagram.mid(kTargetAt, kIdSize);
    message.json = datagram.mid(kBodyAt);
    message.body = QJsonDocument::fromJson(message.json).object();
    message.command = message.body.value(kCommandKey).toString();
    return message;
}

QByteArray Wire::bigEndian(quint32 number)
{
    QByteArray bytes(sizeof number, '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}

QByteArray Wire::packet(const QByteArray& number, const QByteArray& sender, const QByteArray& target,
                        const QByteArray& json)
{
    return QByteArray(1, '\0') + number + sender + target + json;
}

QByteArray Wire::packet(quint32 number, const QByteArray& sender, const QByteArray& target,
                        const QString& command, QJsonObject arguments)
{
    arguments.insert(kCommandKey, command);
    return packet(bigEndian(number), sender, target, QJsonDocument(arguments).toJson(QJsonDocument::Compact));
}

QJsonObject Wire::greeting(const QString& identificator, int major, int minor)
{
    return {{QStringLiteral("vma"), major},
            {QStringLiteral("vmi"), minor},
            {QStringLiteral("identificator"), identificator}};
}

QByteArray Wire::block(const QVector<qint16>& values)
{
    QByteArray bytes = bigEndian(static_cast<quint32>(values.size()));
    for (const qint16 value : values) {
        bytes.append(static_cast<char>(value >> 8));
        bytes.append(static_cast<char>(value));
    }
    return bytes;
}

QVector<qint16> Wire::values(const QByteArray& block)
{
    if (block.size() < kCountSize) {
        return {};
    }
    const auto count = qFromBigEndian<qint32>(block.constData());
    if (count < 0 || block.size() != kCountSize + count * 2) {
        return {};
    }
    QVector<qint16> values(count);
    qFromBigEndian<qint16>(block.constData() + kCountSize, count, values.data());
    return values;
}

QByteArray Wire::newId()
{
    // No byte of 0, and no sum of 0.
    QByteArray id;
    for (int i = 0; i < kIdSize; ++i) {
        id.append(static_cast<char>(QRandomGenerator::global()->bounded(1, 12)));
    }
    return id;
}
