#pragma once

#include "PelgraCore/JobControl.h"

#include <filesystem>
#include <functional>
#include <string_view>

namespace Pelgra {

/// The two forms of a document's text.
enum class TextForm {
    plain,
    markdown,
};

/// Reads a document page by page on every core and passes its text on piece by piece, so that memory does not grow with
/// the number of pages. Throws EngineError::unreadable and noPages, JobCancelled, and what `put` throws; a page that
/// cannot be read is empty.
void readDocumentText(const std::filesystem::path& document, TextForm form, const JobControl& control,
                      const std::function<void(std::string_view)>& put);

} // namespace Pelgra
