#pragma once

#include "PelgraCore/RasterImage.h"
#include "pixels/RowSource.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>

namespace Pelgra {

/// The pixels of an intact PNG without interlacing, palette, transparent colour or depths below 8, in half the time the
/// PNG library takes. None for every other file, whatever the reason: the library decides then.
std::optional<RasterImage> decodePlainPng(std::span<const std::byte> file);

/// The same row by row. The file must outlive this.
class PlainPngRows {
public:
    /// With a thread that inflates ahead, where that is worth it, or without. Null for files that are not plain.
    static std::unique_ptr<PlainPngRows> open(std::span<const std::byte> file, bool withThread);
    PlainPngRows() = default;
    PlainPngRows(const PlainPngRows&) = delete;
    PlainPngRows& operator=(const PlainPngRows&) = delete;
    virtual ~PlainPngRows() = default;

    /// Without a profile.
    virtual const RasterForm& form() const = 0;
    /// The next row, valid until the next call; empty where the file proves not to be plain after all, and when nothing
    /// is left. The rows up to there are right.
    virtual std::span<const std::byte> next() = 0;
    /// After the last row: whether the file ends as it should.
    virtual bool endsWell() = 0;
};

} // namespace Pelgra
