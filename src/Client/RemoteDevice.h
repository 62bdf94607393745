#pragma once

#include "Client/WrittenProperties.h"
#include "Network/Data/NodeInfo.h"
#include "Network/Socket/RpcSocket.h"

#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QStringList>
#include <QVariantMap>
#include <QVector>
#include <optional>

class ReplicaObject;

/// The server's receiver as the client sees it: a copy of its properties, kept up to date by the server.
/// Before the first `synchronized` the copy is empty or has holes. Every value comes from the server and may
/// be anything: the typed readers give nothing for one that is missing, of another type or not finite.
/// Thread: that of the session.
class RemoteDevice : public QObject
{
    Q_OBJECT

public:
    struct FrequencyRange
    {
        double lowest = 0.0;  ///< Hz
        double highest = 0.0; ///< Hz, not below the lowest; both are finite.
    };

    explicit RemoteDevice(QObject* parent = nullptr);
    ~RemoteDevice() override;

    /// True once the whole set has come; false again at the start of the next session.
    [[nodiscard]] bool isSynchronized() const;

    /// Names in alphabetical order.
    [[nodiscard]] QStringList names() const;
    [[nodiscard]] bool contains(const QString& name) const;
    /// As it came over the wire: a whole number may be an integer or a double, every list is a list of
    /// variants. Invalid if unknown.
    [[nodiscard]] QVariant value(const QString& name) const;
    /// Writes and does not wait. False, and nothing is sent, outside a session or for a name that the server
    /// has not told. The server's answer is the echo: `changed` with the value that it took, which may be
    /// another one; it comes only for properties that announce their changes (such as frequency and
    /// sampleRate), and like every datagram it may get lost. `refresh` shows what became of the others.
    bool write(const QString& name, const QVariant& value);
    /// Asks for the whole set again; `synchronized` tells when it has come. False outside a session.
    bool refresh();

    [[nodiscard]] std::optional<int> type() const;              ///< The number that announcements carry too.
    [[nodiscard]] QVector<double> supportedSampleRates() const; ///< Hz
    [[nodiscard]] QVector<FrequencyRange> supportedFrequencies() const; ///< Of the wire's kHz.
    [[nodiscard]] std::optional<double> sampleRate() const;      ///< Hz, the receiver's, not the stream's.
    [[nodiscard]] std::optional<double> frequency() const;       ///< Hz, in the middle of the spectrum.
    [[nodiscard]] std::optional<int> ppmCorrection() const;      ///< Parts per million.
    [[nodiscard]] std::optional<double> levelCorrection() const; ///< dB
    [[nodiscard]] std::optional<bool> swapIQ() const;

    // As `write`; false as well for what is not finite.
    bool setSampleRate(double hertz);
    bool setFrequency(double hertz);
    bool setPpmCorrection(int ppm);
    bool setLevelCorrection(double decibels);
    bool setSwapIQ(bool swap);

    /// The session's: a replica of what `source` publishes, asked for through `rpc`. What was written here
    /// before, since `clear`, is written again once the set has come, if the server has another value.
    void attach(const QSharedPointer<RpcSocket>& rpc, const NodeInfo& source);
    /// The session's: the copy stays, nothing can be written.
    void detach();
    /// The session's: forgets the copy and what was written.
    void clear();

signals:
    /// The whole set has come and its checksum is right.
    void synchronized();
    /// It has not, 5 seconds after it was asked for at the start of the session, when the asking goes on, or
    /// after five tries of a refresh.
    void synchronizationFailed();
    /// A value has come from the server: in the set, as an echo or of itself.
    void changed(const QString& name, const QVariant& value);
    /// The same, typed.
    void frequencyChanged(double hertz);
    void sampleRateChanged(double hertz);

private:
    void onSynchronized();
    void askForSet(int triesLeft);
    void onSetSent(int triesLeft);
    void onChanged(const QString& name, const QVariant& value);
    [[nodiscard]] std::optional<int> integer(const QString& name) const;

    QSharedPointer<RpcSocket> m_rpc;
    NodeInfo m_source;
    ReplicaObject* m_replica = nullptr; // a child, of one session
    QVariantMap m_lastSet;              // the last session's, between two
    bool m_synchronized = false;
    QSet<QString> m_awaited; // names that a refresh has not brought yet
    quint32 m_refreshSerial = 0;
    WrittenProperties m_written;
};
