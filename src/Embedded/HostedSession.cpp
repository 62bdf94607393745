#include "Embedded/HostedSession.h"

#include "Embedded/Conversion.h"
#include "Embedded/Errors.h"

#include <algorithm>
#include <utility>

namespace
{

using orvenlink::Error;
using orvenlink::Event;

constexpr double kMillisecond = 1e-3; // s
constexpr double kLeastQueue = 4096;  // samples, a burst of a slow stream
constexpr double kMostQueue = 1e8;    // samples

} // namespace

HostedSession::HostedSession(Mailbox<Event>& events, Mailbox<orvenlink::Spectrum>& spectra)
    : m_events(events)
    , m_queue(static_cast<qint64>(kLeastQueue))
    , m_reader(m_queue)
{
    m_session.setReconnecting(true);
    connect(&m_session, &ClientSession::connected, this, [this] {
        m_deviceError.clear();
        m_events.put({Event::Kind::Connected, {}});
    });
    connect(&m_session, &ClientSession::refused, this, &HostedSession::onRefused);
    connect(&m_session, &ClientSession::ended, this, &HostedSession::onEnded);
    connect(&m_session, &ClientSession::deviceError, this, [this](const QString& text) {
        m_deviceError = text;
        m_events.put({Event::Kind::ReceiverError, text.toStdString()});
    });
    connect(&m_session, &ClientSession::outSampleRateChanged, this, &HostedSession::onRate);
    connect(&device(), &RemoteDevice::synchronized, this, &HostedSession::onSynchronized);
    connect(&device(), &RemoteDevice::synchronizationFailed, this, [this] {
        answerRefreshes(
            Errors::make(Error::Code::TimedOut, QStringLiteral("the server doesn't tell its properties")));
    });
    connect(&device(), &RemoteDevice::changed, this, [this](const QString& name) {
        m_events.put({Event::Kind::Property, name.toStdString()});
    });
    connect(&m_session.iq(), &IqReceiver::blockReceived, &m_queue, &IqQueue::push, Qt::DirectConnection);
    connect(&m_session.spectrum(), &SpectrumReceiver::frameReceived, this,
            [this, &spectra](const SpectrumFrame& frame) {
                spectra.put(Conversion::toSpectrum(frame, device()));
            });
}

HostedSession::~HostedSession()
{
    close();
}

void HostedSession::open(const QString& server, const QString& identificator, int listenMs, Answer answer)
{
    close();
    m_opening = std::move(answer);
    const ServerArgument::Result parsed = ServerArgument::parse(server);
    if (!parsed.server) {
        answerOpening(Errors::make(Error::Code::BadArgument, parsed.error));
        return;
    }
    m_resolver = new ServerResolver(this);
    connect(m_resolver, &ServerResolver::found, this, &HostedSession::onTarget);
    connect(m_resolver, &ServerResolver::failed, this, [this](const ServerResolver::Failure& failure) {
        endResolving();
        answerOpening(Errors::of(failure));
    });
    m_resolver->start(*parsed.server, identificator, listenMs);
}

void HostedSession::onTarget(const ClientSession::Target& target)
{
    endResolving();
    m_reader.restart();
    if (!m_session.open(target)) {
        answerOpening(
            Errors::make(Error::Code::Failed, QStringLiteral("no UDP port could be had on this machine")));
    }
}

void HostedSession::close()
{
    endResolving();
    m_session.close();
    const Error closed =
        Errors::make(Error::Code::NotConnected, QStringLiteral("the client has left the session"));
    answerOpening(closed);
    answerRefreshes(closed);
}

// It may be the one that calls.
void HostedSession::endResolving()
{
    if (m_resolver != nullptr) {
        m_resolver->disconnect(this);
        std::exchange(m_resolver, nullptr)->deleteLater();
    }
}

void HostedSession::answerOpening(const Error& error)
{
    if (m_opening) {
        std::exchange(m_opening, nullptr)->set_value(error);
    }
}

void HostedSession::answerRefreshes(const Error& error)
{
    for (const Answer& answer : std::exchange(m_refreshing, {})) {
        answer->set_value(error);
    }
}

void HostedSession::onRefused(ClientSession::Refusal refusal, const QString& text)
{
    const Error error = Errors::of(refusal, text);
    if (!m_opening) {
        m_events.put({Event::Kind::Ended, error.text});
    }
    answerOpening(error);
}

void HostedSession::onEnded(ClientSession::End end)
{
    if (end == ClientSession::End::Closed) {
        return;
    }
    const Error error = Errors::of(end, m_deviceError);
    const bool isComingBack = m_session.state() == ClientSession::State::Reconnecting;
    m_queue.push({}); // tells the reader
    m_events.put({isComingBack ? Event::Kind::Lost : Event::Kind::Ended, error.text});
    answerRefreshes(error);
    if (!isComingBack) {
        answerOpening(error);
    }
}

void HostedSession::refresh(Answer answer)
{
    if (!device().refresh()) {
        answer->set_value(Errors::make(Error::Code::NotConnected, QStringLiteral("there is no session")));
        return;
    }
    m_refreshing.push_back(std::move(answer));
}

void HostedSession::onSynchronized()
{
    answerRefreshes({});
    answerIfReady();
}

void HostedSession::onRate()
{
    setCapacity();
    m_events.put({Event::Kind::RateChanged, {}});
    answerIfReady();
}

void HostedSession::answerIfReady()
{
    if (device().isSynchronized() && m_session.outSampleRate()) {
        answerOpening({});
    }
}

void HostedSession::setBuffer(std::chrono::milliseconds length)
{
    m_buffer = length;
    setCapacity();
}

void HostedSession::setCapacity()
{
    const double samples =
        m_session.outSampleRate().value_or(0.0) * kMillisecond * static_cast<double>(m_buffer.count());
    m_queue.setCapacity(static_cast<qint64>(std::clamp(samples, kLeastQueue, kMostQueue)));
}

orvenlink::State HostedSession::state() const
{
    if (m_resolver != nullptr) {
        return orvenlink::State::Connecting;
    }
    switch (m_session.state()) {
    case ClientSession::State::Idle:
        break;
    case ClientSession::State::Connecting:
        return orvenlink::State::Connecting;
    case ClientSession::State::Connected:
        return orvenlink::State::Connected;
    case ClientSession::State::Reconnecting:
        return orvenlink::State::Reconnecting;
    }
    return orvenlink::State::Idle;
}

orvenlink::Counts HostedSession::counts()
{
    orvenlink::Counts counts;
    const IqReceiver& iq = m_session.iq();
    counts.received = iq.receivedSamples();
    counts.lost = iq.missingSamples();
    counts.late = m_reader.late();
    counts.damaged = iq.damagedDatagrams();
    counts.spectra = m_session.spectrum().receivedFrames();
    counts.brokenSpectra = m_session.spectrum().droppedFrames();
    counts.datagramsLost = m_session.datagramsLost();
    counts.roundTrip = std::chrono::milliseconds(m_session.roundTrip());
    counts.receiveSpeed = m_session.receiveSpeed();
    return counts;
}
