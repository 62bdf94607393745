#include "RadioDevice/AirSpy/AirSpyGains.h"

namespace
{

constexpr auto kAlways = [](const AirSpyGains&) { return true; };
constexpr auto kOff = [](const AirSpyGains&) { return 0; };

} // namespace

// Mode, the settings that the call follows, the call, its value, and when it is made. In the order of
// calling.
const std::array<AirSpyGains::Row, 11> AirSpyGains::kRows{{
    {Linearity, GainMode | Gain, Call::SetLnaAgc, kOff, kAlways},
    {Linearity, GainMode | Gain, Call::SetMixerAgc, kOff, kAlways},
    {Linearity, GainMode | Gain, Call::SetLinearityGain, [](const AirSpyGains& g) { return g.gain; },
     kAlways},

    {Sensitivity, GainMode | Gain, Call::SetLnaAgc, kOff, kAlways},
    {Sensitivity, GainMode | Gain, Call::SetMixerAgc, kOff, kAlways},
    {Sensitivity, GainMode | Gain, Call::SetSensitivityGain, [](const AirSpyGains& g) { return g.gain; },
     kAlways},

    {Manual, GainMode | LnaAgc, Call::SetLnaAgc, [](const AirSpyGains& g) { return int{g.lnaAgc}; }, kAlways},
    {Manual, GainMode | LnaAgc | LnaGain, Call::SetLnaGain, [](const AirSpyGains& g) { return g.lnaGain; },
     [](const AirSpyGains& g) { return !g.lnaAgc; }},
    {Manual, GainMode | MixerAgc, Call::SetMixerAgc, [](const AirSpyGains& g) { return int{g.mixerAgc}; },
     kAlways},
    {Manual, GainMode | MixerAgc | MixerGain, Call::SetMixerGain,
     [](const AirSpyGains& g) { return g.mixerGain; }, [](const AirSpyGains& g) { return !g.mixerAgc; }},
    {Manual, GainMode | VgaGain, Call::SetVgaGain, [](const AirSpyGains& g) { return g.vgaGain; }, kAlways},
}};
