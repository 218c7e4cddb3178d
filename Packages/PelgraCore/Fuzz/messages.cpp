// What a worker and the process above it say to each other: whoever has taken over the one must not reach the other.
#include "FuzzInput.h"

#include "isolation/Messages.h"
#include "isolation/PictureFile.h"

#include <cstdlib>

namespace {

using namespace Pelgra;

/// What was understood is said again in the same way; else the two sides could mean different things.
template <typename Message>
void readAndRepeat(std::span<const std::byte> bytes)
{
    try {
        const Bytes said = Message::decoded(bytes).encoded();
        if (Message::decoded(said).encoded() != said)
            std::abort();
    } catch (const ProtocolError&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    constexpr std::size_t mostPixels = 1 << 16;
    switch (data[0] % 3) {
    case 0:
        readAndRepeat<Task>(bytesOf(data + 1, size - 1));
        break;
    case 1:
        readAndRepeat<ReportPacket>(bytesOf(data + 1, size - 1));
        break;
    default: {
        const FuzzInput file(data + 1, size - 1);
        readPicture(file.descriptor(), mostPixels);
    }
    }
    return 0;
}
