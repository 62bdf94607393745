#pragma once

#include "support/Wire.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QVector>
#include <atomic>
#include <mutex>
#include <thread>

class ServerProcess;

/// A client that notes when each datagram of the server arrived: by the system's stamp, so that it counts
/// nothing against the server that the client itself was late for.
/// Thread: receives, answers and pings on one of its own. The interface is for the thread that made it.
class MeasuringClient
{
public:
    struct Heard
    {
        qint64 time = 0; ///< As `now`.
        int size = 0;    ///< Bytes of payload.
        int type = 0;
        QString command; ///< Of a call; of a reply empty.
    };
    using Record = QVector<Heard>;

    /// On 127.0.0.`host`.
    explicit MeasuringClient(const ServerProcess& server, int host = 1);
    ~MeasuringClient();

    /// The clock of all times here, ns.
    static qint64 now();

    /// Asks for a session without waiting for it, and answers nothing.
    void greet(const QString& identificator);
    /// Asks until there is a session, and keeps it alive. False if there is none within `milliseconds`.
    [[nodiscard]] bool open(const QString& identificator, int milliseconds);
    /// Leaves, unless it has no session.
    void leave();
    /// Asks for spectra of 300 points.
    void wantSpectra();
    void call(const QByteArray& target, const QString& command, const QJsonObject& arguments = {});
    void send(const QByteArray& datagram);

    /// All that came from `from` on, in order of arrival.
    [[nodiscard]] Record heardSince(qint64 from) const;
    /// Of those the datagrams of IQ samples.
    [[nodiscard]] Record iqSince(qint64 from) const;
    [[nodiscard]] QByteArray sessionId() const;

private:
    Q_DISABLE_COPY_MOVE(MeasuringClient)
    void run();
    bool receive();
    void onRpc(const Wire::Message& message);

    const QByteArray m_id;
    const QByteArray m_serverId;
    int m_descriptor = -1;
    std::atomic<quint32> m_number{0};
    std::atomic<bool> m_alive{false};
    std::atomic<bool> m_stop{false};
    mutable std::mutex m_mutex; // for what follows
    QByteArray m_sessionId;
    Record m_heard;
    std::thread m_thread;
};
