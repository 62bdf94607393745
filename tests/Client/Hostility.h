#pragma once

#include "Client/ServerDouble.h"

/// What a server that has let a client in should not send. Waits in between for the client to have read it,
/// so that nothing is lost on the way.
class Hostility
{
public:
    explicit Hostility(ServerDouble& server)
        : m_server(server)
    {
    }

    void datagramsOfEveryKindAndLength();
    void compressedBombs(); ///< 80 datagrams, half of them of IQ.
    void properties(int count);
    void aMillionProperties() { properties(1'000'000); }
    void namesOf60kB();
    /// Values that JSON has no text for, and properties of the receiver that should be numbers and are not.
    void valuesThatAreNoNumbers();

    /// A call that doesn't wait for its reply, of any text.
    void call(const QByteArray& json);
    /// False if the client has not read all within 5 seconds.
    bool settle();

private:
    ServerDouble& m_server;
};
