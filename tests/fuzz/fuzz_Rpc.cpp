#include "Network/Socket/UserSocket.h"
#include "fuzz/FuzzTarget.h"
#include "support/Wire.h"

#include <array>

using FuzzTarget::expect;

namespace
{

constexpr int kCalls = 3;
constexpr int kTimeout = 2000; // ms

/// One end of a session, with calls of its own under way. What it sends goes to a socket that nobody reads.
class Session
{
public:
    Session()
    {
        QObject::connect(&user, &UserSocket::disconnected, &user, [this] { ++disconnections; });
        user.declareFunction(QStringLiteral("echo"), [this](const QJsonObject& request, const NodeInfo&) {
            ++echoes;
            return request;
        });
        for (int& count : ends) { // the numbers 1 to kCalls
            const auto end = [&count] { ++count; };
            user.invoke(
                QStringLiteral("any"), {}, [end](const QJsonObject&, const NodeInfo&) { end(); }, end,
                kTimeout);
        }
    }

    bool receive(QByteArray datagram)
    {
        const QByteArray before = datagram;
        const bool isTaken = user.readyRead(datagram, peer.address, peer.port);
        expect(isTaken || datagram == before, "what is for others stays as it is");
        return isTaken;
    }

    [[nodiscard]] QByteArray packet(const QByteArray& json) const
    {
        return Wire::packet(Wire::bigEndian(1), peer.id.bytes(), user.id().bytes(), json);
    }

    qint64 now = 1'700'000'000'000; // ms
    int disconnections = 0;
    int echoes = 0;
    std::array<int, kCalls> ends{};
    const NodeInfo peer{int160(QByteArray(20, 's').constData()), QHostAddress::LocalHost,
                        FuzzTarget::deafPort()};
    UserSocket user{FuzzTarget::socket(), int160(QByteArray(20, 'c').constData()), peer, nullptr,
                    [this] { return now; }};
};

} // namespace

/// RPC datagrams at one end of a session; a second that passes is a heartbeat.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto arrivals = FuzzTarget::arrivals(data, size);
    Session session;
    UserSocket& user = session.user;
    for (const FuzzTarget::Arrival& arrival : arrivals) {
        if (arrival.isLate) {
            session.now += 1000;
            user.onTimeout();
        }
        if (Socket::isOffered(arrival.datagram.size())) {
            session.receive(arrival.datagram);
        }
        expect(session.disconnections == (user.isConnected() ? 0 : 1), "a connection ends once");
        expect(user.roundTrip() >= 0, "no ping is answered before it is sent");
    }
    expect(session.echoes <= arrivals.size(), "a datagram is one call");

    session.now += 2 * kTimeout;
    user.onTimeout();
    for (const int count : session.ends) {
        expect(count == 1, "a call ends once, by a reply or in time");
    }
    const int before = session.echoes;
    expect(session.receive(session.packet(R"({"cd":"echo"})")), "a datagram is still taken");
    expect(session.echoes == before + 1, "a command is still served");
    expect(user.isProven(), "whoever knows the id has proven his address");
    return 0;
}
