#include "fuzz/Mutator.h"

namespace
{

constexpr double kNumbers[] = {
    0,
    1,
    -1,
    2,
    7,
    8,
    9,
    252,
    253,
    255,
    256,
    512,
    1000,
    1024,
    4096,
    32'767,
    32'768,
    48'000,
    65'535,
    65'536,
    65'537,
    131'072,
    262'144,
    2'400'000,
    14'250'000,
    14'500'000,
    1e9,
    2'147'483'647,
    -2'147'483'648.0,
    4'294'967'295.0,
    9.2e18,
    -9.3e18,
    1.8e19,
    1e38,
    1e300,
    -1e300,
    5e-324,
    0.5,
    -0.0,
    1e-9,
};

} // namespace

Mutator::Mutator(quint32 seed)
    : m_random(seed)
{
}

int Mutator::below(int bound)
{
    return std::uniform_int_distribution<int>(0, bound - 1)(m_random);
}

quint32 Mutator::any()
{
    return static_cast<quint32>(m_random());
}

double Mutator::number()
{
    return kNumbers[below(static_cast<int>(std::size(kNumbers)))];
}

QByteArray Mutator::bytes(int size)
{
    QByteArray result(size, '\0');
    for (char& byte : result) {
        byte = static_cast<char>(below(256));
    }
    return result;
}

void Mutator::mutate(QByteArray& data, const QByteArray& other)
{
    if (data.isEmpty()) {
        data = bytes(5);
    }
    const int at = below(data.size());
    switch (below(8)) {
    case 0: // one bit
        data[at] = static_cast<char>(data[at] ^ (1 << below(8)));
        break;
    case 1: // cut off
        data.truncate(at);
        break;
    case 2: // more of anything
        data.insert(at, bytes(1 + below(16)));
        break;
    case 3: // some of it again
        data.insert(at, data.mid(below(data.size()), below(64)));
        break;
    case 4: // some of it gone
        data.remove(at, 1 + below(16));
        break;
    case 5: // another type
        data[0] = static_cast<char>(below(256));
        break;
    case 6: // a number written large
        data.replace(at, 1, QByteArray::number(number(), 'g', 17));
        break;
    default: // the end of another
        data = data.left(at) + other.mid(below(other.size() + 1));
        break;
    }
}
