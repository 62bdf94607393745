#include "Receiving/ServerArgument.h"

#include "Core/Log/ForeignText.h"
#include "Network/Data/Base58.h"

#include <QHostAddress>

namespace
{

constexpr int kMaximumAddress = 40; // characters; 20 bytes take 28 at the most
constexpr int kMaximumShown = 60;   // characters of a wrong text

ServerArgument::Result wrong(const QString& text, const QString& what)
{
    return {std::nullopt,
            QStringLiteral("\"%1\" is no server: %2").arg(foreignText(text, kMaximumShown), what)};
}

} // namespace

ServerArgument::Result ServerArgument::parse(const QString& text)
{
    const int at = text.indexOf(QLatin1Char('@'));
    const QString address = text.left(at < 0 ? text.size() : at);
    ServerArgument server;
    if (address.size() <= kMaximumAddress) {
        server.id = Base58::decode(address);
    }
    if (server.id.isNull()) {
        return wrong(text,
                     QStringLiteral("give the server address that the server prints, of some 27 letters "
                                    "and digits"));
    }
    if (at < 0) {
        return {server, {}};
    }
    const QString place = text.mid(at + 1);
    const int colon = place.lastIndexOf(QLatin1Char(':'));
    bool isPort = false;
    server.port = place.mid(colon + 1).toUShort(&isPort);
    server.host = place.left(std::max(colon, 0));
    if (server.host.startsWith(QLatin1Char('[')) && server.host.endsWith(QLatin1Char(']'))) {
        server.host = server.host.mid(1, server.host.size() - 2);
        if (QHostAddress(server.host).protocol() != QAbstractSocket::IPv6Protocol) {
            return wrong(text, QStringLiteral("in brackets stands an IPv6 address"));
        }
    } else if (server.host.contains(QLatin1Char(':'))) {
        return wrong(text, QStringLiteral("put an IPv6 address in brackets, as in ADDRESS@[fe80::1]:PORT"));
    }
    if (colon < 0 || !isPort || server.port == 0 || server.host.isEmpty()) {
        return wrong(text,
                     QStringLiteral("behind the @ stand host and port, as in ADDRESS@radio.example:40123"));
    }
    return {server, {}};
}
