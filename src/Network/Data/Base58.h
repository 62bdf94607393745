#pragma once

#include "Network/Data/int160.h"

#include <string>
#include <vector>

/// The text form of an id that people read and pass around: base 58 without 0, O, I and l, a leading '1' for
/// each leading zero byte. The cost grows with the square of the length.
/// Thread: any.
namespace Base58
{

std::string encode(const unsigned char* begin, const unsigned char* end);
std::string encode(const std::vector<unsigned char>& bytes);
QString encode(const QByteArray& bytes);

/// White space around the digits is skipped. False, with `bytes` left as they were, for text that holds
/// anything else.
[[nodiscard]] bool decode(const char* text, std::vector<unsigned char>& bytes);
[[nodiscard]] bool decode(const std::string& text, std::vector<unsigned char>& bytes);

/// The id that `text` spells; the empty value if it spells none.
[[nodiscard]] int160 decode(const QString& text);

} // namespace Base58
