#include "Rounds.h"

#include <algorithm>
#include <ctime>
#include <vector>

namespace
{

constexpr double kTurn = 0.5e-3;    // seconds, that a turn lasts at least if its task may be run as often
constexpr double kBudget = 0.2;     // seconds, of all turns
constexpr std::size_t kRounds = 15; // at least

double processorTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double turn(const Task& task, int runs)
{
    if (task.prepare) {
        task.prepare();
    }
    const double start = processorTime();
    for (int i = 0; i < runs; ++i) {
        task.run();
    }
    return (processorTime() - start) / runs;
}

// Also lets the task warm up.
int runsOfTurn(const Task& task)
{
    int runs = 1;
    while (runs < task.runs && turn(task, runs) * runs < kTurn) {
        runs = std::min(2 * runs, task.runs);
    }
    return runs;
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Figures compare(const Task& ours, const Task& peer)
{
    const int ourRuns = runsOfTurn(ours);
    const int peerRuns = runsOfTurn(peer);
    std::vector<double> ourTimes;
    std::vector<double> peerTimes;
    std::vector<double> ratios;
    const double end = processorTime() + kBudget;
    while (ratios.size() < kRounds || processorTime() < end) {
        ourTimes.push_back(turn(ours, ourRuns));
        peerTimes.push_back(turn(peer, peerRuns));
        ratios.push_back(ourTimes.back() / peerTimes.back());
    }
    return {median(ourTimes), median(peerTimes), median(ratios)};
}

void use(const void* value)
{
    asm volatile("" : : "g"(value) : "memory"); // NOLINT(hicpp-no-assembler)
}
