#pragma once

#include "files/ByteSink.h"
#include "HeifHandles.h"
#include "PelgraCore/RasterImage.h"
#include "pixels/RowSource.h"

#include <optional>
#include <string>
#include <vector>

/// Pictures coded by the library, as HEVC.
namespace Pelgra {

struct HeifCoding {
    double quality = 0; ///< 0 to 1
    bool isTile = false; ///< one of several at once, so each on a single thread

    /// Whether differences of colour are coded for squares of four pixels.
    bool isHalved() const { return quality < 0.95; }
};

/// A context that holds the coded picture as its only one, and the picture's handle in it, which is good for nothing
/// but to add metadata: for some pictures the library's assertions would end the process. The rows are released before
/// the encoder, which takes several times as much memory, begins. Throws std::runtime_error and std::bad_alloc.
struct HeifCodedContext {
    HeifContext context;
    HeifImageHandle handle;
};
HeifCodedContext codedContext(RowSource& rows, const HeifCoding& coding);

/// Writes the file that a context stands for. Throws std::runtime_error, and what the sink throws.
void writeHeif(heif_context& context, ByteSink& sink);

/// A box that describes an item.
struct HeifCodedProperty {
    std::string type; ///< four letters
    Bytes content;
    bool isEssential = false;

    bool operator==(const HeifCodedProperty&) const = default;
};

struct HeifCodedItem {
    Bytes data;
    std::vector<HeifCodedProperty> properties; ///< as the library's own writer orders them
};

/// A picture taken out of the file that the library makes of it: the library has no call that gives it alone.
struct HeifCodedPicture {
    Bytes fileType; ///< the content of the file's first box
    HeifCodedItem colors;
    std::optional<HeifCodedItem> alpha;
};
HeifCodedPicture codedPicture(RowSource& rows, const HeifCoding& coding);

} // namespace Pelgra
