#pragma once

/// The filters a chain of decimators chooses from, and the rule by which it chooses.
/// Thread: any.
namespace HalfBandTables
{

/// One way to halve the rate. `taps` 0 is the CIC stage, which has no coefficients; otherwise
/// `coefficients` holds `taps` values.
struct Filter
{
    int taps;
    const double* coefficients;
};

/// The filter qualities: a higher tier needs longer filters for the same band, and rejects more.
constexpr int kTiers = 3;

/// The first filter of the tier, short to long, that keeps a band of `band` hertz free of aliases when a rate
/// of `rate` hertz is halved. Null if none does. `tier` is below `kTiers`.
[[nodiscard]] const Filter* choose(int tier, double rate, double band);

/// The filter to take, in every tier, where none does.
[[nodiscard]] const Filter& aliasErrorFilter();

} // namespace HalfBandTables
