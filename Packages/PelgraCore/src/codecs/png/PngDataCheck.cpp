#include "codecs/png/PngDataCheck.h"

#include <cstdint>
#include <memory>
#include <vector>

#include <isa-l/igzip_lib.h>

namespace Pelgra {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} << 10;

/// Looks at the filter bytes of rows that come in pieces.
class RowCheck {
public:
    RowCheck(std::size_t rowBytes, std::size_t rowCount)
        : m_pitch(rowBytes + 1)
        , m_left(m_pitch * rowCount)
    {
    }

    bool take(std::span<const std::uint8_t> bytes)
    {
        if (bytes.size() > m_left)
            return false;
        for (std::size_t at = m_untilFilter; at < bytes.size(); at += m_pitch)
            if (bytes[at] > 4)
                return false;
        const std::size_t beyond = bytes.size() > m_untilFilter ? (bytes.size() - m_untilFilter) % m_pitch : 0;
        m_untilFilter = bytes.size() <= m_untilFilter ? m_untilFilter - bytes.size() : (m_pitch - beyond) % m_pitch;
        m_left -= bytes.size();
        return true;
    }

    bool isComplete() const { return m_left == 0; }

private:
    std::size_t m_pitch;
    std::size_t m_left; ///< bytes yet to come
    std::size_t m_untilFilter = 0; ///< bytes before the next filter byte
};

} // namespace

bool isSoundPngData(std::span<const std::span<const std::byte>> parts, std::size_t rowBytes, std::size_t rowCount)
{
    const auto state = std::make_unique<inflate_state>();
    isal_inflate_init(state.get());
    state->crc_flag = ISAL_ZLIB; // reads the header and checks the sum
    std::vector<std::uint8_t> buffer(bufferSize);
    RowCheck rows(rowBytes, rowCount);
    for (const auto& part : parts) {
        state->next_in = const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(part.data()));
        state->avail_in = static_cast<std::uint32_t>(part.size());
        bool isBufferFull = false;
        while (state->avail_in > 0 || isBufferFull) {
            if (state->block_state == ISAL_BLOCK_FINISH) {
                if (state->avail_in > 0)
                    return false; // something follows the end
                break;
            }
            state->next_out = buffer.data();
            state->avail_out = static_cast<std::uint32_t>(buffer.size());
            if (isal_inflate(state.get()) != ISAL_DECOMP_OK
                || !rows.take(std::span(buffer).first(buffer.size() - state->avail_out)))
                return false;
            isBufferFull = state->avail_out == 0;
        }
    }
    return state->block_state == ISAL_BLOCK_FINISH && rows.isComplete();
}

} // namespace Pelgra
