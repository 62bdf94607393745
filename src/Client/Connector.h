#pragma once

#include "Network/Data/NodeInfo.h"

#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QTimer>
#include <functional>

class QJsonObject;
class RpcSocket;
class Socket;

/// The way into a session with one server, and back into one that has broken off: asks until the server
/// grants a session or refuses it for good.
///
/// A server answers nothing while it opens its receiver, which may take it many seconds, and a datagram may
/// get lost on either way. So one round of asking lasts long and keeps one id. connect_to_host is repeated
/// in it in case the call was lost; the answer to any of the calls counts. If the answer was lost, the server
/// meets the repeats with "Server busy!", which is its session with this very client, and the session makes
/// itself known by its first ping.
/// Thread: that of the session.
class Connector : public QObject
{
    Q_OBJECT

public:
    /// Where to go. A server counts a client that names another identificator than its own as an
    /// administrator, who drives out whoever is connected: so it has to be known, not guessed.
    struct Target
    {
        int160 id;
        QHostAddress address;
        quint16 port = 0;
        QString identificator;
    };

    enum class Refusal
    {
        NoAnswer,           ///< Nothing came in a whole round.
        Busy,               ///< "Server busy!"
        UnsupportedVersion, ///< "Unsupported version protocol!"
        BadRequest,         ///< "Error get client packet values!"
        NoDevice,           ///< "Error factory RadioDevice!"
        Other,              ///< Another text of the server's.
        BadAnswer,          ///< Neither a session id nor a refusal.
    };
    Q_ENUM(Refusal)

    struct Timing
    {
        // Seldom: a server that was only slow takes each call for one of its own, and after one that has
        // failed it opens its receiver again for the next.
        int repeat = 3000;    ///< ms after which a call without an answer is repeated.
        int notice = 1500;    ///< ms without an answer after which `waiting` tells of it.
        int patience = 12000; ///< ms that a round lasts: a receiver may take its time to open.
        int pause = 1000;     ///< ms between two rounds, after a busy server.
    };

    /// What a server has granted.
    struct Grant
    {
        int160 ownId;      ///< That the client has named itself by.
        int160 sessionId;  ///< That of the server's end of the session.
        NodeInfo server;   ///< As the answer came from it: one with several addresses may use another one.
        quint32 calls = 0; ///< That went out under ownId: answers to them may still come.
    };

    /// Declares what a server may call before its answer has come.
    using Declare = std::function<void(RpcSocket& rpc)>;

    Connector(const Timing& timing, Declare declare, QObject* parent);
    ~Connector() override;

    /// Asks for the first time, for one round. A server that is busy before it can have granted anything ends
    /// it at once.
    void begin(const QSharedPointer<Socket>& socket, const Target& target);
    /// After a pause asks for a session like the one that has broken off, and goes on through silence and a
    /// busy server until `stop`.
    void beginAgain();
    void stop();

    [[nodiscard]] const Target& target() const { return m_target; }

signals:
    /// No answer has come yet to the first asking: the server may be opening its receiver. Once.
    void waiting();
    void granted(const Connector::Grant& grant);
    /// `text` is the server's, as foreignText makes it; empty if it gave none.
    void refused(Connector::Refusal refusal, const QString& text);

private:
    void startRound();
    void ask();
    void drop();
    void onAnswer(const QJsonObject& reply, const NodeInfo& peer, bool isToTheFirst);
    void onRefusal(const QString& text, bool isToTheFirst);
    void onPing(const NodeInfo& session);
    void onRoundOver();
    void grant(const int160& sessionId, const NodeInfo& server);
    void giveUp(Refusal refusal, const QString& text);

    Timing m_timing;
    Declare m_declare;
    Target m_target;
    QSharedPointer<Socket> m_socket;
    QSharedPointer<RpcSocket> m_rpc; // attached during a round
    quint32 m_calls = 0;             // in this round
    QString m_busyText;              // that a repeat was answered in this round
    bool m_isAgain = false;
    QTimer m_nextRound;
    QTimer m_nextCall;
    QTimer m_notice;
    QTimer m_roundOver;
};
