#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Pelgra {

/// The script of a language, both as the recogniser names them: "rus" is "Cyrillic". Unknown languages are "Latin".
std::string_view scriptOfLanguage(std::string_view language);

/// Those of the installed models that recognise the text of a language; not the ones for orientation, equations,
/// vertical text or whole scripts.
std::vector<std::string> textLanguages(std::span<const std::string> installed);

/// Whether there is one of the script; an unknown script, named by an empty text, counts as one that has.
bool hasLanguageFor(std::span<const std::string> languages, std::string_view script);

/// The most widely used language of a script; empty for a script that has none.
std::string_view languageOfScript(std::string_view script);

/// The languages worth a trial for a script, most widely used first. Where the script is unknown or has no language,
/// those of Latin script or, without any, all.
std::vector<std::string> candidateLanguages(std::span<const std::string> languages, std::string_view script);

} // namespace Pelgra
