#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QJsonObject>
#include <QString>
#include <QVector>
#include <optional>

/// The wire in the tests' own words: they share no code and no number with the product, so that they can
/// disagree with it.
namespace Wire
{

constexpr int kIdSize = 20;

/// A call or a reply:
///
///   0        1              5            25           45
///   | type 0 | number (BE)  | sender id  | target id  | JSON ...
struct Message
{
    quint32 number = 0;
    QByteArray sender; ///< 20 bytes.
    QByteArray target; ///< 20 bytes.
    QByteArray json;
    QJsonObject body;
    QString command;      ///< Of a call; of a reply empty.
    QHostAddress address; ///< Where it came from, for whoever knows.
    quint16 port = 0;
    qint64 time = 0; ///< ms, of whoever received it.
};

/// The low four bits of the first byte; -1 for none.
[[nodiscard]] int type(const QByteArray& datagram);

/// Nothing for a datagram of another type, or without JSON.
[[nodiscard]] std::optional<Message> read(const QByteArray& datagram);

[[nodiscard]] QByteArray bigEndian(quint32 number);
/// `number` as it is on the wire, 4 bytes.
[[nodiscard]] QByteArray packet(const QByteArray& number, const QByteArray& sender, const QByteArray& target,
                                const QByteArray& json);
/// Of a call or, with an empty command, of a reply.
[[nodiscard]] QByteArray packet(quint32 number, const QByteArray& sender, const QByteArray& target,
                                const QString& command, QJsonObject arguments = {});

/// The arguments of connect_to_host.
[[nodiscard]] QJsonObject greeting(const QString& identificator, int major = 8, int minor = 0);

/// A sample block: the number of values in 4 bytes, big-endian, and each in two.
[[nodiscard]] QByteArray block(const QVector<qint16>& values);
/// None for a block that is damaged.
[[nodiscard]] QVector<qint16> values(const QByteArray& block);

/// At random; never one that counts as none.
[[nodiscard]] QByteArray newId();

} // namespace Wire
