#include "images/SvgRendering.h"

#include "codecs/DecodedImage.h"
#include "files/UniqueDescriptor.h"
#include "modules/ModuleLoader.h"
#include "programs/SvgRendererProtocol.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Pelgra {

namespace {

/// The renderer limits its own processor time; this is for one that sleeps, or a busy machine.
constexpr int waitMilliseconds = 9'500;

/// An unnamed file in memory.
UniqueDescriptor makeMemoryFile(const char* name)
{
    UniqueDescriptor descriptor(memfd_create(name, MFD_CLOEXEC));
    if (!descriptor)
        throw DecodeError("SVG: no memory file");
    return descriptor;
}

UniqueDescriptor memoryFileOf(std::span<const std::byte> bytes)
{
    UniqueDescriptor descriptor = makeMemoryFile("pelgra-svg-in");
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor.get(), bytes.data(), bytes.size());
        if (count <= 0 && errno != EINTR)
            throw DecodeError("SVG: no memory");
        bytes = bytes.subspan(static_cast<std::size_t>(count > 0 ? count : 0));
    }
    if (lseek(descriptor.get(), 0, SEEK_SET) != 0)
        throw DecodeError("SVG: no memory file");
    return descriptor;
}

void readFully(int descriptor, std::span<std::byte> bytes, off_t offset)
{
    while (!bytes.empty()) {
        const ssize_t count = pread(descriptor, bytes.data(), bytes.size(), offset);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            throw DecodeError("SVG: the renderer left too little");
        offset += count;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

/// Starts the renderer, silenced, with these as standard input and output.
pid_t start(int input, int output)
{
    const std::string program = (moduleFolder() / "pelgra-svg-renderer").string();
    std::string argument = program;
    char* arguments[] = {argument.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = -1;
    const int error = posix_spawn(&process, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw DecodeError("SVG: the renderer cannot be started");
    return process;
}

void waitFor(pid_t process)
{
    // By number, because not every C library's header can be used from C++.
    const UniqueDescriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd end{handle.get(), POLLIN, 0};
    // An interrupted wait starts again: signals are rare, and the renderer's own limit stands.
    int ready = 0;
    do
        ready = poll(&end, 1, waitMilliseconds);
    while (ready < 0 && errno == EINTR);
    if (ready == 0)
        kill(process, SIGKILL);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) { }
}

/// The result's signature is written last, so it alone tells of success.
RasterImage readResult(int descriptor)
{
    SvgRendererResult result;
    readFully(descriptor, std::as_writable_bytes(std::span(&result, 1)), 0);
    if (result.signature != svgRendererSignature)
        throw DecodeError("SVG: it cannot be drawn");
    std::optional<RasterImage> image = RasterImage::make(result.width, result.height, ColorModel::rgb, true, 8);
    if (!image)
        throw DecodeError("SVG: too large");
    readFully(descriptor, image->pixels, sizeof result);
    return std::move(*image);
}

} // namespace

RasterImage renderSvg(std::span<const std::byte> file)
{
    UniqueDescriptor input = memoryFileOf(file);
    const UniqueDescriptor output = makeMemoryFile("pelgra-svg-out");
    const pid_t process = start(input.get(), output.get());
    input.reset();
    waitFor(process);
    return readResult(output.get());
}

} // namespace Pelgra
