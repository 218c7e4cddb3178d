#include "isolation/Task.h"

#include "isolation/Packet.h"

#include <charconv>
#include <utility>

namespace Pelgra {

namespace {

constexpr std::size_t longestName = 4096;
constexpr std::size_t longestAddress = 4 * longestName; // three bytes for each of a path, and what comes before

} // namespace

Bytes Task::encoded() const
{
    FieldWriter fields;
    fields.put(static_cast<std::uint32_t>(kind));
    fields.put(static_cast<std::uint32_t>(static_cast<FileFormat::Case>(format)));
    fields.put(options.jpegQuality);
    fields.put(options.heicQuality);
    fields.put(options.pdfRasterDPI);
    fields.put(static_cast<std::int32_t>(threads));
    for (const bool flag : {markdown, uniformWidth, staysOpen})
        fields.put(static_cast<std::uint8_t>(flag));
    fields.put(static_cast<std::int32_t>(page));
    fields.put(maxPixels);
    fields.put(memory);
    fields.put(static_cast<std::uint32_t>(inputs.size()));
    for (const std::string& name : inputs)
        fields.put(std::string_view(name).substr(0, longestName));
    fields.put(static_cast<std::uint32_t>(places.size()));
    for (const auto& [absolute, canonical] : places) {
        fields.put(std::string_view(absolute.native()).substr(0, longestName));
        fields.put(std::string_view(canonical.native()).substr(0, longestName));
    }
    fields.put(static_cast<std::uint32_t>(edits.size()));
    for (const PageEdit& edit : edits) {
        fields.put(edit.sourceIndex);
        fields.put(edit.rotation);
    }
    fields.put(std::string_view(claims.address).substr(0, longestAddress));
    fields.put(claims.modified);
    return fields.bytes();
}

Task Task::decoded(std::span<const std::byte> bytes)
{
    FieldReader fields(bytes);
    Task task;
    task.kind = static_cast<Kind>(fields.below(kinds));
    task.format = FileFormat::allCases().at(fields.below(FileFormat::count));
    task.options.jpegQuality = fields.number<double>();
    task.options.heicQuality = fields.number<double>();
    task.options.pdfRasterDPI = fields.number<double>();
    task.threads = fields.number<std::int32_t>();
    task.markdown = fields.flag();
    task.uniformWidth = fields.flag();
    task.staysOpen = fields.flag();
    task.page = fields.number<std::int32_t>();
    task.maxPixels = fields.number<double>();
    task.memory = fields.number<std::uint64_t>();
    for (std::size_t left = fields.count(sizeof(std::uint32_t)); left > 0; --left)
        task.inputs.push_back(fields.text(longestName));
    for (std::size_t left = fields.count(2 * sizeof(std::uint32_t)); left > 0; --left) {
        std::string absolute = fields.text(longestName);
        task.places.push_back({std::move(absolute), fields.text(longestName)});
    }
    for (std::size_t left = fields.count(2 * sizeof(std::int64_t)); left > 0; --left) {
        const auto index = fields.number<std::int64_t>();
        const auto rotation = fields.number<std::int64_t>();
        task.edits.emplace_back(index, rotation);
    }
    task.claims.address = fields.text(longestAddress);
    task.claims.modified = fields.number<std::int64_t>();
    fields.finish();
    return task;
}

std::filesystem::path workerPathOf(std::size_t input, const std::string& name)
{
    return std::filesystem::path(std::to_string(input)) / name;
}

std::uint32_t inputNumberOf(const std::filesystem::path& path)
{
    const std::string folder = path.begin() == path.end() ? std::string() : path.begin()->string();
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(folder.data(), folder.data() + folder.size(), number);
    if (error != std::errc() || end != folder.data() + folder.size())
        throw ProtocolError("no input of the task");
    return number;
}

} // namespace Pelgra
