#pragma once

#include "PelgraCore/ImageLoading.h"
#include "PelgraCore/Models.h"

namespace Pelgra {

/// What is written beside the pixels.
struct EncodeProperties {
    double dpiWidth = 72;
    double dpiHeight = 72;
    double quality = ConversionOptions::defaultQuality; ///< of the lossy formats; clamped to 0 to 1 here
    ImageMetadata metadata;
    /// How many threads one encode may keep busy. Leave 1 where several pictures are encoded at the same time anyway.
    /// The written bytes are the same for any number.
    int threads = 1;
};

} // namespace Pelgra
