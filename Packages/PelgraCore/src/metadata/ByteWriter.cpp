#include "metadata/ByteWriter.h"

namespace Pelgra {

// Not in the header: woven into its callers it makes GCC 14 warn of sizes that cannot be.
ByteWriter& ByteWriter::put(std::span<const std::byte> bytes)
{
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    return *this;
}

} // namespace Pelgra
