#include "modules/documents/DocumentsModule.h"

#include "Assembly.h"
#include "files/FileBytes.h"
#include "modules/ModuleLoader.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/PDFRendering.h"

#include <algorithm>

namespace Pelgra::Documents {

namespace {

/// Reports pages and honours a stop between them.
class PageCounter {
public:
    PageCounter(const JobControl& control, std::size_t total)
        : m_control(control)
        , m_total(static_cast<int>(total))
    {
    }

    void pageDone()
    {
        if (m_control.stop.stop_requested())
            throw JobCancelled();
        ++m_done;
        if (m_control.progress)
            m_control.progress(m_done, m_total);
    }

private:
    const JobControl& m_control;
    int m_total;
    int m_done = 0;
};

/// Runs what reads a source. Whatever qpdf finds wrong with it makes the file unreadable.
template <typename Read>
void reading(const std::filesystem::path& file, Read&& read)
{
    try {
        read();
    } catch (const EngineError&) {
        throw;
    } catch (const JobCancelled&) {
        throw;
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
}

class Document final : public AssembledDocument {
public:
    explicit Document(std::stop_token stop)
        : m_stop(std::move(stop))
    {
    }

    /// The source for a file, opened once however often the file is named. Tells what it has lost.
    SourceDocument& open(const std::filesystem::path& file, const JobControl& control)
    {
        const std::optional<FileIdentity> identity = identityOf(file);
        if (!identity)
            throw EngineError::unreadable(file);
        std::unique_ptr<SourceDocument>& source = m_sources[*identity];
        if (!source) {
            source = std::make_unique<SourceDocument>(file);
            warnOf(source->losses(), file, static_cast<int>(source->pages().size()), control);
        }
        return *source;
    }

    void write(ByteSink& sink) override
    {
        assembly.write(sink, m_stop);
        for (const auto& [path, source] : m_sources)
            source->checkComplete();
    }

private:
    std::map<FileIdentity, std::unique_ptr<SourceDocument>> m_sources; // outlives the assembly
    std::stop_token m_stop;

public:
    Assembly assembly{Assembly::Kind::whole};
};

std::vector<PageRequest> everyPageOf(const SourceDocument& source)
{
    std::vector<PageRequest> requests(source.pages().size());
    for (std::size_t index = 0; index < requests.size(); ++index)
        requests[index].sourceIndex = index;
    return requests;
}

std::unique_ptr<AssembledDocument> merge(std::span<const std::filesystem::path> files, const JobControl& control)
{
    auto document = std::make_unique<Document>(control.stop);
    std::vector<SourceDocument*> sources;
    std::size_t total = 0;
    for (const std::filesystem::path& file : files) {
        if (control.stop.stop_requested())
            throw JobCancelled();
        sources.push_back(&document->open(file, control));
        total += sources.back()->pages().size();
    }
    if (total == 0)
        throw EngineError::noPages();
    PageCounter counter(control, total);
    for (SourceDocument* const source : sources) {
        reading(source->file(), [&] {
            Input& input = document->assembly.addInput(*source);
            document->assembly.addPages(input, everyPageOf(*source), [&] { counter.pageDone(); });
        });
    }
    reading(files.front(), [&] { document->assembly.finish(); });
    return document;
}

/// Scales the pages so that none is wider, as displayed, than the narrowest.
void makeUniformlyWide(const SourceDocument& source, std::vector<PageRequest>& requests)
{
    constexpr double tolerance = 0.01;
    const auto widthOf = [&](const PageRequest& request) {
        return turnedSize(source.pages()[request.sourceIndex].box(), *request.rotation).width;
    };
    double narrowest = 0;
    for (const PageRequest& request : requests) {
        const double width = widthOf(request);
        if (width > 0 && (narrowest == 0 || width < narrowest))
            narrowest = width;
    }
    for (PageRequest& request : requests) {
        const double width = widthOf(request);
        if (narrowest > 0 && width > narrowest + tolerance)
            request.scale = narrowest / width;
    }
}

std::unique_ptr<AssembledDocument> organize(const std::filesystem::path& file, std::span<const PageEdit> pages,
                                            bool uniformWidth, const JobControl& control)
{
    auto document = std::make_unique<Document>(control.stop);
    SourceDocument& source = document->open(file, control);
    std::vector<PageRequest> requests;
    for (const PageEdit& edit : pages) {
        if (edit.sourceIndex < 0 || static_cast<std::uint64_t>(edit.sourceIndex) >= source.pages().size())
            throw EngineError::pageOutOfRange(edit.sourceIndex);
        const auto index = static_cast<std::size_t>(edit.sourceIndex);
        // Both are brought below a full turn first: their sum must not overflow.
        const long long rotation = source.pages()[index].rotation() % 360 + edit.rotation % 360;
        requests.push_back({index, snappedRotation(rotation), 1});
    }
    if (uniformWidth)
        makeUniformlyWide(source, requests);
    PageCounter counter(control, requests.size());
    reading(file, [&] {
        Input& input = document->assembly.addInput(source);
        document->assembly.addPages(input, requests, [&] { counter.pageDone(); });
        if (uniformWidth) {
            // The rule for widths does not count this factor; readers that do would show unequal widths.
            for (PlacedPage& page : input.pages)
                page.page.removeKey("/UserUnit");
        }
        document->assembly.finish();
    });
    return document;
}

class Splitter final : public PageSplitter {
public:
    explicit Splitter(const std::filesystem::path& file)
        : m_source(file)
    {
    }

    int pageCount() const override { return static_cast<int>(m_source.pages().size()); }
    PageLosses losses() const override { return m_source.losses(); }

    void writePage(int pageIndex, ByteSink& sink) override
    {
        // Whoever counted the pages may have opened the file before it was cut short.
        if (pageIndex < 0 || pageIndex >= pageCount())
            throw EngineError::unreadable(m_source.file());
        Assembly assembly(Assembly::Kind::part);
        reading(m_source.file(), [&] {
            Input& input = assembly.addInput(m_source);
            assembly.addPages(input, {{static_cast<std::size_t>(pageIndex), {}, 1}}, [] { });
            assembly.finish();
        });
        assembly.write(sink, {});
        m_source.checkComplete();
    }

private:
    SourceDocument m_source;
};

std::unique_ptr<PageSplitter> split(const std::filesystem::path& file)
{
    return std::make_unique<Splitter>(file);
}

} // namespace

} // namespace Pelgra::Documents

PELGRA_MODULE_EXPORT const Pelgra::DocumentsModule pelgraModule{
    &Pelgra::Documents::merge,
    &Pelgra::Documents::organize,
    &Pelgra::Documents::split,
};
