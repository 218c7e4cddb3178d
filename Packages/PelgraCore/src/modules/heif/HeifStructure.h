#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Pelgra {

/// What the file says of an item beside its content.
struct HeifProperty {
    std::string_view type; ///< four letters, such as "ispe"
    std::span<const std::byte> content; ///< of the box
    bool isEssential = false; ///< whoever does not know it must not show the item
};

/// What is left of an item where something is cut off ("clap", ISO/IEC 14496-12, 12.1.4).
struct HeifCut {
    int width = 0;
    int height = 0;
    /// Twice the distance from the middle of the whole to that of the rest.
    std::int64_t right = 0;
    std::int64_t down = 0;
};

/// An item of a HEIF file (ISO/IEC 23008-12), as far as its place among the others goes.
struct HeifItem {
    bool isThere = false; ///< listed, not only referred to
    std::string_view type; ///< four letters, such as "hvc1" or "grid"; empty for old kinds without one
    std::uint64_t pixels = 0; ///< the area its size property claims, before any turn
    /// Quarter turns counterclockwise ("irot") of the decoded picture, where it is not otherwise changed.
    int quarterTurns = 0;
    std::optional<HeifCut> cut; ///< before it is turned
    bool isOtherwiseChanged = false; ///< mirrored, cut or turned several times or in a way that is not known
    std::vector<std::uint32_t> parts; ///< the items it is derived from, in order ("dimg")
    std::vector<std::uint32_t> auxiliaries; ///< transparency, depth and the like that belong to it ("auxl")
    std::span<const std::byte> content; ///< where it is in one piece of the file; else empty
    std::vector<std::uint16_t> properties; ///< counted from 1 in the file's list; the highest bit says essential
    std::size_t entryPlace = 0; ///< in the file: of the entry that lists it, which begins with version and flags
    std::size_t typePlace = 0; ///< in the file, where it has a type
};

/// The items of a file and how they refer to each other. Views point into the file.
class HeifStructure {
public:
    /// Throws DecodeError for what is cut off or contradicts itself.
    explicit HeifStructure(std::span<const std::byte> file);

    /// The item of this number; null where there is none.
    const HeifItem* item(std::uint32_t id) const;
    std::optional<std::uint32_t> primary() const { return m_primary; }
    /// The properties of an item, in its order.
    std::vector<HeifProperty> propertiesOf(const HeifItem& item) const;
    /// The content of the box that begins the file and names its kinds; empty where it does not.
    std::span<const std::byte> fileType() const { return m_fileType; }

    /// Throws DecodeError where an item is derived from itself or from one that is not there, or where the pictures
    /// derived from each other would be decoded without end: the library goes wherever references lead.
    void checkReferences() const;

    /// A copy of the file in which the parts of an item are pictures of their own, the first one the primary, and the
    /// item itself is none: the library opens no picture that is part of another.
    std::vector<std::byte> withPartsApart(std::span<const std::byte> file, std::uint32_t id) const;

private:
    class Reader;

    std::map<std::uint32_t, HeifItem> m_items;
    std::vector<HeifProperty> m_properties;
    std::span<const std::byte> m_fileType;
    std::optional<std::uint32_t> m_primary;
    std::span<const std::byte> m_primaryPlace; ///< where its number stands
    std::vector<std::size_t> m_referencePlaces; ///< of the types of the boxes that hold the references
};

/// A picture put together from tiles of one size, row by row (ISO/IEC 23008-12, 6.6.2.3).
struct HeifGrid {
    int rows = 0;
    int columns = 0;
    int width = 0; ///< of the whole in pixels; the last tiles may reach beyond
    int height = 0;
};

/// What the content of a "grid" item says; none where it is damaged.
std::optional<HeifGrid> heifGridIn(std::span<const std::byte> content);

} // namespace Pelgra
