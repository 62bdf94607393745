#pragma once

#include "RadioDevice/AirSpyFamily/Family.h"

/// The Airspy HF+ under the tests of both families.
inline Family airSpyHFFamily()
{
    Family family;
    family.library = QStringLiteral("airspyhf");
    family.start = QStringLiteral("airspyhf_start");
    family.stop = QStringLiteral("airspyhf_stop");
    family.failures = {-1, 1}; // 1 is no success here
    family.refused = -1;
    family.frequency = 15'750'000.0; // the middle of shortwave
    family.rate = 768'000.0;
    family.outside = 40'000'000.0; // between the two bands
    family.setting = "lna";
    family.properties =
        QStringList{QStringLiteral("bool lna lnaChanged(bool)"), QStringLiteral("bool agc agcChanged(bool)"),
                    QStringLiteral("int att attChanged(int)")};
    family.startSteps = {
        {QStringLiteral("airspyhf_open_sn"), QStringLiteral("Error open device!")},
        {QStringLiteral("airspyhf_get_samplerates.1"), QStringLiteral("Error get sample rates count!")},
        {QStringLiteral("airspyhf_get_samplerates.2"), QStringLiteral("Error get sample rates!")},
        {QStringLiteral("airspyhf_set_samplerate"), QStringLiteral("Error set sample rate!")},
        {QStringLiteral("airspyhf_start"), QStringLiteral("Error start rx!")}};
    family.swapsIQ = false;
    family.closesAfterFailedStop = false;
    return family;
}
