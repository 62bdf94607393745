#pragma once

#include "Network/Data/int160.h"

#include <QString>
#include <optional>

/// How a user names a server: by its address in Base58 if it is on the local network, or as
/// ADDRESS@HOST:PORT.
/// Thread: any; a value.
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
