#include "Core/Worker/DspH/FftTables.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr double kQuarterPi = 0.7853981633974483;

// Level by level: the offsets of m places are those of m / 2 places, four times as far, and the same again
// behind the other half.
void buildOffsets(int nw, int* ip)
{
    ip[2] = 0;
    ip[3] = 16;
    int m = 2;
    for (int l = nw; l > 32; l /= 4) {
        for (int j = m; j < 2 * m; ++j) {
            ip[j + m] = 4 * ip[j];
            ip[j + 2 * m] = 4 * ip[j] + 16 * m;
        }
        m *= 2;
    }
}

void buildMainPart(int nwh, double* w)
{
    const double delta = kQuarterPi / nwh;
    w[0] = 1.0;
    w[1] = std::cos(delta * nwh);
    if (nwh == 4) {
        w[2] = std::cos(2 * delta);
        w[3] = std::sin(2 * delta);
    } else if (nwh > 4) {
        w[2] = 0.5 / std::cos(2 * delta);
        w[3] = 0.5 / std::cos(6 * delta);
        for (int j = 4; j < nwh; j += 4) {
            w[j] = std::cos(j * delta);
            w[j + 1] = std::sin(j * delta);
            w[j + 2] = std::cos(3 * j * delta);
            w[j + 3] = -std::sin(3 * j * delta);
        }
    }
}

// `part` follows `above`, and has half its length, `nwh`.
void buildPart(int nwh, const double* above, double* part)
{
    part[0] = above[0];
    part[1] = above[1];
    if (nwh == 4) {
        part[2] = above[4];
        part[3] = above[5];
    } else if (nwh > 4) {
        part[2] = 0.5 / above[4];
        part[3] = 0.5 / above[6];
        for (int j = 4; j < nwh; j += 4) {
            std::copy_n(above + j + j, 4, part + j);
        }
    }
}

} // namespace

void FftTables::build(int nw, int* ip, double* w)
{
    ip[0] = nw;
    ip[1] = 1;
    if (nw <= 2) {
        return;
    }
    int nwh = nw / 2;
    if (nwh > 4) {
        buildOffsets(nw, ip);
    }
    buildMainPart(nwh, w);
    while (nwh > 2) {
        double* const above = w;
        w += nwh;
        nwh /= 2;
        buildPart(nwh, above, w);
    }
}
