#include "Client/ServerFinder.h"
#include "fuzz/FuzzTarget.h"

#include <QCoreApplication>
#include <QUdpSocket>
#include <algorithm>

using FuzzTarget::expect;

namespace
{

const QByteArray kValid =
    R"({"id":"5151515151515151515151515151515151515151","vma":8,"vmi":0,"port":4000,"device_type":0,)"
    R"("title":"t","description":"d","identificator":"i"})";

// A text that a terminal may be given.
bool isPlain(const QString& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](QChar character) { return character.isPrint() || character.isSurrogate(); });
}

// Over loopback, which hands a datagram over before the call returns. False if it is longer than UDP carries.
bool deliver(const QByteArray& datagram)
{
    static QUdpSocket sender;
    const QHostAddress host(QHostAddress::LocalHost);
    const bool isSent = sender.writeDatagram(datagram, host, Announcement::kPort) == datagram.size();
    QCoreApplication::processEvents();
    return isSent;
}

} // namespace

/// Datagrams at a client that looks for servers, through its socket. When a second passes, it looks for those
/// that are too old.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto arrivals = FuzzTarget::arrivals(data, size);
    qint64 now = 0;
    ServerFinder finder(nullptr, [&now] { return now; });
    expect(finder.listen(), "the port of the announcements is shared");

    int lost = 0;
    QObject::connect(&finder, &ServerFinder::lost, &finder, [&lost] { ++lost; });

    qint64 refused = 0;
    for (const FuzzTarget::Arrival& arrival : arrivals) {
        if (arrival.isLate) {
            now += 1000;
            finder.onTimeout();
        }
        if (!deliver(arrival.datagram)) {
            continue;
        }
        const auto decoded = Announcement::decode(arrival.datagram);
        refused += decoded ? 0 : 1;
        expect(finder.refusedDatagrams() == refused, "what is no announcement is refused, once");
        expect(!decoded || (!decoded->id.isNull() && decoded->port != 0), "a server can be reached");
        expect(!decoded || (isPlain(decoded->title) && isPlain(decoded->description)), "texts can be shown");
    }
    const int heard = finder.servers().size();
    expect(heard <= ServerFinder::kMaximumServers && heard <= arrivals.size() - refused,
           "the list is bounded, and of those heard");

    now += ServerFinder::kMaximumAge + 1;
    const int lostBefore = lost;
    finder.onTimeout();
    finder.onTimeout();
    expect(finder.servers().isEmpty() && lost == lostBefore + heard, "who falls silent is dropped, once");
    expect(deliver(kValid), "loopback carries it");
    const auto servers = finder.servers();
    expect(servers.size() == 1 && servers.first().announcement == Announcement::decode(kValid),
           "a server is still found");
    return 0;
}
