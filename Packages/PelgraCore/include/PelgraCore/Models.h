#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Pelgra {

/// What the user chose for encoders and rasterising. The core clamps the qualities only when it encodes.
struct ConversionOptions {
    static constexpr double defaultQuality = 0.9;

    double jpegQuality = defaultQuality; ///< 0 to 1
    double heicQuality = defaultQuality; ///< 0 to 1
    double pdfRasterDPI = 300; ///< dots per inch; 0 or less means 300

    bool operator==(const ConversionOptions&) const = default;
};

/// What a finished job produced.
struct JobResult {
    std::vector<std::filesystem::path> outputs; ///< files or folders, in the order written
    std::string displayName; ///< bytes of a file name; UTF-8 wherever the name on disk is

    JobResult() = default;
    JobResult(std::vector<std::filesystem::path> allOutputs, std::string name);
    /// One output, shown under its own name.
    explicit JobResult(const std::filesystem::path& output);

    bool operator==(const JobResult&) const = default;
};

/// A random (version 4) UUID, RFC 4122.
struct Identifier {
    std::array<std::uint8_t, 16> bytes{};

    static Identifier random();
    /// 36 characters, upper-case hexadecimal with hyphens.
    std::string text() const;

    auto operator<=>(const Identifier&) const = default;
};

/// One page of an organised document.
struct PageEdit {
    Identifier id;
    std::int64_t sourceIndex = 0; ///< zero-based page of the source
    std::int64_t rotation = 0; ///< degrees clockwise to add, a multiple of 90, of either sign

    /// A new edit with an identity of its own.
    PageEdit(std::int64_t source, std::int64_t degrees);

    bool operator==(const PageEdit&) const = default;
};

} // namespace Pelgra
