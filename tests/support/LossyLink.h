#pragma once

#include <QHostAddress>
#include <QObject>
#include <QTimer>
#include <QUdpSocket>
#include <QVector>
#include <array>
#include <functional>
#include <random>

/// A link between two ports of loopback that loses, repeats, swaps and delays datagrams as a seed has it.
/// Each end sends to a port of the link's that represents the other one.
class LossyLink : public QObject
{
    Q_OBJECT

public:
    /// Per cent of the datagrams that meet each fate; the rest pass as they are.
    struct Fates
    {
        int lost = 0;
        int repeated = 0;
        int swapped = 0; ///< Passes after the next one of its direction.
        int delayed = 0; ///< Passes after up to 8 others of its direction.
    };

    explicit LossyLink(unsigned seed, QObject* parent = nullptr);

    /// The ports that the two ends listen on; 0 for one that is learnt from what it sends.
    void join(quint16 first, quint16 second);
    /// Datagrams that get lost in any case.
    void setLoss(std::function<bool(const QByteArray& datagram)> isLost) { m_isLost = std::move(isLost); }
    void setFates(const Fates& fates) { m_fates = fates; }
    /// The port that represents the second end, for the first one to send to; and the other way round.
    [[nodiscard]] quint16 portForFirst() const { return m_ends[0].socket.localPort(); }
    [[nodiscard]] quint16 portForSecond() const { return m_ends[1].socket.localPort(); }
    /// Lets pass what is held back.
    void flush();
    [[nodiscard]] int passed() const { return m_passed; }
    [[nodiscard]] int lost() const { return m_lost; }

private:
    struct Held
    {
        QByteArray datagram;
        int passes = 0; // datagrams that are still to go before it
    };
    struct End
    {
        QUdpSocket socket;
        quint16 port = 0;
        QVector<Held> held; // on their way to this end
    };

    void onReadyRead(size_t from);
    void onDatagram(size_t to, const QByteArray& datagram);
    void pass(size_t to, const QByteArray& datagram);
    [[nodiscard]] int below(int limit);

    std::array<End, 2> m_ends;
    std::mt19937 m_random;
    Fates m_fates;
    std::function<bool(const QByteArray& datagram)> m_isLost;
    QTimer m_timer; // for those after which nothing comes
    int m_passed = 0;
    int m_lost = 0;
};
