#include <string_view>
#include <utility>

/// MuPDF takes the name of a ligature such as "f_f_i" for that of its first letter, and the others are lost to the
/// text. The linker puts this function (--wrap) before its own.
extern "C" {
int __real_fz_unicode_from_glyph_name(const char* name);
int __wrap_fz_unicode_from_glyph_name(const char* name);
}

int __wrap_fz_unicode_from_glyph_name(const char* name)
{
    constexpr std::pair<std::string_view, int> ligatures[] = {{"f_f", 0xFB00},   {"f_i", 0xFB01},   {"f_l", 0xFB02},
                                                              {"f_f_i", 0xFB03}, {"f_f_l", 0xFB04}, {"s_t", 0xFB06}};
    const std::string_view whole(name);
    const std::string_view withoutVariant = whole.substr(0, whole.find('.'));
    for (const auto& [ligature, code] : ligatures) {
        if (withoutVariant == ligature)
            return code;
    }
    return __real_fz_unicode_from_glyph_name(name);
}
