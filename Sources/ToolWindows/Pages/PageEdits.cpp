#include "ToolWindows/Pages/PageEdits.h"

#include "ToolWindows/Reordering/Reordering.h"

#include <algorithm>

namespace Pelgra {

namespace {

constexpr std::size_t historyLimit = 200;

} // namespace

PageEdits::PageEdits(int pageCount)
{
    m_original.reserve(static_cast<std::size_t>(std::max(pageCount, 0)));
    for (int index = 0; index < pageCount; ++index)
        m_original.emplace_back(index, 0);
    m_pages = m_original;
    m_history = {m_pages};
}

bool PageEdits::isChanged() const
{
    return !std::equal(m_pages.begin(), m_pages.end(), m_original.begin(), m_original.end(),
                       [](const PageEdit& a, const PageEdit& b) {
                           return a.sourceIndex == b.sourceIndex && a.rotation == b.rotation;
                       });
}

bool PageEdits::rotate(const Identifier& id)
{
    const auto index = Reordering::indexOf(m_pages, id);
    if (!index)
        return false;
    m_pages[*index].rotation = (m_pages[*index].rotation + 90) % 360;
    return recordStep();
}

bool PageEdits::duplicate(const Identifier& id)
{
    const auto index = Reordering::indexOf(m_pages, id);
    if (!index)
        return false;
    const PageEdit copy(m_pages[*index].sourceIndex, m_pages[*index].rotation);
    m_pages.insert(m_pages.begin() + static_cast<std::ptrdiff_t>(*index) + 1, copy);
    return recordStep();
}

bool PageEdits::remove(const Identifier& id)
{
    const auto index = Reordering::indexOf(m_pages, id);
    if (!index || !canRemove())
        return false;
    m_pages.erase(m_pages.begin() + static_cast<std::ptrdiff_t>(*index));
    return recordStep();
}

bool PageEdits::moveBy(const Identifier& id, std::ptrdiff_t delta)
{
    const auto index = Reordering::indexOf(m_pages, id);
    if (!index || !Reordering::canMove(m_pages.size(), static_cast<std::ptrdiff_t>(*index), delta) || delta == 0)
        return false;
    const Identifier target = m_pages[static_cast<std::size_t>(static_cast<std::ptrdiff_t>(*index) + delta)].id;
    Reordering::dragOver(m_pages, id, target);
    return recordStep();
}

bool PageEdits::reset()
{
    if (!isChanged())
        return false;
    m_pages = m_original;
    return recordStep();
}

bool PageEdits::dragOver(const Identifier& dragging, const Identifier& target)
{
    return Reordering::dragOver(m_pages, dragging, target);
}

bool PageEdits::commitReordering()
{
    return m_history[m_position] != m_pages && recordStep();
}

bool PageEdits::cancelReordering()
{
    if (m_history[m_position] == m_pages)
        return false;
    m_pages = m_history[m_position];
    return true;
}

bool PageEdits::undo()
{
    if (!canUndo())
        return false;
    m_pages = m_history[--m_position];
    return true;
}

bool PageEdits::redo()
{
    if (!canRedo())
        return false;
    m_pages = m_history[++m_position];
    return true;
}

bool PageEdits::recordStep()
{
    m_history.resize(m_position + 1);
    m_history.push_back(m_pages);
    if (m_history.size() > historyLimit)
        m_history.erase(m_history.begin());
    m_position = m_history.size() - 1;
    return true;
}

} // namespace Pelgra
