#include "unicode/Unicode.h"

#include <algorithm>
#include <utility>

#include <uninorm.h>

namespace Pelgra::Unicode {

namespace {

// Unicode decomposes the radicals of the Kangxi dictionary, but few of the supplementary ones. These are whole
// characters of their own, by their names in the Unicode data.
constexpr std::pair<char16_t, char16_t> supplementary[] = {
    {0x2EA0, u'民'}, {0x2EC1, u'虎'}, {0x2EC4, u'西'}, {0x2EC5, u'见'}, {0x2EC6, u'角'}, {0x2EC9, u'贝'},
    {0x2ECB, u'车'}, {0x2ED1, u'長'}, {0x2ED3, u'长'}, {0x2ED4, u'门'}, {0x2ED8, u'青'}, {0x2ED9, u'韦'},
    {0x2EDA, u'页'}, {0x2EDB, u'风'}, {0x2EDC, u'飞'}, {0x2EDD, u'食'}, {0x2EE2, u'马'}, {0x2EE3, u'骨'},
    {0x2EE4, u'鬼'}, {0x2EE5, u'鱼'}, {0x2EE6, u'鸟'}, {0x2EE7, u'卤'}, {0x2EE8, u'麦'}, {0x2EE9, u'黄'},
    {0x2EEB, u'斉'}, {0x2EEC, u'齐'}, {0x2EED, u'歯'}, {0x2EEE, u'齿'}, {0x2EEF, u'竜'}, {0x2EF0, u'龙'},
    {0x2EF2, u'亀'},
};

} // namespace

char32_t withoutRadical(char32_t character)
{
    if (character < 0x2E80 || character > 0x2FD5)
        return character;
    const auto* const found =
        std::ranges::lower_bound(supplementary, character, {}, [](const auto& entry) { return char32_t{entry.first}; });
    if (found != std::end(supplementary) && found->first == character)
        return found->second;
    int tag = 0;
    ucs4_t decomposed[UC_DECOMPOSITION_MAX_LENGTH];
    return uc_decomposition(character, &tag, decomposed) == 1 ? decomposed[0] : character;
}

} // namespace Pelgra::Unicode
