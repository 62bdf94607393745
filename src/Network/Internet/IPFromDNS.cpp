#include "Network/Internet/IPFromDNS.h"

#include "Core/Log/Log.h"

IPFromDNS::IPFromDNS(QObject* parent)
    : QObject(parent)
    , m_lookup(new QDnsLookup(this))
{
    connect(m_lookup, &QDnsLookup::finished, this, &IPFromDNS::handleServers);
}

void IPFromDNS::lookup(const QString& name)
{
    m_lookup->setType(QDnsLookup::A);
    m_lookup->setName(name);
    m_lookup->lookup();
}

void IPFromDNS::handleServers()
{
    if (m_lookup->error() != QDnsLookup::NoError) {
        LOG_WARNING() << "DNS lookup failed" << m_lookup->errorString();
        emit finish({});
        return;
    }
    const auto records = m_lookup->hostAddressRecords();
    if (records.isEmpty()) {
        LOG_WARNING() << "DNS lookup not found records";
        emit finish({});
        return;
    }
    const QDnsHostAddressRecord& record = records.constFirst();
    LOG_DEBUG() << "DNS lookup" << record.name() << record.value();
    emit finish(record.value());
}
