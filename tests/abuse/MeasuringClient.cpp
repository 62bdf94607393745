#include "abuse/MeasuringClient.h"

#include "System/ServerProcess.h"
#include "abuse/LoopbackSocket.h"
#include "support/Wait.h"
#include "support/Wire.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

constexpr int kLongest = 65'536;
constexpr int kReceiveBuffer = 4'000'000; // bytes
constexpr int kGreetInterval = 500;       // ms
constexpr qint64 kPingInterval = 1'000'000'000;

qint64 nanoseconds(const timespec& time)
{
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

qint64 arrival(msghdr& message)
{
    for (cmsghdr* control = CMSG_FIRSTHDR(&message); control != nullptr;
         control = CMSG_NXTHDR(&message, control)) {
        if (control->cmsg_level == SOL_SOCKET && control->cmsg_type == SCM_TIMESTAMPNS) {
            timespec time{};
            std::memcpy(&time, CMSG_DATA(control), sizeof(time));
            return nanoseconds(time);
        }
    }
    return MeasuringClient::now();
}

} // namespace

MeasuringClient::MeasuringClient(const ServerProcess& server, int host)
    : m_id(Wire::newId())
    , m_serverId(server.id())
    , m_descriptor(LoopbackSocket::connected(server.port(), host))
{
    const int on = 1;
    setsockopt(m_descriptor, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof(on));
    setsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof(kReceiveBuffer));
    m_thread = std::thread([this] { run(); });
}

MeasuringClient::~MeasuringClient()
{
    m_stop = true;
    m_thread.join();
    close(m_descriptor);
}

qint64 MeasuringClient::now()
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time); // that of the system's stamps
    return nanoseconds(time);
}

void MeasuringClient::greet(const QString& identificator)
{
    call(m_serverId, QStringLiteral("connect_to_host"), Wire::greeting(identificator));
}

bool MeasuringClient::open(const QString& identificator, int milliseconds)
{
    m_alive = true;
    for (int waited = 0; waited < milliseconds; waited += kGreetInterval) {
        greet(identificator);
        if (waitUntil([this] { return !sessionId().isEmpty(); }, kGreetInterval)) {
            return true;
        }
    }
    return false;
}

void MeasuringClient::leave()
{
    const QByteArray session = sessionId();
    if (!session.isEmpty()) {
        call(session, QStringLiteral("disconnect_from_host"));
    }
}

void MeasuringClient::wantSpectra()
{
    call(sessionId(), QStringLiteral("fft_data_range"),
         {{QStringLiteral("startIndex"), 0},
          {QStringLiteral("stopIndex"), 1024},
          {QStringLiteral("dataSize"), 300},
          {QStringLiteral("fftSize"), 1024}});
}

void MeasuringClient::call(const QByteArray& target, const QString& command, const QJsonObject& arguments)
{
    send(Wire::packet(++m_number, m_id, target, command, arguments));
}

void MeasuringClient::send(const QByteArray& datagram)
{
    ::send(m_descriptor, datagram.constData(), static_cast<size_t>(datagram.size()), 0);
}

MeasuringClient::Record MeasuringClient::heardSince(qint64 from) const
{
    const std::lock_guard lock(m_mutex);
    Record record;
    std::copy_if(m_heard.begin(), m_heard.end(), std::back_inserter(record),
                 [from](const Heard& heard) { return heard.time >= from; });
    return record;
}

MeasuringClient::Record MeasuringClient::iqSince(qint64 from) const
{
    Record record = heardSince(from);
    record.erase(std::remove_if(record.begin(), record.end(),
                                [](const Heard& heard) { return heard.type != 2 && heard.type != 3; }),
                 record.end());
    return record;
}

QByteArray MeasuringClient::sessionId() const
{
    const std::lock_guard lock(m_mutex);
    return m_sessionId;
}

void MeasuringClient::run()
{
    constexpr int kPatient = 20; // ms
    qint64 pinged = 0;
    while (!m_stop) {
        pollfd waiting{m_descriptor, POLLIN, 0};
        if (poll(&waiting, 1, kPatient) > 0) {
            while (receive()) {
            }
        }
        if (m_alive && now() - pinged > kPingInterval && !sessionId().isEmpty()) {
            pinged = now();
            call(sessionId(), QStringLiteral("ping"), {{QStringLiteral("c"), 0}});
        }
    }
}

bool MeasuringClient::receive()
{
    thread_local QByteArray buffer(kLongest, Qt::Uninitialized);
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(timespec))];
    iovec bytes{buffer.data(), static_cast<size_t>(buffer.size())};
    msghdr message{};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    const auto size = static_cast<int>(recvmsg(m_descriptor, &message, MSG_DONTWAIT));
    if (size < 1) {
        return false;
    }
    Heard heard{arrival(message), size, buffer.at(0), {}};
    if (const auto packet = Wire::read(buffer.left(size))) {
        heard.command = packet->command;
        onRpc(*packet);
    }
    const std::lock_guard lock(m_mutex);
    m_heard.append(heard);
    return true;
}

void MeasuringClient::onRpc(const Wire::Message& message)
{
    if (!message.command.isEmpty()) {
        if (m_alive) {
            send(Wire::packet(message.number, m_id, message.sender, QString()));
        }
        return;
    }
    const QString session = message.body.value(QStringLiteral("session_id")).toString();
    if (!session.isEmpty()) {
        const std::lock_guard lock(m_mutex);
        m_sessionId = QByteArray::fromHex(session.toLatin1());
    }
}
