#pragma once

#include "files/ByteSink.h"
#include "HeifCoding.h"
#include "HeifStructure.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace Pelgra {

/// A block that belongs to a picture, as its item holds it.
struct HeifMetadata {
    std::string_view type; ///< four letters
    std::string_view contentType; ///< of a "mime" item
    Bytes data;
};

/// Writes a HEIC file whose picture is put together from tiles, and so is its transparency where the tiles have any
/// (ISO/IEC 14496-12 for boxes, 23008-12 for items and grids, 23000-22 for which sizes a grid may have). The tiles go
/// into the file as they come, behind a head whose size the first of them settles; the places in it are filled in at
/// the end.
class HeifGridWriter {
public:
    /// Of the grid, the last tiles may reach beyond its width and height. Where colours are halved, a grid has even
    /// sides and what is too much is cut off.
    HeifGridWriter(const HeifGrid& grid, bool isHalved, std::vector<HeifMetadata> metadata, ByteSink& sink);

    /// The next tile, row by row. Throws what the sink throws, and std::runtime_error where the tiles are not of one
    /// form or the file would become too large.
    void add(const HeifCodedPicture& tile);

    /// To be called after the last tile. Throws what the sink throws.
    void finish();

private:
    struct Item {
        std::string_view type;
        std::string_view contentType = {};
        bool isHidden = false;
        std::vector<std::uint32_t> properties = {}; ///< as the file associates them with the item
        bool isInHead = false; ///< its data, too
        std::uint64_t offset = 0; ///< of its data in the file, or among that in the head
        std::uint64_t size = 0;
    };
    struct Reference {
        std::string_view type;
        std::uint32_t from = 0;
        std::uint32_t to = 0; ///< the first of them
        std::uint32_t count = 1;
    };

    void begin(const HeifCodedPicture& tile);
    std::uint32_t addItem(Item item);
    std::uint32_t addTiles(const HeifCodedItem& tile);
    std::uint32_t addWhole(const HeifCodedItem& tile, std::uint32_t firstTile);
    std::vector<std::uint32_t> associated(const std::vector<HeifCodedProperty>& properties);
    void append(std::uint32_t number, std::span<const std::byte> data);
    Bytes grid() const;
    Bytes head() const;

    HeifGrid m_grid; ///< before anything is cut off
    int m_width; ///< after that
    int m_height;
    std::uint32_t m_tileCount;
    std::vector<HeifMetadata> m_metadata;
    ByteSink& m_sink;
    HeifCodedPicture m_form; ///< the first tile without its data
    std::uint32_t m_added = 0; ///< tiles
    std::vector<HeifCodedProperty> m_properties;
    std::vector<Item> m_items; ///< numbered from 1
    std::vector<Reference> m_references;
    std::uint32_t m_primary = 0; ///< the number of the whole picture
    std::uint64_t m_position = 0; ///< where in the file the next data go
    std::uint64_t m_dataSize = 0;
};

} // namespace Pelgra
