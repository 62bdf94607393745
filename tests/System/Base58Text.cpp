#include "System/Base58Text.h"

namespace
{

constexpr char kAlphabet[] = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";

/// `digits` as a number of base `from`, most significant first, in base `to`, without leading zeros.
QByteArray rebase(QByteArray digits, int from, int to)
{
    QByteArray result;
    while (!digits.isEmpty()) {
        QByteArray quotient;
        int remainder = 0;
        for (const char digit : qAsConst(digits)) {
            remainder = remainder * from + static_cast<unsigned char>(digit);
            if (!quotient.isEmpty() || remainder >= to) {
                quotient.append(static_cast<char>(remainder / to));
            }
            remainder %= to;
        }
        result.prepend(static_cast<char>(remainder));
        digits = quotient;
    }
    while (result.startsWith('\0')) {
        result.remove(0, 1);
    }
    return result;
}

int leading(const QByteArray& bytes, char value)
{
    int count = 0;
    while (count < bytes.size() && bytes[count] == value) {
        ++count;
    }
    return count;
}

} // namespace

QByteArray Base58Text::decode(const QString& text)
{
    QByteArray digits;
    for (const QChar character : text) {
        const int value = QString::fromLatin1(kAlphabet).indexOf(character);
        if (value < 0) {
            return {};
        }
        digits.append(static_cast<char>(value));
    }
    return QByteArray(leading(digits, '\0'), '\0') + rebase(digits, 58, 256);
}

QString Base58Text::encode(const QByteArray& bytes)
{
    QString text(leading(bytes, '\0'), QLatin1Char('1'));
    const QByteArray digits = rebase(bytes, 256, 58);
    for (const char digit : digits) {
        text.append(QLatin1Char(kAlphabet[static_cast<unsigned char>(digit)]));
    }
    return text;
}
