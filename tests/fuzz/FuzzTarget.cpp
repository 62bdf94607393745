#include "fuzz/FuzzTarget.h"

#include <QCoreApplication>
#include <QUdpSocket>
#include <cstdio>
#include <cstdlib>

namespace
{

void dropRecord(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& /*text*/) {}

void prepare()
{
    static int argumentCount = 1;
    static char name[] = "fuzz";
    static char* arguments[] = {name, nullptr};
    static const QCoreApplication application(argumentCount, arguments);
    static const bool isSilent = [] {
        qInstallMessageHandler(&dropRecord);
        return true;
    }();
    Q_UNUSED(isSilent)
}

// The place of the first mark, of either kind; the end if there is none.
int findMark(const QByteArray& input, int from)
{
    const int next = input.indexOf(FuzzTarget::kNext, from);
    const int late = input.indexOf(FuzzTarget::kLate, from);
    if (next < 0 || late < 0) {
        return next < 0 && late < 0 ? input.size() : qMax(next, late);
    }
    return qMin(next, late);
}

} // namespace

QVector<FuzzTarget::Arrival> FuzzTarget::arrivals(const std::uint8_t* data, std::size_t size)
{
    prepare();
    constexpr int kMarkSize = sizeof kNext - 1;
    static_assert(sizeof kNext == sizeof kLate);
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    QVector<Arrival> arrivals;
    bool isLate = false;
    for (int start = 0; start <= input.size();) {
        const int end = findMark(input, start);
        arrivals.append({input.mid(start, end - start), isLate});
        isLate = input.mid(end, kMarkSize) == kLate;
        start = end + kMarkSize;
    }
    return arrivals;
}

QSharedPointer<Socket> FuzzTarget::socket()
{
    static const auto socket = QSharedPointer<Socket>::create(nullptr);
    return socket;
}

quint16 FuzzTarget::deafPort()
{
    static QUdpSocket nobody;
    static const bool isBound = nobody.bind(QHostAddress(QHostAddress::LocalHost));
    expect(isBound, "a port is free");
    return nobody.localPort();
}

void FuzzTarget::expect(bool isKept, const char* promise)
{
    if (!isKept) {
        std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}
