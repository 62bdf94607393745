#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// Elsewhere linkers export everything by themselves.
#ifdef __ELF__
#define ORVENLINK_API __attribute__((visibility("default")))
#else
#define ORVENLINK_API
#endif

/// What the functions of the library take and give. All texts are UTF-8, all frequencies and rates hertz.
/// Thread: any, one at a time.
namespace orvenlink
{

using std::chrono::milliseconds;

/// What went wrong, as a value: nothing is thrown. `if (const Error error = client.connect(...))`
struct Error
{
    enum class Code
    {
        None,
        BadArgument,  ///< What was given can't be meant.
        NotFound,     ///< No such server is heard on the local network, or no such host is known.
        NoAnswer,     ///< Nobody answers there.
        Busy,         ///< Somebody else is connected.
        Version,      ///< The server speaks another version of the protocol.
        NoReceiver,   ///< The server can't open its receiver.
        Refused,      ///< The server refuses for another reason, told in the text.
        NotConnected, ///< There is no session, or it has broken off.
        TimedOut,     ///< It took longer than the limit given.
        Failed,       ///< Something on this machine, such as a port that can't be had.
    };

    Code code = Code::None;
    std::string text; ///< For people: what happened and what to do, in a line.

    explicit operator bool() const { return code != Code::None; }
};

/// A server that announces itself on the local network, which it does while nobody is connected.
struct Server
{
    std::string address;       ///< In Base58, as the server prints it: the server's own, whatever its host.
    std::string host;          ///< An IPv4 address.
    std::uint16_t port = 0;    ///< UDP
    std::string identificator; ///< What the server calls its receiver; a session needs it.
    std::string title;         ///< For people.
    std::string description;   ///< For people.
    int type = -1;             ///< Kind of receiver, as Receiver::type.
    bool isCompatible = false; ///< Speaks this library's version of the protocol.

    /// ADDRESS@HOST:PORT, as Client::connect takes it.
    [[nodiscard]] std::string place() const { return address + '@' + host + ':' + std::to_string(port); }
};

struct FrequencyRange
{
    double lowest = 0.0;
    double highest = 0.0;
};

/// What a server has told of its receiver.
struct Receiver
{
    int type = -1; ///< 0 player of recordings, 5 RTL-SDR, 6 Airspy HF+, 7 Airspy R2 and mini, 9 RSP.
    std::string name;
    double frequency = 0.0;          ///< The middle of the spectrum.
    double sampleRate = 0.0;         ///< The receiver's own, the width of the spectrum.
    std::vector<double> sampleRates; ///< That it has.
    std::vector<FrequencyRange> frequencies;
};

/// A property's value.
using Value = std::variant<std::monostate, bool, std::int64_t, double, std::string, std::vector<std::string>>;

/// One property of a receiver, with its value as the server last told it.
struct Property
{
    enum class Type
    {
        Boolean,
        Integer,
        Number,
        Text,
        List, ///< Of texts.
    };
    struct Range
    {
        double lowest = 0.0;
        double highest = 0.0;
        double step = 0.0; ///< 0 for any.
    };
    struct Option
    {
        std::int64_t value = 0;
        std::string label;
    };

    std::string name;
    /// What set() takes, and `value` has: but `rtlPpm` is read as a boolean, and the value of one that this
    /// library doesn't know is as the server sends it.
    Type type = Type::Text;
    Value value;
    std::string unit;           ///< "Hz", "kHz", "dB", "0.1 dB", "ppm" or empty.
    std::string meaning;        ///< In a few words; empty for one that this library doesn't know.
    bool isWritable = false;    ///< Always true for one that this library doesn't know.
    std::optional<Range> range; ///< Outside of it the receiver takes another value.
    std::vector<Option> options;
};

/// A complex sample, true baseband: a signal above 0 Hz turns counter-clockwise. Full scale is 32768.
struct Sample
{
    std::int16_t i = 0;
    std::int16_t q = 0;
};

/// What a read has brought.
struct Read
{
    std::size_t count = 0; ///< Samples; 0 if the time was over, or if `isBroken`.
    /// Place of the first one in the stream: those before it since the session was opened, the missing
    /// included.
    std::int64_t position = 0;
    std::chrono::nanoseconds time{0}; ///< Of the first one since the Unix epoch: that of the stream's first,
                                      ///< and from there by the count.
    double sampleRate = 0.0;
    /// Samples missing before the first one, told once each: lost on the way, found out by clock and rate,
    /// within the last second or two before it; and those that this reader came too late for.
    std::int64_t lost = 0;
    std::int64_t late = 0;
    bool isBroken = false; ///< The session has broken off here; told once.
};

/// What a client asks of the spectrum. Bin 0 is the lowest frequency, `fftSize` / 2 the tuned one, and a bin
/// is the receiver's sample rate / `fftSize` wide.
struct SpectrumRequest
{
    int fftSize = 4096; ///< A power of two, 512 to 32768.
    int firstBin = 0;
    int endBin = 4096; ///< One beyond the last; above firstBin.
    int points = 1024; ///< In a frame, 1 to 32767.
};

/// One spectrum, 25 a second.
struct Spectrum
{
    /// Powers, rising in frequency. A tone of full scale is about 5 dB with an fftSize of 4096 and 3 dB
    /// higher with each doubling; -200 where there is no bin.
    std::vector<float> decibels;
    double lowest = 0.0;               ///< Where the first point is.
    double highest = 0.0;              ///< Where a point after the last one would be.
    std::chrono::milliseconds time{0}; ///< Arrival, since the Unix epoch.
};

/// Since connect().
struct Counts
{
    std::int64_t received = 0; ///< Samples.
    std::int64_t lost =
        0; ///< Samples that were estimated missing; an outage counts what it would have brought.
    std::int64_t late = 0;    ///< Samples that reads have told as late.
    std::int64_t damaged = 0; ///< Datagrams of samples.
    std::int64_t spectra = 0;
    std::int64_t brokenSpectra = 0; ///< Of which parts were missing.
    std::int64_t datagramsLost = 0; ///< Of every kind, in the present session; an estimate.
    milliseconds roundTrip{0};      ///< Of the last ping.
    double receiveSpeed = 0.0;      ///< KiB in the last second.
};

/// What happens by itself.
struct Event
{
    enum class Kind
    {
        Connected,     ///< In session, for the first time or again.
        Lost,          ///< The session has broken off, and the client asks for it again.
        Ended,         ///< The session is over, and the client doesn't come back.
        Property,      ///< A property's value has come; `text` is its name.
        RateChanged,   ///< The rate of the samples is another one.
        ReceiverError, ///< The receiver reports an error; the session goes on, or its end follows.
    };
    Kind kind = Kind::Connected;
    std::string text; ///< For people, but for Property.
};

enum class State
{
    Idle,
    Connecting,
    Connected,
    Reconnecting,
};

} // namespace orvenlink
