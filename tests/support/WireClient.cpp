#include "support/WireClient.h"

#include <QSet>
#include <algorithm>

namespace
{

constexpr size_t kSamplesKept = 400'000;
constexpr int kRecordsKept = 2'000;
constexpr qint16 kFrameMarker = 32'527;
constexpr int kRepeat = 2'000; // ms: no answer takes as long unless the machine is flooded

// Said twice they do what they do once. Not so connect_to_host, whose second is busy or a takeover;
// it_ra_rrd, which brings all properties again; wp_rrd, which may tell of the same value twice; and
// disconnect_from_host, which finds nobody the second time.
bool isRepeatable(const QString& command)
{
    static const QSet<QString> kRepeatable{QStringLiteral("ping"), QStringLiteral("setIF"),
                                           QStringLiteral("setupDspH"), QStringLiteral("fft_data_range")};
    return kRepeatable.contains(command);
}

} // namespace

WireClient::WireClient(const QByteArray& serverId, quint16 serverPort)
    : WirePeer(Wire::newId())
    , m_address(QHostAddress::LocalHost)
    , m_port(serverPort)
    , m_serverId(serverId)
{
    if (!isBound()) {
        qFatal("no port for a client");
    }
}

WireClient::WireClient(int descriptor, const QByteArray& serverId, const QHostAddress& address, quint16 port)
    : WirePeer(descriptor, Wire::newId())
    , m_address(address)
    , m_port(port)
    , m_serverId(serverId)
{
}

WireClient::~WireClient()
{
    if (!m_sessionId.isEmpty()) {
        call(m_sessionId, QStringLiteral("disconnect_from_host"));
    }
}

quint32 WireClient::call(const QByteArray& target, const QString& command, const QJsonObject& arguments)
{
    return WirePeer::call(target, m_address, m_port, command, arguments);
}

std::optional<QJsonObject> WireClient::ask(const QByteArray& target, const QString& command,
                                           const QJsonObject& arguments, int milliseconds)
{
    if (isRepeatable(command)) {
        return askAgain(target, command, arguments, milliseconds);
    }
    const quint32 number = call(target, command, arguments);
    if (!waitUntil([this, number] { return hasReply(number); }, milliseconds)) {
        return std::nullopt;
    }
    return reply(number);
}

std::optional<QJsonObject> WireClient::askAgain(const QByteArray& target, const QString& command,
                                                const QJsonObject& arguments, int milliseconds)
{
    const quint32 number = call(target, command, arguments);
    for (int left = milliseconds; left > 0; left -= kRepeat) {
        if (waitUntil([this, number] { return hasReply(number); }, std::min(left, kRepeat))) {
            return reply(number);
        }
        if (left > kRepeat) {
            send(Wire::packet(number, id(), target, command, arguments));
        }
    }
    return std::nullopt;
}

std::optional<QJsonObject> WireClient::askInVain(const QJsonObject& greeting)
{
    return askAgain(m_serverId, QStringLiteral("connect_to_host"), greeting, kPatience);
}

std::optional<QJsonObject> WireClient::askSession(const QString& command, const QJsonObject& arguments)
{
    return ask(m_sessionId, command, arguments);
}

bool WireClient::open(const QString& identificator)
{
    const auto answer = ask(m_serverId, QStringLiteral("connect_to_host"), Wire::greeting(identificator));
    m_sessionId = QByteArray::fromHex(
        answer.value_or(QJsonObject()).value(QStringLiteral("session_id")).toString().toLatin1());
    return m_sessionId.size() == Wire::kIdSize;
}

bool WireClient::close()
{
    return askSession(QStringLiteral("disconnect_from_host")).has_value();
}

bool WireClient::waitForSamples(size_t count)
{
    return waitUntil([this, count] { return m_samples.size() >= count; });
}

std::optional<WireClient::Frame> WireClient::nextFrame(int dataSize)
{
    m_frames.clear();
    const auto whole = [dataSize](const Frame& frame) {
        return frame.dataSize == dataSize && frame.points.size() == dataSize;
    };
    // The first frame may have begun under an earlier request.
    if (!waitUntil([this, &whole] { return m_frames.size() > 1 && whole(m_frames.last()); })) {
        return std::nullopt;
    }
    return m_frames.last();
}

int WireClient::heard(int type) const
{
    const auto found = m_heard.find(type);
    return found == m_heard.end() ? 0 : found->second;
}

void WireClient::onDatagram(const QByteArray& datagram, const QHostAddress& address, quint16 port)
{
    m_bytesHeard += datagram.size();
    if (datagram.isEmpty()) {
        return;
    }
    const int type = static_cast<unsigned char>(datagram[0]);
    ++m_heard[type];
    const QByteArray payload = datagram.mid(1);
    switch (type) {
    case 2:
    case 3: {
        const QVector<qint16> values = Wire::values(type == 3 ? qUncompress(payload) : payload);
        if (m_iqBlockSizes.size() < kRecordsKept) {
            m_iqBlockSizes.append(values.size());
        }
        for (int i = 0; i + 1 < values.size() && m_samples.size() < kSamplesKept; i += 2) {
            m_samples.emplace_back(values[i], values[i + 1]);
        }
        break;
    }
    case 4:
    case 5:
        onSpectrum(Wire::values(type == 5 ? qUncompress(payload) : payload));
        break;
    default:
        WirePeer::onDatagram(datagram, address, port);
        break;
    }
}

void WireClient::onSpectrum(const QVector<qint16>& values)
{
    if (values.size() == 3 && values[0] == kFrameMarker) {
        if (m_frames.size() >= kRecordsKept) {
            m_frames.clear();
        }
        Frame frame;
        frame.header = values;
        frame.dataSize = static_cast<quint16>(values[1]); // may reach beyond 32767
        frame.time = now();
        m_frames.append(frame);
    } else if (!m_frames.isEmpty()) {
        m_frames.last().packets.append(values.size());
        m_frames.last().points += values;
    }
}
