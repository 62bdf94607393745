// Shows how strong the signals of a server's receiver are, around the frequency that it is tuned to, for five
// seconds: of the first server on the local network, or of the one that the arguments name, ADDRESS@HOST:PORT
// and identificator.
#include <orvenlink/Client.h>
#include <orvenlink/Finder.h>

#include <cmath>
#include <iostream>

int main(int argc, char** argv)
{
    std::string server = argc > 2 ? argv[1] : "";
    std::string identificator = argc > 2 ? argv[2] : "";
    if (server.empty()) {
        const auto heard = orvenlink::Finder().servers();
        if (heard.empty()) {
            std::cerr << "no server is heard on the local network\n";
            return 1;
        }
        server = heard.front().place();
        identificator = heard.front().identificator;
    }
    orvenlink::Client client;
    if (const orvenlink::Error error = client.connect(server, identificator)) {
        std::cerr << error.text << '\n';
        return 1;
    }
    client.discard();
    std::cout << client.receiver().name << " at " << client.receiver().frequency << " Hz\n";
    std::vector<std::complex<float>> samples(static_cast<std::size_t>(client.sampleRate() / 4));
    for (int i = 0; i < 20; ++i) {
        const orvenlink::Read read =
            client.read(samples.data(), samples.size(), orvenlink::milliseconds(1'000));
        double power = 0.0;
        for (std::size_t n = 0; n < read.count; ++n) {
            power += std::norm(samples[n]);
        }
        std::cout << read.count << " samples, " << read.lost << " lost before, "
                  << 10.0 * std::log10(power / static_cast<double>(read.count)) << " dBFS\n";
    }
}
