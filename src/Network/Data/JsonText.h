#pragma once

#include <QJsonDocument>

/// JSON texts that came from the network.
namespace JsonText
{

/// QJsonDocument::fromJson, but for one kind of text, which is an illegal value here: an object that names a
/// key again after it has held an array or an object. Qt 5.15 forgets to free what the key held first, eight
/// times the size of the text at worst, and so whoever can send datagrams could eat up the memory.
[[nodiscard]] QJsonDocument parse(const QByteArray& text, QJsonParseError* error = nullptr);

} // namespace JsonText
