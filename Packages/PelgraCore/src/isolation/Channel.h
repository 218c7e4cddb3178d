#pragma once

#include "files/UniqueDescriptor.h"
#include "PelgraCore/RasterImage.h"

#include <optional>
#include <span>
#include <utility>

namespace Pelgra {

/// One end of a socket of packets (SOCK_SEQPACKET), each whole or not at all, with one descriptor or none.
class Channel {
public:
    struct Received {
        Bytes bytes;
        UniqueDescriptor descriptor;
    };

    explicit Channel(UniqueDescriptor socket);

    /// Two connected ends, or none.
    static std::optional<std::pair<Channel, Channel>> pair();

    int descriptor() const { return m_socket.get(); }

    enum class Sent { whole, notNow, never };
    /// Safe from several threads. Without `waits` it may say notNow.
    Sent send(std::span<const std::byte> bytes, int passedOn = -1, bool waits = true) const noexcept;

    /// The next packet; waits for it. None at the end, or where the packet was cut off. Descriptors that come unasked
    /// for, beyond one, are closed.
    std::optional<Received> receive() const;

private:
    UniqueDescriptor m_socket;
};

} // namespace Pelgra
