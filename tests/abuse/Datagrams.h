#pragma once

#include <QByteArray>
#include <vector>

class ServerProcess;

/// What the abuse consists of: datagrams that no client would send, or not so many of.
namespace Datagrams
{

/// One kind of flood: a supply of datagrams that is sent over and over.
struct Kind
{
    const char* name;
    std::vector<QByteArray> (*make)(const ServerProcess& server);
    int perSecond;
};

/// Every kind, the same bytes on every run but for the server's id.
const std::vector<Kind>& kinds();

/// A call to `target` with exactly this body.
QByteArray call(const QByteArray& target, const QByteArray& body);

/// A stream datagram of each type from 2 to 5, some 16 kB long. Those of the compressed types hold 16 MB.
std::vector<QByteArray> bombs();

/// Calls whose command is some 40 kB of what terminals obey and readers of logs believe: escape
/// sequences, and lines that begin with `kForgedLine`.
std::vector<QByteArray> forgeries(const ServerProcess& server);
extern const char* const kForgedLine;

/// Makes a body of about so many bytes.
using MakeBody = QByteArray (*)(int size);

/// A kind of body that may take longer to parse than its size suggests, and a plain one to compare it
/// with.
struct CostlyBody
{
    const char* name;
    MakeBody make;
    const char* peerName;
    MakeBody makePeer;
};
const std::vector<CostlyBody>& costlyBodies();

} // namespace Datagrams
