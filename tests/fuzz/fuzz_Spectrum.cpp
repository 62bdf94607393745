#include "Client/SpectrumReceiver.h"
#include "Network/Socket/FFTSocket.h"
#include "fuzz/FuzzTarget.h"
#include "support/Wire.h"

using FuzzTarget::expect;

namespace
{

// What the client asks for: a frame of one packet, and one of two.
const SpectrumRange kSmall{0, 512, 20, 512};
const SpectrumRange kLarge{-10, 600, 300, 1024};

/// A client's receiving side of the spectrum stream.
class Receiver
{
public:
    Receiver()
    {
        m_fftSocket.setCallback([this](const QVector<qint16>& values) { spectrum.receive(values); });
        QObject::connect(&spectrum, &SpectrumReceiver::frameReceived, &spectrum,
                         [this](const SpectrumFrame& frame) { take(frame); });
    }

    bool receive(QByteArray datagram)
    {
        return m_fftSocket.readyRead(datagram, QHostAddress(QHostAddress::LocalHost), 1);
    }

    void receive(const QVector<qint16>& values) { receive('\4' + Wire::block(values)); }

    SpectrumReceiver spectrum;
    SpectrumFrame last;

private:
    void take(const SpectrumFrame& frame)
    {
        ++m_frames;
        expect(frame.range == kSmall || frame.range == kLarge, "a frame answers what was asked");
        expect(frame.decibels.size() == frame.range.dataSize, "a frame is whole");
        expect(m_frames == spectrum.receivedFrames(), "frames are counted");
        last = frame;
    }

    FFTSocket m_fftSocket{FuzzTarget::socket()};
    qint64 m_frames = 0;
};

} // namespace

/// Datagrams at a client that receives spectra. When a second passes, it asks for another range. A second
/// client gets each plain block compressed: so damage to blocks comes to lie within compressed ones too, and
/// both have to receive the same.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto arrivals = FuzzTarget::arrivals(data, size);
    Receiver receiver;
    Receiver twin;
    bool isLarge = false;
    receiver.spectrum.setRange(kSmall);
    twin.spectrum.setRange(kSmall);
    for (const FuzzTarget::Arrival& arrival : arrivals) {
        if (arrival.isLate) {
            isLarge = !isLarge;
            receiver.spectrum.setRange(isLarge ? kLarge : kSmall);
            twin.spectrum.setRange(isLarge ? kLarge : kSmall);
        }
        const QByteArray& datagram = arrival.datagram;
        if (!Socket::isOffered(datagram.size())) {
            continue;
        }
        const bool isSpectrum = Wire::type(datagram) == 4 || Wire::type(datagram) == 5;
        expect(receiver.receive(datagram) == isSpectrum, "spectra are taken, and nothing else");
        twin.receive(Wire::type(datagram) == 4 ? '\5' + qCompress(datagram.mid(1)) : datagram);
        expect(receiver.spectrum.receivedFrames() == twin.spectrum.receivedFrames() &&
                   receiver.spectrum.droppedFrames() == twin.spectrum.droppedFrames(),
               "compression makes no difference");
    }
    expect(receiver.spectrum.receivedFrames() + receiver.spectrum.droppedFrames() <= arrivals.size(),
           "a frame takes a header");

    receiver.spectrum.setRange(kSmall);
    receiver.receive({32527, 20, 0});
    const qint64 before = receiver.spectrum.receivedFrames();
    receiver.receive(QVector<qint16>(20, 400));
    receiver.receive({32527, 20, 0});
    expect(receiver.spectrum.receivedFrames() == before + 1, "a frame is still received");
    expect(receiver.last.range == kSmall && receiver.last.decibels == QVector<float>(20, -100.0F),
           "it is received as it was sent");
    receiver.receive(QVector<qint16>(10, 400));
    receiver.receive(QVector<qint16>(10, 400));
    receiver.receive({32527, 20, 0});
    expect(receiver.spectrum.receivedFrames() == before + 1, "a frame in other pieces is dropped");
    return 0;
}
