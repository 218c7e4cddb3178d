// A drawing, in the process that would be a program of its own.
#include "FuzzInput.h"

#include "codecs/DecodedImage.h"
#include "modules/ModuleLoader.h"
#include "modules/svg/SvgModule.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Pelgra;
    try {
        module<SvgModule>("svg").render(bytesOf(data, size));
    } catch (const DecodeError&) {
    }
    return 0;
}
