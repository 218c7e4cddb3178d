#include "HeifGridWriter.h"

#include "metadata/ByteWriter.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace Pelgra {

namespace {

constexpr std::uint64_t largestFile = std::numeric_limits<std::uint32_t>::max();

ByteWriter numbers()
{
    return ByteWriter(std::endian::big);
}

/// The content of a box that begins with its version and flags.
ByteWriter versioned(std::uint32_t version, std::uint32_t flags = 0)
{
    return numbers().put32(version << 24 | flags);
}

Bytes box(std::string_view type, std::span<const std::byte> content)
{
    return numbers().put32(static_cast<std::uint32_t>(8 + content.size())).put(type).put(content).bytes();
}

bool isSize(const HeifCodedProperty& property)
{
    return property.type == "ispe";
}

bool describesCoding(const HeifCodedProperty& property)
{
    return property.type == "hvcC";
}

/// Says of an auxiliary picture what it is.
bool describesUse(const HeifCodedProperty& property)
{
    return property.type == "auxC";
}

std::vector<HeifCodedProperty> without(std::vector<HeifCodedProperty> properties,
                                       bool (*unwanted)(const HeifCodedProperty&))
{
    std::erase_if(properties, unwanted);
    return properties;
}

/// The content of a box that cuts off what is right of and below a size (14496-12, 12.1.4): the size, and how far its
/// middle is from that of the whole, as fractions.
Bytes topLeft(int width, int height, const HeifGrid& whole)
{
    return numbers()
        .put32(static_cast<std::uint32_t>(width))
        .put32(1)
        .put32(static_cast<std::uint32_t>(height))
        .put32(1)
        .put32(static_cast<std::uint32_t>(width - whole.width))
        .put32(2)
        .put32(static_cast<std::uint32_t>(height - whole.height))
        .put32(2)
        .bytes();
}

} // namespace

HeifGridWriter::HeifGridWriter(const HeifGrid& grid, bool isHalved, std::vector<HeifMetadata> metadata, ByteSink& sink)
    : m_grid(grid)
    , m_width(grid.width)
    , m_height(grid.height)
    , m_tileCount(static_cast<std::uint32_t>(grid.rows * grid.columns))
    , m_metadata(std::move(metadata))
    , m_sink(sink)
{
    if (isHalved) { // 23000-22, 7.3.11.4.2
        m_grid.width += m_grid.width % 2;
        m_grid.height += m_grid.height % 2;
    }
}

void HeifGridWriter::add(const HeifCodedPicture& tile)
{
    if (m_added == 0)
        begin(tile);
    if (tile.colors.properties != m_form.colors.properties || tile.alpha.has_value() != m_form.alpha.has_value()
        || (tile.alpha && tile.alpha->properties != m_form.alpha->properties))
        throw std::runtime_error("HEIF: the tiles are coded in different ways");
    ++m_added;
    append(m_added, tile.colors.data);
    if (tile.alpha)
        append(m_tileCount + m_added, tile.alpha->data);
}

void HeifGridWriter::begin(const HeifCodedPicture& tile)
{
    m_form = tile;
    m_form.colors.data.clear();
    const std::uint32_t colors = addTiles(tile.colors);
    const std::uint32_t alpha = tile.alpha ? addTiles(*tile.alpha) : 0;
    m_primary = addWhole(tile.colors, colors);
    if (tile.alpha) {
        m_form.alpha->data.clear();
        m_references.push_back({"auxl", addWhole(*tile.alpha, alpha), m_primary});
    }
    const auto firstBlock = static_cast<std::uint32_t>(m_items.size()) + 1;
    for (const HeifMetadata& block : m_metadata)
        m_references.push_back({"cdsc", addItem({.type = block.type, .contentType = block.contentType}), m_primary});

    const Bytes head = this->head();
    m_position = head.size();
    m_sink.write(head);
    std::uint32_t number = firstBlock;
    for (const HeifMetadata& block : m_metadata)
        append(number++, block.data);
    m_metadata.clear();
}

std::uint32_t HeifGridWriter::addItem(Item item)
{
    m_items.push_back(std::move(item));
    if (m_items.size() > std::numeric_limits<std::uint16_t>::max())
        throw std::runtime_error("HEIF: too many tiles");
    return static_cast<std::uint32_t>(m_items.size());
}

/// The number of the first.
std::uint32_t HeifGridWriter::addTiles(const HeifCodedItem& tile)
{
    const std::vector<std::uint32_t> properties = associated(without(tile.properties, describesUse));
    const auto first = static_cast<std::uint32_t>(m_items.size()) + 1;
    for (std::uint32_t index = 0; index < m_tileCount; ++index)
        addItem({.type = "hvc1", .isHidden = true, .properties = properties});
    return first;
}

/// What the tiles are put together to: described as they are, but for its size.
std::uint32_t HeifGridWriter::addWhole(const HeifCodedItem& tile, std::uint32_t firstTile)
{
    std::vector<HeifCodedProperty> properties = without(tile.properties, describesCoding);
    for (HeifCodedProperty& property : properties) {
        if (isSize(property))
            property.content = versioned(0)
                                   .put32(static_cast<std::uint32_t>(m_grid.width))
                                   .put32(static_cast<std::uint32_t>(m_grid.height))
                                   .bytes();
    }
    if (m_grid.width != m_width || m_grid.height != m_height)
        properties.push_back({"clap", topLeft(m_width, m_height, m_grid), true});
    const std::uint32_t number =
        addItem({.type = "grid", .properties = associated(properties), .isInHead = true, .size = grid().size()});
    m_references.push_back({"dimg", number, firstTile, m_tileCount});
    return number;
}

/// Lists what is not listed yet.
std::vector<std::uint32_t> HeifGridWriter::associated(const std::vector<HeifCodedProperty>& properties)
{
    constexpr std::uint32_t essential = 0x8000;
    std::vector<std::uint32_t> places;
    for (const HeifCodedProperty& property : properties) {
        const auto isSame = [&](const HeifCodedProperty& other) {
            return other.type == property.type && other.content == property.content;
        };
        auto found = std::find_if(m_properties.begin(), m_properties.end(), isSame);
        if (found == m_properties.end())
            found = m_properties.insert(found, property);
        const auto place = static_cast<std::uint32_t>(found - m_properties.begin()) + 1;
        places.push_back(property.isEssential ? essential | place : place);
    }
    return places;
}

void HeifGridWriter::append(std::uint32_t number, std::span<const std::byte> data)
{
    if (data.size() > largestFile - m_position)
        throw std::runtime_error("HEIF: the file would be too large");
    m_sink.write(data);
    Item& item = m_items[number - 1];
    item.offset = m_position;
    item.size = data.size();
    m_position += data.size();
    m_dataSize += data.size();
}

void HeifGridWriter::finish()
{
    m_sink.writeAt(0, head());
}

/// The data of an item that puts tiles together (23008-12, 6.6.2.3.2).
Bytes HeifGridWriter::grid() const
{
    const auto width = static_cast<std::uint32_t>(m_grid.width), height = static_cast<std::uint32_t>(m_grid.height);
    const bool isLarge = std::max(width, height) > std::numeric_limits<std::uint16_t>::max();
    ByteWriter bytes = numbers().put8(0).put8(isLarge ? 1 : 0);
    bytes.put8(static_cast<std::uint32_t>(m_grid.rows - 1)).put8(static_cast<std::uint32_t>(m_grid.columns - 1));
    return (isLarge ? bytes.put32(width).put32(height) : bytes.put16(width).put16(height)).bytes();
}

/// Everything before the data; always of the same size.
Bytes HeifGridWriter::head() const
{
    const auto count = static_cast<std::uint32_t>(m_items.size());
    ByteWriter entries = versioned(0).put16(count);
    // With 4 bytes for a place and 4 for a size.
    ByteWriter places = versioned(1).put16(0x4400).put16(count);
    ByteWriter associations = versioned(0, 1);
    ByteWriter associated = numbers();
    std::uint32_t described = 0;
    std::uint32_t number = 0;
    for (const Item& item : m_items) {
        ++number;
        ByteWriter entry = versioned(2, item.isHidden ? 1 : 0).put16(number).put16(0).put(item.type).put8(0);
        if (!item.contentType.empty())
            entry.put(item.contentType).put8(0);
        entries.put(box("infe", entry.bytes()));
        places.put16(number).put16(item.isInHead ? 1 : 0).put16(0).put16(1);
        places.put32(static_cast<std::uint32_t>(item.offset)).put32(static_cast<std::uint32_t>(item.size));
        if (item.properties.empty())
            continue;
        ++described;
        associated.put16(number).put8(static_cast<std::uint32_t>(item.properties.size()));
        for (const std::uint32_t property : item.properties)
            associated.put16(property);
    }
    associations.put32(described).put(associated.bytes());
    ByteWriter properties = numbers();
    for (const HeifCodedProperty& property : m_properties)
        properties.put(box(property.type, property.content));
    ByteWriter references = versioned(0);
    for (const Reference& reference : m_references) {
        ByteWriter content = numbers().put16(reference.from).put16(reference.count);
        for (std::uint32_t index = 0; index < reference.count; ++index)
            content.put16(reference.to + index);
        references.put(box(reference.type, content.bytes()));
    }
    const ByteWriter meta =
        versioned(0)
            .put(box("hdlr", versioned(0).put32(0).put("pict").putZeros(13).bytes()))
            .put(box("pitm", versioned(0).put16(m_primary).bytes()))
            .put(box("iloc", places.bytes()))
            .put(box("iinf", entries.bytes()))
            .put(box("iref", references.bytes()))
            .put(box("iprp",
                     numbers().put(box("ipco", properties.bytes())).put(box("ipma", associations.bytes())).bytes()))
            .put(box("idat", grid()));
    return numbers()
        .put(box("ftyp", m_form.fileType))
        .put(box("meta", meta.bytes()))
        .put32(static_cast<std::uint32_t>(8 + m_dataSize))
        .put("mdat")
        .bytes();
}

} // namespace Pelgra
