#include "Drag/DragSessionMachine.h"

namespace Pelgra {

std::vector<DragEvent> DragSessionMachine::step(std::int64_t changeCount, bool buttonDown, ModifierFlags flags,
                                                const FileReader& fileURLs)
{
    const ModifierFlags relevantFlags = flags & relevantTapFlags;
    std::vector<DragEvent> events;
    if (!lastChangeCount)
        lastChangeCount = changeCount; // a drag older than the first sample is never picked up
    else if (isActive)
        events = stepInSession(changeCount, buttonDown, relevantFlags);
    else if (changeCount != *lastChangeCount)
        events = stepOutsideSession(changeCount, buttonDown, fileURLs);
    previousFlags = relevantFlags;
    return events;
}

void DragSessionMachine::cancel()
{
    isActive = false;
    urls.clear();
}

std::vector<DragEvent> DragSessionMachine::stepInSession(std::int64_t changeCount, bool buttonDown,
                                                         ModifierFlags relevantFlags)
{
    lastChangeCount = changeCount;
    if (buttonDown)
        return tapsOf(relevantFlags & ~previousFlags);
    cancel();
    return {SessionEnded{}};
}

std::vector<DragEvent> DragSessionMachine::tapsOf(ModifierFlags pressed) const
{
    const auto isPressed = [pressed](ModifierFlags flag) {
        return flag != 0 && (pressed & flag) == flag;
    };
    std::vector<DragEvent> events;
    if (isPressed(convertFlag) || isPressed(tapFlagOf(WheelKind::convert)))
        events.emplace_back(KeyTapped{WheelKind::convert});
    if ((isPressed(toolsFlag) && toolsFlag != convertFlag) || isPressed(tapFlagOf(WheelKind::tools)))
        events.emplace_back(KeyTapped{WheelKind::tools});
    return events;
}

std::vector<DragEvent> DragSessionMachine::stepOutsideSession(std::int64_t changeCount, bool buttonDown,
                                                              const FileReader& fileURLs)
{
    if (!buttonDown) {
        lastChangeCount = changeCount; // the change was no drag
        return {};
    }
    std::vector<std::filesystem::path> files = fileURLs();
    if (files.empty())
        return {}; // asked again with the next sample: the files may become known a little later
    lastChangeCount = changeCount;
    isActive = true;
    urls = std::move(files);
    return {SessionStarted{urls}};
}

} // namespace Pelgra
