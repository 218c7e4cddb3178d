#include "Session.h"

#include "RecognitionEngine.h"
#include "Recognizer.h"

#include <algorithm>

namespace Pelgra {

namespace {

bool haveOneScript(const std::vector<std::string>& languages)
{
    return std::ranges::all_of(languages, [&languages](const std::string& language) {
        return scriptOfLanguage(language) == scriptOfLanguage(languages.front());
    });
}

} // namespace

DocumentSession::DocumentSession(std::vector<std::string> languages, bool hasOrientationData)
    : m_languages(std::move(languages))
    , m_hasOneScript(haveOneScript(m_languages))
    , m_hasOrientationData(hasOrientationData)
{
}

std::optional<std::string> DocumentSession::settledLanguage()
{
    if (m_languages.size() == 1)
        return m_languages.front();
    const std::lock_guard lock(m_mutex);
    if (m_hasOneScript && !m_chosen.empty())
        return m_chosen.begin()->second;
    return std::nullopt;
}

std::vector<std::string> DocumentSession::missingLanguages()
{
    const std::lock_guard lock(m_mutex);
    return {m_missing.begin(), m_missing.end()};
}

void DocumentSession::noteScript(const std::string& script)
{
    if (hasLanguageFor(m_languages, script))
        return;
    const std::lock_guard lock(m_mutex);
    m_missing.emplace(languageOfScript(script));
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
