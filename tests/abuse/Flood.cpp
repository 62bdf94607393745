#include "abuse/Flood.h"

#include "System/ServerProcess.h"
#include "abuse/LoopbackSocket.h"

#include <algorithm>
#include <chrono>
#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kBatch = 64;
// What a starved flood may make good at once: more would fill the server's port in one go.
constexpr std::chrono::milliseconds kMadeGood{2};

void giveWay()
{
    constexpr int kNicest = 19;
    setpriority(PRIO_PROCESS, 0, kNicest); // 0: this thread alone
    cpu_set_t processors;
    if (sched_getaffinity(0, sizeof(processors), &processors) != 0) {
        return;
    }
    int last = CPU_SETSIZE - 1;
    while (last > 0 && !CPU_ISSET(last, &processors)) {
        --last;
    }
    CPU_ZERO(&processors);
    CPU_SET(last, &processors);
    sched_setaffinity(0, sizeof(processors), &processors);
}

} // namespace

Flood::Flood(const ServerProcess& server, std::vector<QByteArray> datagrams, int perSecond)
    : m_datagrams(std::move(datagrams))
    , m_descriptor(LoopbackSocket::connected(server.port()))
    , m_thread([this, perSecond] { runSteadily(perSecond); })
{
}

Flood::Flood(const ServerProcess& server, std::vector<QByteArray> datagrams)
    : m_datagrams(std::move(datagrams))
    , m_descriptor(LoopbackSocket::connected(server.port()))
    , m_thread([this] { run(); })
{
}

Flood::~Flood()
{
    m_stop = true;
    m_thread.join();
    close(m_descriptor);
}

void Flood::runSteadily(int perSecond)
{
    giveWay();
    const auto pause = std::chrono::nanoseconds(1'000'000'000LL * kBatch / perSecond);
    auto due = Clock::now();
    while (!m_stop) {
        sendBatch();
        due = std::max(due + pause, Clock::now() - kMadeGood);
        std::this_thread::sleep_until(due);
    }
}

void Flood::run()
{
    while (!m_stop) {
        sendBatch();
    }
}

void Flood::sendBatch()
{
    iovec bytes[kBatch] = {};
    mmsghdr messages[kBatch] = {};
    for (int i = 0; i < kBatch; ++i) {
        QByteArray& datagram = m_datagrams[m_next++ % m_datagrams.size()];
        bytes[i] = {datagram.data(), static_cast<size_t>(datagram.size())};
        messages[i].msg_hdr.msg_iov = &bytes[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    m_sent += std::max(0, sendmmsg(m_descriptor, messages, kBatch, 0));
}
