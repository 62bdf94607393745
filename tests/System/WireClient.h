#pragma once

#include "System/Wait.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QJsonObject>
#include <QObject>
#include <QUdpSocket>
#include <QVector>
#include <complex>
#include <map>
#include <optional>

class ServerProcess;

/// A client written from the wire format alone: packs and unpacks every datagram by itself, answers the
/// server's calls, and keeps what it heard.
class WireClient : public QObject
{
public:
    /// A call that the server has made.
    struct Call
    {
        QByteArray sender;
        QByteArray target;
        quint32 number = 0;
        QString command;
        QJsonObject object;
        qint64 time = 0; ///< ms since the client was made
    };
    /// One spectrum frame, from a header to the next.
    struct Frame
    {
        int dataSize = 0;
        QVector<qint16> header;
        QVector<int> packets; ///< Points in each packet.
        QVector<qint16> points;
        qint64 time = 0;
    };

    explicit WireClient(const ServerProcess& server, QObject* parent = nullptr);
    /// Through a socket made elsewhere, such as in another network namespace.
    WireClient(int descriptor, const QByteArray& serverId, const QHostAddress& address, quint16 port);

    /// Leaves, if it has a session.
    ~WireClient() override;

    /// The packet of a call or, with an empty command, of a reply.
    static QByteArray packet(quint32 number, const QByteArray& sender, const QByteArray& target,
                             const QString& command, QJsonObject arguments);

    [[nodiscard]] const QByteArray& id() const { return m_id; }
    [[nodiscard]] const QByteArray& serverId() const { return m_serverId; }
    [[nodiscard]] const QByteArray& sessionId() const { return m_sessionId; }
    [[nodiscard]] quint16 localPort() const { return m_socket.localPort(); }

    /// Sends one datagram as it stands.
    void send(const QByteArray& datagram);
    /// Sends a call; gives its number.
    quint32 call(const QByteArray& target, const QString& command, const QJsonObject& arguments = {});
    /// Sends a call and waits for its reply; nothing if none comes.
    std::optional<QJsonObject> ask(const QByteArray& target, const QString& command,
                                   const QJsonObject& arguments = {}, int milliseconds = kPatience);
    std::optional<QJsonObject> askSession(const QString& command, const QJsonObject& arguments = {});
    [[nodiscard]] bool hasReply(quint32 number) const { return m_replies.count(number) != 0; }
    [[nodiscard]] QJsonObject reply(quint32 number) const { return m_replies.at(number); }
    [[nodiscard]] int repliesReceived() const { return m_repliesReceived; }
    void setNextNumber(quint32 number) { m_nextNumber = number; }

    static QJsonObject greeting(const QString& identificator, int major = 8, int minor = 0);
    /// Asks for a session; true if one was given, whose id is then known.
    [[nodiscard]] bool open(const QString& identificator);
    /// Leaves, and waits for the reply.
    [[nodiscard]] bool close();

    /// A silent client answers no call. It still hears them.
    void setSilent(bool silent) { m_silent = silent; }

    [[nodiscard]] const QVector<Call>& calls() const { return m_calls; }
    [[nodiscard]] QVector<Call> calls(const QString& command) const;
    [[nodiscard]] bool waitForCall(const QString& command, int count = 1) const;
    void forgetCalls() { m_calls.clear(); }

    /// Complex IQ samples received since `forgetSamples`; kept up to `keepSamples`. As they stand on the
    /// wire.
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
    [[nodiscard]] qint64 now() const { return m_clock.elapsed(); }

private:
    void init(const QByteArray& serverId, const QHostAddress& address, quint16 port);
    void onReadyRead();
    void onDatagram(const QByteArray& datagram);
    void onRpc(const QByteArray& datagram);
    void onSpectrum(const QVector<qint16>& values);
    static QVector<qint16> sampleBlock(const QByteArray& bytes);

    QUdpSocket m_socket;
    QHostAddress m_address;
    quint16 m_port = 0;
    QByteArray m_id;
    QByteArray m_serverId;
    QByteArray m_sessionId;
    quint32 m_nextNumber = 1;
    bool m_silent = false;
    QElapsedTimer m_clock;
    std::map<quint32, QJsonObject> m_replies;
    int m_repliesReceived = 0;
    QVector<Call> m_calls;
    std::vector<std::complex<double>> m_samples;
    QVector<int> m_iqBlockSizes;
    QVector<Frame> m_frames;
    std::map<int, int> m_heard;
    qint64 m_bytesHeard = 0;
};
