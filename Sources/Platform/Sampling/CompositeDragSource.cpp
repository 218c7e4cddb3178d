#include "Platform/Sampling/CompositeDragSource.h"

#include <cassert>
#include <utility>

namespace Pelgra {

CompositeDragSource::CompositeDragSource(std::vector<DragSource*> sources)
    : m_current(sources.empty() ? nullptr : sources.front())
{
    assert(m_current != nullptr);
    for (DragSource* source : sources) {
        m_parts.push_back({source, source->changeCount()});
        source->onNews = [this] {
            if (onNews)
                onNews();
        };
        source->onCancelled = [this] {
            if (onCancelled)
                onCancelled();
        };
        source->onSign = [this](const DragSign& sign) {
            if (onSign)
                onSign(sign);
        };
    }
}

CompositeDragSource::~CompositeDragSource()
{
    for (const Part& part : m_parts) {
        part.source->onNews = nullptr;
        part.source->onCancelled = nullptr;
        part.source->onSign = nullptr;
    }
}

void CompositeDragSource::refresh()
{
    // Two sources may report one drag: the count goes up by one, and the earlier of them answers for it.
    DragSource* changed = nullptr;
    bool isTaken = false;
    for (Part& part : m_parts) {
        part.source->refresh();
        const std::int64_t count = part.source->changeCount();
        if (std::exchange(part.changeCount, count) != count && changed == nullptr && !isTaken)
            changed = part.source;
        isTaken = isTaken || (part.source == m_current && m_current->primaryButton() == ButtonState::down);
    }
    if (changed == nullptr)
        return;
    m_current = changed;
    ++m_changeCount;
}

ButtonState CompositeDragSource::primaryButton() const
{
    if (m_current->primaryButton() != ButtonState::unseen)
        return m_current->primaryButton();
    // “Up” of a source that knows of no drag means nothing.
    for (const Part& part : m_parts) {
        if (part.source->primaryButton() == ButtonState::down)
            return ButtonState::down;
    }
    return ButtonState::unseen;
}

ModifierFlags CompositeDragSource::modifierFlags() const
{
    ModifierFlags flags = 0;
    for (const Part& part : m_parts)
        flags |= part.source->modifierFlags();
    return flags;
}

ModifierFlags CompositeDragSource::modifierFlagsNow()
{
    ModifierFlags flags = 0;
    for (const Part& part : m_parts)
        flags |= part.source->modifierFlagsNow();
    return flags;
}

std::vector<std::filesystem::path> CompositeDragSource::fileURLs()
{
    return m_current->fileURLs(); // another source's would be those of an earlier drag
}

std::optional<QPoint> CompositeDragSource::pointer() const
{
    if (const std::optional<QPoint> point = m_current->pointer())
        return point;
    for (const Part& part : m_parts) {
        if (const std::optional<QPoint> point = part.source->pointer())
            return point;
    }
    return std::nullopt;
}

void CompositeDragSource::setTapFlags(ModifierFlags flags)
{
    for (const Part& part : m_parts)
        part.source->setTapFlags(flags);
}

} // namespace Pelgra
