#include "programs/WorkerTasks.h"

#include "engine/EngineImages.h"
#include "files/FileBroker.h"
#include "files/FileBytes.h"
#include "files/OutputFile.h"
#include "isolation/PictureFile.h"
#include "modules/ModuleLoader.h"
#include "modules/svg/SvgModule.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "programs/RaiseWalls.h"

#include <algorithm>
#include <charconv>
#include <utility>
#include <vector>

namespace Pelgra {

namespace {

/// The number of an output, by which it is called in an error; see PreparedOutput and OutputFolder.
std::uint32_t outputNumberOf(const std::filesystem::path& output)
{
    const std::string& text = output.native();
    std::uint32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

struct FailureOf {
    Failure operator()(const EngineError::Unreadable& cause) const
    {
        return {Failure::Case::unreadable, inputNumberOf(cause.file), {}, 0};
    }
    Failure operator()(const EngineError::Unsupported& cause) const
    {
        return {Failure::Case::unsupported, static_cast<FileFormat::Case>(cause.format), {}, 0};
    }
    Failure operator()(const EngineError::UnsupportedConversion& cause) const
    {
        return {Failure::Case::unsupportedConversion, static_cast<FileFormat::Case>(cause.target), cause.source, 0};
    }
    Failure operator()(const EngineError::WriteFailed& cause) const
    {
        return {Failure::Case::writeFailed, outputNumberOf(cause.file), {}, 0};
    }
    Failure operator()(const EngineError::PageOutOfRange& cause) const
    {
        return {Failure::Case::pageOutOfRange, 0, {}, cause.index};
    }
    Failure operator()(const EngineError::NoPages&) const { return {Failure::Case::noPages, 0, {}, 0}; }
    Failure operator()(const EngineError::NoInputs&) const { return {Failure::Case::noInputs, 0, {}, 0}; }
};

RasterImage found(std::optional<RasterImage> image, const std::filesystem::path& input)
{
    if (!image)
        throw EngineError::unreadable(input);
    return *std::move(image);
}

void handOver(const RasterImage& image)
{
    OutputFile output({}, 0);
    writePicture(image, output);
    output.flush();
}

} // namespace

WorkerTasks::WorkerTasks(std::function<void(const ReportPacket&)> report)
    : m_report(std::move(report))
{
}

void WorkerTasks::run(const Task& task)
{
    limitTaskMemory(task.memory);
    ReportPacket end;
    end.kind = Report::failed;
    try {
        attempt(task);
        end.kind = Report::done;
    } catch (const EngineError& error) {
        end.failure = std::visit(FailureOf{}, error.cause());
    } catch (const StorageError&) {
        end.failure.which = Failure::Case::writeFailed;
    } catch (const ProtocolError&) {
        throw;
    } catch (const std::exception&) {
        end.failure.which = Failure::Case::unreadable; // of what is told apart, all is an EngineError
    }
    m_report(end);
}

void WorkerTasks::attempt(const Task& task)
{
    std::vector<std::filesystem::path> inputs;
    for (const std::string& name : task.inputs)
        inputs.push_back(workerPathOf(inputs.size(), name));
    if (inputs.empty())
        throw EngineError::noInputs();
    const std::filesystem::path& input = inputs.front();

    JobControl control;
    control.progress = [this](int done, int total) {
        ReportPacket packet;
        packet.kind = Report::progress;
        packet.number = static_cast<std::uint32_t>(done);
        packet.total = static_cast<std::uint32_t>(total);
        m_report(packet);
    };
    control.warning = [this](std::string_view sentence) {
        ReportPacket packet;
        packet.kind = Report::warning;
        packet.sentence = sentence;
        m_report(packet);
    };
    switch (task.kind) {
    case Task::Kind::image:
        prepareImage(input, task.format, task.options, std::max(task.threads, 1), {});
        break;
    case Task::Kind::imagePDF:
        prepareImagePDF(inputs, std::max(task.threads, 1), control);
        break;
    case Task::Kind::pages:
        Engine::pdfToImages(input, task.format, task.options, control);
        break;
    case Task::Kind::text:
        Engine::pdfToText(input, task.markdown, control);
        break;
    case Task::Kind::merge:
        Engine::mergePDFs(inputs, control);
        break;
    case Task::Kind::organize:
        Engine::organizePDF(input, task.edits, task.uniformWidth, control);
        break;
    case Task::Kind::split:
        Engine::splitPDF(input, control);
        break;
    case Task::Kind::pageCount:
        fileBroker()->beginFolder(Thumbnails::pdfPageCount(input));
        break;
    case Task::Kind::thumbnail:
        makeThumbnail(task, input);
        break;
    case Task::Kind::sharedThumbnail:
        handOver(found(Thumbnails::shared(input, task.claims, task.maxPixels), input));
        break;
    case Task::Kind::drawing:
        handOver(module<SvgModule>("svg").render(readFile(input)));
        break;
    }
}

void WorkerTasks::makeThumbnail(const Task& task, const std::filesystem::path& input)
{
    if (!task.staysOpen)
        return handOver(found(Thumbnails::image(input, task.page, task.maxPixels), input));
    if (!m_openDocument)
        m_openDocument = std::make_unique<Thumbnails::Pages>(input);
    handOver(found(m_openDocument->image(task.page, task.maxPixels), input));
}

} // namespace Pelgra
