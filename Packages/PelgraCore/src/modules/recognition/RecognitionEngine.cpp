#include "RecognitionEngine.h"

#include "files/FileBroker.h"

#include <leptonica/allheaders.h>
#include <omp.h>

namespace Pelgra {

namespace {

EngineHandle quietEngine()
{
    setMsgSeverity(L_SEVERITY_NONE);
    auto engine = std::make_unique<tesseract::TessBaseAPI>();
    // Whoever runs the program has no use for complaints about single pages. A worker has nowhere to put them anyway.
    if (!fileBroker())
        engine->SetVariable("debug_file", "/dev/null");
    return engine;
}

} // namespace

EngineHandle openEngine(const std::string& language)
{
    EngineHandle engine = quietEngine();
    const auto mode = language == "osd" ? tesseract::OEM_TESSERACT_ONLY : tesseract::OEM_LSTM_ONLY;
    if (engine->Init(nullptr, language.c_str(), mode) != 0)
        return nullptr;
    return engine;
}

std::vector<std::string> installedModels()
{
    const EngineHandle engine = quietEngine();
    // An attempt to open a model makes the folder known. One that does not exist takes no time.
    engine->Init(nullptr, "none", tesseract::OEM_LSTM_ONLY);
    std::vector<std::string> models;
    engine->GetAvailableLanguagesAsVector(&models);
    return models;
}

void keepToOneThread()
{
    omp_set_max_active_levels(0);
}

} // namespace Pelgra
