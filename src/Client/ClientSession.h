#pragma once

#include "Client/Connector.h"
#include "Client/IqReceiver.h"
#include "Client/OutputRate.h"
#include "Client/RemoteDevice.h"
#include "Client/SessionSettings.h"
#include "Client/SpectrumReceiver.h"
#include "Core/Log/SteadyClock.h"
#include "Network/Data/NodeInfo.h"

#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

class InterfaceSocket;
class QTimer;
class RpcSocket;
class SessionSocket;
class Socket;

/// A session with one server: keep-alive, the device, both streams, and the way in and back in after the
/// network has failed, with the settings as they were. May be used for one session after another.
/// The server's calls to the session and to the replica of its device go to the one id that the client has
/// named in connect_to_host, so one RPC object serves both.
/// Thread: the one that made it, which runs an event loop; all signals come there.
/// Ownership: owns its UDP port and the device and receivers that it hands out, which live as long as it
/// does.
/// Errors: values and signals. Nothing that a server sends ends the process or grows without bound.
class ClientSession : public QObject
{
    Q_OBJECT

public:
    using Target = Connector::Target;
    using Refusal = Connector::Refusal;

    enum class State
    {
        Idle,       ///< No session and none wanted.
        Connecting, ///< Asked for a session for the first time.
        Connected,
        Reconnecting, ///< The session broke off and is asked for again.
    };
    Q_ENUM(State)

    enum class End
    {
        Closed,    ///< close() was called.
        ByServer,  ///< The server has said disconnect_from_host.
        TakenOver, ///< As ByServer or Silent, after admin_request: another client has driven this one out.
        Silent,    ///< The server has not answered five pings in a row.
    };
    Q_ENUM(End)

    struct Timing : Connector::Timing
    {
        int pingInterval = 1000; ///< ms
        int ratePatience = 1000; ///< ms that the server may take to tell the rate of its samples.
        std::function<qint64()> clock = &SteadyClock::milliseconds; ///< ms; any epoch, never back.
    };

    explicit ClientSession(QObject* parent = nullptr);
    ClientSession(Timing timing, QObject* parent);
    /// Closes, without a signal.
    ~ClientSession() override;

    /// Begins a session with the target; `connected` or `refused` follows. Ends the one before. False, and
    /// nothing follows, if no UDP port could be had or the target lacks an id, an address or a port.
    [[nodiscard]] bool open(const Target& target);
    /// Leaves politely; `ended(Closed)` follows at once if there was a session. Also ends every attempt.
    void close();
    /// Whether a session that broke off, by Silent or ByServer, is asked for again until close(), with the
    /// settings as they were. Off at first. "Server busy!" is borne meanwhile.
    void setReconnecting(bool reconnecting);

    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] const Target& target() const { return m_connector.target(); }

    // The receiver and both streams; signals of theirs may be connected before open().
    [[nodiscard]] RemoteDevice& device() { return m_device; }
    [[nodiscard]] IqReceiver& iq() { return m_iq; }
    [[nodiscard]] SpectrumReceiver& spectrum() { return m_spectrum; }

    // Settings of the session. They may be set before open() and are sent again until the server confirms
    // them, and in every session that follows. False, and nothing is kept, for what is not finite or out of
    // range.
    /// Hz: the frequency within the received band that comes to 0 Hz, counted from the tuned one.
    bool setOffset(double hertz) { return m_settings.setOffset(hertz); }
    /// Hz, above 0: the bandwidth wanted, which decides the stream's rate, and the part of it to be free of
    /// aliases.
    bool setBandwidth(double preferred, double aliasFree)
    {
        return m_settings.setBandwidth(preferred, aliasFree);
    }
    /// False as well for an invalid range.
    bool setSpectrumRange(const SpectrumRange& range) { return m_settings.setSpectrumRange(range); }

    /// Hz, the rate of the IQ stream; nothing while the server has not told.
    [[nodiscard]] std::optional<double> outSampleRate() const { return m_rate.value(); }
    /// ms, of the last answered ping; 0 before the first.
    [[nodiscard]] qint64 roundTrip() const;
    /// Datagrams that the server has sent and that have not been accepted here, of every kind, between the
    /// first and the last ping of this session: an estimate, since the server counts what it sends to others
    /// too. 0 or more.
    [[nodiscard]] qint64 datagramsLost() const;
    [[nodiscard]] double receiveSpeed() const; ///< KiB in the last second.
    [[nodiscard]] double sendSpeed() const;    ///< KiB in the last second.

signals:
    void stateChanged(ClientSession::State state);
    /// The server has not answered yet to the first connecting: it may be opening its receiver. Once.
    void waiting();
    /// In session, for the first time or again. The device is asked for its properties by itself.
    void connected();
    /// The first connecting has failed, or the server refuses for good to let this client back in. `text` is
    /// the server's, as foreignText makes it; empty if it gave none.
    void refused(Connector::Refusal refusal, const QString& text);
    /// The session is over. The state tells whether it is asked for again.
    void ended(ClientSession::End end);
    /// error_happen: the receiver has reported an error; the session goes on, or its end follows. `text` as
    /// in `refused`.
    void deviceError(const QString& text);
    /// Hz
    void outSampleRateChanged(double rate);

private:
    void setState(State state);
    [[nodiscard]] bool makeSocket();
    void begin(const Connector::Grant& grant);
    void onRefused(Connector::Refusal refusal, const QString& text);
    void declareFunctions(RpcSocket& rpc);
    void attachStreams(const NodeInfo& peer);
    void leave();
    void onDisconnected();
    void onHeartbeat();
    void onOutSampleRate(const QJsonObject& request);

    Timing m_timing;
    State m_state = State::Idle;
    bool m_reconnecting = false;
    bool m_closing = false;
    bool m_takenOver = false;
    bool m_warnedOfRate = false;
    std::optional<qint64> m_lostAtFirstPing;

    QSharedPointer<Socket> m_socket;
    QSharedPointer<SessionSocket> m_user; // attached while in session, under the client's id
    QVector<QSharedPointer<InterfaceSocket>> m_streams;
    QTimer* m_heartbeat;
    Connector m_connector;
    SessionSettings m_settings;
    OutputRate m_rate;
    RemoteDevice m_device;
    IqReceiver m_iq;
    SpectrumReceiver m_spectrum;
};
