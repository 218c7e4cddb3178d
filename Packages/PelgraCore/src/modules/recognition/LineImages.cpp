#include <cstddef>

#include <dlfcn.h>

#include <leptonica/allheaders.h>

/// Tesseract keeps the picture of each line it is about to read as a PNG file in memory, and reads it back at once: a
/// twelfth of the time of a page. It calls Leptonica for that, and finds this function first, since the module stands
/// before the libraries it was linked with. The reader goes by what the bytes look like, so Leptonica's own form of
/// bare pixels serves as well. Where the dynamic loader decides otherwise, only the time is lost.
extern "C" [[gnu::visibility("default")]] l_ok pixWriteMem(l_uint8** data, std::size_t* size, Pix* picture,
                                                           l_int32 format)
{
    if (format == IFF_PNG)
        return pixWriteMemSpix(data, size, picture);
    using Write = l_ok(l_uint8**, std::size_t*, Pix*, l_int32);
    static const auto original = reinterpret_cast<Write*>(dlsym(RTLD_NEXT, "pixWriteMem"));
    return original ? original(data, size, picture, format) : 1; // 1 is failure
}
