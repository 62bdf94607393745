// Writes the recording that a server without a receiver plays: 60 s of a band with four stations and noise.
//
//     make_demo_recording FILE
//
//   from the centre   station
//        -12,000 Hz   AM, a melody
//         +5,000 Hz   a carrier
//        +10,000 Hz   CW, "VVV DE ORVENLINK" over and over
//        +18,000 Hz   narrow FM, two tones in turn
//
// A WAV file of 48,000 samples a second, 16 bits, with Q in the left channel and I in the right: a sample
// inside the server is re = Q, im = I. It loops without a seam: each station comes back to its first phase
// after 60 s. The same bytes on every run.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using Sample = std::complex<double>; // I + jQ

constexpr double kTwoPi = 6.283185307179586;

constexpr int kSampleRate = 48'000; // Hz
constexpr int kFrames = 60 * kSampleRate;

// The player scales by 1/4096: beyond that the 16 bits that a client receives wrap.
constexpr double kFullScale = 4096.0;

// Counts of the 16-bit samples. The AM station's is that of its carrier; it reaches 1.8 times that.
constexpr double kCarrierAmplitude = 500.0;
constexpr double kAmAmplitude = 700.0;
constexpr double kAmDepth = 0.8;
constexpr double kCwAmplitude = 400.0;
constexpr double kFmAmplitude = 700.0;
constexpr int kNoisePeak = 160; // of each component
static_assert(kCarrierAmplitude + kAmAmplitude * (1.0 + kAmDepth) + kCwAmplitude + kFmAmplitude +
                      1.5 * kNoisePeak <
                  0.8 * kFullScale,
              "Room is left for what the client's filters overshoot");

double seconds(int frames)
{
    return static_cast<double>(frames) / kSampleRate;
}

// A whole number of hertz comes back to its phase every second.
Sample carrier(int hertz, int frame)
{
    const double turns = seconds(frame % kSampleRate) * hertz;
    return std::polar(1.0, kTwoPi * turns);
}

// 0 to 1 over `ramp` frames at the start, and back at the end, of something `length` frames long.
double envelope(int frame, int length, int ramp)
{
    const int fromEdge = std::min(frame, length - frame);
    if (fromEdge >= ramp) {
        return 1.0;
    }
    return 0.5 - 0.5 * std::cos(kTwoPi / 2 * fromEdge / ramp);
}

struct Note
{
    double hertz;
    double beats;
};

// Beethoven's Ode to Joy, its first eight bars: 32 beats, 12 s.
constexpr double kC = 523.25;
constexpr double kD = 587.33;
constexpr double kE = 659.26;
constexpr double kF = 698.46;
constexpr double kG = 783.99;
constexpr std::array kMelody{
    Note{kE, 1}, Note{kE, 1}, Note{kF, 1},   Note{kG, 1},   Note{kG, 1},
    Note{kF, 1}, Note{kE, 1}, Note{kD, 1},   Note{kC, 1},   Note{kC, 1},
    Note{kD, 1}, Note{kE, 1}, Note{kE, 1.5}, Note{kD, 0.5}, Note{kD, 2}, //
    Note{kE, 1}, Note{kE, 1}, Note{kF, 1},   Note{kG, 1},   Note{kG, 1},
    Note{kF, 1}, Note{kE, 1}, Note{kD, 1},   Note{kC, 1},   Note{kC, 1},
    Note{kD, 1}, Note{kE, 1}, Note{kD, 1.5}, Note{kC, 0.5}, Note{kC, 2},
};
constexpr int kBeat = 18'000; // frames
constexpr int kMelodyLength = 32 * kBeat;
static_assert(kFrames % kMelodyLength == 0);

// Within -1 and 1.
std::vector<double> melody()
{
    std::vector<double> audio;
    for (const Note& note : kMelody) {
        const int length = static_cast<int>(note.beats * kBeat);
        for (int frame = 0; frame < length; ++frame) {
            const double phase = kTwoPi * note.hertz * seconds(frame);
            const double decay = std::exp(-2.0 * seconds(frame));
            audio.push_back(envelope(frame, length, 480) * decay *
                            (0.75 * std::sin(phase) + 0.25 * std::sin(2 * phase)));
        }
    }
    return audio;
}

struct Letter
{
    char letter;
    std::string_view code;
};

constexpr std::array kMorse{
    Letter{'D', "-.."}, Letter{'E', "."},   Letter{'I', ".."},  Letter{'K', "-.-"},  Letter{'L', ".-.."},
    Letter{'N', "-."},  Letter{'O', "---"}, Letter{'R', ".-."}, Letter{'V', "...-"},
};
constexpr std::string_view kBeacon = "VVV DE ORVENLINK";
constexpr int kDit = 3'840; // frames, 80 ms: 15 words a minute
constexpr int kBeaconLength = 150 * kDit;
static_assert(kFrames % kBeaconLength == 0);

// The key: 1 while it is down, with edges that are soft so that they do not click.
std::vector<double> beacon()
{
    std::vector<double> key;
    const auto silence = [&key](int dits) {
        key.insert(key.end(), static_cast<std::size_t>(dits) * kDit, 0.0);
    };
    const auto mark = [&key](int dits) {
        for (int frame = 0; frame < dits * kDit; ++frame) {
            key.push_back(envelope(frame, dits * kDit, 240));
        }
    };
    for (const char letter : kBeacon) {
        if (letter == ' ') {
            silence(4); // besides the 3 that end a letter
            continue;
        }
        const auto* code = std::find_if(kMorse.begin(), kMorse.end(),
                                        [letter](const Letter& entry) { return entry.letter == letter; });
        for (const char sign : code->code) {
            mark(sign == '-' ? 3 : 1);
            silence(1);
        }
        silence(2); // besides the 1 that ends a sign
    }
    key.resize(kBeaconLength, 0.0);
    return key;
}

constexpr double kFmDeviation = 2'000.0; // Hz
constexpr int kFmTurn = kSampleRate / 2; // frames of each tone

// Whole cycles in each turn, so that the phase is 0 at every change.
Sample chime(int frame)
{
    const int hertz = frame / kFmTurn % 2 == 0 ? 600 : 900;
    const double phase = kTwoPi * hertz * seconds(frame % kFmTurn);
    return std::polar(1.0, kFmDeviation / hertz * std::sin(phase));
}

// Four uniform values, which is close to Gaussian and has an end.
class Noise
{
public:
    double next()
    {
        int sum = 0;
        for (int i = 0; i < 4; ++i) {
            sum += static_cast<int>(m_engine() % (kNoisePeak / 2 + 1)) - kNoisePeak / 4;
        }
        return sum;
    }

private:
    std::mt19937 m_engine{20'250'101}; // any number, and always this one
};

void append(std::string& bytes, std::uint32_t value, int size)
{
    for (int i = 0; i < size; ++i) {
        bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
    }
}

std::string header(std::uint32_t dataSize)
{
    std::string bytes = "RIFF";
    append(bytes, 36 + dataSize, 4);
    bytes += "WAVEfmt ";
    append(bytes, 16, 4);
    append(bytes, 1, 2);
    append(bytes, 2, 2);
    append(bytes, kSampleRate, 4);
    append(bytes, kSampleRate * 4, 4);
    append(bytes, 4, 2);
    append(bytes, 16, 2);
    bytes += "data";
    append(bytes, dataSize, 4);
    return bytes;
}

// The whole file, or nothing if a sample left the player's scale.
std::string recording()
{
    const std::vector<double> audio = melody();
    const std::vector<double> key = beacon();
    Noise noise;
    std::string bytes = header(kFrames * 4);
    for (int frame = 0; frame < kFrames; ++frame) {
        const double am = 1.0 + kAmDepth * audio[static_cast<std::size_t>(frame % kMelodyLength)];
        const double cw = key[static_cast<std::size_t>(frame % kBeaconLength)];
        const double i = noise.next();
        const double q = noise.next();
        const Sample sum = kCarrierAmplitude * carrier(5'000, frame) +
                           kAmAmplitude * am * carrier(-12'000, frame) +
                           kCwAmplitude * cw * carrier(10'000, frame) +
                           kFmAmplitude * chime(frame) * carrier(18'000, frame) + Sample(i, q);
        if (std::abs(sum) >= kFullScale - 1.0) {
            return {};
        }
        append(bytes, static_cast<std::uint16_t>(std::lround(sum.imag())), 2);
        append(bytes, static_cast<std::uint16_t>(std::lround(sum.real())), 2);
    }
    return bytes;
}

// Under another name until it is whole: what is cut off must not be found and played.
bool write(const std::string& name, const std::string& bytes)
{
    const std::string part = name + ".part";
    std::FILE* file = std::fopen(part.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool closed = std::fclose(file) == 0;
    return written && closed && std::rename(part.c_str(), name.c_str()) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: make_demo_recording FILE\n", stderr);
        return 2;
    }
    const std::string bytes = recording();
    if (bytes.empty()) {
        std::fputs("make_demo_recording: the stations leave the player's scale\n", stderr);
        return 1;
    }
    if (!write(argv[1], bytes)) {
        std::perror(argv[1]);
        return 1;
    }
    return 0;
}
