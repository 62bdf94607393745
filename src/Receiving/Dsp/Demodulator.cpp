#include "Receiving/Dsp/Demodulator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <liquid/liquid.h> // after <complex>, whose numbers it then uses
#include <type_traits>

namespace
{

using Sample = std::complex<float>;

constexpr double kTwoPi = 6.283185307179586;
constexpr float kAttenuation = 60.0F; // dB, of every filter
constexpr double kFaintest = 1e-5;    // amplitude that is brought to 1: a third of a count
constexpr float kDeEmphasis = 50e-6F; // s, as broadcast in most of the world

struct Plan
{
    const char* name;
    Demodulator::Mode mode;
    double channelRate;    // Hz, at which the signal is demodulated
    double halfBandwidth;  // Hz, that the channel filter passes to either side
    double audioBandwidth; // Hz
    double gain;           // of the audio
    double release;        // s, after which a weaker signal is brought up; 0 for none
    double deviation;      // Hz; frequency modulation alone
    double leastRate;      // Hz, of the stream
};

constexpr std::array<Plan, 6> kPlans{{
    {"am", Demodulator::Mode::Am, 16'000, 5'000, 5'000, 1.2, 1.0, 0, 12'500},
    {"nfm", Demodulator::Mode::Nfm, 24'000, 6'250, 3'400, 0.5, 0, 2'500, 16'000},
    {"wfm", Demodulator::Mode::Wfm, 240'000, 100'000, 15'000, 0.5, 0, 75'000, 250'000},
    {"usb", Demodulator::Mode::Usb, 12'000, 3'000, 3'000, 0.5, 0.5, 0, 8'000},
    {"lsb", Demodulator::Mode::Lsb, 12'000, 3'000, 3'000, 0.5, 0.5, 0, 8'000},
    {"cw", Demodulator::Mode::Cw, 12'000, 250, 1'200, 0.4, 1.0, 0, 8'000},
}};

const Plan& planOf(Demodulator::Mode mode)
{
    return *std::find_if(kPlans.begin(), kPlans.end(),
                         [mode](const Plan& plan) { return plan.mode == mode; });
}

// The library's objects are handles, each destroyed by its kind's own function.
template <typename Handle, auto destroy>
struct Destroyer
{
    void operator()(std::remove_pointer_t<Handle>* handle) const { destroy(handle); }
};
template <typename Handle, auto destroy>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Destroyer<Handle, destroy>>;

unsigned count(std::size_t size)
{
    return static_cast<unsigned>(size);
}

liquid_ampmodem_type ampTypeOf(Demodulator::Mode mode)
{
    if (mode == Demodulator::Mode::Am) {
        return LIQUID_AMPMODEM_DSB;
    }
    return mode == Demodulator::Mode::Usb ? LIQUID_AMPMODEM_USB : LIQUID_AMPMODEM_LSB;
}

// A low-pass filter that is as long as its edge is steep.
template <typename Create>
auto lowPass(Create create, double edge, double transition, double rate)
{
    const unsigned length = estimate_req_filter_len(static_cast<float>(transition / rate), kAttenuation) | 1U;
    return create(length, static_cast<float>((edge + transition / 2) / rate), kAttenuation, 0.0F);
}

} // namespace

struct Demodulator::Chain
{
    Chain(const Plan& plan, double sampleRate, int audioRate);

    void toChannel(const QVector<IqSample>& samples);
    void level(unsigned made);
    void detect();
    void toAudio(std::vector<float>& audio);

    const Plan& plan;
    double channelRatio;
    double audioRatio;
    double peak = 0.0; // amplitude, held for a while
    float levelGain = 0.0F;
    Owned<msresamp_crcf, msresamp_crcf_destroy> channelResampler;
    Owned<firfilt_crcf, firfilt_crcf_destroy> channelFilter;
    Owned<ampmodem, ampmodem_destroy> amplitude;
    Owned<freqdem, freqdem_destroy> frequency;
    Owned<nco_crcf, nco_crcf_destroy> tone;
    Owned<iirfilt_rrrf, iirfilt_rrrf_destroy> blocker;
    Owned<iirfilt_rrrf, iirfilt_rrrf_destroy> deEmphasis;
    Owned<firfilt_rrrf, firfilt_rrrf_destroy> audioFilter;
    Owned<msresamp_rrrf, msresamp_rrrf_destroy> audioResampler;
    std::vector<Sample> input;
    std::vector<Sample> channel;
    std::vector<float> detected;
};

Demodulator::Chain::Chain(const Plan& itsPlan, double sampleRate, int audioRate)
    : plan(itsPlan)
    , channelRatio(plan.channelRate / sampleRate)
    , audioRatio(audioRate / plan.channelRate)
    , channelResampler(msresamp_crcf_create(static_cast<float>(channelRatio), kAttenuation))
    , channelFilter(
          lowPass(firfilt_crcf_create_kaiser, plan.halfBandwidth, 0.2 * plan.halfBandwidth, plan.channelRate))
    , audioFilter(lowPass(firfilt_rrrf_create_kaiser, plan.audioBandwidth, 0.2 * plan.audioBandwidth,
                          plan.channelRate))
    , audioResampler(msresamp_rrrf_create(static_cast<float>(audioRatio), kAttenuation))
{
    firfilt_crcf_set_scale(channelFilter.get(),
                           static_cast<float>(2.2 * plan.halfBandwidth / plan.channelRate));
    firfilt_rrrf_set_scale(audioFilter.get(),
                           static_cast<float>(2.2 * plan.audioBandwidth / plan.channelRate));
    switch (plan.mode) {
    case Mode::Am:
        amplitude.reset(ampmodem_create(1.0F, ampTypeOf(plan.mode), 0));
        blocker.reset(iirfilt_rrrf_create_dc_blocker(static_cast<float>(kTwoPi * 30 / plan.channelRate)));
        break;
    case Mode::Usb:
    case Mode::Lsb:
        amplitude.reset(ampmodem_create(1.0F, ampTypeOf(plan.mode), 1));
        break;
    case Mode::Nfm:
    case Mode::Wfm:
        frequency.reset(freqdem_create(static_cast<float>(plan.deviation / plan.channelRate)));
        blocker.reset(iirfilt_rrrf_create_dc_blocker(static_cast<float>(kTwoPi * 30 / plan.channelRate)));
        break;
    case Mode::Cw:
        tone.reset(nco_crcf_create(LIQUID_NCO));
        nco_crcf_set_frequency(tone.get(), static_cast<float>(kTwoPi * kCwTone / plan.channelRate));
        break;
    }
    if (plan.mode == Mode::Wfm) {
        const float pole = std::exp(-1.0F / (kDeEmphasis * static_cast<float>(plan.channelRate)));
        std::array<float, 1> forward{1.0F - pole};
        std::array<float, 2> back{1.0F, -pole};
        deEmphasis.reset(iirfilt_rrrf_create(forward.data(), 1, back.data(), 2));
    }
}

void Demodulator::Chain::toChannel(const QVector<IqSample>& samples)
{
    input.clear();
    for (const IqSample& sample : samples) {
        input.emplace_back(static_cast<float>(sample.i) / IqSample::kFullScale,
                           static_cast<float>(sample.q) / IqSample::kFullScale);
    }
    // Room as the library's manual asks for.
    channel.resize(static_cast<std::size_t>(2.0 * channelRatio * static_cast<double>(input.size())) + 64);
    unsigned made = 0;
    msresamp_crcf_execute(channelResampler.get(), input.data(), count(input.size()), channel.data(), &made);
    channel.resize(made);
    firfilt_crcf_execute_block(channelFilter.get(), channel.data(), made, channel.data());
    if (plan.release > 0) {
        level(made);
    }
}

// Brings the strongest of the last while to 1: up at once, so that nothing is too loud, and down slowly.
void Demodulator::Chain::level(unsigned made)
{
    const auto louder = [](const Sample& a, const Sample& b) { return std::norm(a) < std::norm(b); };
    const auto strongest = std::max_element(channel.begin(), channel.end(), louder);
    if (strongest == channel.end()) {
        return;
    }
    const double fading = std::exp(-static_cast<double>(made) / (plan.release * plan.channelRate));
    peak = std::max({peak * fading, static_cast<double>(std::abs(*strongest)), kFaintest});
    const auto wanted = static_cast<float>(1.0 / peak);
    const float step = (wanted - levelGain) / static_cast<float>(made);
    for (Sample& sample : channel) {
        levelGain += step;
        sample *= levelGain;
    }
}

void Demodulator::Chain::detect()
{
    const unsigned size = count(channel.size());
    detected.resize(channel.size());
    if (amplitude) {
        ampmodem_demodulate_block(amplitude.get(), channel.data(), size, detected.data());
    } else if (frequency) {
        freqdem_demodulate_block(frequency.get(), channel.data(), size, detected.data());
    } else {
        nco_crcf_mix_block_up(tone.get(), channel.data(), channel.data(), size);
        std::transform(channel.begin(), channel.end(), detected.begin(),
                       [](const Sample& sample) { return sample.real(); });
    }
    if (blocker) {
        iirfilt_rrrf_execute_block(blocker.get(), detected.data(), size, detected.data());
    }
    if (deEmphasis) {
        iirfilt_rrrf_execute_block(deEmphasis.get(), detected.data(), size, detected.data());
    }
    firfilt_rrrf_execute_block(audioFilter.get(), detected.data(), size, detected.data());
}

void Demodulator::Chain::toAudio(std::vector<float>& audio)
{
    const std::size_t before = audio.size();
    audio.resize(before + static_cast<std::size_t>(2.0 * audioRatio * static_cast<double>(detected.size())) +
                 64);
    unsigned made = 0;
    msresamp_rrrf_execute(audioResampler.get(), detected.data(), count(detected.size()),
                          audio.data() + before, &made);
    audio.resize(before + made);
    const auto gain = static_cast<float>(plan.gain);
    std::transform(audio.begin() + static_cast<std::ptrdiff_t>(before), audio.end(),
                   audio.begin() + static_cast<std::ptrdiff_t>(before), [gain](float value) {
                       return std::isfinite(value) ? std::clamp(value * gain, -1.0F, 1.0F) : 0.0F;
                   });
}

QStringList Demodulator::modeNames()
{
    QStringList names;
    for (const Plan& plan : kPlans) {
        names.append(QLatin1String(plan.name));
    }
    return names;
}

std::optional<Demodulator::Mode> Demodulator::modeOf(const QString& name)
{
    for (const Plan& plan : kPlans) {
        if (name == QLatin1String(plan.name)) {
            return plan.mode;
        }
    }
    return std::nullopt;
}

Demodulator::Needs Demodulator::needsOf(Mode mode)
{
    const Plan& plan = planOf(mode);
    return {2 * plan.halfBandwidth, plan.leastRate};
}

Demodulator::Demodulator(Mode mode, double sampleRate, int audioRate)
    : m_chain(std::make_unique<Chain>(planOf(mode), sampleRate, audioRate))
{
}

Demodulator::~Demodulator() = default;

void Demodulator::process(const QVector<IqSample>& samples, std::vector<float>& audio)
{
    m_chain->toChannel(samples);
    m_chain->detect();
    m_chain->toAudio(audio);
}
