#include "modules/rendering/WorkAccount.h"
#include "Override.h"

#include <cstdint>

#include <openjpeg.h>

/// The JPEG 2000 decoder takes its memory from the system, bypassing the account: four bytes for each sample the header
/// claims, however short the data. This function stands between MuPDF and the decoder, the only place where the header
/// is known and nothing has been allocated yet. Made for MuPDF 1.21 and 1.25, which call the function once before they
/// decode.
PELGRA_DECLARE_OVERRIDE(opj_read_header, decltype(opj_read_header))

namespace {

constexpr std::uint64_t bytesPerSample = 4;

bool fitsMemory(const opj_image_t& image)
{
    std::uint64_t samples = 0;
    for (OPJ_UINT32 index = 0; index < image.numcomps; ++index)
        samples += std::uint64_t{image.comps[index].w} * image.comps[index].h;
    return samples <= Pelgra::Rendering::WorkAccount::memoryLimit / bytesPerSample;
}

} // namespace

OPJ_BOOL PELGRA_OVERRIDE(opj_read_header)(opj_stream_t* stream, opj_codec_t* codec, opj_image_t** image)
{
    if (!PELGRA_OVERRIDDEN(opj_read_header)(stream, codec, image))
        return OPJ_FALSE;
    if (fitsMemory(**image))
        return OPJ_TRUE;
    if (auto* const account = Pelgra::Rendering::WorkAccount::current())
        account->noteRefusal();
    // The caller frees an image only when told of success.
    opj_image_destroy(*image);
    *image = nullptr;
    return OPJ_FALSE;
}
