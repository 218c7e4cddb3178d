#include "Recognizer.h"

#include "parallel/Heartbeat.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/JobControl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <stdexcept>

#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>

namespace Pelgra {

namespace {

using TextExtraction::RecognizedLine;

/// What the detector reports below this is a guess: right answers on real pages began at 11.8.
constexpr float sureOrientation = 10;
/// The same for scripts, on another scale: Chinese and Korean pages had 0.5 and 0.8, those of other scripts 2 to 45.
constexpr float sureScript = 0.4F;
/// Pages that stand upright came out at 85 and more, upside-down ones at 30.
constexpr int poorConfidence = 50;
constexpr int goodConfidence = 75;
/// Smaller pictures cannot hold a line of text.
constexpr int smallestSide = 16;
constexpr std::size_t mostTrials = 3;
constexpr std::size_t trialLines = 8;

bool isStopRequested(void* token, int)
{
    Heartbeat::beat(); // asked after each word
    return static_cast<const std::stop_token*>(token)->stop_requested();
}

std::string takeText(char* text)
{
    const std::unique_ptr<char[]> owner(text);
    return text ? std::string(text) : std::string();
}

std::string withoutLineEnd(std::string text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

/// Extent of a line in pixels from the top.
struct Extent {
    int left = 0;
    double top = 0;
    int right = 0;
    double bottom = 0;
};

/// The ink of a line widened to the height of its letters, so that distances between lines do not depend on which
/// letters happen to be in them. None past the end of the text.
std::optional<Extent> extentOf(const tesseract::PageIterator& line)
{
    Extent extent;
    int top = 0, bottom = 0;
    if (!line.BoundingBox(tesseract::RIL_TEXTLINE, &extent.left, &top, &extent.right, &bottom))
        return std::nullopt;
    extent.top = top;
    extent.bottom = bottom;
    int startX = 0, startY = 0, endX = 0, endY = 0;
    float height = 0, descent = 0, ascent = 0;
    line.RowAttributes(&height, &descent, &ascent); // the descent is negative
    if (line.Baseline(tesseract::RIL_TEXTLINE, &startX, &startY, &endX, &endY) && height > 0 && descent <= 0) {
        const double baseline = (startY + endY) / 2.0;
        extent.top = std::min(extent.top, baseline - static_cast<double>(height + descent));
        extent.bottom = std::max(extent.bottom, baseline - static_cast<double>(descent));
    }
    return extent;
}

/// The lines of a finished recognition, their boxes as shares of the picture with the origin at the bottom left.
std::vector<RecognizedLine> linesOf(tesseract::TessBaseAPI& engine, double width, double height)
{
    std::vector<RecognizedLine> lines;
    const std::unique_ptr<tesseract::ResultIterator> results(engine.GetIterator());
    if (!results)
        return lines;
    do {
        const std::optional<Extent> extent = extentOf(*results);
        if (!extent)
            continue;
        std::string text = withoutLineEnd(takeText(results->GetUTF8Text(tesseract::RIL_TEXTLINE)));
        lines.push_back({std::move(text), extent->left / width, 1 - extent->bottom / height, extent->right / width,
                         1 - extent->top / height, static_cast<double>(results->Confidence(tesseract::RIL_WORD))});
    } while (results->Next(tesseract::RIL_TEXTLINE));
    return lines;
}

/// Whether most lines are taller than wide. They run up or down and are read well, but cannot be put in order.
bool areMostlyTurned(const std::vector<RecognizedLine>& lines, double width, double height)
{
    std::ptrdiff_t balance = 0;
    for (const RecognizedLine& line : lines)
        balance += (line.maxY - line.minY) * height > (line.maxX - line.minX) * width ? 1 : -1;
    return balance > 0;
}

/// A box (left, top, width, height) with the white around a line that recognition needs; cut off at the page's edges.
std::array<int, 4> withMargin(const std::array<int, 4>& box, int pageWidth, int pageHeight)
{
    const int margin = box[3] / 4;
    const int left = std::max(box[0] - margin, 0);
    const int top = std::max(box[1] - margin, 0);
    return {left, top, std::min(box[0] + box[2] + margin, pageWidth) - left,
            std::min(box[1] + box[3] + margin, pageHeight) - top};
}

/// The longest lines of the page, as a sample of its text.
std::vector<std::array<int, 4>> sampleLines(tesseract::TessBaseAPI& engine, int width, int height)
{
    std::vector<std::array<int, 4>> boxes; // left, top, width, height
    const std::unique_ptr<tesseract::PageIterator> layout(engine.AnalyseLayout());
    if (!layout)
        return boxes;
    do {
        int left = 0, top = 0, right = 0, bottom = 0;
        if (layout->BoundingBox(tesseract::RIL_TEXTLINE, &left, &top, &right, &bottom))
            boxes.push_back(withMargin({left, top, right - left, bottom - top}, width, height));
    } while (layout->Next(tesseract::RIL_TEXTLINE));
    std::ranges::sort(boxes, std::greater(), [](const auto& box) { return box[2]; });
    boxes.resize(std::min(boxes.size(), trialLines));
    return boxes;
}

} // namespace

std::vector<RecognizedLine> Recognizer::recognize(const GrayImage& page, std::stop_token stop,
                                                  std::chrono::milliseconds patience)
{
    keepToOneThread();
    m_patience = patience;
    if (page.width < smallestSide || page.height < smallestSide)
        return {};
    PixHandle pix = pixFrom(page);
    if (!pix)
        return {};
    std::optional<Reading> asItIs;
    const std::optional<std::string> language = m_session.settledLanguage();
    const bool seemsTurned = m_session.lastPageWasTurned() || runsSideways(page);
    if (language && !seemsTurned && useLanguage(*language)) {
        asItIs = read(*pix, stop);
        if (asItIs->confidence >= goodConfidence && !asItIs->isTurned)
            return asItIs->lines;
    }
    const Orientation orientation = orientationOf(*pix);
    if (stop.stop_requested())
        throw JobCancelled();
    if (orientation.isSureOfScript)
        m_session.noteScript(orientation.script);
    m_session.setLastPageWasTurned(orientation.quarters != 0);
    if (orientation.quarters != 0) {
        pix = turned(*pix, orientation.quarters);
        asItIs.reset();
    }
    if (!pix || !useLanguage(languageFor(*pix, orientation.script)))
        return {};
    Reading reading = asItIs ? std::move(*asItIs) : read(*pix, stop);
    if (!reading.isFinished)
        throw std::runtime_error("the page takes too long");
    return orientation.isSure ? reading.lines : readAnyWayUp(pix, std::move(reading), stop).lines;
}

bool Recognizer::useLanguage(const std::string& language)
{
    if (!m_engine || m_language != language) {
        m_engine.reset(); // before the next one: each takes tens of megabytes
        m_engine = openEngine(language);
        m_language = language;
    }
    return m_engine != nullptr;
}

Recognizer::Orientation Recognizer::orientationOf(Pix& page)
{
    Orientation orientation;
    if (!m_session.hasOrientationData())
        return orientation;
    if (!m_orientationEngine)
        m_orientationEngine = openEngine("osd");
    if (!m_orientationEngine)
        return orientation;
    m_orientationEngine->SetPageSegMode(tesseract::PSM_AUTO_OSD);
    m_orientationEngine->SetImage(&page);
    int degrees = 0;
    float confidence = 0, scriptConfidence = 0;
    const char* script = nullptr;
    if (m_orientationEngine->DetectOrientationScript(&degrees, &confidence, &script, &scriptConfidence)) {
        orientation.isSure = confidence >= sureOrientation;
        if (orientation.isSure)
            orientation.quarters = (4 - degrees / 90) % 4;
        if (script)
            orientation.script = script;
        orientation.isSureOfScript = scriptConfidence >= sureScript;
    }
    m_orientationEngine->Clear();
    return orientation;
}

std::string Recognizer::languageFor(Pix& page, const std::string& script)
{
    return m_session.languageFor(script, [&](std::vector<std::string> candidates) {
        candidates.resize(std::min(candidates.size(), mostTrials));
        std::string best = candidates.front();
        double bestConfidence = -1;
        for (const std::string& candidate : candidates) {
            if (candidates.size() == 1)
                break;
            const double confidence = trialConfidence(page, candidate);
            if (confidence > bestConfidence) {
                bestConfidence = confidence;
                best = candidate;
            }
        }
        return best;
    });
}

double Recognizer::trialConfidence(Pix& page, const std::string& language)
{
    if (!useLanguage(language))
        return -1;
    m_engine->SetPageSegMode(tesseract::PSM_AUTO);
    m_engine->SetImage(&page);
    const std::vector<std::array<int, 4>> lines = sampleLines(*m_engine, pixGetWidth(&page), pixGetHeight(&page));
    m_engine->SetPageSegMode(tesseract::PSM_SINGLE_LINE);
    double sum = 0;
    int words = 0;
    for (const auto& [left, top, width, height] : lines) {
        m_engine->SetRectangle(left, top, width, height);
        if (m_engine->Recognize(nullptr) != 0)
            continue;
        const std::unique_ptr<int[]> confidences(m_engine->AllWordConfidences()); // a negative one ends them
        for (const int* word = confidences.get(); word && *word >= 0; ++word, ++words)
            sum += *word;
    }
    m_engine->Clear();
    return words == 0 ? 0 : sum / words;
}

Recognizer::Reading Recognizer::readAnyWayUp(const PixHandle& page, Reading upright, std::stop_token stop)
{
    Reading best = std::move(upright);
    if (best.lines.empty() || (best.confidence >= poorConfidence && !best.isTurned))
        return best;
    // Too little text to be sure which way is up: the right way is the one that reads best.
    for (const int quarters : {2, 1, 3}) {
        const PixHandle other = turned(*page, quarters);
        Reading reading = other ? read(*other, stop) : Reading();
        if (!reading.isTurned && (reading.confidence > best.confidence || best.isTurned))
            best = std::move(reading);
    }
    return best;
}

Recognizer::Reading Recognizer::read(Pix& page, std::stop_token stop)
{
    m_engine->SetPageSegMode(tesseract::PSM_AUTO);
    m_engine->SetImage(&page);
    tesseract::ETEXT_DESC monitor;
    monitor.cancel = &isStopRequested;
    monitor.cancel_this = &stop;
    monitor.set_deadline_msecs(static_cast<std::int32_t>(m_patience.count()));
    const bool hasFinished = m_engine->Recognize(&monitor) == 0;
    if (stop.stop_requested())
        throw JobCancelled();
    Reading reading;
    reading.isFinished = hasFinished;
    if (hasFinished) {
        reading.confidence = m_engine->MeanTextConf();
        reading.lines = linesOf(*m_engine, pixGetWidth(&page), pixGetHeight(&page));
        reading.isTurned = areMostlyTurned(reading.lines, pixGetWidth(&page), pixGetHeight(&page));
    }
    m_engine->Clear();
    return reading;
}

} // namespace Pelgra
