// Draws the SVG on its standard input under limits and leaves the pixels on its standard output, see
// SvgRendererProtocol.h. Started by the library alone.
#include "modules/ModuleLoader.h"
#include "modules/svg/SvgModule.h"
#include "programs/SvgRendererProtocol.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <exception>
#include <span>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pelgra {

namespace {

void setLimit(int resource, rlim_t value)
{
    const rlimit limit{value, value};
    setrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
}

/// A drawing made by a person takes a fraction of a second. The largest canvas is a third of the memory.
void limitSelf()
{
    constexpr rlim_t processorSeconds = 6, memoryBytes = rlim_t{768} << 20;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setLimit(RLIMIT_CORE, 0);
    setLimit(RLIMIT_CPU, processorSeconds);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    setLimit(RLIMIT_DATA, memoryBytes);
#else
    static_cast<void>(memoryBytes);
#endif
}

Bytes readInput()
{
    struct stat status{};
    if (fstat(STDIN_FILENO, &status) != 0 || status.st_size <= 0)
        throw std::runtime_error("no input");
    Bytes bytes(static_cast<std::size_t>(status.st_size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = read(STDIN_FILENO, bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            throw std::runtime_error("the input ends early");
        filled += static_cast<std::size_t>(count);
    }
    return bytes;
}

void writeAt(std::span<const std::byte> bytes, off_t offset)
{
    while (!bytes.empty()) {
        const ssize_t count = pwrite(STDOUT_FILENO, bytes.data(), bytes.size(), offset);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            throw std::runtime_error("the output cannot be written");
        offset += count;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void run()
{
    const RasterImage image = module<SvgModule>("svg").render(readInput());
    const SvgRendererResult result{svgRendererSignature, image.width, image.height};
    writeAt(image.pixels, sizeof result);
    writeAt(std::as_bytes(std::span(&result, 1)), 0);
}

} // namespace

} // namespace Pelgra

int main()
{
    try {
        Pelgra::limitSelf();
        Pelgra::run();
        return 0;
    } catch (const std::exception&) {
        return 1;
    }
}
