// Any picture, with all that happens to it before it is encoded.
#include "FuzzInput.h"

#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"

#include <algorithm>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Pelgra;
    const std::string_view start(reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 4096));
    if (start.find("<svg") != start.npos)
        return -1; // drawn by a program of its own; see svg.cpp
    const FuzzInput input(data, size);
    try {
        ImageLoader::load(input.path()).upright(true);
    } catch (const EngineError&) {
    }
    return 0;
}
