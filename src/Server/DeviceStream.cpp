#include "Server/DeviceStream.h"

#include "Network/Socket/Socket.h"

#include <QTimer>
#include <utility>

DeviceStream::DeviceStream(QSharedPointer<Socket> socket, QSharedPointer<InterfaceSocket> streamSocket,
                           std::chrono::milliseconds tick, Qt::TimerType timerType, QObject* parent)
    : QObject(parent)
    , m_socket(std::move(socket))
    , m_streamSocket(std::move(streamSocket))
    , m_timer(new QTimer(this))
{
    m_socket->addSocket(m_streamSocket);
    m_timer->setInterval(tick);
    m_timer->setTimerType(timerType);
    connect(m_timer, &QTimer::timeout, this, &DeviceStream::onTimeout);
}

DeviceStream::~DeviceStream()
{
    m_socket->removeSocket(m_streamSocket);
}

void DeviceStream::setHost(const QHostAddress& address, quint16 port)
{
    m_address = address;
    m_port = port;
}

void DeviceStream::setDevice(AbstractRadioDevice* device)
{
    m_device = device;
}

void DeviceStream::start()
{
    m_timer->start();
}

void DeviceStream::stop()
{
    m_timer->stop();
    m_device = nullptr;
}
