#pragma once

#include <QByteArray>
#include <QString>

class QDataStream;

/// The 160-bit identity of a node, byte 0 the most significant. It holds 20 bytes, or none: the empty value
/// is what a text that is no id becomes.
class int160
{
public:
    static constexpr int kSize = 20; ///< Bytes.
    static constexpr int kBits = 8 * kSize;

    /// 20 zero bytes.
    int160();
    /// Copies the 20 bytes that `raw` points to.
    explicit int160(const char* raw);
    /// From 40 hexadecimal digits in either case; any other text gives the empty value.
    explicit int160(const QString& hex);

    /// Unlikely to be met twice; drawn from the system's random generator and the clock: whoever knows
    /// others can't tell it. Any thread.
    static int160 random();
    static int160 lowest();
    static int160 highest();

    bool operator==(const int160& other) const;
    bool operator!=(const int160& other) const;
    /// As unsigned numbers. An empty value is neither less nor greater than any.
    bool operator<(const int160& other) const;
    bool operator>(const int160& other) const;
    bool operator<=(const int160& other) const;
    bool operator>=(const int160& other) const;

    /// The distance of two nodes, 20 bytes; an empty value counts as zeros.
    int160 operator^(const int160& other) const;

    /// The bit at `index`, 0 (top bit of byte 0) to 159; false beyond.
    [[nodiscard]] bool bit(int index) const;

    /// Lower-case hexadecimal, 40 digits; empty for the empty value.
    [[nodiscard]] QString toString() const;
    [[nodiscard]] const QByteArray& bytes() const;

    /// True when the bytes sum to 0 modulo 256, which some ids other than zero do, and for the empty value.
    [[nodiscard]] bool isNull() const;

private:
    explicit int160(QByteArray bytes);

    QByteArray m_bytes;
};

/// The wire holds the hexadecimal text as a QString.
QDataStream& operator<<(QDataStream& stream, const int160& id);
QDataStream& operator>>(QDataStream& stream, int160& id);
