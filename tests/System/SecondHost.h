#pragma once

#include <QHostAddress>
#include <QString>

/// A second computer on the local network: a network namespace joined to this one by a cable. Needs the
/// rights that `tests/isolated` gives. Broadcasts of this side leave by the cable.
class SecondHost
{
public:
    SecondHost();
    ~SecondHost();

    /// False if the namespace or the cable could not be had.
    [[nodiscard]] bool isConnected() const { return m_connected; }
    /// This side of the cable, where a server of the test can be reached, and the other.
    [[nodiscard]] static QHostAddress here() { return QHostAddress(QStringLiteral("10.90.0.1")); }
    [[nodiscard]] static QHostAddress there() { return QHostAddress(QStringLiteral("10.90.0.2")); }
    /// Descriptor of a bound UDP socket of the second host, for its caller to close; 0 leaves the port to the
    /// system. -1 if there is none to be had.
    [[nodiscard]] int openSocket(quint16 port) const;

private:
    Q_DISABLE_COPY_MOVE(SecondHost)
    int m_namespace = -1;
    bool m_connected = false;
};
