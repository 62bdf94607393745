#include "Network/Data/JsonText.h"

#include <QSet>
#include <algorithm>
#include <array>

namespace
{

constexpr quint64 kHashStart = 0xCBF29CE484222325U; // Fowler, Noll and Vo, 1a
constexpr quint64 kHashPrime = 0x100000001B3U;
constexpr int kHexDigits = 4; // of an escaped character

void addByte(quint64& hash, uint byte)
{
    hash = (hash ^ byte) * kHashPrime;
}

// As the bytes of UTF-8, in which the key may be as well.
void addCharacter(quint64& hash, uint character)
{
    if (character < 0x80) {
        addByte(hash, character);
        return;
    }
    if (character < 0x800) {
        addByte(hash, 0xC0 | (character >> 6));
    } else {
        if (character < 0x10000) {
            addByte(hash, 0xE0 | (character >> 12));
        } else {
            addByte(hash, 0xF0 | (character >> 18));
            addByte(hash, 0x80 | ((character >> 12) & 0x3F));
        }
        addByte(hash, 0x80 | ((character >> 6) & 0x3F));
    }
    addByte(hash, 0x80 | (character & 0x3F));
}

int hexDigit(char character)
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The number of the four digits at `text`; -1 if they are none.
int hexNumber(const char* text, const char* end)
{
    if (end - text < kHexDigits) {
        return -1;
    }
    int number = 0;
    for (int i = 0; i < kHexDigits; ++i) {
        const int digit = hexDigit(text[i]);
        if (digit < 0) {
            return -1;
        }
        number = 16 * number + digit;
    }
    return number;
}

// Reads the escape whose backslash is at `text`, and moves past it. One that is no JSON ends the key, and
// the text with it when Qt comes to read it.
uint readEscape(const char*& text, const char* end)
{
    if (end - text < 2) {
        text = end;
        return 0;
    }
    const char kind = text[1];
    text += 2;
    switch (kind) {
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case 'u':
        break;
    default:
        return static_cast<uchar>(kind);
    }
    const int unit = hexNumber(text, end);
    if (unit < 0) {
        text = end;
        return 0;
    }
    text += kHexDigits;
    const auto high = static_cast<ushort>(unit);
    if (QChar::isHighSurrogate(high) && end - text >= 2 && text[0] == '\\' && text[1] == 'u') {
        const int next = hexNumber(text + 2, end);
        if (next >= 0 && QChar::isLowSurrogate(static_cast<uint>(next))) {
            text += 2 + kHexDigits;
            return QChar::surrogateToUcs4(high, static_cast<ushort>(next));
        }
    }
    return high;
}

// The same for each way to write a key. Two keys that share one are no danger: the text is refused in vain.
quint64 hashOfKey(const char* text, const char* end)
{
    quint64 hash = kHashStart;
    while (text < end) {
        if (*text == '\\') {
            addCharacter(hash, readEscape(text, end));
        } else {
            addByte(hash, static_cast<uchar>(*text++));
        }
    }
    return hash;
}

// An object or an array that has begun.
struct Level
{
    bool isObject = false;
    bool awaitsKey = false;
    const char* key = nullptr; // the last one named
    const char* keyEnd = nullptr;
    QSet<quint64> holders; // keys that hold an object or an array
};

// Looks through a text for what Qt must not be given. It is right as far as the text is JSON, and Qt reads no
// further.
class Scan
{
public:
    explicit Scan(const QByteArray& text)
        : m_at(text.constData())
        , m_end(m_at + text.size())
    {
    }

    QJsonParseError::ParseError run()
    {
        for (; m_at < m_end && m_error == QJsonParseError::NoError; ++m_at) {
            look();
        }
        return m_error;
    }

private:
    void look()
    {
        switch (*m_at) {
        case '"':
            readString();
            break;
        case '{':
        case '[':
            begin();
            break;
        case '}':
        case ']':
            m_depth -= m_depth > 0 ? 1 : 0;
            break;
        case ',':
            level().awaitsKey = level().isObject;
            break;
        default:
            break;
        }
    }

    void readString()
    {
        const char* const start = ++m_at;
        while (m_at < m_end && *m_at != '"') {
            m_at += *m_at == '\\' ? 2 : 1;
        }
        m_at = std::min(m_at, m_end);
        if (!level().awaitsKey) {
            return;
        }
        level().awaitsKey = false;
        level().key = start;
        level().keyEnd = m_at;
        if (!level().holders.isEmpty() && level().holders.contains(hashOfKey(start, m_at))) {
            m_error = QJsonParseError::IllegalValue;
        }
    }

    void begin()
    {
        if (level().isObject && level().key != nullptr) {
            level().holders.insert(hashOfKey(level().key, level().keyEnd));
        }
        if (m_depth == JsonText::kMaximumDepth) {
            m_error = QJsonParseError::DeepNesting;
            return;
        }
        ++m_depth;
        level() = Level();
        level().isObject = level().awaitsKey = *m_at == '{';
    }

    Level& level() { return m_levels[static_cast<std::size_t>(m_depth)]; }

    const char* m_at;
    const char* m_end;
    int m_depth = 0;
    std::array<Level, JsonText::kMaximumDepth + 1> m_levels; // the first for what is outside
    QJsonParseError::ParseError m_error = QJsonParseError::NoError;
};

} // namespace

QJsonDocument JsonText::parse(const QByteArray& text, QJsonParseError* error)
{
    const QJsonParseError::ParseError fault = Scan(text).run();
    if (fault == QJsonParseError::NoError) {
        return QJsonDocument::fromJson(text, error);
    }
    if (error) {
        error->error = fault;
        error->offset = 0;
    }
    return {};
}
