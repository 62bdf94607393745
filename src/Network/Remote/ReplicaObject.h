#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Socket/RpcSocket.h"

#include <QMap>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>
#include <QVariant>

class QTimer;

/// The copy of what a SourceObject publishes under the same name: asks for the whole set until it has come in
/// order and complete, follows single changes, and sends writes.
/// Thread:    that of the Socket; propertyChanged is emitted from inside the RPC handler.
/// Ownership: shares the RpcSocket. Its destructor leaves two commands declared, pci_ and sync_crc_, which do
///            nothing any more; the next replica of the name takes them over.
/// Errors:    a lost message of the set costs one more round. What would let the copy grow beyond
///            kMaximumSize is left out, with one warning.
class ReplicaObject : public QObject
{
    Q_OBJECT

public:
    /// Bytes, of names and values as they are counted here; far above any set that is published.
    static constexpr qint64 kMaximumSize = 4'194'304;

    /// `retryMs` between two rounds, `patienceMs` until failSync.
    ReplicaObject(const QString& name, const NodeInfo& source, QSharedPointer<RpcSocket> rpc, QObject* parent,
                  int retryMs = 2000, int patienceMs = 5000);
    ~ReplicaObject() override;

    /// Asks for the set, and again every 2 seconds until it has come; failSync reports after 5 seconds that
    /// it has not, and stops nothing. Nothing once synchronized.
    void clone();

    [[nodiscard]] bool isSynchronized() const;
    [[nodiscard]] QStringList propertyNames() const;
    [[nodiscard]] bool contains(const QString& name) const;
    /// Invalid, with a warning, for a name that the copy doesn't hold.
    [[nodiscard]] QVariant property(const QString& name) const;
    /// Stores the value at once, without propertyChanged, and writes it to the source. A name that the copy
    /// doesn't hold is warned of, not stored, and written all the same.
    void setProperty(const QString& name, const QVariant& value);

signals:
    void successSync();
    void failSync();
    void propertyChanged(QString name, QVariant variant);

private slots:
    void onTimeout();

private:
    void declareFunctions();
    void askForSet();
    void onPropertyChanged(const QJsonObject& request);
    void onInitProperty(const QJsonObject& request);
    void onChecksum(const QJsonObject& request);
    void onPatienceOver();
    void warnOfSize();

    bool m_cloning = false;
    bool m_synchronized = false;
    QString m_name;
    NodeInfo m_source;
    QSharedPointer<RpcSocket> m_rpc;
    QMap<QString, QVariant> m_properties;
    QByteArray m_receivedNames;
    QTimer* m_retryTimer;
    int m_retryInterval; // ms
    int m_patience;      // ms
    qint64 m_size = 0;   // of m_properties, as kMaximumSize counts it
    bool m_warnedOfSize = false;
};
