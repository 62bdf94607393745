#pragma once

#include "Network/Data/int160.h"

#include <QString>
#include <optional>

/// The argument SERVER: an address in Base58, of a server on the local network, or ADDRESS@HOST:PORT.
struct ServerArgument
{
    int160 id;
    QString host; ///< A name, or an IPv4 or IPv6 address without brackets; empty on the local network.
    quint16 port = 0;

    struct Result;
    /// Host names are not looked up.
    [[nodiscard]] static Result parse(const QString& text);
};

struct ServerArgument::Result
{
    std::optional<ServerArgument> server;
    QString error; ///< What to do, in a line, if there is none.
};
