#pragma once

#include "Languages.h"
#include "modules/recognition/RecognitionModule.h"

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Pelgra {

/// What the recognisers of one document share: the installed languages and the one chosen for each script.
class DocumentSession final : public RecognitionSession {
public:
    DocumentSession(std::vector<std::string> languages, bool hasOrientationData);

    std::unique_ptr<PageRecognizer> makeRecognizer() override;

    bool hasOrientationData() const { return m_hasOrientationData; }

    /// The language of every page, where that can be told without looking at it: only one is installed, or all are of
    /// one script and one has been chosen.
    std::optional<std::string> settledLanguage();

    /// Pages of a document are mostly turned alike.
    bool lastPageWasTurned() const { return m_lastPageWasTurned; }
    void setLastPageWasTurned(bool wasTurned) { m_lastPageWasTurned = wasTurned; }

    std::vector<std::string> missingLanguages() override;
    /// Takes down that a page is surely written in the script.
    void noteScript(const std::string& script);

    /// The language for a script. At the first page of a script the trial is called with the languages to compare and
    /// returns the best; other threads wait for it.
    template <typename Trial>
    std::string languageFor(const std::string& script, Trial trial)
    {
        const std::lock_guard lock(m_mutex);
        std::string& chosen = m_chosen[script];
        if (chosen.empty())
            chosen = trial(candidateLanguages(m_languages, script));
        return chosen;
    }

private:
    const std::vector<std::string> m_languages;
    const bool m_hasOneScript;
    const bool m_hasOrientationData;
    std::atomic<bool> m_lastPageWasTurned = false;
    std::mutex m_mutex;
    std::set<std::string> m_missing;
    std::map<std::string, std::string> m_chosen;
};

/// Null where no language is installed.
std::unique_ptr<RecognitionSession> openRecognitionSession();

} // namespace Pelgra
