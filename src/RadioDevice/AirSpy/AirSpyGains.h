#pragma once

#include <QtGlobal>
#include <array>

/// The gain settings of an Airspy R2 or mini, and which calls make the hardware follow a change of one.
/// Values are the library's steps, not decibels.
/// Thread: any.
struct AirSpyGains
{
    enum Mode : int
    {
        Linearity = 0,
        Sensitivity = 1,
        Manual = 2, ///< `gain` has no effect, the others apply. Any further mode leaves the hardware alone.
    };

    /// One setting, as a bit, so that a call can name all that it follows.
    enum Setting : unsigned
    {
        GainMode = 1U << 0U,
        Gain = 1U << 1U,
        LnaAgc = 1U << 2U,
        LnaGain = 1U << 3U,
        MixerAgc = 1U << 4U,
        MixerGain = 1U << 5U,
        VgaGain = 1U << 6U,
    };

    enum class Call
    {
        SetLnaAgc,
        SetLnaGain,
        SetMixerAgc,
        SetMixerGain,
        SetVgaGain,
        SetLinearityGain,
        SetSensitivityGain,
    };

    int mode = Linearity;
    int gain = 0; ///< 0 to 21.
    bool lnaAgc = true;
    int lnaGain = 5; ///< 0 to 15.
    bool mixerAgc = true;
    int mixerGain = 5; ///< 0 to 15.
    int vgaGain = 5;   ///< Not limited here.

    /// Calls `make(call, value)` for each call that a change of `changed` asks for, in order; the value is
    /// cut to the 8 bits that the library takes.
    template <class Make>
    void apply(Setting changed, Make make) const
    {
        for (const Row& row : kRows) {
            if (row.mode == mode && (row.settings & changed) != 0 && row.applies(*this)) {
                make(row.call, static_cast<quint8>(row.value(*this)));
            }
        }
    }

private:
    struct Row
    {
        int mode;
        unsigned settings;
        Call call;
        int (*value)(const AirSpyGains&);
        bool (*applies)(const AirSpyGains&);
    };
    static const std::array<Row, 11> kRows;
};
