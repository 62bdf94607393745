#pragma once

#include "support/WirePeer.h"

#include <complex>
#include <map>
#include <optional>
#include <vector>

/// A client of one server: comes in, asks, leaves, and keeps the samples and spectra that it hears.
class WireClient : public WirePeer
{
    Q_OBJECT

public:
    /// One spectrum frame, from a header to the next.
    struct Frame
    {
        int dataSize = 0;
        QVector<qint16> header;
        QVector<int> packets; ///< Points in each packet.
        QVector<qint16> points;
        qint64 time = 0; ///< ms, as now().
    };

    WireClient(const QByteArray& serverId, quint16 serverPort);
    /// Of what has an id and a port, as a ServerProcess.
    template <typename Server>
    explicit WireClient(const Server& server)
        : WireClient(server.id(), server.port())
    {
    }
    /// Through a socket made elsewhere, such as in another network namespace.
    WireClient(int descriptor, const QByteArray& serverId, const QHostAddress& address, quint16 port);

    /// Leaves, if it has a session.
    ~WireClient() override;

    [[nodiscard]] const QByteArray& serverId() const { return m_serverId; }
    [[nodiscard]] const QByteArray& sessionId() const { return m_sessionId; }
    [[nodiscard]] quint16 localPort() const { return WirePeer::port(); }

    /// Sends one datagram to the server, as it is.
    void send(const QByteArray& datagram) { WirePeer::send(datagram, m_port, m_address); }
    /// Sends a call; gives its number.
    quint32 call(const QByteArray& target, const QString& command, const QJsonObject& arguments = {});
    /// Sends a call and waits for its reply; nothing if none comes. A call whose repetition changes nothing
    /// is sent again, under its number, while the answer stays out: on a machine that is flooded any datagram
    /// may be lost.
    std::optional<QJsonObject> ask(const QByteArray& target, const QString& command,
                                   const QJsonObject& arguments = {}, int milliseconds = kPatience);
    /// Asks for a session that the server refuses, so that this may be sent again as well.
    std::optional<QJsonObject> askInVain(const QJsonObject& greeting);
    std::optional<QJsonObject> askSession(const QString& command, const QJsonObject& arguments = {});
    [[nodiscard]] int repliesReceived() const { return replies().size(); }

    /// Asks for a session; true if one was given, whose id is then known.
    [[nodiscard]] bool open(const QString& identificator);
    /// Leaves, and waits for the reply.
    [[nodiscard]] bool close();

    /// Complex IQ samples received since `forgetSamples`, the first 400,000 of them, as they are on the wire.
    [[nodiscard]] const std::vector<std::complex<double>>& samples() const { return m_samples; }
    void forgetSamples() { m_samples.clear(); }
    [[nodiscard]] bool waitForSamples(size_t count);
    /// Values of each sample block that came with IQ, in order of arrival.
    [[nodiscard]] const QVector<int>& iqBlockSizes() const { return m_iqBlockSizes; }

    [[nodiscard]] const QVector<Frame>& frames() const { return m_frames; }
    void forgetFrames() { m_frames.clear(); }
    /// The first frame of `dataSize` points that begins after this call and is whole.
    std::optional<Frame> nextFrame(int dataSize);

    /// Datagrams heard of one type byte.
    [[nodiscard]] int heard(int type) const;
    /// Bytes of all datagrams heard.
    [[nodiscard]] qint64 bytesHeard() const { return m_bytesHeard; }

protected:
    void onDatagram(const QByteArray& datagram, const QHostAddress& address, quint16 port) override;

private:
    std::optional<QJsonObject> askAgain(const QByteArray& target, const QString& command,
                                        const QJsonObject& arguments, int milliseconds);
    void onSpectrum(const QVector<qint16>& values);

    QHostAddress m_address; // the server's
    quint16 m_port = 0;     // the server's
    QByteArray m_serverId;
    QByteArray m_sessionId;
    std::vector<std::complex<double>> m_samples;
    QVector<int> m_iqBlockSizes;
    QVector<Frame> m_frames;
    std::map<int, int> m_heard;
    qint64 m_bytesHeard = 0;
};
