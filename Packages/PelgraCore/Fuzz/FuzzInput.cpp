#include "FuzzInput.h"

#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace Pelgra {

FuzzInput::FuzzInput(const std::uint8_t* data, std::size_t size)
    : m_descriptor(memfd_create("input", MFD_CLOEXEC))
    , m_path("/proc/self/fd/" + std::to_string(m_descriptor))
{
    if (m_descriptor < 0 || write(m_descriptor, data, size) != static_cast<ssize_t>(size))
        std::abort();
}

FuzzInput::~FuzzInput()
{
    close(m_descriptor);
}

} // namespace Pelgra
