#include "Override.h"

#include <string_view>
#include <utility>

#include <mupdf/fitz.h>

/// MuPDF takes the name of a ligature such as "f_f_i" for that of its first letter, and the others are missing from the
/// text. This function stands before its own.
/// Made for MuPDF 1.21, and for 1.25, which knows those of f but still loses the t of "s_t".
PELGRA_DECLARE_OVERRIDE(fz_unicode_from_glyph_name, decltype(fz_unicode_from_glyph_name))

int PELGRA_OVERRIDE(fz_unicode_from_glyph_name)(const char* name)
{
    constexpr std::pair<std::string_view, int> ligatures[] = {{"f_f", 0xFB00},   {"f_i", 0xFB01},   {"f_l", 0xFB02},
                                                              {"f_f_i", 0xFB03}, {"f_f_l", 0xFB04}, {"s_t", 0xFB06}};
    const std::string_view whole(name);
    const std::string_view withoutVariant = whole.substr(0, whole.find('.'));
    for (const auto& [ligature, code] : ligatures) {
        if (withoutVariant == ligature)
            return code;
    }
    return PELGRA_OVERRIDDEN(fz_unicode_from_glyph_name)(name);
}
