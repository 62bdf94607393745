#pragma once

#include <QJsonDocument>

/// JSON texts that came from the network.
/// Thread: any.
namespace JsonText
{

/// Objects and arrays that may lie within each other, the outermost included.
constexpr int kMaximumDepth = 32;

/// QJsonDocument::fromJson, but for two kinds of text. Deeper nesting than kMaximumDepth is DeepNesting. And
/// an object that names a key again after it has held an array or an object is an illegal value: Qt 5.15
/// forgets to free what the key held first, eight times the size of the text at worst, and so whoever can
/// send datagrams could eat up the memory. The time taken grows with the text's length and no faster.
[[nodiscard]] QJsonDocument parse(const QByteArray& text, QJsonParseError* error = nullptr);

} // namespace JsonText
