#pragma once

#include <QByteArray>
#include <QString>

/// The printed form of a server address, read and written apart from the server's own code.
namespace Base58Text
{

/// The bytes of the text; empty if a character is not of the alphabet.
QByteArray decode(const QString& text);
QString encode(const QByteArray& bytes);

} // namespace Base58Text
