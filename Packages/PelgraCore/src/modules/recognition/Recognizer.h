#pragma once

#include "PageImage.h"
#include "RecognitionEngine.h"
#include "Session.h"

#include <stop_token>
#include <string>
#include <vector>

namespace Pelgra {

/// Reads pages with the engine of one language at a time. Most pages stand upright: once the language is known a page
/// is read as it is, and its orientation looked for only when it reads badly, which saves a fifth of the time, or when
/// it seems to stand otherwise from the start.
class Recognizer final : public PageRecognizer {
public:
    explicit Recognizer(DocumentSession& session)
        : m_session(session)
    {
    }

    std::vector<TextExtraction::RecognizedLine> recognize(const GrayImage& page, std::stop_token stop,
                                                          std::chrono::milliseconds patience) override;

private:
    struct Orientation {
        int quarters = 0; ///< to turn the page clockwise until it stands upright
        bool isSure = false;
        std::string script; ///< empty where unknown
        bool isSureOfScript = false;
    };
    struct Reading {
        std::vector<TextExtraction::RecognizedLine> lines;
        int confidence = 0; ///< mean of the words, 0 to 100
        bool isTurned = false; ///< the lines run up or down
        bool isFinished = true; ///< else the time was over
    };

    Orientation orientationOf(Pix& page);
    std::string languageFor(Pix& page, const std::string& script);
    double trialConfidence(Pix& page, const std::string& language);
    Reading read(Pix& page, std::stop_token stop);
    Reading readAnyWayUp(const PixHandle& page, Reading upright, std::stop_token stop);
    bool useLanguage(const std::string& language);

    DocumentSession& m_session;
    EngineHandle m_orientationEngine;
    EngineHandle m_engine;
    std::string m_language; ///< of m_engine
    std::chrono::milliseconds m_patience{}; ///< for one reading of a page
};

} // namespace Pelgra
