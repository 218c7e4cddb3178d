#pragma once

#include "files/ByteSink.h"

#include <stop_token>

namespace Pelgra {

/// Ends a long write soon after a stop is requested, whatever the encoder in between makes of exceptions. What it
/// passes bytes on to must outlive it, and so must the token.
class StoppableSink final : public ByteSink {
public:
    StoppableSink(ByteSink& sink, const std::stop_token& stop)
        : m_sink(sink)
        , m_stop(stop)
    {
    }
    void write(std::span<const std::byte> bytes) override
    {
        throwIfStopped();
        m_sink.write(bytes);
    }
    void writeAt(std::size_t offset, std::span<const std::byte> bytes) override
    {
        throwIfStopped();
        m_sink.writeAt(offset, bytes);
    }

private:
    void throwIfStopped() const
    {
        if (m_stop.stop_requested())
            throw StorageError();
    }
    ByteSink& m_sink;
    const std::stop_token& m_stop;
};

} // namespace Pelgra
