#include "Session.h"

#include "Engine.h"
#include "Recognizer.h"

#include <algorithm>

namespace Pelgra {

DocumentSession::DocumentSession(std::vector<std::string> languages, bool hasOrientationData)
    : m_languages(std::move(languages))
    , m_hasOrientationData(hasOrientationData)
{
}

std::unique_ptr<PageRecognizer> DocumentSession::makeRecognizer()
{
    return std::make_unique<Recognizer>(*this);
}

std::unique_ptr<RecognitionSession> openRecognitionSession()
{
    const std::vector<std::string> models = installedModels();
    std::vector<std::string> languages = textLanguages(models);
    if (languages.empty())
        return nullptr;
    return std::make_unique<DocumentSession>(std::move(languages), std::ranges::find(models, "osd") != models.end());
}

} // namespace Pelgra
