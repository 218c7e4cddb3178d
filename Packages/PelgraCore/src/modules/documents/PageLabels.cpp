#include "PageLabels.h"

#include "Trees.h"

#include <algorithm>

namespace Pelgra::Documents {

namespace {

/// A longer one is cut off: one text can be the prefix of any number of ranges, each of which would copy it.
constexpr std::size_t prefixLimit = 4096;

struct Label {
    std::string style; ///< a name with its slash; empty for none
    std::string prefix; ///< bytes as in the file
    long long number = 1;

    bool isFollowedBy(const Label& next) const
    {
        return style == next.style && prefix == next.prefix && (style.empty() || number + 1 == next.number);
    }
};

class SourceLabels {
public:
    explicit SourceLabels(SourceDocument& source)
        : m_ranges(source.pageLabels())
    {
    }

    Label labelOf(std::size_t pageIndex) const
    {
        const auto range = std::prev(m_ranges.upper_bound(static_cast<long long>(pageIndex)));
        Object prefix = valueOf(range->second, "/P");
        const long long start = std::max(1LL, integerOf(valueOf(range->second, "/St")).value_or(1));
        return {nameOf(range->second, "/S"),
                prefix.isString() ? prefix.getStringValue().substr(0, prefixLimit) : std::string(),
                std::min(start, 1LL << 40) + static_cast<long long>(pageIndex) - std::max(0LL, range->first)};
    }

private:
    const std::map<long long, Object>& m_ranges;
};

Object rangeFor(const Label& label)
{
    Object range = Object::newDictionary();
    if (!label.style.empty()) {
        range.replaceKey("/S", Object::newName(label.style));
        if (label.number != 1)
            range.replaceKey("/St", Object::newInteger(label.number));
    }
    if (!label.prefix.empty())
        range.replaceKey("/P", Object::newString(label.prefix));
    return range;
}

} // namespace

Object combinedPageLabels(const std::vector<std::unique_ptr<Input>>& inputs)
{
    const bool hasLabels = std::any_of(inputs.begin(), inputs.end(), [](const std::unique_ptr<Input>& input) {
        return !input->pages.empty() && !dictionaryOf(input->source.catalog(), "/PageLabels").isNull();
    });
    if (!hasLabels)
        return Object::newNull();
    std::map<long long, Object> ranges;
    std::optional<Label> previous;
    long long pageIndex = 0;
    for (const std::unique_ptr<Input>& input : inputs) {
        const SourceLabels labels(input->source);
        for (const PlacedPage& page : input->pages) {
            const Label label = labels.labelOf(page.sourceIndex);
            if (!previous || !previous->isFollowedBy(label))
                ranges.emplace(pageIndex, rangeFor(label));
            previous = label;
            ++pageIndex;
        }
    }
    return makeNumberTree(ranges);
}

} // namespace Pelgra::Documents
