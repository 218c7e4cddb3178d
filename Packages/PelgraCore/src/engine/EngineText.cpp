#include "PelgraCore/Engine.h"

#include "engine/InWorkers.h"
#include "files/PreparedOutput.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/Isolation.h"
#include "PelgraCore/TextExtraction.h"
#include "text/DocumentText.h"

#include <memory>
#include <utility>

namespace Pelgra {

namespace {

std::string textOf(const std::filesystem::path& document, TextForm form, const JobControl& control)
{
    std::string text;
    readDocumentText(document, openForReading(document), form, control,
                     [&text](std::string_view piece) { text += piece; });
    return text;
}

} // namespace

std::string TextExtraction::plainTextOf(const std::filesystem::path& document, const JobControl& control)
{
    return textOf(document, TextForm::plain, control);
}

std::string TextExtraction::markdownOf(const std::filesystem::path& document, const JobControl& control)
{
    return textOf(document, TextForm::markdown, control);
}

JobResult Engine::pdfToText(const std::filesystem::path& file, bool markdown, const JobControl& control)
{
    const FileFormat target = markdown ? FileFormat::md : FileFormat::txt;
    if (Isolation::usesWorkers()) {
        Task task;
        task.kind = Task::Kind::text;
        task.markdown = markdown;
        return publishAlone(prepareInWorker(std::move(task), {&file, 1}, {}, target.pathExtension(), control));
    }
    std::unique_ptr<PageRenderer> opened = openForReading(file);
    const auto write = [&](ByteSink& sink) {
        readDocumentText(file, std::move(opened), markdown ? TextForm::markdown : TextForm::plain, control,
                         [&sink](std::string_view text) { sink.write(std::as_bytes(std::span(text))); });
    };
    return publishAlone(PreparedOutput(file, {}, target.pathExtension(), control.stop, write));
}

} // namespace Pelgra
