#include "System/Served.h"
#include "fuzz/Mutator.h"
#include "support/WireClient.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>
#include <QtEndian>
#include <deque>
#include <random>

namespace
{

constexpr int kBatch = 40; // datagrams between two signs of life
constexpr int kBatchesPerSession = 25;
constexpr size_t kRemembered = 3 * kBatch;
constexpr qint64 kGrowth = 96 * 1024; // KiB

const char* const kCommands[] = {
    "connect_to_host",        "setIF",      "setupDspH",     "fft_data_range",        "ping",
    "disconnect_from_host",   "it_ra_rrd",  "wp_rrd",        "process_hole_punching", "drop_client",
    "set_timeout_timer_ping", "pci_rrd",    "sss_syc_rrd",   "sync_crc_rrd",          "pc_rrd",
    "hole_punching",          "new_server", "admin_request", "error_happen",          "",
};
const char* const kKeys[] = {
    "vma",
    "vmi",
    "identificator",
    "IF",
    "prefBandWidth",
    "aliasFree",
    "startIndex",
    "stopIndex",
    "dataSize",
    "fftSize",
    "n",
    "v",
    "c",
    "crc",
    "cd",
    "chp_id",
    "session_id",
};
const char* const kProperties[] = {
    "objectName", "running",   "type",          "supportSampleRates", "supportFrequencies",
    "sampleRate", "frequency", "ppmCorrection", "levelCorrection",    "swapIQ",
    "none",       "",          "_q_dynamic",
};

/// Makes datagrams out of the valid ones, or out of nothing. The same seed makes the same ones.
class DatagramMaker
{
public:
    DatagramMaker(quint32 seed, QString identificator)
        : m_mutator(seed)
        , m_identificator(std::move(identificator))
    {
    }

    int below(int bound) { return m_mutator.below(bound); }

    QByteArray datagram(const WireClient& client)
    {
        QByteArray result = below(10) < 7 ? call(client) : stream();
        for (int mutations = below(3) == 0 ? 1 + below(6) : 0; mutations > 0; --mutations) {
            m_mutator.mutate(result, m_previous);
        }
        m_previous = result;
        return result;
    }

private:
    template <size_t N>
    QString pick(const char* const (&words)[N])
    {
        return QString::fromLatin1(words[below(static_cast<int>(N))]);
    }

    double number() { return m_mutator.number(); }
    QByteArray bytes(int size) { return m_mutator.bytes(size); }

    QJsonValue value(int depth = 0)
    {
        switch (below(depth > 3 ? 7 : 10)) {
        case 0:
            return QJsonValue();
        case 1:
            return below(2) == 0;
        case 2:
            return pick(kProperties);
        case 3:
            return QString::number(number());
        case 4:
            return m_identificator;
        case 7:
            return QJsonObject{{pick(kKeys), value(depth + 1)}};
        case 8:
            return QJsonArray{value(depth + 1), value(depth + 1)};
        case 9:
            return QString(below(2000), QChar(below(0x3000)));
        default:
            return number();
        }
    }

    /// Every valid message, most of the time; else any keys.
    QJsonObject arguments(const QString& command)
    {
        QJsonObject result;
        const auto put = [this, &result](const char* key, const QJsonValue& usual) {
            if (below(20) != 0) {
                result.insert(QLatin1String(key), below(8) == 0 ? value() : usual);
            }
        };
        if (command == QLatin1String("connect_to_host")) {
            put("vma", 8);
            put("vmi", 0);
            put("identificator", m_identificator);
        } else if (command == QLatin1String("setIF")) {
            put("IF", number());
        } else if (command == QLatin1String("setupDspH")) {
            put("prefBandWidth", number());
            put("aliasFree", number());
        } else if (command == QLatin1String("fft_data_range")) {
            put("startIndex", number());
            put("stopIndex", number());
            put("dataSize", number());
            put("fftSize", below(2) == 0 ? number() : static_cast<double>(1 << below(18)));
        } else if (command == QLatin1String("wp_rrd")) {
            put("n", pick(kProperties));
            put("v", value());
        } else if (command == QLatin1String("ping")) {
            put("c", number());
        } else if (command == QLatin1String("set_timeout_timer_ping")) {
            put("v", number());
        } else {
            for (int count = below(4); count > 0; --count) {
                result.insert(pick(kKeys), value());
            }
        }
        return result;
    }

    QByteArray call(const WireClient& client)
    {
        const QString command = pick(kCommands);
        const bool foreign = below(20) == 0;
        const bool toSession = below(2) == 0;
        const QByteArray target = foreign ? bytes(20) : toSession ? client.sessionId() : client.serverId();
        const QByteArray sender = below(4) == 0 ? bytes(20) : client.id();
        const auto number = below(4) == 0 ? m_mutator.any() : static_cast<quint32>(below(200));
        return Wire::packet(number, sender, target, command, arguments(command));
    }

    QByteArray stream()
    {
        const int type = below(16);
        QByteArray block = bytes(4) + bytes(below(600));
        if (below(2) == 0) {
            qToBigEndian<qint32>((block.size() - 4) / 2, block.data());
        } else if (below(2) == 0) {
            qToBigEndian<qint32>(static_cast<qint32>(m_mutator.any()), block.data());
        }
        if (below(2) == 0) {
            block = below(3) == 0 ? qCompress(QByteArray(below(3'000'000), '\0'), 1) : qCompress(block, 9);
            if (below(2) == 0) {
                qToBigEndian<quint32>(m_mutator.any(), block.data());
            }
        }
        return QByteArray(1, static_cast<char>(type)) + block;
    }

    Mutator m_mutator;
    QString m_identificator;
    QByteArray m_previous;
};

/// A session, whatever state the server is in: whoever is there is driven out first.
bool openSession(WireClient& client, const QString& identificator)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < kPatience) {
        const auto answer = client.ask(client.serverId(), QStringLiteral("connect_to_host"),
                                       Wire::greeting(QStringLiteral("an administrator")), 5000);
        if (!answer) {
            continue;
        }
        // Either it has driven out somebody, and the server is free in a moment, or it has the session now.
        client.call(QByteArray::fromHex(answer->value(QStringLiteral("session_id")).toString().toLatin1()),
                    QStringLiteral("disconnect_from_host"));
        if (client.open(identificator) && client.askSession(QStringLiteral("ping")).has_value()) {
            return true;
        }
    }
    return false;
}

class Run
{
public:
    explicit Run(quint32 seed)
        : m_maker(seed, m_served.file)
    {
        m_served.server.setVariable(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("quarantine_size_mb=4"));
    }

    /// What went wrong; empty if nothing did.
    QString run(qint64 milliseconds)
    {
        if (!m_served.server.serve()) {
            return QStringLiteral("the server doesn't start");
        }
        QElapsedTimer clock;
        clock.start();
        qint64 memory = 0;
        while (clock.elapsed() < milliseconds) {
            const QString failure = session();
            if (!failure.isEmpty()) {
                return failure;
            }
            if (memory == 0) {
                memory = m_served.server.residentMemory();
            }
        }
        return verdict(memory);
    }

    [[nodiscard]] qint64 sent() const { return m_sent; }
    [[nodiscard]] const std::deque<QByteArray>& last() const { return m_last; }
    [[nodiscard]] QStringList lines() const { return m_served.server.lines(); }

private:
    QString session()
    {
        WireClient client(m_served.server);
        WireClient stranger(m_served.server);
        if (!openSession(client, m_served.file)) {
            return QStringLiteral("no session to be had");
        }
        for (int batch = 0; batch < kBatchesPerSession; ++batch) {
            for (int i = 0; i < kBatch; ++i) {
                const QByteArray datagram = m_maker.datagram(client);
                m_last.push_back(datagram);
                if (m_last.size() > kRemembered) {
                    m_last.pop_front();
                }
                (m_maker.below(2) == 0 ? client : stranger).send(datagram);
                ++m_sent;
            }
            // In step with the server; the question itself may be lost in the crowd.
            bool answered = false;
            for (int attempt = 0; attempt < 12 && !answered; ++attempt) {
                answered = stranger.ask(stranger.serverId(), QStringLiteral("connect_to_host"), {}, 5000)
                               .has_value();
                if (!m_served.server.isRunning()) {
                    return QStringLiteral("the server has ended");
                }
            }
            if (!answered) {
                return QStringLiteral("the server doesn't answer");
            }
        }
        return {};
    }

    QString verdict(qint64 memory)
    {
        WireClient client(m_served.server);
        if (!openSession(client, m_served.file)) {
            return QStringLiteral("no session to be had at the end");
        }
        client.ask(client.serverId(), QStringLiteral("wp_rrd"),
                   {{QStringLiteral("n"), QStringLiteral("sampleRate")}, {QStringLiteral("v"), 48'000}});
        if (!client.close() || !client.open(m_served.file) || !client.waitForSamples(4800) ||
            !client.close()) {
            return QStringLiteral("the session at the end has no samples");
        }
        const qint64 growth = m_served.server.residentMemory() - memory;
        if (growth > kGrowth) {
            return QStringLiteral("memory has grown by %1 KiB").arg(growth);
        }
        QTextStream(stdout) << "memory: " << memory << " KiB, then " << growth << " more\n";
        return m_served.server.quit() ? QString() : QStringLiteral("the server doesn't quit");
    }

    Served m_served{recording({{3000, 1000}})};
    DatagramMaker m_maker;
    std::deque<QByteArray> m_last;
    qint64 m_sent = 0;
};

} // namespace

/// fuzz_Datagrams <seconds> [seed]: random and mutated datagrams at the running server, which has to live, to
/// serve, and to stay the size it was.
int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const qint64 seconds = arguments.value(1, QStringLiteral("20")).toLongLong();
    const quint32 seed = arguments.size() > 2 ? arguments.at(2).toUInt() : std::random_device()();
    QTextStream out(stdout);
    out << "seed: " << seed << '\n';
    out.flush();

    Run run(seed);
    const QString failure = run.run(seconds * 1000);
    out << run.sent() << " datagrams\n";
    if (failure.isEmpty()) {
        return 0;
    }
    out << "FAILED: " << failure << '\n';
    const QStringList lines = run.lines();
    for (const QString& line : lines.mid(qMax(0, lines.size() - 100))) {
        out << "  | " << line << '\n';
    }
    out << "the last datagrams:\n";
    for (const QByteArray& datagram : run.last()) {
        out << "  " << datagram.left(1000).toHex() << '\n';
    }
    return 1;
}
