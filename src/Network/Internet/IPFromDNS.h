#pragma once

#include <QDnsLookup>
#include <QHostAddress>
#include <QHostInfo>
#include <QObject>

/// Turns a host name into an IPv4 address without blocking the event loop. The address comes from the name
/// servers of the system alone, never from its hosts file. It is asked for once.
/// Thread: main.
class IPFromDNS : public QObject
{
    Q_OBJECT

public:
    explicit IPFromDNS(QObject* parent);

    /// Starts the look-up; `finish` is emitted once for it.
    void lookup(const QString& name);

signals:
    /// The host's first IPv4 address, or a null one if the look-up has failed or found none.
    void finish(QHostAddress address);

private slots:
    void handleServers();
    void handleHostInfo(const QHostInfo& info);

private:
    void fail();
    void findNothing();

    QDnsLookup* m_lookup;
};
