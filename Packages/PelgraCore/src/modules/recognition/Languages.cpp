#include "Languages.h"

#include <algorithm>
#include <array>

namespace Pelgra {

namespace {

struct LanguageScript {
    std::string_view language;
    std::string_view script;
};

// Models are named by ISO 639-3 codes. Languages of Latin script are not listed.
constexpr LanguageScript scripts[] = {
    {"amh", "Ethiopic"},     {"tir", "Ethiopic"},   {"ara", "Arabic"},
    {"fas", "Arabic"},       {"kur_ara", "Arabic"}, {"pus", "Arabic"},
    {"snd", "Arabic"},       {"uig", "Arabic"},     {"urd", "Arabic"},
    {"asm", "Bengali"},      {"ben", "Bengali"},    {"aze_cyrl", "Cyrillic"},
    {"bel", "Cyrillic"},     {"bul", "Cyrillic"},   {"kaz", "Cyrillic"},
    {"kir", "Cyrillic"},     {"mkd", "Cyrillic"},   {"mon", "Cyrillic"},
    {"rus", "Cyrillic"},     {"srp", "Cyrillic"},   {"tat", "Cyrillic"},
    {"tgk", "Cyrillic"},     {"ukr", "Cyrillic"},   {"uzb_cyrl", "Cyrillic"},
    {"bod", "Tibetan"},      {"dzo", "Tibetan"},    {"chi_sim", "Han"},
    {"chi_tra", "Han"},      {"chr", "Cherokee"},   {"div", "Thaana"},
    {"ell", "Greek"},        {"grc", "Greek"},      {"frk", "Fraktur"},
    {"guj", "Gujarati"},     {"heb", "Hebrew"},     {"yid", "Hebrew"},
    {"hin", "Devanagari"},   {"mar", "Devanagari"}, {"nep", "Devanagari"},
    {"san", "Devanagari"},   {"hye", "Armenian"},   {"iku", "Canadian_Aboriginal"},
    {"jpn", "Japanese"},     {"kan", "Kannada"},    {"kat", "Georgian"},
    {"kat_old", "Georgian"}, {"khm", "Khmer"},      {"kor", "Korean"},
    {"lao", "Lao"},          {"mal", "Malayalam"},  {"mya", "Myanmar"},
    {"ori", "Oriya"},        {"pan", "Gurmukhi"},   {"sin", "Sinhala"},
    {"syr", "Syriac"},       {"tam", "Tamil"},      {"tel", "Telugu"},
    {"tha", "Thai"},
};

/// Where many languages of a script are installed, these are tried before the rest.
constexpr std::array<std::string_view, 14> widelyUsed = {"eng", "spa", "fra", "deu", "por", "ita",     "nld",
                                                         "pol", "rus", "ukr", "ara", "hin", "chi_sim", "jpn"};

std::size_t rankOf(std::string_view language)
{
    return static_cast<std::size_t>(std::ranges::find(widelyUsed, language) - widelyUsed.begin());
}

/// The detector of scripts calls Korean writing by two names.
std::string_view commonName(std::string_view script)
{
    return script == "Hangul" ? "Korean" : script == "Katakana" || script == "Hiragana" ? "Japanese" : script;
}

} // namespace

std::string_view scriptOfLanguage(std::string_view language)
{
    const auto* const found = std::ranges::find(scripts, language, &LanguageScript::language);
    return found == std::end(scripts) ? "Latin" : found->script;
}

std::vector<std::string> textLanguages(std::span<const std::string> installed)
{
    std::vector<std::string> languages;
    for (const std::string& model : installed) {
        const bool isOther = model == "osd" || model == "equ" || model == "snum" || model.ends_with("_vert")
            || model.find('/') != std::string::npos || model.starts_with("script");
        if (!isOther)
            languages.push_back(model);
    }
    return languages;
}

bool hasLanguageFor(std::span<const std::string> languages, std::string_view script)
{
    return languageOfScript(script).empty() || std::ranges::any_of(languages, [script](const std::string& language) {
               return scriptOfLanguage(language) == commonName(script);
           });
}

std::string_view languageOfScript(std::string_view script)
{
    if (script == "Latin")
        return "eng";
    std::string_view best;
    for (const LanguageScript& entry : scripts) {
        if (entry.script == commonName(script) && (best.empty() || rankOf(entry.language) < rankOf(best)))
            best = entry.language;
    }
    return best;
}

std::vector<std::string> candidateLanguages(std::span<const std::string> languages, std::string_view script)
{
    std::vector<std::string> candidates;
    for (const std::string& language : languages) {
        if (scriptOfLanguage(language) == commonName(script))
            candidates.push_back(language);
    }
    if (candidates.empty() && script != "Latin")
        return candidateLanguages(languages, "Latin");
    if (candidates.empty())
        candidates.assign(languages.begin(), languages.end());
    std::ranges::stable_sort(candidates, {}, rankOf);
    return candidates;
}

} // namespace Pelgra
