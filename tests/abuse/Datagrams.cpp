#include "abuse/Datagrams.h"

#include "System/ServerProcess.h"
#include "support/Wire.h"

#include <random>

namespace
{

constexpr int kSupply = 256;   // datagrams of one kind
constexpr int kLongest = 1200; // bytes: they pass any network whole

class RandomBytes
{
public:
    int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(m_generator); }

    QByteArray next(int size)
    {
        QByteArray bytes;
        for (int i = 0; i < size; ++i) {
            bytes.append(static_cast<char>(below(256)));
        }
        return bytes;
    }

private:
    std::mt19937 m_generator{1}; // the same on every run
};

template <typename Make>
std::vector<QByteArray> supply(Make make)
{
    std::vector<QByteArray> datagrams;
    datagrams.reserve(kSupply);
    for (int i = 0; i < kSupply; ++i) {
        datagrams.push_back(make(i));
    }
    return datagrams;
}

std::vector<QByteArray> randomBytes(const ServerProcess& /*server*/)
{
    RandomBytes random;
    return supply([&random](int) { return random.next(1 + random.below(kLongest)); });
}

std::vector<QByteArray> rightTypeByte(const ServerProcess& /*server*/)
{
    RandomBytes random;
    return supply([&random](int i) {
        return QByteArray(1, static_cast<char>(i % 8)) + random.next(random.below(kLongest));
    });
}

std::vector<QByteArray> wrongIds(const ServerProcess& /*server*/)
{
    RandomBytes random;
    return supply([&random](int) {
        return Datagrams::call(random.next(Wire::kIdSize), R"({"cd":"connect_to_host"})");
    });
}

std::vector<QByteArray> unknownCommand(const ServerProcess& server)
{
    return supply([&server](int i) {
        return Datagrams::call(server.id(), R"({"cd":"open_sesame_)" + QByteArray::number(i) + R"("})");
    });
}

std::vector<QByteArray> badJson(const ServerProcess& server)
{
    return supply([&server](int i) {
        return Datagrams::call(server.id(), R"({"cd":"connect_to_host","vma":)" + QByteArray::number(i));
    });
}

QByteArray text(int size)
{
    return R"({"cd":"","text":")" + QByteArray(size, 'a') + R"("})";
}

QByteArray brackets(int size)
{
    return R"({"cd":)" + QByteArray(size, '[');
}

QByteArray letter(int number, bool isEscaped)
{
    const int code = 'a' + (number & 15);
    return isEscaped ? R"(\u00)" + QByteArray::number(code, 16) : QByteArray(1, static_cast<char>(code));
}

// Keys of four letters, each another one, as many as fit when they are escaped.
QByteArray keys(int size, bool isEscaped)
{
    constexpr int kEscapedPair = 29; // bytes
    QByteArray body(R"({"cd":"")");
    for (int i = 0; i < size / kEscapedPair; ++i) {
        body += ",\"" + letter(i >> 12, isEscaped) + letter(i >> 8, isEscaped) + letter(i >> 4, isEscaped) +
                letter(i, isEscaped) + "\":0";
    }
    return body + '}';
}

QByteArray escapedKeys(int size)
{
    return keys(size, true);
}

QByteArray plainKeys(int size)
{
    return keys(size, false);
}

std::vector<QByteArray> empty(const ServerProcess& /*server*/)
{
    return {QByteArray()};
}

std::vector<QByteArray> costly(const ServerProcess& server)
{
    constexpr int kSize = 15'000; // bytes
    return {Datagrams::call(server.id(), escapedKeys(kSize))};
}

} // namespace

const char* const Datagrams::kForgedLine = "[ C ][forged]";

const std::vector<Datagrams::Kind>& Datagrams::kinds()
{
    constexpr int kMany = 100'000;
    constexpr int kMoreThanParsed = 10'000;
    static const std::vector<Kind> kinds{
        {"random bytes", &randomBytes, kMany},
        {"right type byte", &rightTypeByte, kMany},
        {"wrong ids", &wrongIds, kMany},
        {"unknown command", &unknownCommand, kMany},
        {"bad JSON", &badJson, kMany},
        {"empty", &empty, kMany},
        {"costly bodies", &costly, kMoreThanParsed},
    };
    return kinds;
}

QByteArray Datagrams::call(const QByteArray& target, const QByteArray& body)
{
    return Wire::packet(Wire::bigEndian(0), QByteArray(Wire::kIdSize, '\7'), target, body);
}

std::vector<QByteArray> Datagrams::bombs()
{
    constexpr int kInflated = 16'000'000;
    const QByteArray packed = qCompress(QByteArray(kInflated, '\0'), 9);
    std::vector<QByteArray> datagrams;
    for (const char type : {'\2', '\3', '\4', '\5'}) {
        datagrams.push_back(QByteArray(1, type) + packed);
    }
    return datagrams;
}

std::vector<QByteArray> Datagrams::forgeries(const ServerProcess& server)
{
    constexpr int kRepeats = 600; // 40 kB
    const QByteArray text =
        QByteArray(R"(\u001b]0;title\u0007\u001b[31m\r\n)") + kForgedLine + R"( \u009b2J)";
    return {call(server.id(), R"({"cd":")" + text.repeated(kRepeats) + R"("})"),
            call(server.id(), R"({"cd":"connect_to_host","vma":")" + text.repeated(kRepeats) + R"("})")};
}

const std::vector<Datagrams::CostlyBody>& Datagrams::costlyBodies()
{
    static const std::vector<CostlyBody> bodies{
        {"brackets", &brackets, "text", &text},
        {"escaped keys", &escapedKeys, "the same keys, plain", &plainKeys},
    };
    return bodies;
}
