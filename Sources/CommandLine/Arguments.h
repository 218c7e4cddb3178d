#pragma once

#include "PelgraCore/FileFormat.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace Pelgra {

/// What the command line was asked to do.
enum class Command : std::uint8_t { help, version, convert, create, merge, split, organize, targets, wheel, tap };

/// A command with everything it needs.
struct Invocation {
    Command command = Command::help;
    bool json = false;
    std::optional<FileFormat> target; ///< of convert, always set there
    ConversionOptions options;
    std::vector<PageEdit> pages; ///< of organize
    bool uniformWidth = false; ///< of organize
    std::vector<std::filesystem::path> files;
    std::string wheel; ///< of tap: convert or tools
    std::vector<std::string> passedOn; ///< what follows `wheel`, meant for the desktop program
};

/// A command line that cannot be understood; the sentence says why.
class UsageError final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the words after the program's name. Options may stand anywhere before a `--`; the last of a repeated one
/// counts. Nothing is opened. Throws UsageError.
Invocation parseArguments(std::span<const char* const> words);

} // namespace Pelgra
