#pragma once

#include <QDnsLookup>
#include <QHostAddress>
#include <QObject>

/// Turns a host name into an IPv4 address without blocking the event loop. Asks the name servers of the
/// system alone, never its hosts file, and asks once.
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

private:
    QDnsLookup* m_lookup;
};
