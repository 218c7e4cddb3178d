#include "TiffFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Pelgra {

namespace {

TiffMemory& memoryOf(thandle_t handle)
{
    return *static_cast<TiffMemory*>(handle);
}

tmsize_t readBytes(thandle_t handle, void* buffer, tmsize_t size)
{
    TiffMemory& memory = memoryOf(handle);
    if (size <= 0 || memory.position >= memory.bytes.size())
        return 0;
    const auto count = std::min<std::uint64_t>(static_cast<std::uint64_t>(size), memory.bytes.size() - memory.position);
    std::memcpy(buffer, memory.bytes.data() + memory.position, static_cast<std::size_t>(count));
    memory.position += count;
    return static_cast<tmsize_t>(count);
}

toff_t seekTo(thandle_t handle, toff_t offset, int whence)
{
    TiffMemory& memory = memoryOf(handle);
    memory.position = whence == SEEK_CUR ? memory.position + offset
        : whence == SEEK_END             ? memory.bytes.size() + offset
                                         : offset;
    return memory.position;
}

int mapBytes(thandle_t handle, void** base, toff_t* size)
{
    // The library only reads the mapping of a file that is opened for reading.
    *base = const_cast<std::byte*>(memoryOf(handle).bytes.data());
    *size = memoryOf(handle).bytes.size();
    return 1;
}

int keepSilent(TIFF*, void*, const char*, const char*, va_list)
{
    return 1; // dealt with; the process-wide handler is not called
}

struct OptionsDeleter {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

} // namespace

TiffFile::TiffFile(std::span<const std::byte> bytes)
    : m_memory{bytes, 0}
{
    const std::unique_ptr<TIFFOpenOptions, OptionsDeleter> options(TIFFOpenOptionsAlloc());
    if (!options)
        throw std::bad_alloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(RasterImage::pixelByteLimit));
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepSilent, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), keepSilent, nullptr);
    m_file.reset(TIFFClientOpenExt(
        "memory", "r", &m_memory, readBytes, [](thandle_t, void*, tmsize_t) -> tmsize_t { return -1; }, seekTo,
        [](thandle_t) { return 0; }, [](thandle_t handle) -> toff_t { return memoryOf(handle).bytes.size(); }, mapBytes,
        [](thandle_t, void*, toff_t) {}, options.get()));
    if (!m_file)
        throw DecodeError("not a TIFF file");
}

std::uint32_t TiffFile::number(std::uint32_t tag, std::uint32_t fallback) const
{
    std::uint32_t value = 0;
    return TIFFGetField(get(), tag, &value) == 1 ? value : fallback;
}

std::uint16_t TiffFile::shortNumber(std::uint32_t tag, std::uint16_t fallback) const
{
    std::uint16_t value = 0;
    return TIFFGetFieldDefaulted(get(), tag, &value) == 1 ? value : fallback;
}

} // namespace Pelgra
