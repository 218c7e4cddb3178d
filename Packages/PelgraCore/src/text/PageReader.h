#pragma once

#include "modules/recognition/RecognitionModule.h"
#include "modules/rendering/RenderingModule.h"
#include "PelgraCore/TextExtraction.h"

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <semaphore>
#include <stop_token>
#include <string>
#include <vector>

namespace Pelgra {

/// Character recognition for one document, begun when the first page needs it. Safe from several threads.
class DocumentRecognition {
public:
    DocumentRecognition();

    /// Reads a picture with the recogniser, which is made when it is null. Empty without language data.
    std::vector<TextExtraction::RecognizedLine> read(std::unique_ptr<PageRecognizer>& recognizer,
                                                     const GrayImage& picture, const std::stop_token& stop);

    /// A language of each script that pages are written in and no data is installed for.
    std::vector<std::string> missingLanguages() const;

    /// Its permits are the pages there is memory for, each drawn and recognised.
    std::counting_semaphore<>& pagesAtOnce() { return m_pagesAtOnce; }

    /// Whether a page could not be read because no language is installed.
    bool lacksLanguages() const { return m_lacksLanguages; }

private:
    RecognitionSession* session();

    std::once_flag m_opening;
    std::unique_ptr<RecognitionSession> m_session;
    std::atomic<bool> m_lacksLanguages = false;
    std::counting_semaphore<> m_pagesAtOnce;
};

/// What a page says: the lines of its text layer or, without one, the paragraphs read from its picture.
struct PageContent {
    std::vector<TextExtraction::Line> lines;
    std::vector<TextExtraction::RecognizedParagraph> paragraphs;
    bool isGivenUp = false; ///< the page is none without text, but could not be read
};

/// Reads pages of a document, one at a time.
class PageReader {
public:
    /// The recognition must outlive the reader.
    PageReader(std::unique_ptr<PageRenderer> document, DocumentRecognition& recognition);

    /// Empty and given up where the page cannot be read. Throws JobCancelled.
    PageContent read(int pageIndex, const std::stop_token& stop);

private:
    std::vector<TextExtraction::Line> linesOf(int pageIndex, const std::stop_token& stop);
    /// The usual step between the lines of a page, in font sizes; none where it has few lines or cannot be read.
    std::optional<float> stepOf(int pageIndex, const std::stop_token& stop);
    /// Throws std::runtime_error where the page cannot be drawn.
    GrayImage pictureOf(int pageIndex, const std::stop_token& stop);
    std::vector<TextExtraction::RecognizedParagraph> recognize(int pageIndex, const std::stop_token& stop);

    std::unique_ptr<PageRenderer> m_document;
    DocumentRecognition& m_recognition;
    std::unique_ptr<PageRecognizer> m_recognizer;
    int m_lastIndex = -1; ///< the page read last,
    std::optional<float> m_lastStep; ///< and what stepOf() says of it
};

} // namespace Pelgra
