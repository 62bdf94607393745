#include "System/WireClient.h"

#include "System/ServerProcess.h"

#include <QJsonDocument>
#include <QNetworkDatagram>
#include <QRandomGenerator>
#include <QtEndian>

namespace
{

constexpr int kIdSize = 20;
constexpr int kHeaderSize = 45;
constexpr size_t kSamplesKept = 400'000;
constexpr int kRecordsKept = 2'000;
constexpr qint16 kFrameMarker = 32'527;

QByteArray bigEndian(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

} // namespace

WireClient::WireClient(const ServerProcess& server, QObject* parent)
    : QObject(parent)
{
    if (!m_socket.bind(QHostAddress(QHostAddress::LocalHost))) {
        qFatal("no port for a client");
    }
    init(server.id(), QHostAddress(QHostAddress::LocalHost), server.port());
}

WireClient::WireClient(int descriptor, const QByteArray& serverId, const QHostAddress& address, quint16 port)
{
    if (!m_socket.setSocketDescriptor(descriptor, QAbstractSocket::BoundState)) {
        qFatal("not a socket for a client");
    }
    init(serverId, address, port);
}

void WireClient::init(const QByteArray& serverId, const QHostAddress& address, quint16 port)
{
    m_serverId = serverId;
    m_address = address;
    m_port = port;
    // Never zero, and no byte sum of zero: such an id counts as none.
    for (int i = 0; i < kIdSize; ++i) {
        m_id.append(static_cast<char>(QRandomGenerator::global()->bounded(1, 12)));
    }
    m_clock.start();
    m_socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 4'000'000);
    connect(&m_socket, &QUdpSocket::readyRead, this, &WireClient::onReadyRead);
}

WireClient::~WireClient()
{
    if (!m_sessionId.isEmpty()) {
        call(m_sessionId, QStringLiteral("disconnect_from_host"));
    }
}

QByteArray WireClient::packet(quint32 number, const QByteArray& sender, const QByteArray& target,
                              const QString& command, QJsonObject arguments)
{
    arguments.insert(QStringLiteral("cd"), command);
    return QByteArray(1, '\0') + bigEndian(number) + sender + target +
           QJsonDocument(arguments).toJson(QJsonDocument::Compact);
}

void WireClient::send(const QByteArray& datagram)
{
    m_socket.writeDatagram(datagram, m_address, m_port);
}

quint32 WireClient::call(const QByteArray& target, const QString& command, const QJsonObject& arguments)
{
    const quint32 number = m_nextNumber++;
    send(packet(number, m_id, target, command, arguments));
    return number;
}

std::optional<QJsonObject> WireClient::ask(const QByteArray& target, const QString& command,
                                           const QJsonObject& arguments, int milliseconds)
{
    const quint32 number = call(target, command, arguments);
    if (!waitUntil([this, number] { return hasReply(number); }, milliseconds)) {
        return std::nullopt;
    }
    return m_replies.at(number);
}

std::optional<QJsonObject> WireClient::askSession(const QString& command, const QJsonObject& arguments)
{
    return ask(m_sessionId, command, arguments);
}

QJsonObject WireClient::greeting(const QString& identificator, int major, int minor)
{
    return {{QStringLiteral("vma"), major},
            {QStringLiteral("vmi"), minor},
            {QStringLiteral("identificator"), identificator}};
}

bool WireClient::open(const QString& identificator)
{
    const auto answer = ask(m_serverId, QStringLiteral("connect_to_host"), greeting(identificator));
    m_sessionId = QByteArray::fromHex(
        answer.value_or(QJsonObject()).value(QStringLiteral("session_id")).toString().toLatin1());
    return m_sessionId.size() == kIdSize;
}

bool WireClient::close()
{
    return askSession(QStringLiteral("disconnect_from_host")).has_value();
}

QVector<WireClient::Call> WireClient::calls(const QString& command) const
{
    QVector<Call> result;
    for (const Call& call : m_calls) {
        if (call.command == command) {
            result.append(call);
        }
    }
    return result;
}

bool WireClient::waitForCall(const QString& command, int count) const
{
    return waitUntil([this, &command, count] { return calls(command).size() >= count; });
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

void WireClient::onReadyRead()
{
    while (m_socket.hasPendingDatagrams()) {
        onDatagram(m_socket.receiveDatagram().data());
    }
}

void WireClient::onDatagram(const QByteArray& datagram)
{
    m_bytesHeard += datagram.size();
    if (datagram.isEmpty()) {
        return;
    }
    const int type = static_cast<unsigned char>(datagram[0]);
    ++m_heard[type];
    const QByteArray payload = datagram.mid(1);
    switch (type) {
    case 0:
        onRpc(datagram);
        break;
    case 2:
    case 3: {
        const QVector<qint16> values = sampleBlock(type == 3 ? qUncompress(payload) : payload);
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
        onSpectrum(sampleBlock(type == 5 ? qUncompress(payload) : payload));
        break;
    default:
        break;
    }
}

void WireClient::onRpc(const QByteArray& datagram)
{
    if (datagram.size() <= kHeaderSize) {
        return;
    }
    Call call;
    call.number = qFromBigEndian<quint32>(datagram.constData() + 1);
    call.sender = datagram.mid(5, kIdSize);
    call.target = datagram.mid(25, kIdSize);
    call.object = QJsonDocument::fromJson(datagram.mid(kHeaderSize)).object();
    call.command = call.object.value(QStringLiteral("cd")).toString();
    call.time = m_clock.elapsed();
    if (call.target != m_id) {
        return;
    }
    if (call.command.isEmpty()) {
        m_replies[call.number] = call.object;
        ++m_repliesReceived;
        return;
    }
    if (m_calls.size() < kRecordsKept) {
        m_calls.append(call);
    }
    if (!m_silent) {
        send(packet(call.number, m_id, call.sender, QString(), {}));
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
        frame.time = m_clock.elapsed();
        m_frames.append(frame);
    } else if (!m_frames.isEmpty()) {
        m_frames.last().packets.append(values.size());
        m_frames.last().points += values;
    }
}

QVector<qint16> WireClient::sampleBlock(const QByteArray& bytes)
{
    if (bytes.size() < 4) {
        return {};
    }
    const auto count = qFromBigEndian<qint32>(bytes.constData());
    if (count < 0 || bytes.size() != 4 + count * 2) {
        return {};
    }
    QVector<qint16> values(count);
    qFromBigEndian<qint16>(bytes.constData() + 4, count, values.data());
    return values;
}
