#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Remote/SourceObject.h"
#include "Network/Socket/FFTSocket.h"
#include "Network/Socket/IQSocket.h"
#include "Network/Socket/UserSocket.h"

#include <QJsonObject>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>
#include <QTimer>
#include <QVector>
#include <memory>

/// A receiver's properties, of each kind that a client treats differently.
class DeviceDouble : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int type MEMBER type)
    Q_PROPERTY(QStringList supportSampleRates MEMBER rates)
    Q_PROPERTY(QStringList supportFrequencies MEMBER frequencies)
    Q_PROPERTY(double sampleRate MEMBER sampleRate NOTIFY sampleRateChanged)
    Q_PROPERTY(double frequency READ readFrequency WRITE writeFrequency NOTIFY frequencyChanged)
    Q_PROPERTY(int ppmCorrection MEMBER ppm)
    Q_PROPERTY(double levelCorrection MEMBER level)
    Q_PROPERTY(bool swapIQ MEMBER swapIQ)

public:
    [[nodiscard]] double readFrequency() const { return frequency; }
    /// Takes what is in its range, and tells of it in any case.
    void writeFrequency(double hertz)
    {
        if (hertz >= 14e6 && hertz <= 14.5e6) {
            frequency = hertz;
        }
        emit frequencyChanged();
    }

    int type = 5;
    QStringList rates{QStringLiteral("48000"), QStringLiteral("96000")};
    QStringList frequencies{QStringLiteral("14000"), QStringLiteral("14500")};
    double sampleRate = 48'000;
    double frequency = 14'250'000;
    int ppm = 0;
    double level = 0;
    bool swapIQ = false;

signals:
    void sampleRateChanged();
    void frequencyChanged();
};

/// A server on loopback as far as a client can tell, that does as the test likes; made of the system's own
/// half of the transport.
class ServerDouble : public QObject
{
    Q_OBJECT

public:
    struct Call
    {
        QString command;
        QJsonObject request;
    };

    explicit ServerDouble(const QString& identificator = QStringLiteral("receiver 1"));
    ~ServerDouble() override;

    [[nodiscard]] NodeInfo info() const;
    [[nodiscard]] const QString& identificator() const { return m_identificator; }

    /// What every connect_to_host is answered from now on; an empty object for a session.
    void setAnswer(const QJsonObject& answer) { m_answer = answer; }
    /// A deaf server hears nothing and answers nothing; it does not ping.
    void setDeaf(bool deaf);
    /// Ends the session without a word, as a server that is killed and started again.
    void forgetSession();
    /// Takes so long to open its receiver: from the first call on it hears nothing, and then all that has
    /// come meanwhile, in order.
    void setOpeningTime(int ms) { m_openingTime = ms; }
    /// The next so many connect_to_host don't arrive, or their answers don't.
    void loseCalls(int count) { m_callsToLose = count; }
    void loseAnswers(int count) { m_answersToLose = count; }
    /// Sessions from now on tell nothing of the receiver.
    void withholdProperties() { m_isSecretive = true; }
    /// Lets another client drive this one out.
    void takeOver();

    [[nodiscard]] int connects() const { return m_connects; }
    [[nodiscard]] bool isInSession() const { return m_user && m_user->isConnected(); }
    [[nodiscard]] UserSocket& session() { return *m_user; }
    [[nodiscard]] const NodeInfo& client() const { return m_client; }
    /// Commands of the session, in their order.
    [[nodiscard]] QVector<Call> calls(const QString& command) const;

    void call(const QString& command, const QJsonObject& arguments = {});
    void sendIq(const QVector<qint16>& values, bool compress = false);
    void sendSpectrum(const QVector<qint16>& values);
    void sendRaw(const QByteArray& datagram);

    DeviceDouble device;

private:
    class Door;

    void onOpened();
    bool onDatagram(const QByteArray& datagram, const QHostAddress& address, quint16 port);
    QJsonObject onConnect(const QJsonObject& request, const NodeInfo& client);

    struct Heard
    {
        QByteArray datagram;
        QHostAddress address;
        quint16 port;
    };

    QString m_identificator;
    QJsonObject m_answer;
    QTimer m_opening;
    QVector<Heard> m_heard; // while the receiver opens
    bool m_deaf = false;
    bool m_isSecretive = false;
    int m_connects = 0;
    int m_openingTime = 0; // ms
    int m_callsToLose = 0;
    int m_answersToLose = 0;
    NodeInfo m_client;
    QVector<Call> m_calls;
    QSharedPointer<Socket> m_socket;
    QSharedPointer<Door> m_door; // before all others
    QSharedPointer<RpcSocket> m_rpc;
    QSharedPointer<UserSocket> m_user;
    QVector<QSharedPointer<UserSocket>> m_forgotten;
    std::unique_ptr<SourceObject> m_source;
    std::unique_ptr<IQSocket> m_iq;
    std::unique_ptr<FFTSocket> m_spectrum;
};
