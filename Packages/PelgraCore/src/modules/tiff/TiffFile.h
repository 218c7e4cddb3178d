#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include <tiffio.h>

namespace Pelgra {

/// The bytes the library reads and where it is in them.
struct TiffMemory {
    std::span<const std::byte> bytes;
    std::uint64_t position = 0;
};

struct TiffDeleter {
    void operator()(TIFF* file) const { TIFFClose(file); }
};

/// A TIFF file in memory, opened for reading, silent on standard error and with a limit on what the library may
/// allocate at once.
class TiffFile {
public:
    /// Throws DecodeError.
    explicit TiffFile(std::span<const std::byte> bytes);
    TiffFile(const TiffFile&) = delete;
    TiffFile& operator=(const TiffFile&) = delete;

    TIFF* get() const { return m_file.get(); }

    /// A number of the current page, or the fallback where the tag is absent.
    std::uint32_t number(std::uint32_t tag, std::uint32_t fallback) const;
    /// The same for tags the library holds in 16 bits; its defaults apply.
    std::uint16_t shortNumber(std::uint32_t tag, std::uint16_t fallback) const;

private:
    TiffMemory m_memory; // before the file, which reads from it
    std::unique_ptr<TIFF, TiffDeleter> m_file;
};

} // namespace Pelgra
