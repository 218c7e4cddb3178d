#include "isolation/Channel.h"

#include "isolation/Messages.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <sys/socket.h>

namespace Pelgra {

namespace {

union alignas(cmsghdr) ControlBuffer {
    std::array<char, CMSG_SPACE(sizeof(int) * 4)> bytes;
    cmsghdr alignment;
};

/// The first descriptor that came along; the others are closed.
UniqueDescriptor descriptorOf(msghdr& message)
{
    UniqueDescriptor first;
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t index = 0; index < count; ++index) {
            int raw = -1;
            std::memcpy(&raw, CMSG_DATA(header) + index * sizeof raw, sizeof raw);
            UniqueDescriptor descriptor(raw);
            if (!first)
                first = std::move(descriptor);
        }
    }
    return first;
}

} // namespace

Channel::Channel(UniqueDescriptor socket)
    : m_socket(std::move(socket))
{
}

std::optional<std::pair<Channel, Channel>> Channel::pair()
{
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return std::nullopt;
    return std::pair(Channel(UniqueDescriptor(ends[0])), Channel(UniqueDescriptor(ends[1])));
}

Channel::Sent Channel::send(std::span<const std::byte> bytes, int passedOn, bool waits) const noexcept
{
    iovec content{const_cast<std::byte*>(bytes.data()), bytes.size()};
    ControlBuffer control{};
    msghdr message{};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    if (passedOn >= 0) {
        message.msg_control = control.bytes.data();
        message.msg_controllen = CMSG_SPACE(sizeof passedOn);
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof passedOn);
        std::memcpy(CMSG_DATA(header), &passedOn, sizeof passedOn);
    }
    for (;;) {
        if (sendmsg(m_socket.get(), &message, MSG_NOSIGNAL | (waits ? 0 : MSG_DONTWAIT)) >= 0)
            return Sent::whole;
        if (errno == EAGAIN || errno == EWOULDBLOCK)
            return Sent::notNow;
        if (errno != EINTR)
            return Sent::never;
    }
}

std::optional<Channel::Received> Channel::receive() const
{
    Bytes bytes(packetLimit);
    iovec content{bytes.data(), bytes.size()};
    ControlBuffer control{};
    msghdr message{};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes.data();
    message.msg_controllen = control.bytes.size();
    ssize_t size = -1;
    do
        size = recvmsg(m_socket.get(), &message, MSG_CMSG_CLOEXEC);
    while (size < 0 && errno == EINTR);
    if (size < 0)
        return std::nullopt;
    Received received{{}, descriptorOf(message)};
    if (size == 0 || (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0)
        return std::nullopt;
    bytes.resize(static_cast<std::size_t>(size));
    received.bytes = std::move(bytes);
    return received;
}

} // namespace Pelgra
