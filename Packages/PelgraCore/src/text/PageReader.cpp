#include "text/PageReader.h"

#include "modules/ModuleLoader.h"
#include "PelgraCore/EngineError.h"
#include "pixels/GrayPixels.h"
#include "text/BlockBounds.h"
#include "text/PageText.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include <unistd.h>

namespace Pelgra {

namespace {

using TextExtraction::RecognizedLine;
using TextExtraction::RecognizedParagraph;

/// Scans are drawn at the 300 dots per inch that recognition is made for, but no larger than an A3 page would be; 81
/// million pixels took the recogniser 900 MB.
constexpr double pixelsPerInch = 300;
constexpr double pointsPerInch = 72;
constexpr double mostPixels = 24e6;
/// What drawing and recognising a page of that size takes, in bytes.
constexpr double memoryPerPage = 400e6;
constexpr std::ptrdiff_t mostPagesAtOnce = 64;

/// Pages whose recognition together leaves three quarters of the machine's memory alone.
std::ptrdiff_t pagesThatFitMemory()
{
    const double memory = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    return std::clamp(static_cast<std::ptrdiff_t>(memory / 4 / memoryPerPage), std::ptrdiff_t{1}, mostPagesAtOnce);
}

/// With less difference than this between its darkest and lightest pixel a page has nothing to read.
constexpr int smallestContrast = 16;

bool isBlank(const GrayImage& picture)
{
    const auto [darkest, lightest] = std::ranges::minmax_element(picture.pixels);
    return picture.pixels.empty()
        || std::to_integer<int>(*lightest) - std::to_integer<int>(*darkest) < smallestContrast;
}

std::int64_t knownCharactersOf(std::span<const TextExtraction::Line> lines)
{
    std::int64_t known = 0;
    for (const TextExtraction::Line& line : lines)
        known += Pelgra::knownCharactersOf(line.text);
    return known;
}

std::int64_t knownCharactersOf(std::span<const RecognizedParagraph> paragraphs)
{
    return Pelgra::knownCharactersOf(TextExtraction::pageTextFrom(paragraphs));
}

class Permit {
public:
    explicit Permit(std::counting_semaphore<>& semaphore)
        : m_semaphore(semaphore)
    {
        m_semaphore.acquire();
    }
    Permit(const Permit&) = delete;
    Permit& operator=(const Permit&) = delete;
    ~Permit() { m_semaphore.release(); }

private:
    std::counting_semaphore<>& m_semaphore;
};

} // namespace

DocumentRecognition::DocumentRecognition()
    : m_pagesAtOnce(pagesThatFitMemory())
{
}

RecognitionSession* DocumentRecognition::session()
{
    std::call_once(m_opening, [this] {
        try {
            m_session = module<RecognitionModule>("recognition").openSession();
        } catch (const std::exception&) {
            // Without the module it is as if no language were installed.
        }
    });
    return m_session.get();
}

std::vector<RecognizedLine> DocumentRecognition::read(std::unique_ptr<PageRecognizer>& recognizer,
                                                      const GrayImage& picture, const std::stop_token& stop)
{
    if (!recognizer && session())
        recognizer = session()->makeRecognizer();
    if (recognizer)
        return recognizer->recognize(picture, stop);
    m_lacksLanguages = true;
    return {};
}

std::vector<std::string> DocumentRecognition::missingLanguages() const
{
    return m_session ? m_session->missingLanguages() : std::vector<std::string>();
}

PageReader::PageReader(std::unique_ptr<PageRenderer> document, DocumentRecognition& recognition)
    : m_document(std::move(document))
    , m_recognition(recognition)
{
}

PageContent PageReader::read(int pageIndex, const std::stop_token& stop)
{
    PageContent content;
    try {
        content.lines = linesOf(pageIndex, stop);
        if (!isReadable(content.lines)) {
            content.paragraphs = recognize(pageIndex, stop);
            // A text layer of mostly unknown characters may still say more than the recogniser.
            if (knownCharactersOf(content.paragraphs) >= knownCharactersOf(content.lines))
                content.lines.clear();
            else
                content.paragraphs.clear();
        }
    } catch (const JobCancelled&) {
        throw;
    } catch (const std::exception&) {
        content = {};
        content.isGivenUp = true;
    }
    return content;
}

std::vector<TextExtraction::Line> PageReader::linesOf(int pageIndex, const std::stop_token& stop)
{
    const std::vector<VisualLine> lines = visualLinesFrom(m_document->textPieces(pageIndex, stop));
    std::optional<float> step = usualStepOf(lines);
    const std::optional<float> ownStep = step;
    if (!step && lines.size() > 1)
        step = stepOf(pageIndex > 0 ? pageIndex - 1 : pageIndex + 1, stop);
    m_lastIndex = pageIndex;
    m_lastStep = ownStep;
    return linesFrom(lines, step);
}

std::optional<float> PageReader::stepOf(int pageIndex, const std::stop_token& stop)
{
    if (pageIndex != m_lastIndex) {
        if (pageIndex >= m_document->pageCount())
            return std::nullopt;
        m_lastIndex = pageIndex;
        m_lastStep = usualStepOf(visualLinesFrom(m_document->textPieces(pageIndex, stop)));
    }
    return m_lastStep;
}

std::vector<RecognizedParagraph> PageReader::recognize(int pageIndex, const std::stop_token& stop)
{
    const Permit permit(m_recognition.pagesAtOnce());
    const GrayImage picture = pictureOf(pageIndex, stop);
    if (isBlank(picture))
        return {};
    return TextExtraction::paragraphsFrom(
        TextExtraction::withBulletsRestored(m_recognition.read(m_recognizer, picture, stop)));
}

GrayImage PageReader::pictureOf(int pageIndex, const std::stop_token& stop)
{
    const PageSize page = m_document->displayedSize(pageIndex);
    double scale = pixelsPerInch / pointsPerInch;
    const double pixels = page.width * page.height * scale * scale;
    if (pixels > mostPixels)
        scale *= std::sqrt(mostPixels / pixels);
    std::optional<PixelSize> size = pixelSizeFor(page, scale);
    if (!size)
        throw std::runtime_error("the page has no size");
    if (m_document->isColorless(pageIndex, stop))
        size->model = ColorModel::gray;
    std::vector<std::byte> drawn(size->byteCount());
    if (!m_document->drawRows(pageIndex, *size, 0, drawn, stop))
        throw std::runtime_error("the page cannot be drawn");
    GrayImage picture;
    picture.width = size->width;
    picture.height = size->height;
    picture.pixelsPerInch = scale * pointsPerInch;
    if (size->model == ColorModel::gray) {
        picture.pixels = std::move(drawn);
    } else {
        picture.pixels.resize(drawn.size() / 3);
        toLuma(reinterpret_cast<const unsigned char*>(drawn.data()),
               reinterpret_cast<unsigned char*>(picture.pixels.data()), picture.pixels.size());
    }
    return picture;
}

} // namespace Pelgra
