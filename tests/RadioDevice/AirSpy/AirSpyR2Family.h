#pragma once

#include "RadioDevice/AirSpyFamily/Family.h"

/// The Airspy R2 and mini under the tests of both families.
inline Family airSpyR2Family()
{
    Family family;
    family.library = QStringLiteral("airspy");
    family.start = QStringLiteral("airspy_start_rx");
    family.stop = QStringLiteral("airspy_stop_rx");
    family.failures = {-1000, -5, 2}; // 2 is the first number above those of success
    family.refused = -2;
    family.frequency = 100'000'000.0;
    family.rate = 6'000'000.0;
    family.outside = 5'000'000.0; // below its band
    family.setting = "biasTee";
    family.properties = QStringList{QStringLiteral("bool biasTee biasTeeChanged(bool)"),
                                    QStringLiteral("int gainMode gainModeChanged(int)"),
                                    QStringLiteral("int gain gainChanged(int)"),
                                    QStringLiteral("bool lnaAgc lnaAgcChanged(bool)"),
                                    QStringLiteral("int lnaGain lnaGainChanged(int)"),
                                    QStringLiteral("bool mixerAgc mixerAgcChanged(bool)"),
                                    QStringLiteral("int mixerGain mixerGainChanged(int)"),
                                    QStringLiteral("int vgaGain vgaGainChanged(int)")};
    family.startSteps = {
        {QStringLiteral("airspy_open_sn"), QStringLiteral("Error open device!")},
        {QStringLiteral("airspy_get_samplerates.1"), QStringLiteral("Error get sample rates count!")},
        {QStringLiteral("airspy_get_samplerates.2"), QStringLiteral("Error get sample rates!")},
        {QStringLiteral("airspy_set_samplerate"), QStringLiteral("Error set sample rate!")},
        {QStringLiteral("airspy_set_sample_type"), QStringLiteral("Error set sample type!")},
        {QStringLiteral("airspy_start_rx"), QStringLiteral("Error start rx!")}};
    family.swapsIQ = true;
    family.closesAfterFailedStop = true;
    return family;
}
