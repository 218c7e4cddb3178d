#include "CommandLine/Tap.h"

#include <algorithm>
#include <cstdlib>
#include <span>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Pelgra {

bool sendTap(std::string_view wheel)
{
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    const std::string path =
        folder ? std::string(folder) + "/pelgra-tap" : std::string(); // App/TapSocket listens there
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::span<char> place(address.sun_path);
    if (path.empty() || path.size() >= place.size())
        return false;
    std::ranges::copy(path, place.begin());
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0)
        return false;
    const ssize_t sent = sendto(descriptor, wheel.data(), wheel.size(), MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    close(descriptor);
    return sent == static_cast<ssize_t>(wheel.size());
}

} // namespace Pelgra
