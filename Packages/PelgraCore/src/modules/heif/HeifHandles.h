#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <libheif/heif.h>

/// Owners of the library's objects.
namespace Pelgra {

struct HeifDeleter {
    void operator()(heif_context* context) const { heif_context_free(context); }
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
    void operator()(heif_image* image) const { heif_image_release(image); }
    void operator()(heif_encoder* encoder) const { heif_encoder_release(encoder); }
    void operator()(heif_color_profile_nclx* profile) const { heif_nclx_color_profile_free(profile); }
};

using HeifContext = std::unique_ptr<heif_context, HeifDeleter>;
using HeifImageHandle = std::unique_ptr<heif_image_handle, HeifDeleter>;
using HeifImage = std::unique_ptr<heif_image, HeifDeleter>;
using HeifEncoder = std::unique_ptr<heif_encoder, HeifDeleter>;
using HeifColorCodes = std::unique_ptr<heif_color_profile_nclx, HeifDeleter>;

/// Throws the given error type where the library reports a failure.
template <typename Error>
void checkHeif(const heif_error& error)
{
    if (error.code != heif_error_Ok)
        throw Error(error.message ? error.message : "libheif failed");
}

} // namespace Pelgra
