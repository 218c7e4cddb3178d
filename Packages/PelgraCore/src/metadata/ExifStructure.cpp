#include "metadata/ExifStructure.h"

#include "metadata/ByteWriter.h"
#include "metadata/MakerNote.h"

#include <algorithm>
#include <cmath>

namespace Pelgra::ExifStructure {

namespace {

constexpr std::uint16_t xResolutionTag = 0x011A;
constexpr std::uint16_t yResolutionTag = 0x011B;
constexpr std::uint16_t resolutionUnitTag = 0x0128;
constexpr std::uint16_t typeShort = 3;
constexpr std::uint16_t typeLong = 4;
constexpr std::uint16_t typeRational = 5;
constexpr std::size_t headerSize = 8;
constexpr std::size_t fieldSize = 12;

std::optional<std::endian> byteOrderOf(std::span<const std::byte> exif)
{
    if (exif.size() < headerSize + 2)
        return std::nullopt;
    for (const std::endian order : {std::endian::little, std::endian::big}) {
        const std::uint32_t mark = order == std::endian::little ? 0x4949 : 0x4D4D;
        if (read16(exif, 0, order) == mark && read16(exif, 2, order) == 42)
            return order;
    }
    return std::nullopt;
}

/// The fields of the directory at the offset whose values lie inside the structure.
std::vector<Field> fieldsAt(std::span<const std::byte> exif, std::size_t offset, std::endian order)
{
    std::vector<Field> fields;
    if (offset < headerSize || offset > exif.size() - 2)
        return fields;
    const std::size_t count =
        std::min<std::size_t>(read16(exif, offset, order), (exif.size() - offset - 2) / fieldSize);
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t at = offset + 2 + index * fieldSize;
        Field field{read16(exif, at, order), read16(exif, at + 2, order), read32(exif, at + 4, order), {}};
        std::copy_n(exif.begin() + static_cast<std::ptrdiff_t>(at + 8), 4, field.value.begin());
        const std::uint64_t size = std::uint64_t{field.count} * sizeOfType(field.type);
        const bool inside = size <= 4 || (size <= exif.size() && read32(exif, at + 8, order) <= exif.size() - size);
        if (size > 0 && inside)
            fields.push_back(field);
    }
    return fields;
}

void setField(std::vector<Field>& fields, Field field)
{
    std::erase_if(fields, [&](const Field& other) { return other.tag == field.tag; });
    const auto place =
        std::find_if(fields.begin(), fields.end(), [&](const Field& other) { return other.tag > field.tag; });
    fields.insert(place, field);
}

std::array<std::byte, 4> asValue(ByteWriter bytes)
{
    std::array<std::byte, 4> value{};
    std::copy_n(bytes.bytes().begin(), 4, value.begin());
    return value;
}

/// A directory taken apart, so that it can be written elsewhere.
struct Directory {
    struct Value {
        std::uint16_t tag = 0;
        std::uint16_t type = 0;
        std::uint32_t count = 0;
        Bytes bytes; ///< empty for a pointer to a directory
        std::vector<Directory> child; ///< the directory pointed to: none or one
    };
    std::vector<Value> values;
};

bool pointsToDirectory(std::uint16_t tag)
{
    constexpr std::array<std::uint16_t, 3> pointers{0x8769, 0x8825, 0xA005}; // EXIF, GPS, interoperability
    return std::find(pointers.begin(), pointers.end(), tag) != pointers.end();
}

Directory directoryAt(std::span<const std::byte> exif, std::size_t offset, std::endian order, int depth)
{
    Directory directory;
    for (const Field& field : fieldsAt(exif, offset, order)) {
        const bool pointer = pointsToDirectory(field.tag);
        if (pointer && (depth == 0 || field.type != typeLong))
            continue;
        const std::span<const std::byte> bytes = valueOf(field, exif, order);
        Directory::Value value{field.tag, field.type, field.count, {}, {}};
        if (pointer)
            value.child.push_back(directoryAt(exif, read32(field.value, 0, order), order, depth - 1));
        else
            value.bytes.assign(bytes.begin(), bytes.end());
        directory.values.push_back(std::move(value));
    }
    return directory;
}

std::size_t sizeOf(const Directory& directory)
{
    std::size_t size = 6 + directory.values.size() * fieldSize;
    for (const Directory::Value& value : directory.values) {
        size += value.bytes.size() > 4 ? (value.bytes.size() + 1) / 2 * 2 : 0;
        for (const Directory& child : value.child)
            size += sizeOf(child);
    }
    return size;
}

/// The value that takes the most bytes, and the directory that holds it.
std::pair<Directory*, std::size_t> largestValueOf(Directory& directory, std::size_t& largestSize)
{
    std::pair<Directory*, std::size_t> largest{nullptr, 0};
    for (std::size_t index = 0; index < directory.values.size(); ++index) {
        Directory::Value& value = directory.values[index];
        if (value.bytes.size() > largestSize) {
            largestSize = value.bytes.size();
            largest = {&directory, index};
        }
        for (Directory& child : value.child) {
            const auto inner = largestValueOf(child, largestSize);
            if (inner.first)
                largest = inner;
        }
    }
    return largest;
}

void removeMakerNote(Directory& directory)
{
    constexpr std::uint16_t makerNoteTag = 0x927C;
    std::erase_if(directory.values, [](const Directory::Value& value) { return value.tag == makerNoteTag; });
    for (Directory::Value& value : directory.values) {
        for (Directory& child : value.child)
            removeMakerNote(child);
    }
}

/// The directory as it is written at the offset `start`: its fields, then their values and the directories they point
/// to.
Bytes written(const Directory& directory, std::size_t start, std::endian order)
{
    ByteWriter fields(order);
    ByteWriter data(order);
    const std::size_t dataStart = start + 6 + directory.values.size() * fieldSize;
    fields.put16(static_cast<std::uint32_t>(directory.values.size()));
    for (const Directory::Value& value : directory.values) {
        fields.put16(value.tag).put16(value.type).put32(value.count);
        const std::size_t offset = dataStart + data.size();
        if (!value.child.empty())
            data.put(written(value.child.front(), offset, order));
        else if (value.bytes.size() > 4)
            data.put(value.bytes).putZeros(value.bytes.size() % 2);
        if (value.child.empty() && value.bytes.size() <= 4)
            fields.put(value.bytes).putZeros(4 - value.bytes.size());
        else
            fields.put32(static_cast<std::uint32_t>(offset));
    }
    fields.put32(0).put(data.bytes());
    return std::move(fields.bytes());
}

bool hasResolution(std::span<const std::byte> exif, const MainDirectory& directory, double dpiWidth, double dpiHeight)
{
    const auto holds = [&](std::uint16_t tag, std::uint16_t type, std::span<const std::byte> wanted) {
        return std::any_of(directory.fields.begin(), directory.fields.end(), [&](const Field& field) {
            const std::span<const std::byte> value = valueOf(field, exif, directory.order);
            return field.tag == tag && field.type == type
                && std::equal(value.begin(), value.end(), wanted.begin(), wanted.end());
        });
    };
    const auto fraction = [&](double dpi) {
        const auto [numerator, denominator] = resolutionFraction(dpi);
        return ByteWriter(directory.order).put32(numerator).put32(denominator);
    };
    return holds(xResolutionTag, typeRational, fraction(dpiWidth).bytes())
        && holds(yResolutionTag, typeRational, fraction(dpiHeight).bytes())
        && holds(resolutionUnitTag, typeShort, ByteWriter(directory.order).put16(2).bytes());
}

} // namespace

std::size_t sizeOfType(std::uint16_t type)
{
    constexpr std::array<std::uint8_t, 14> sizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type < sizes.size() ? sizes[type] : 0;
}

std::optional<Field> fieldBehind(std::span<const std::uint16_t> pointers, std::uint16_t tag,
                                 std::span<const std::byte> exif)
{
    const std::optional<MainDirectory> main = mainDirectory(exif);
    if (!main)
        return std::nullopt;
    const auto fieldOf = [](const std::vector<Field>& fields, std::uint16_t wanted) {
        const auto found =
            std::find_if(fields.begin(), fields.end(), [&](const Field& field) { return field.tag == wanted; });
        return found != fields.end() ? std::optional(*found) : std::nullopt;
    };
    std::vector<Field> fields = main->fields;
    for (const std::uint16_t pointer : pointers) {
        const std::optional<Field> field = fieldOf(fields, pointer);
        if (!field || field->type != typeLong)
            return std::nullopt;
        fields = fieldsAt(exif, read32(field->value, 0, main->order), main->order);
    }
    return fieldOf(fields, tag);
}

std::span<const std::byte> valueOf(const Field& field, std::span<const std::byte> exif, std::endian order)
{
    const std::size_t size = field.count * sizeOfType(field.type);
    return size <= 4 ? std::span(field.value).first(size) : exif.subspan(read32(field.value, 0, order), size);
}

std::optional<MainDirectory> mainDirectory(std::span<const std::byte> exif)
{
    const std::optional<std::endian> order = byteOrderOf(exif);
    if (!order)
        return std::nullopt;
    return MainDirectory{*order, fieldsAt(exif, read32(exif, 4, *order), *order)};
}

Bytes withResolution(std::span<const std::byte> exif, double dpiWidth, double dpiHeight)
{
    std::optional<MainDirectory> directory = mainDirectory(exif);
    if (!directory && !exif.empty())
        return {exif.begin(), exif.end()};
    if (!directory)
        directory.emplace();
    const std::endian order = directory->order;
    if (hasResolution(exif, *directory, dpiWidth, dpiHeight))
        return {exif.begin(), exif.end()};
    ByteWriter out(order);
    if (exif.empty())
        out.put(order == std::endian::little ? "II" : "MM").put16(42).put32(0);
    else
        out.put(exif).putZeros(exif.size() % 2);

    const auto appendFraction = [&](std::uint16_t tag, double dpi) {
        const ByteWriter offset = ByteWriter(order).put32(static_cast<std::uint32_t>(out.size()));
        const auto [numerator, denominator] = resolutionFraction(dpi);
        out.put32(numerator).put32(denominator);
        setField(directory->fields, {tag, typeRational, 1, asValue(offset)});
    };
    appendFraction(xResolutionTag, dpiWidth);
    appendFraction(yResolutionTag, dpiHeight);
    setField(directory->fields, {resolutionUnitTag, typeShort, 1, asValue(ByteWriter(order).put16(2).put16(0))});

    const auto start = asValue(ByteWriter(order).put32(static_cast<std::uint32_t>(out.size())));
    std::copy(start.begin(), start.end(), out.bytes().begin() + 4);
    out.put16(static_cast<std::uint32_t>(directory->fields.size()));
    for (const Field& field : directory->fields)
        out.put16(field.tag).put16(field.type).put32(field.count).put(field.value);
    out.put32(0);
    return std::move(out.bytes());
}

Bytes reducedTo(std::span<const std::byte> exif, std::size_t limit)
{
    const std::optional<std::endian> order = byteOrderOf(exif);
    if (!order)
        return {};
    constexpr int deepestLevel = 2; // main, EXIF, interoperability
    Directory directory = directoryAt(exif, read32(exif, 4, *order), *order, deepestLevel);
    while (headerSize + sizeOf(directory) > limit) {
        std::size_t largestSize = 4;
        const auto [holder, index] = largestValueOf(directory, largestSize);
        if (!holder)
            return {};
        holder->values.erase(holder->values.begin() + static_cast<std::ptrdiff_t>(index));
    }
    const auto assembled = [&] {
        ByteWriter out(*order);
        out.put(*order == std::endian::little ? "II" : "MM").put16(42).put32(headerSize);
        out.put(written(directory, headerSize, *order));
        return MakerNote::withOffsetsRestored(out.bytes());
    };
    Bytes reduced = assembled();
    if (MakerNote::kindIn(reduced) != MakerNote::Kind::broken)
        return reduced;
    removeMakerNote(directory); // it was moved away from what it counts from
    return assembled();
}

std::array<std::uint32_t, 2> resolutionFraction(double dpi)
{
    if (!(dpi > 0))
        return {72, 1};
    if (std::abs(dpi - std::round(dpi)) < 0.00005 || dpi > 400000)
        return {static_cast<std::uint32_t>(std::clamp(std::round(dpi), 1.0, 4294967295.0)), 1};
    return {static_cast<std::uint32_t>(std::max(std::round(dpi * 10000), 1.0)), 10000};
}

} // namespace Pelgra::ExifStructure
