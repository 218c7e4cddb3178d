#pragma once

#include "modules/rendering/RenderingModule.h"
#include "PelgraCore/JobControl.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

namespace Pelgra {

/// The two forms of a document's text.
enum class TextForm {
    plain,
    markdown,
};

/// Opens a document whose text is to be read. Throws EngineError::unreadable and noPages.
std::unique_ptr<PageRenderer> openForReading(const std::filesystem::path& document);

/// Reads an opened document page by page on every core and passes its text on piece by piece, so that memory does not
/// grow with the number of pages. Throws EngineError::unreadable, JobCancelled, and what `put` throws; a page that
/// cannot be read is empty, and control.warning tells of it.
void readDocumentText(const std::filesystem::path& document, std::unique_ptr<PageRenderer> opened, TextForm form,
                      const JobControl& control, const std::function<void(std::string_view)>& put);

} // namespace Pelgra
