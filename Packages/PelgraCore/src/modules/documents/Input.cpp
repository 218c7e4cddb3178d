#include "Input.h"

namespace Pelgra::Documents {

PlacedPage* Input::firstCopyOf(std::size_t sourceIndex)
{
    const auto found = firstCopies.find(sourceIndex);
    return found != firstCopies.end() ? &pages[found->second] : nullptr;
}

std::vector<const ObjectMap*> Input::placesFor(const PlacedPage& page) const
{
    if (page.isDuplicate)
        return {&page.duplicatePlaces, &places};
    return {&places};
}

bool Input::isComplete() const
{
    if (pages.size() != source.pages().size())
        return false;
    for (std::size_t index = 0; index < pages.size(); ++index) {
        if (pages[index].sourceIndex != index)
            return false;
    }
    return true;
}

Object Input::structureKey(const PlacedPage& page, Object key) const
{
    if (!structureOffset || page.isDuplicate || !key.isInteger())
        return Object::newNull();
    return Object::newInteger(key.getIntValue() + *structureOffset);
}

} // namespace Pelgra::Documents
