#pragma once

#include "Network/Remote/SourceObject.h"

#include "support/NodeOf.h"
#include "support/WirePeer.h"

#include <QStringList>
#include <QThread>
#include <memory>

/// A device as the replication sees it: one property of each kind that it treats differently.
class Target : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double frequency READ frequency WRITE setFrequency NOTIFY frequencyChanged)
    Q_PROPERTY(int gain MEMBER m_gain NOTIFY levelsChanged)
    Q_PROPERTY(QStringList rates MEMBER m_rates NOTIFY levelsChanged)
    Q_PROPERTY(int secret WRITE setSecret)
    Q_PROPERTY(bool open MEMBER m_open)

public:
    using QObject::QObject;

    [[nodiscard]] double frequency() const { return m_frequency; }
    void setFrequency(double frequency)
    {
        if (frequency >= 0) {
            m_frequency = frequency;
            m_writer = QThread::currentThread();
            emit frequencyChanged();
        }
    }
    void setSecret(int secret) { m_secret = secret; }

    double m_frequency = 1000;
    int m_gain = 3;
    QStringList m_rates{QStringLiteral("48000"), QStringLiteral("96000")};
    int m_secret = 0;
    bool m_open = true;
    QThread* m_writer = nullptr;

signals:
    void frequencyChanged();
    void levelsChanged();
};

inline const QByteArray kAskForDump = R"({"cd":"it_ra_rrd"})";

inline int160 id(char fill)
{
    return int160(QByteArray(20, fill).constData());
}

inline const int160& ownId()
{
    static const int160 value = id('\x11');
    return value;
}

inline const int160& peerId()
{
    static const int160 value = id('\x22');
    return value;
}

inline QStringList commands(const QList<WirePeer::Message>& packets)
{
    QStringList names;
    for (const auto& packet : packets) {
        names.append(packet.command);
    }
    return names;
}

inline QByteArrayList bodies(const QList<WirePeer::Message>& packets)
{
    QByteArrayList result;
    for (const auto& packet : packets) {
        result.append(packet.json);
    }
    return result;
}

/// A source of a Target, whose clock the test alone moves, and a replica made of datagrams;
/// new for each test.
class SourceObjectTest : public QObject
{
    Q_OBJECT

protected:
    void makeSource(QObject* target, const int160& peerId);
    void call(const int160& caller, const QByteArray& json, WirePeer* from = nullptr);
    void answer(quint32 number);
    QList<WirePeer::Message> sent();

    qint64 m_now = 0;
    QSharedPointer<Socket> m_socket;
    std::unique_ptr<WirePeer> m_peer;
    QSharedPointer<RpcSocket> m_rpc;
    std::unique_ptr<Target> m_target;
    std::unique_ptr<SourceObject> m_source;

private slots:
    void init();
    void cleanup();
};
