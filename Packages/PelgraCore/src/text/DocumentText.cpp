#include "text/DocumentText.h"

#include "pages/OpenRenderer.h"
#include "parallel/IdlePool.h"
#include "parallel/OrderedPipeline.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/TextExtraction.h"
#include "text/PageReader.h"
#include "values/Sentences.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Pelgra {

namespace {

using TextExtraction::Block;
using TextExtraction::Bullet;

/// Neighbouring pages that one worker reads, since it has their fonts open already.
constexpr std::size_t longestRun = 8;
/// At least this many runs for each worker, so that all have something to do until the end.
constexpr std::size_t fewestRuns = 4;
/// How many pages each worker may be ahead of the one that is written next.
constexpr std::size_t pagesAhead = 16;

/// A page in the form it is written in.
struct PageOutput {
    std::string text;
    bool isGivenUp = false;
    bool beginsWithBullet = false;
    bool endsWithBullet = false;
};

PageOutput plainOutput(const PageContent& content)
{
    PageOutput output;
    output.text = content.lines.empty() ? TextExtraction::pageTextFrom(content.paragraphs)
                                        : TextExtraction::pageTextFrom(content.lines);
    return output;
}

PageOutput markdownOutput(const PageContent& content)
{
    const std::vector<Block> blocks = content.lines.empty() ? TextExtraction::blocksFromOCR(content.paragraphs)
                                                            : TextExtraction::blocksFrom(content.lines);
    if (blocks.empty())
        return {};
    PageOutput output;
    output.text = TextExtraction::render(blocks);
    output.beginsWithBullet = std::holds_alternative<Bullet>(blocks.front());
    output.endsWithBullet = std::holds_alternative<Bullet>(blocks.back());
    output.text.pop_back(); // the line feed at the end belongs to the document
    return output;
}

/// Puts the pages together as one text, without keeping them.
class DocumentWriter {
public:
    DocumentWriter(TextForm form, const std::function<void(std::string_view)>& put)
        : m_form(form)
        , m_put(put)
    {
    }

    void add(const PageOutput& page)
    {
        if (m_form == TextForm::plain) {
            put(m_hasPages ? "\n\f\n" : "");
            put(page.text);
            m_hasPages = true;
        } else if (!page.text.empty()) {
            const bool isTight = m_endsWithBullet && page.beginsWithBullet;
            put(!m_hasPages ? "" : isTight ? "\n" : "\n\n");
            put(page.text);
            m_hasPages = true;
            m_endsWithBullet = page.endsWithBullet;
        }
    }

    void finish() { put(m_hasPages ? "\n" : ""); }

private:
    void put(std::string_view text)
    {
        if (!text.empty())
            m_put(text);
    }

    const TextForm m_form;
    const std::function<void(std::string_view)>& m_put;
    bool m_hasPages = false;
    bool m_endsWithBullet = false;
};

std::string languageWarning(const std::filesystem::path& document)
{
    return "“" + document.filename().string()
        + "” has pages without text. To have them read, install language data for Tesseract, such as the package "
          "tesseract-ocr-eng.";
}

/// The package names of Debian have hyphens where the data has underscores.
std::string missingLanguageWarning(const std::filesystem::path& document, std::string language)
{
    std::ranges::replace(language, '_', '-');
    return "“" + document.filename().string()
        + "” has pages in a script that no language data for Tesseract is installed for, so what was read there may "
          "make "
          "no sense. Install data of its language, such as the package tesseract-ocr-"
        + language + '.';
}

std::string givenUpWarning(const std::filesystem::path& document, const std::vector<int>& pages)
{
    return "“" + document.filename().string() + "”: nothing could be read on " + pageList(pages) + '.';
}

} // namespace

std::unique_ptr<PageRenderer> openForReading(const std::filesystem::path& document)
{
    std::unique_ptr<PageRenderer> opened = openRenderer(document);
    if (opened->pageCount() < 1)
        throw EngineError::noPages();
    return opened;
}

void readDocumentText(const std::filesystem::path& document, std::unique_ptr<PageRenderer> opened, TextForm form,
                      const JobControl& control, const std::function<void(std::string_view)>& put)
{
    const int pageCount = opened->pageCount();
    warnOf(opened->losses(), document, pageCount, control);
    DocumentRecognition recognition;
    const auto open = [&] {
        return std::make_unique<PageReader>(openRenderer(document), recognition);
    };
    IdlePool<PageReader> readers(open, std::make_unique<PageReader>(std::move(opened), recognition));

    DocumentWriter writer(form, put);
    std::vector<int> givenUp;
    const auto prepare = [&](std::size_t index) {
        const IdlePool<PageReader>::Lease reader(readers);
        const PageContent content = reader->read(static_cast<int>(index), control.stop);
        PageOutput output = form == TextForm::plain ? plainOutput(content) : markdownOutput(content);
        output.isGivenUp = content.isGivenUp;
        return output;
    };
    const auto take = [&](std::size_t index, const PageOutput& page) {
        writer.add(page);
        if (page.isGivenUp)
            givenUp.push_back(static_cast<int>(index));
        if (control.progress)
            control.progress(static_cast<int>(index) + 1, pageCount);
    };
    const auto workers = static_cast<std::size_t>(workerCount());
    const auto total = static_cast<std::size_t>(pageCount);
    const std::size_t runLength = std::clamp(total / (workers * fewestRuns), std::size_t{1}, longestRun);
    OrderedPipeline<PageOutput> pipeline(total, workerCount(), pagesAhead * workers, control.stop, runLength);
    pipeline.run(prepare, take);
    writer.finish();
    if (!givenUp.empty() && control.warning)
        control.warning(givenUpWarning(document, givenUp));
    if (!control.warning)
        return;
    if (recognition.lacksLanguages())
        control.warning(languageWarning(document));
    for (const std::string& language : recognition.missingLanguages())
        control.warning(missingLanguageWarning(document, language));
}

} // namespace Pelgra
