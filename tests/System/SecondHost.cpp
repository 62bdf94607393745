#include "System/SecondHost.h"

#include <QProcess>
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

// $1 is the other namespace.
const char* const kLayCable = "ip link add name cable0 type veth peer name cable1 netns \"$1\" && "
                              "ip address add 10.90.0.1/24 dev cable0 && "
                              "ip link set cable0 up && "
                              "ip route replace 255.255.255.255 dev cable0 && "
                              "nsenter --net=\"$1\" sh -c '"
                              "ip link set lo up && "
                              "ip address add 10.90.0.2/24 dev cable1 && "
                              "ip link set cable1 up'";

} // namespace

SecondHost::SecondHost()
{
    // Only the thread changes its namespace; the descriptor keeps what it leaves behind.
    std::thread([this] {
        if (unshare(CLONE_NEWNET) == 0) {
            m_namespace = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
        }
    }).join();
    const QString path = QStringLiteral("/proc/%1/fd/%2").arg(getpid()).arg(m_namespace);
    m_connected = m_namespace >= 0 && QProcess::execute(QStringLiteral("sh"),
                                                        {QStringLiteral("-c"), QString::fromLatin1(kLayCable),
                                                         QStringLiteral("sh"), path}) == 0;
}

SecondHost::~SecondHost()
{
    if (m_namespace >= 0) {
        close(m_namespace);
    }
}

int SecondHost::openSocket(quint16 port) const
{
    int descriptor = -1;
    std::thread([this, port, &descriptor] {
        if (setns(m_namespace, CLONE_NEWNET) != 0) {
            return;
        }
        descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            close(descriptor);
            descriptor = -1;
        }
    }).join();
    return descriptor;
}
