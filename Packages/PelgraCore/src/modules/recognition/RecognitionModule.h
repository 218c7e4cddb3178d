#pragma once

#include "PelgraCore/TextExtraction.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

namespace Pelgra {

/// An 8-bit grey picture of a page, top row first, rows without padding.
struct GrayImage {
    int width = 0;
    int height = 0;
    double pixelsPerInch = 300;
    std::vector<std::byte> pixels;
};

/// Reads pages one after the other; belongs to one thread at a time and costs some 100 MB while it works.
class PageRecognizer {
public:
    virtual ~PageRecognizer() = default;

    /// The lines in reading order, column by column. A page on its side or upside down is turned first; the boxes are
    /// those of the upright page. Empty where nothing can be read. Throws JobCancelled, and std::runtime_error for a
    /// page that takes longer than the caller has patience: there is more to find in it than on a page of text.
    virtual std::vector<TextExtraction::RecognizedLine>
    recognize(const GrayImage& page, std::stop_token stop,
              std::chrono::milliseconds patience = std::chrono::minutes(2)) = 0;
};

/// The recognisers of one document share what was found out about its language. Safe from several threads.
class RecognitionSession {
public:
    virtual ~RecognitionSession() = default;
    /// Must be gone before the session.
    virtual std::unique_ptr<PageRecognizer> makeRecognizer() = 0;
    /// A language of each script that pages were found to be written in and no data is installed for; those pages were
    /// read as if they were of another.
    virtual std::vector<std::string> missingLanguages() = 0;
};

/// The functions of libpelgra-recognition.so.
struct RecognitionModule {
    /// Null where the system has no data for any language.
    std::unique_ptr<RecognitionSession> (*openSession)();
};

} // namespace Pelgra
