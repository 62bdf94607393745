#pragma once

#include <QHostAddress>
#include <QObject>
#include <QSharedPointer>
#include <chrono>

class AbstractRadioDevice;
class InterfaceSocket;
class QTimer;
class Socket;

/// What the streams share: a tick while they run, the device that they read, and the client that they send
/// to.
/// Thread:    the main one.
/// Ownership: the device is not owned, and forgotten by stop().
class DeviceStream : public QObject
{
    Q_OBJECT

public:
    ~DeviceStream() override;

    void setHost(const QHostAddress& address, quint16 port);
    virtual void setDevice(AbstractRadioDevice* device);
    void start();
    /// Nothing refers to the device from here on.
    virtual void stop();

public slots:
    /// The tick.
    virtual void onTimeout() = 0;

protected:
    /// `streamSocket` is attached to `socket` as long as this lives.
    DeviceStream(QSharedPointer<Socket> socket, QSharedPointer<InterfaceSocket> streamSocket,
                 std::chrono::milliseconds tick, Qt::TimerType timerType, QObject* parent);

    [[nodiscard]] bool hasDevice() const { return m_device != nullptr; }
    [[nodiscard]] const QHostAddress& address() const { return m_address; }
    [[nodiscard]] quint16 port() const { return m_port; }

private:
    QSharedPointer<Socket> m_socket;
    QSharedPointer<InterfaceSocket> m_streamSocket;
    QTimer* m_timer;
    AbstractRadioDevice* m_device = nullptr;
    QHostAddress m_address;
    quint16 m_port = 0;
};
