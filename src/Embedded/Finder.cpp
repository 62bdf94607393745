#include "Embedded/orvenlink/Finder.h"

#include "Client/ServerFinder.h"
#include "Embedded/Conversion.h"
#include "Embedded/Deadline.h"
#include "Embedded/Errors.h"
#include "Embedded/EventThread.h"
#include "Embedded/HostLog.h"

#include <thread>

namespace orvenlink
{

class FinderCore
{
public:
    FinderCore()
    {
        HostLog::install();
        thread.call([this] {
            finder = std::make_unique<ServerFinder>();
            if (!finder->listen()) {
                error = Errors::make(Error::Code::Failed, finder->errorString());
            }
        });
    }

    ~FinderCore()
    {
        thread.call([this] { finder.reset(); });
    }

    EventThread thread;
    std::unique_ptr<ServerFinder> finder; // the thread's
    Error error;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

Finder::Finder()
    : m_core(std::make_unique<FinderCore>())
{
}

Finder::~Finder() = default;

Error Finder::error() const
{
    return m_core->error;
}

std::vector<Server> Finder::servers(milliseconds listened) const
{
    std::this_thread::sleep_until(m_core->start +
                                  (deadlineAfter(listened) - std::chrono::steady_clock::now()));
    std::vector<Server> servers;
    m_core->thread.call([this, &servers] {
        const QVector<ServerFinder::Server> heard = m_core->finder->servers();
        for (const ServerFinder::Server& server : heard) {
            servers.push_back(Conversion::toServer(server));
        }
    });
    return servers;
}

} // namespace orvenlink
