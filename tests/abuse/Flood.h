#pragma once

#include <QByteArray>
#include <atomic>
#include <thread>
#include <vector>

class ServerProcess;

/// Sends datagrams to a server over and over for as long as it lives.
/// Thread: one of its own.
class Flood
{
public:
    /// At a steady rate, or as near as it gets: it stays on one processor and gives way to everybody there.
    Flood(const ServerProcess& server, std::vector<QByteArray> datagrams, int perSecond);
    /// As fast as it can, with all the processor it is given.
    Flood(const ServerProcess& server, std::vector<QByteArray> datagrams);
    ~Flood();

    /// Datagrams that have left.
    [[nodiscard]] qint64 sent() const { return m_sent; }

private:
    Q_DISABLE_COPY_MOVE(Flood)
    void runSteadily(int perSecond);
    void run();
    void sendBatch();

    std::vector<QByteArray> m_datagrams;
    size_t m_next = 0;
    int m_descriptor = -1;
    std::atomic<qint64> m_sent{0};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};
