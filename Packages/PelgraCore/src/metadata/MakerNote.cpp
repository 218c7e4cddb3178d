#include "metadata/MakerNote.h"

#include "metadata/ByteWriter.h"
#include "metadata/ExifStructure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace Pelgra::MakerNote {

namespace {

constexpr std::size_t fieldSize = 12;
/// The bytes that one maker appends to its notes.
constexpr std::int64_t longestFooter = 8;

/// A value that does not fit into its field.
struct OuterValue {
    std::size_t offsetPlace = 0; ///< of its offset, in the data
    std::int64_t offset = 0;
    std::int64_t size = 0;
};

struct Note {
    std::endian order = std::endian::little;
    std::int64_t start = 0, end = 0; ///< in the data
    std::int64_t directoryEnd = 0; ///< in the data, behind the link to another directory
    std::vector<OuterValue> values;

    /// Whether all values lie behind the directory and within the note when their offsets count from `base`.
    bool holdsValuesFrom(std::int64_t base) const
    {
        // Some makers leave out the link.
        const std::int64_t earliest = directoryEnd - 4;
        return std::all_of(values.begin(), values.end(), [&](const OuterValue& value) {
            return base + value.offset >= earliest && base + value.offset + value.size <= end;
        });
    }

    /// What has to be added to the offsets, if the values stand one behind the other from the directory to the end.
    std::optional<std::int64_t> correction() const
    {
        std::int64_t first = std::numeric_limits<std::int64_t>::max();
        std::int64_t last = 0;
        for (const OuterValue& value : values) {
            first = std::min(first, value.offset);
            last = std::max(last, value.offset + value.size);
        }
        const std::int64_t shift = directoryEnd - first;
        const bool endsAtEnd = last + shift <= end && last + shift + longestFooter >= end;
        return endsAtEnd && holdsValuesFrom(shift) ? std::optional(shift) : std::nullopt;
    }
};

/// The directory that begins so many bytes into the note; none where the bytes are none.
std::optional<Note> directoryAt(std::size_t headerSize, std::span<const std::byte> exif, Note note)
{
    const std::size_t start = static_cast<std::size_t>(note.start) + headerSize;
    const auto end = static_cast<std::size_t>(note.end);
    if (start + 2 > end)
        return std::nullopt;
    const std::size_t count = read16(exif, start, note.order);
    if (count == 0 || start + 2 + count * fieldSize > end)
        return std::nullopt;
    note.directoryEnd = static_cast<std::int64_t>(start + 2 + count * fieldSize + 4);
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t at = start + 2 + index * fieldSize;
        const std::size_t typeSize = ExifStructure::sizeOfType(read16(exif, at + 2, note.order));
        const auto size = static_cast<std::int64_t>(typeSize * read32(exif, at + 4, note.order));
        if (typeSize == 0)
            return std::nullopt;
        if (size > 4)
            note.values.push_back({at + 8, read32(exif, at + 8, note.order), size});
    }
    return note.values.empty() ? std::nullopt : std::optional(note);
}

/// The note with its directory, if it is one; without values where it is none.
std::optional<Note> noteIn(std::span<const std::byte> exif)
{
    constexpr std::array<std::uint16_t, 1> toPhotoDirectory{0x8769};
    constexpr std::uint16_t makerNoteTag = 0x927C;
    const std::optional<ExifStructure::Field> field = ExifStructure::fieldBehind(toPhotoDirectory, makerNoteTag, exif);
    if (!field || field->count <= 4)
        return std::nullopt;
    Note note;
    note.order = ExifStructure::mainDirectory(exif)->order;
    const std::span<const std::byte> bytes = ExifStructure::valueOf(*field, exif, note.order);
    note.start = bytes.data() - exif.data();
    note.end = note.start + static_cast<std::int64_t>(bytes.size());
    // The maker's name in front of the directory, if any, takes so many bytes.
    constexpr std::array<std::size_t, 6> headerSizes{0, 6, 8, 10, 12, 14};
    for (const std::size_t size : headerSizes) {
        if (std::optional<Note> found = directoryAt(size, exif, note))
            return found;
    }
    return note;
}

} // namespace

Kind kindIn(std::span<const std::byte> exif)
{
    const std::optional<Note> note = noteIn(exif);
    if (!note)
        return Kind::none;
    if (note->values.empty() || note->holdsValuesFrom(note->start))
        return Kind::closed;
    return note->holdsValuesFrom(0) ? Kind::open : Kind::broken;
}

Bytes withOffsetsRestored(std::span<const std::byte> exif)
{
    Bytes restored(exif.begin(), exif.end());
    if (kindIn(exif) != Kind::broken)
        return restored;
    const std::optional<Note> note = noteIn(exif);
    const std::optional<std::int64_t> correction = note->correction();
    if (!correction)
        return restored;
    for (const OuterValue& value : note->values) {
        const Bytes offset =
            ByteWriter(note->order).put32(static_cast<std::uint32_t>(value.offset + *correction)).bytes();
        std::copy(offset.begin(), offset.end(), restored.begin() + static_cast<std::ptrdiff_t>(value.offsetPlace));
    }
    return restored;
}

} // namespace Pelgra::MakerNote
