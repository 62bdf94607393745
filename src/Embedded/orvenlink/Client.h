#pragma once

#include <orvenlink/Values.h>

#include <complex>
#include <memory>

namespace orvenlink
{

class ClientCore;

/// A session with one server, on a thread of its own. It comes back by itself after an outage, with all that
/// was set. May connect to one server after another.
///
/// Thread:    any, at any time; only the destructor has to be the last call. The host needs no Qt, no event loop
///            and no application object, and may have them all the same. No call waits for the network, but
///            for those that take a time limit.
/// Ownership: what is handed out is a copy.
/// Errors:    values. The library never ends the process, takes no signal, writes no file.
class ORVENLINK_API Client
{
public:
    Client();
    /// Leaves the session politely, within 300 ms.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Begins a session, after the end of the one before, and waits until the receiver's properties and the
    /// rate of the samples are known. `server` is ADDRESS@HOST:PORT with the identificator, which the server
    /// prints below its address, or ADDRESS alone of a server that is heard on the local network. An
    /// identificator must not be guessed: a server takes another one than its own as the wish to drive out
    /// whoever is connected.
    Error connect(const std::string& server, const std::string& identificator = {},
                  milliseconds limit = milliseconds(30'000));
    /// Leaves the session politely, ends every attempt; a connect() that waits returns NotConnected.
    void disconnect();
    /// Whether a session that breaks off is asked for again until disconnect(); true at first.
    void setReconnecting(bool reconnecting);
    [[nodiscard]] State state() const;
    /// The next of what happens by itself; of 1,000 that nobody takes the oldest go. Nothing at the time
    /// limit.
    [[nodiscard]] std::optional<Event> waitForEvent(milliseconds limit);

    // The receiver. Between two sessions it stays what it was.
    [[nodiscard]] Receiver receiver() const;
    /// In alphabetical order.
    [[nodiscard]] std::vector<Property> properties() const;
    [[nodiscard]] std::optional<Property> property(const std::string& name) const;
    /// Writes and doesn't wait. What the receiver has made of it, which may be another value, comes as an
    /// Event if the property announces its changes (`frequency` and `sampleRate` do), and for all by
    /// refresh().
    Error set(const std::string& name, const Value& value);
    /// Waits until all properties are as the receiver has them after what was set before.
    Error refresh(milliseconds limit = milliseconds(5'000));

    // What is received. It may be set before connect() and is kept from session to session.
    /// The middle of the spectrum: the property `frequency`, by set().
    Error tune(double frequency);
    /// What is `offset` above the middle comes to 0 Hz in the samples; 0 at first.
    Error setOffset(double offset);
    /// The least rate of the samples: the server halves the receiver's own while it is at least twice this
    /// one. `aliasFree` of it, around 0 Hz, is free of what folds back. 30,000 and 8,000 at first.
    Error setRate(double least, double aliasFree);
    /// Of the samples; 0 while not known.
    [[nodiscard]] double sampleRate() const;

    // Samples. One thread at a time reads.
    /// Waits for `count` samples, up to the time limit, and gives what there is then; earlier with fewer
    /// before a gap, another rate and the end of a session, so that those are always at the beginning of a
    /// read.
    Read read(Sample* samples, std::size_t count, milliseconds limit);
    /// As read(Sample*), with full scale 1.
    Read read(std::complex<float>* samples, std::size_t count, milliseconds limit);
    /// How much waits for a reader before the oldest is dropped; 200 ms at first.
    void setBuffer(milliseconds length);
    /// Drops what waits; it counts neither as lost nor as late. Reading begins with it.
    void discard();

    /// Asks for spectra; none come before. May be called before connect().
    Error setSpectrum(const SpectrumRequest& request);
    /// The next spectrum; of 10 that nobody takes the oldest go. Nothing at the time limit.
    [[nodiscard]] std::optional<Spectrum> waitForSpectrum(milliseconds limit);

    [[nodiscard]] Counts counts() const;

private:
    std::unique_ptr<ClientCore> m_core;
};

} // namespace orvenlink
