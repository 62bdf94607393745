#include "Network/Internet/IPFromDNS.h"

#include "Core/Log/ForeignText.h"
#include "Core/Log/Log.h"

namespace
{

// Log lines of the outcome are searched for by this name, wherever it becomes known.
constexpr char kHandler[] = "handleServers";

} // namespace

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
    if (m_lookup->error() == QDnsLookup::InvalidReplyError) {
        // Qt gives this error for a host without such records and for name servers that don't answer. The
        // system's resolver tells the two apart. (By name: clang-tidy takes Qt's other form for a leak.)
        QHostInfo::lookupHost(m_lookup->name(), this, SLOT(handleHostInfo(QHostInfo)));
        return;
    }
    if (m_lookup->error() != QDnsLookup::NoError) {
        fail();
        return;
    }
    const auto records = m_lookup->hostAddressRecords();
    if (records.isEmpty()) {
        findNothing();
        return;
    }
    const QDnsHostAddressRecord& record = records.constFirst();
    LOG_DEBUG() << "DNS lookup" << foreignText(record.name()) << record.value();
    emit finish(record.value());
}

void IPFromDNS::handleHostInfo(const QHostInfo& info)
{
    if (info.error() == QHostInfo::UnknownError) {
        fail();
    } else {
        findNothing();
    }
}

void IPFromDNS::fail()
{
    Log::warning(__FILE__, kHandler, __LINE__) << "DNS lookup failed" << m_lookup->errorString();
    emit finish({});
}

void IPFromDNS::findNothing()
{
    Log::warning(__FILE__, kHandler, __LINE__) << "DNS lookup not found records";
    emit finish({});
}
