#include "abuse/Records.h"

#include <algorithm>
#include <iterator>

namespace
{

// Three values of two bytes, after the type byte and their number: no other part of a spectrum is that short
// here.
constexpr int kSpectrumHeader = 1 + 4 + 3 * 2;

} // namespace

double Records::bytes(const MeasuringClient::Record& record)
{
    double sum = 0.0;
    for (const MeasuringClient::Heard& heard : record) {
        sum += heard.size;
    }
    return sum;
}

MeasuringClient::Record Records::unasked(const MeasuringClient::Record& record)
{
    MeasuringClient::Record rest;
    std::copy_if(record.begin(), record.end(), std::back_inserter(rest),
                 [](const auto& heard) { return heard.type != 0 || !heard.command.isEmpty(); });
    return rest;
}

double Records::mostBytes(MeasuringClient::Record record, qint64 window)
{
    std::sort(record.begin(), record.end(),
              [](const auto& left, const auto& right) { return left.time < right.time; });
    double most = 0.0;
    double within = 0.0;
    int first = 0;
    for (const MeasuringClient::Heard& heard : qAsConst(record)) {
        within += heard.size;
        for (; heard.time - record.at(first).time > window; ++first) {
            within -= record.at(first).size;
        }
        most = std::max(most, within);
    }
    return most;
}

int Records::calls(const MeasuringClient::Record& record, const QString& command)
{
    return static_cast<int>(std::count_if(record.begin(), record.end(), [&command](const auto& heard) {
        return heard.type == 0 && heard.command == command;
    }));
}

int Records::spectra(const MeasuringClient::Record& record)
{
    return static_cast<int>(std::count_if(record.begin(), record.end(), [](const auto& heard) {
        return heard.type == 4 && heard.size == kSpectrumHeader;
    }));
}

double Records::longestSilence(const MeasuringClient::Record& record, qint64 begin, qint64 end)
{
    qint64 longest = 0;
    qint64 before = begin;
    for (const MeasuringClient::Heard& heard : record) {
        if (heard.time > end) {
            break;
        }
        longest = std::max(longest, heard.time - before);
        before = heard.time;
    }
    return static_cast<double>(std::max(longest, end - before)) * 1e-9;
}
