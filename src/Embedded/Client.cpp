#include "Embedded/orvenlink/Client.h"

#include "Embedded/Conversion.h"
#include "Embedded/Deadline.h"
#include "Embedded/Errors.h"
#include "Embedded/EventThread.h"
#include "Embedded/HostLog.h"
#include "Embedded/HostedSession.h"

namespace orvenlink
{

class ClientCore
{
public:
    ClientCore()
    {
        HostLog::install();
        m_thread.call([this] { m_session = std::make_unique<HostedSession>(events, spectra); });
    }

    ~ClientCore()
    {
        m_thread.call([this] { m_session.reset(); });
    }

    template <typename Task>
    void tell(Task task)
    {
        m_thread.call([&] { task(*m_session); });
    }
    /// What the task gives, which runs in the session's thread.
    template <typename Task>
    auto ask(Task task)
    {
        decltype(task(*m_session)) result;
        m_thread.call([&] { result = task(*m_session); });
        return result;
    }
    /// Waits for the answer to what the task begins.
    template <typename Task>
    Error await(Task task, milliseconds limit)
    {
        const auto end = deadlineAfter(limit);
        const auto answer = std::make_shared<std::promise<Error>>();
        std::future<Error> future = answer->get_future();
        m_thread.call([&] { task(*m_session, answer); });
        if (future.wait_until(end) != std::future_status::ready) {
            return Errors::make(Error::Code::TimedOut,
                                QStringLiteral("the server took longer than the time limit"));
        }
        return future.get();
    }

    [[nodiscard]] SampleReader& reader() { return m_session->reader(); }

    Mailbox<Event> events{1000};
    Mailbox<Spectrum> spectra{10};

private:
    EventThread m_thread;
    std::unique_ptr<HostedSession> m_session; // the thread's
};

namespace
{

Error orBadArgument(bool isTaken)
{
    return isTaken ? Error()
                   : Errors::make(Error::Code::BadArgument, QStringLiteral("the value is out of range"));
}

} // namespace

Client::Client()
    : m_core(std::make_unique<ClientCore>())
{
}

Client::~Client() = default;

Error Client::connect(const std::string& server, const std::string& identificator, milliseconds limit)
{
    constexpr milliseconds kListen(3'000);
    const auto begin = [&](HostedSession& session, const HostedSession::Answer& answer) {
        session.open(QString::fromStdString(server), QString::fromStdString(identificator),
                     static_cast<int>(std::clamp(limit, milliseconds(0), kListen).count()), answer);
    };
    Error error = m_core->await(begin, limit);
    if (error.code == Error::Code::TimedOut) {
        disconnect();
    }
    return error;
}

void Client::disconnect()
{
    m_core->tell([](HostedSession& session) { session.close(); });
}

void Client::setReconnecting(bool reconnecting)
{
    m_core->tell([reconnecting](HostedSession& session) { session.session().setReconnecting(reconnecting); });
}

State Client::state() const
{
    return m_core->ask([](HostedSession& session) { return session.state(); });
}

std::optional<Event> Client::waitForEvent(milliseconds limit)
{
    return m_core->events.take(limit);
}

Receiver Client::receiver() const
{
    return m_core->ask([](HostedSession& session) { return Conversion::toReceiver(session.device()); });
}

std::vector<Property> Client::properties() const
{
    return m_core->ask([](HostedSession& session) {
        std::vector<Property> properties;
        const QStringList names = session.device().names();
        for (const QString& name : names) {
            properties.push_back(Conversion::toProperty(name, session.device()));
        }
        return properties;
    });
}

std::optional<Property> Client::property(const std::string& name) const
{
    return m_core->ask([&name](HostedSession& session) {
        const QString key = QString::fromStdString(name);
        return session.device().contains(key) ? std::optional(Conversion::toProperty(key, session.device()))
                                              : std::nullopt;
    });
}

Error Client::set(const std::string& name, const Value& value)
{
    return m_core->ask([&](HostedSession& session) {
        const QString key = QString::fromStdString(name);
        if (session.state() != State::Connected) {
            return Errors::make(Error::Code::NotConnected, QStringLiteral("there is no session"));
        }
        if (!session.device().contains(key)) {
            return Errors::make(Error::Code::BadArgument,
                                QStringLiteral("the receiver has no property %1").arg(key));
        }
        const QVariant written = Conversion::toVariant(key, value);
        const bool isWritable = Conversion::toProperty(key, session.device()).isWritable;
        return orBadArgument(isWritable && written.isValid() && session.device().write(key, written));
    });
}

Error Client::refresh(milliseconds limit)
{
    return m_core->await(
        [](HostedSession& session, const HostedSession::Answer& answer) { session.refresh(answer); }, limit);
}

Error Client::tune(double frequency)
{
    return set("frequency", frequency);
}

Error Client::setOffset(double offset)
{
    return m_core->ask(
        [offset](HostedSession& session) { return orBadArgument(session.session().setOffset(offset)); });
}

Error Client::setRate(double least, double aliasFree)
{
    return m_core->ask([least, aliasFree](HostedSession& session) {
        return orBadArgument(session.session().setBandwidth(least, aliasFree));
    });
}

double Client::sampleRate() const
{
    return m_core->ask(
        [](HostedSession& session) { return session.session().outSampleRate().value_or(0.0); });
}

Read Client::read(Sample* samples, std::size_t count, milliseconds limit)
{
    return m_core->reader().read(samples, count, limit);
}

Read Client::read(std::complex<float>* samples, std::size_t count, milliseconds limit)
{
    return m_core->reader().read(samples, count, limit);
}

void Client::setBuffer(milliseconds length)
{
    m_core->tell([length](HostedSession& session) { session.setBuffer(length); });
}

void Client::discard()
{
    m_core->reader().discard();
}

Error Client::setSpectrum(const SpectrumRequest& request)
{
    return m_core->ask([&request](HostedSession& session) {
        return orBadArgument(session.session().setSpectrumRange(
            {request.firstBin, request.endBin, request.points, request.fftSize}));
    });
}

std::optional<Spectrum> Client::waitForSpectrum(milliseconds limit)
{
    return m_core->spectra.take(limit);
}

Counts Client::counts() const
{
    return m_core->ask([](HostedSession& session) { return session.counts(); });
}

} // namespace orvenlink
