#pragma once

#include <orvenlink/Values.h>

#include <memory>

namespace orvenlink
{

class FinderCore;

/// Listens for the servers of the local network, which announce themselves once a second while they are free.
/// Several finders, clients and servers may do so on one machine.
/// Thread: any; has one of its own.
class ORVENLINK_API Finder
{
public:
    Finder();
    ~Finder();
    Finder(const Finder&) = delete;
    Finder& operator=(const Finder&) = delete;

    /// Why nothing can be heard, if so.
    [[nodiscard]] Error error() const;
    /// Those heard in the last 5 s, in the order in which they were first heard. Waits until the finder has
    /// listened for this long since it was made, 1.2 s for every server to have had its turn: so a kept
    /// finder answers at once.
    [[nodiscard]] std::vector<Server> servers(milliseconds listened = milliseconds(1'200)) const;

private:
    std::unique_ptr<FinderCore> m_core;
};

} // namespace orvenlink
