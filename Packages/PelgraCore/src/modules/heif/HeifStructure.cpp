#include "HeifStructure.h"

#include "codecs/DecodedImage.h"

#include <algorithm>
#include <array>
#include <limits>

namespace Pelgra {

namespace {

using ByteSpan = std::span<const std::byte>;

/// No real picture is derived from one that is derived from one … any deeper, in more pieces, or from more pixels.
constexpr int depthLimit = 8;
constexpr std::uint64_t decodingLimit = 10'000;
constexpr std::uint64_t pixelLimit = std::uint64_t{1} << 29;

/// In the entries that give an item its properties.
constexpr std::uint16_t essential = 0x8000;

[[noreturn]] void fail()
{
    throw DecodeError("HEIF: damaged structure");
}

/// Reads numbers, most significant byte first, from the front of some bytes.
class Cursor {
public:
    explicit Cursor(ByteSpan bytes)
        : m_rest(bytes)
    {
    }

    bool isAtEnd() const { return m_rest.empty(); }
    ByteSpan rest() const { return m_rest; }

    ByteSpan take(std::uint64_t size)
    {
        if (size > m_rest.size())
            fail();
        const ByteSpan taken = m_rest.first(static_cast<std::size_t>(size));
        m_rest = m_rest.subspan(taken.size());
        return taken;
    }

    /// A number of 0 to 8 bytes.
    std::uint64_t number(std::size_t size)
    {
        std::uint64_t value = 0;
        for (const std::byte byte : take(size))
            value = value << 8 | std::to_integer<std::uint64_t>(byte);
        return value;
    }

    std::uint32_t small(std::size_t size) { return static_cast<std::uint32_t>(number(size)); }

    std::string_view letters()
    {
        const ByteSpan bytes = take(4);
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

private:
    ByteSpan m_rest;
};

/// Calls visit(type, content) for each box.
template <typename Visit>
void forEachBox(ByteSpan bytes, Visit&& visit)
{
    for (Cursor cursor(bytes); cursor.rest().size() >= 8;) {
        std::uint64_t size = cursor.number(4);
        const std::string_view type = cursor.letters();
        std::uint64_t header = 8;
        if (size == 1) {
            size = cursor.number(8);
            header = 16;
        }
        if (size != 0 && size < header)
            fail();
        // What is cut off at the end of the file may still hold what is needed.
        const std::uint64_t length =
            size == 0 ? cursor.rest().size() : std::min<std::uint64_t>(size - header, cursor.rest().size());
        visit(type, cursor.take(length));
    }
}

} // namespace

class HeifStructure::Reader {
public:
    Reader(ByteSpan file, HeifStructure& structure)
        : m_file(file)
        , m_structure(structure)
    {
    }

    void read()
    {
        forEachBox(m_file, [&](std::string_view type, ByteSpan content) {
            if (type == "meta")
                readMeta(content);
            else if (type == "ftyp" && m_structure.m_fileType.empty())
                m_structure.m_fileType = content;
        });
    }

private:
    void readMeta(ByteSpan content)
    {
        Cursor meta(content);
        meta.number(4); // version and flags
        forEachBox(meta.rest(), [&](std::string_view type, ByteSpan box) {
            if (type == "idat")
                m_data = box;
        });
        forEachBox(meta.rest(), [&](std::string_view type, ByteSpan box) {
            Cursor cursor(box);
            if (type == "pitm") {
                const std::uint32_t version = cursor.small(4) >> 24;
                m_structure.m_primaryPlace = Cursor(cursor).take(version == 0 ? 2 : 4);
                m_structure.m_primary = cursor.small(version == 0 ? 2 : 4);
            } else if (type == "iinf") {
                readInformation(cursor);
            } else if (type == "iref") {
                m_structure.m_referencePlaces.push_back(placeOf(type));
                readReferences(cursor);
            } else if (type == "iprp") {
                readProperties(box);
            } else if (type == "iloc") {
                readLocations(cursor);
            }
        });
    }

    template <typename View>
    std::size_t placeOf(const View& view) const
    {
        return static_cast<std::size_t>(reinterpret_cast<const std::byte*>(view.data()) - m_file.data());
    }

    HeifItem& itemOf(std::uint32_t id) { return m_structure.m_items[id]; }

    void readInformation(Cursor cursor)
    {
        const std::uint32_t version = cursor.small(4) >> 24;
        cursor.number(version == 0 ? 2 : 4); // how many
        forEachBox(cursor.rest(), [&](std::string_view type, ByteSpan content) {
            if (type != "infe")
                return;
            Cursor entry(content);
            const std::uint32_t entryVersion = entry.small(4) >> 24;
            HeifItem& item = itemOf(entry.small(entryVersion < 3 ? 2 : 4));
            item.isThere = true;
            item.entryPlace = placeOf(content);
            entry.number(2); // protection
            if (entryVersion >= 2) {
                item.typePlace = placeOf(entry.rest());
                item.type = entry.letters();
            }
        });
    }

    void readReferences(Cursor cursor)
    {
        const std::size_t idSize = (cursor.small(4) >> 24) == 0 ? 2 : 4;
        forEachBox(cursor.rest(), [&](std::string_view type, ByteSpan content) {
            Cursor reference(content);
            const std::uint32_t from = reference.small(idSize);
            const std::size_t count = reference.small(2);
            for (std::size_t index = 0; index < count; ++index) {
                const std::uint32_t to = reference.small(idSize);
                if (type == "dimg")
                    itemOf(from).parts.push_back(to);
                else if (type == "auxl")
                    itemOf(to).auxiliaries.push_back(from);
            }
        });
    }

    struct Property {
        std::string_view type;
        std::uint64_t area = 0; ///< of a size
        int quarterTurns = 0;
        std::optional<HeifCut> cut = {};
    };

    static Property propertyFrom(std::string_view type, ByteSpan content)
    {
        Property property{type};
        Cursor cursor(content);
        if (type == "irot" && !content.empty()) {
            property.quarterTurns = static_cast<int>(cursor.small(1) & 3);
        } else if (type == "ispe" && content.size() >= 12) {
            cursor.number(4); // version and flags
            const std::uint64_t width = cursor.number(4);
            property.area = width * cursor.number(4);
        } else if (type == "clap" && content.size() >= 32) {
            property.cut = cutFrom(cursor);
        }
        return property;
    }

    /// None where a side is no whole number, or where the rest begins between two pixels.
    static std::optional<HeifCut> cutFrom(Cursor cursor)
    {
        const auto side = [&]() -> int {
            const std::uint64_t number = cursor.number(4), unit = cursor.number(4);
            const bool isWhole = unit == 1 && number <= std::uint64_t{std::numeric_limits<int>::max()};
            return isWhole ? static_cast<int>(number) : 0;
        };
        const auto halves = [&]() -> std::optional<std::int64_t> {
            const std::int64_t number = 2 * std::int64_t{static_cast<std::int32_t>(cursor.small(4))};
            const std::int64_t unit = cursor.small(4);
            return unit > 0 && number % unit == 0 ? std::optional(number / unit) : std::nullopt;
        };
        const int width = side(), height = side();
        const std::optional<std::int64_t> right = halves(), down = halves();
        return width > 0 && height > 0 && right && down ? std::optional(HeifCut{width, height, *right, *down})
                                                        : std::nullopt;
    }

    void readProperties(ByteSpan box)
    {
        std::vector<Property> properties;
        forEachBox(box, [&](std::string_view type, ByteSpan content) {
            if (type == "ipco") {
                forEachBox(content, [&](std::string_view kind, ByteSpan value) {
                    properties.push_back(propertyFrom(kind, value));
                    m_structure.m_properties.push_back({kind, value});
                });
            } else if (type == "ipma") {
                readAssociations(Cursor(content), properties);
            }
        });
    }

    void readAssociations(Cursor cursor, const std::vector<Property>& properties)
    {
        const std::uint32_t kind = cursor.small(4);
        const std::size_t indexSize = (kind & 1) != 0 ? 2 : 1;
        for (std::uint32_t left = cursor.small(4); left > 0 && !cursor.isAtEnd(); --left) {
            HeifItem& item = itemOf(cursor.small(kind >> 24 == 0 ? 2 : 4));
            for (std::uint32_t count = cursor.small(1); count > 0; --count) {
                // The highest bit tells whether the property is essential; places are counted from 1.
                const std::uint32_t entry = cursor.small(indexSize) << (indexSize == 2 ? 0 : 8);
                const std::uint32_t place = indexSize == 2 ? entry & 0x7FFFU : entry >> 8 & 0x7FU;
                if (place == 0 || place > properties.size())
                    continue;
                apply(properties[place - 1], item);
                item.properties.push_back(static_cast<std::uint16_t>((entry & essential) | place));
            }
        }
    }

    static void apply(const Property& property, HeifItem& item)
    {
        constexpr std::array<std::string_view, 12> harmless{"hvcC", "av1C", "ispe", "pixi", "colr", "pasp",
                                                            "auxC", "rloc", "clli", "mdcv", "irot", "udes"};
        item.pixels = std::max(item.pixels, property.area);
        if (property.cut && !item.cut && item.quarterTurns == 0) {
            item.cut = property.cut;
            return;
        }
        const bool isSecondTurn = property.type == "irot" && item.quarterTurns != 0;
        if (isSecondTurn || std::find(harmless.begin(), harmless.end(), property.type) == harmless.end())
            item.isOtherwiseChanged = true;
        item.quarterTurns = property.type == "irot" ? property.quarterTurns : item.quarterTurns;
    }

    void readLocations(Cursor cursor)
    {
        const std::uint32_t version = cursor.small(4) >> 24;
        const std::uint32_t sizes = cursor.small(2);
        const std::size_t offsetSize = sizes >> 12, lengthSize = sizes >> 8 & 15, baseSize = sizes >> 4 & 15;
        const std::size_t indexSize = version > 0 ? sizes & 15 : 0;
        if (offsetSize > 8 || lengthSize > 8 || baseSize > 8 || indexSize > 8)
            fail();
        for (std::uint32_t left = cursor.small(version < 2 ? 2 : 4); left > 0; --left) {
            HeifItem& item = itemOf(cursor.small(version < 2 ? 2 : 4));
            const std::uint32_t method = version > 0 ? cursor.small(2) & 15 : 0;
            cursor.number(2); // the file, this one
            const std::uint64_t base = cursor.number(baseSize);
            const std::uint32_t pieces = cursor.small(2);
            for (std::uint32_t index = 0; index < pieces; ++index) {
                cursor.number(indexSize);
                const std::uint64_t offset = base + cursor.number(offsetSize);
                const std::uint64_t length = cursor.number(lengthSize);
                const ByteSpan whole = method == 0 ? m_file : method == 1 ? m_data : ByteSpan();
                if (pieces == 1 && offset <= whole.size() && length <= whole.size() - offset)
                    item.content = whole.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
            }
        }
    }

    ByteSpan m_file;
    HeifStructure& m_structure;
    ByteSpan m_data;
};

namespace {

/// What it takes to decode an item with everything it needs.
struct Effort {
    std::uint64_t pictures = 0;
    std::uint64_t pixels = 0;
    bool isKnown = false; ///< else it is being worked out
};

/// Adds up the efforts of the items below each other.
class EffortSum {
public:
    explicit EffortSum(const std::map<std::uint32_t, HeifItem>& items)
        : m_items(items)
    {
    }

    Effort of(std::uint32_t id, int depth)
    {
        const auto found = m_items.find(id);
        if (found == m_items.end() || !found->second.isThere)
            throw DecodeError("HEIF: a part is missing");
        const auto [place, isNew] = m_efforts.try_emplace(id);
        if (!isNew && !place->second.isKnown)
            throw DecodeError("HEIF: a picture is part of itself");
        if (!isNew)
            return place->second;
        if (depth > depthLimit)
            throw DecodeError("HEIF: too many pictures within each other");
        const HeifItem& item = found->second;
        Effort sum{1, item.parts.empty() ? item.pixels : 0, true};
        for (const auto* const list : {&item.parts, &item.auxiliaries}) {
            for (const std::uint32_t part : *list) {
                const Effort effort = of(part, depth + 1);
                sum.pictures = std::min(sum.pictures + effort.pictures, 2 * decodingLimit);
                sum.pixels = std::min(sum.pixels + std::min(effort.pixels, 2 * pixelLimit), 2 * pixelLimit);
            }
        }
        if (sum.pictures > decodingLimit || sum.pixels > pixelLimit)
            throw DecodeError("HEIF: too many parts");
        return place->second = sum;
    }

private:
    const std::map<std::uint32_t, HeifItem>& m_items;
    std::map<std::uint32_t, Effort> m_efforts;
};

} // namespace

HeifStructure::HeifStructure(std::span<const std::byte> file)
{
    Reader(file, *this).read();
}

const HeifItem* HeifStructure::item(std::uint32_t id) const
{
    const auto found = m_items.find(id);
    return found != m_items.end() && found->second.isThere ? &found->second : nullptr;
}

std::vector<HeifProperty> HeifStructure::propertiesOf(const HeifItem& item) const
{
    std::vector<HeifProperty> properties;
    for (const std::uint16_t entry : item.properties) {
        properties.push_back(m_properties[static_cast<std::size_t>(entry & ~essential) - 1]);
        properties.back().isEssential = (entry & essential) != 0;
    }
    return properties;
}

void HeifStructure::checkReferences() const
{
    EffortSum sum(m_items);
    for (const auto& [id, item] : m_items) {
        if (item.isThere && !(item.parts.empty() && item.auxiliaries.empty()))
            sum.of(id, 0);
    }
}

std::vector<std::byte> HeifStructure::withPartsApart(std::span<const std::byte> file, std::uint32_t id) const
{
    std::vector<std::byte> copy(file.begin(), file.end());
    const auto rename = [&](std::size_t place, std::string_view type) {
        const auto bytes = std::as_bytes(std::span(type));
        std::copy(bytes.begin(), bytes.end(), copy.begin() + static_cast<std::ptrdiff_t>(place));
    };
    const HeifItem& whole = *item(id);
    for (const std::size_t place : m_referencePlaces)
        rename(place, "free");
    rename(whole.typePlace, "none");
    for (const std::uint32_t part : whole.parts)
        copy[item(part)->entryPlace + 3] &= std::byte{0xFE}; // hidden
    std::uint32_t first = whole.parts.front();
    for (std::size_t index = m_primaryPlace.size(); index > 0; --index, first >>= 8)
        copy[static_cast<std::size_t>(m_primaryPlace.data() - file.data()) + index - 1] = static_cast<std::byte>(first);
    return copy;
}

std::optional<HeifGrid> heifGridIn(std::span<const std::byte> content)
{
    if (content.size() < 8 || content[0] != std::byte{0})
        return std::nullopt;
    Cursor cursor(content.subspan(1));
    const std::size_t numberSize = (cursor.small(1) & 1) != 0 ? 4 : 2;
    if (content.size() < 4 + 2 * numberSize)
        return std::nullopt;
    HeifGrid grid;
    grid.rows = static_cast<int>(cursor.small(1)) + 1;
    grid.columns = static_cast<int>(cursor.small(1)) + 1;
    const std::uint64_t width = cursor.number(numberSize), height = cursor.number(numberSize);
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<int>::max());
    if (width == 0 || height == 0 || width > largest || height > largest)
        return std::nullopt;
    grid.width = static_cast<int>(width);
    grid.height = static_cast<int>(height);
    return grid;
}

} // namespace Pelgra
