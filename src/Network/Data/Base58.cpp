#include "Network/Data/Base58.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace
{

constexpr char kAlphabet[] = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
constexpr int kBase = 58;

// No id takes more than 28 characters; what is beyond this, blanks included, isn't worth its square.
constexpr int kLongestId = 1024;

bool isBlank(char character)
{
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

} // namespace

std::string Base58::encode(const unsigned char* begin, const unsigned char* end)
{
    const unsigned char* const first = std::find_if(begin, end, [](unsigned char byte) { return byte != 0; });
    // log 256 / log 58, rounded up.
    std::vector<int> digits(static_cast<size_t>(end - first) * 138 / 100 + 1);
    for (const unsigned char* byte = first; byte != end; ++byte) {
        int carry = *byte;
        for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
            carry += 256 * *digit;
            *digit = carry % kBase;
            carry /= kBase;
        }
        Q_ASSERT(carry == 0);
    }

    std::string text(static_cast<size_t>(first - begin), kAlphabet[0]);
    const auto leading = std::find_if(digits.begin(), digits.end(), [](int digit) { return digit != 0; });
    std::transform(leading, digits.end(), std::back_inserter(text),
                   [](int digit) { return kAlphabet[digit]; });
    return text;
}

std::string Base58::encode(const std::vector<unsigned char>& bytes)
{
    return encode(bytes.data(), bytes.data() + bytes.size());
}

QString Base58::encode(const QByteArray& bytes)
{
    const auto* const begin = reinterpret_cast<const unsigned char*>(bytes.constData());
    return QString::fromStdString(encode(begin, begin + bytes.size()));
}

bool Base58::decode(const char* text, std::vector<unsigned char>& bytes)
{
    while (isBlank(*text)) {
        ++text;
    }
    size_t ones = 0;
    for (; *text == kAlphabet[0]; ++text) {
        ++ones;
    }

    // log 58 / log 256, rounded up.
    std::vector<unsigned char> number(std::strlen(text) * 733 / 1000 + 1);
    for (; *text != '\0' && !isBlank(*text); ++text) {
        const char* const found = std::strchr(kAlphabet, *text);
        if (found == nullptr) {
            return false;
        }
        int carry = static_cast<int>(found - kAlphabet);
        for (auto byte = number.rbegin(); byte != number.rend(); ++byte) {
            carry += kBase * *byte;
            *byte = static_cast<unsigned char>(carry & 0xFF);
            carry >>= 8;
        }
        Q_ASSERT(carry == 0);
    }
    while (isBlank(*text)) {
        ++text;
    }
    if (*text != '\0') {
        return false;
    }

    const auto leading =
        std::find_if(number.begin(), number.end(), [](unsigned char byte) { return byte != 0; });
    bytes.assign(ones, 0);
    bytes.insert(bytes.end(), leading, number.end());
    return true;
}

bool Base58::decode(const std::string& text, std::vector<unsigned char>& bytes)
{
    // A NUL would hide what follows it.
    return text.find('\0') == std::string::npos && decode(text.c_str(), bytes);
}

int160 Base58::decode(const QString& text)
{
    std::vector<unsigned char> bytes;
    if (text.size() > kLongestId || !decode(text.toStdString(), bytes)) {
        return int160(QString());
    }
    const QByteArray raw(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
    return int160(QString::fromLatin1(raw.toHex()));
}
