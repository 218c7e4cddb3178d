#include "App/TapSocket.h"

#include "Support/Logging.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Pelgra {

namespace {

std::optional<sockaddr_un> addressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::span<char> place(address.sun_path);
    if (path.size() >= place.size())
        return std::nullopt;
    std::ranges::copy(path, place.begin());
    return address;
}

/// Whether a process listens there, rather than one having left its socket behind.
bool isHeard(int descriptor, const sockaddr_un& address)
{
    return connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

bool takeName(int descriptor, const sockaddr_un& address)
{
    return bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

} // namespace

TapSocket::TapSocket(QObject* parent)
    : QObject(parent)
{
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    if (!folder)
        return;
    const std::string path = std::string(folder) + "/pelgra-tap"; // CommandLine/Tap sends there
    const std::optional<sockaddr_un> address = addressOf(path);
    m_descriptor = address ? socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0) : -1;
    if (m_descriptor < 0)
        return;
    bool isOurs = takeName(m_descriptor, *address);
    if (!isOurs && errno == EADDRINUSE && !isHeard(m_descriptor, *address)) {
        unlink(path.c_str());
        isOurs = takeName(m_descriptor, *address);
    }
    if (!isOurs) {
        qCInfo(applicationLog, "Taps of other programs are not heard: %s", std::strerror(errno));
        return;
    }
    m_path = path;
    m_notifier = std::make_unique<QSocketNotifier>(m_descriptor, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &TapSocket::read);
}

TapSocket::~TapSocket()
{
    m_notifier.reset();
    if (!m_path.empty())
        unlink(m_path.c_str());
    if (m_descriptor >= 0)
        close(m_descriptor);
}

void TapSocket::read()
{
    std::array<char, 16> word{};
    const ssize_t size = recv(m_descriptor, word.data(), word.size(), 0);
    if (size < 0)
        return;
    const std::string_view kind(word.data(), static_cast<std::size_t>(size));
    qCDebug(dragLog, "Tap heard");
    if (kind == "convert")
        Q_EMIT tapped(WheelKind::convert);
    else if (kind == "tools")
        Q_EMIT tapped(WheelKind::tools);
}

} // namespace Pelgra
