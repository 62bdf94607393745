#include <orvenlink/Client.h>

#include <cstdlib>
#include <iostream>

// A host that ends in the midst of a session, without a thought for it: PLACE IDENTIFICATOR.
int main(int argc, char** argv)
{
    auto* const client = new orvenlink::Client;
    if (argc != 3 || client->connect(argv[1], argv[2])) {
        return 2;
    }
    orvenlink::Sample sample;
    std::cout << client->read(&sample, 1, orvenlink::milliseconds(60'000)).count << std::endl;
    std::exit(0);
}
