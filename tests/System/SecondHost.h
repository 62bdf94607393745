#pragma once

#include <QHostAddress>
#include <QString>

/// A second computer on the local network: a network namespace joined to this one by a cable, or by several.
/// Needs the rights that `tests/isolated` gives. Broadcasts of this side leave by the first cable, if their
/// sender leaves that to the routes.
class SecondHost
{
public:
    SecondHost();
    ~SecondHost();

    /// False if the namespace or the cable could not be had.
    [[nodiscard]] bool isConnected() const { return m_connected; }
    /// Lays cable `number` besides, a network of its own: 1 to 255. False if that fails.
    [[nodiscard]] bool lay(int number) const;
    /// This side's end of the cable is the interface "cable" and its number.
    /// Its address, where a server of the test can be reached, and that of the other end.
    [[nodiscard]] static QHostAddress here(int number = 0) { return address(number, 1); }
    [[nodiscard]] static QHostAddress there(int number = 0) { return address(number, 2); }
    /// Descriptor of a bound UDP socket of the second host, for its caller to close; 0 leaves the port to the
    /// system. -1 if there is none to be had.
    [[nodiscard]] int openSocket(quint16 port) const;

private:
    Q_DISABLE_COPY_MOVE(SecondHost)
    static QHostAddress address(int number, int end)
    {
        return QHostAddress(QStringLiteral("10.90.%1.%2").arg(number).arg(end));
    }

    int m_namespace = -1;
    bool m_connected = false;
};
