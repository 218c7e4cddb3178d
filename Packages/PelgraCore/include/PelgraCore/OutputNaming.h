#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// Names of outputs: new, beside their input, numbered " 2", " 3" and so on where the plain name is taken.
/// Names are bytes; nothing here needs them to be text.
namespace Pelgra::OutputNaming {

/// The n-th candidate (from 1) for a base name: "Report.pdf", "Report 2.pdf", "Report 3.pdf".
std::string candidateName(std::string_view baseName, std::string_view pathExtension, unsigned long number);

/// A path in the folder that named nothing at the moment of the call. Any kind of entry counts as taken, a dangling
/// link too. An empty extension means none.
std::filesystem::path uniqueURL(const std::filesystem::path& directory, std::string_view baseName,
                                std::string_view pathExtension = {});

/// The name of a file without its last extension, optionally followed by a space and a suffix.
std::string baseNameOf(const std::filesystem::path& input, std::string_view suffix = {});

/// A free path in the input's folder, named after the input.
std::filesystem::path siblingURL(const std::filesystem::path& input, std::string_view suffix = {},
                                 std::string_view pathExtension = {});

} // namespace Pelgra::OutputNaming
