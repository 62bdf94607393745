#include "Client/SettingSender.h"

#include "Network/Socket/UserSocket.h"

#include <QPointer>

namespace
{

constexpr int kTries = 3;
constexpr int kTimeout = 1000; // ms

} // namespace

SettingSender::SettingSender(const QString& command, QObject* parent)
    : QObject(parent)
    , m_command(command)
{
}

void SettingSender::set(const QJsonObject& arguments)
{
    m_arguments = arguments;
    send(kTries);
}

void SettingSender::attach(const QSharedPointer<UserSocket>& socket)
{
    m_socket = socket;
    send(kTries);
}

void SettingSender::detach()
{
    m_socket.clear();
    ++m_serial;
}

void SettingSender::send(int triesLeft)
{
    if (!m_socket || !m_arguments) {
        return;
    }
    const quint32 serial = ++m_serial;
    const QPointer<SettingSender> self(this);
    const auto answered = [self, serial](const QJsonObject&, const NodeInfo&) {
        if (self && self->m_serial == serial) {
            emit self->taken();
        }
    };
    const auto expired = [self, serial, triesLeft] {
        if (!self || self->m_serial != serial) {
            return;
        }
        if (triesLeft > 1) {
            self->send(triesLeft - 1);
        } else {
            emit self->taken();
        }
    };
    m_socket->invoke(m_command, *m_arguments, answered, expired, kTimeout);
}
