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

// $1 is the other namespace, $2 the cable's number.
const char* const kLayCable = "ip link add name cable$2 type veth peer name far$2 netns \"$1\" && "
                              "ip address add 10.90.$2.1/24 dev cable$2 && "
                              "ip link set cable$2 up && "
                              "nsenter --net=\"$1\" sh -c '"
                              "ip link set lo up && "
                              "ip address add 10.90.'$2'.2/24 dev far'$2' && "
                              "ip link set far'$2' up'";

} // namespace

SecondHost::SecondHost()
{
    // Only the thread changes its namespace; the descriptor keeps the one it leaves.
    std::thread([this] {
        if (unshare(CLONE_NEWNET) == 0) {
            m_namespace = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
        }
    }).join();
    m_connected =
        m_namespace >= 0 && lay(0) &&
        QProcess::execute(QStringLiteral("ip"), {QStringLiteral("route"), QStringLiteral("replace"),
                                                 QStringLiteral("255.255.255.255"), QStringLiteral("dev"),
                                                 QStringLiteral("cable0")}) == 0;
}

bool SecondHost::lay(int number) const
{
    const QString path = QStringLiteral("/proc/%1/fd/%2").arg(getpid()).arg(m_namespace);
    return QProcess::execute(QStringLiteral("sh"), {QStringLiteral("-c"), QString::fromLatin1(kLayCable),
                                                    QStringLiteral("sh"), path, QString::number(number)}) ==
           0;
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
