#include "ToolWindows/Pages/PageGrid.h"

#include "ToolWindows/Reordering/Reordering.h"

#include <algorithm>

namespace Pelgra {

namespace {

// Logical pixels.
constexpr int narrowest = 190;
constexpr int widest = 280;
constexpr int spacing = 24;
constexpr int bottomPadding = 24;

constexpr int resetMilliseconds = 200;

} // namespace

PageGrid::PageGrid(OrganizeModel* model, QWidget* parent)
    : ReorderView(parent)
    , m_model(model)
{
    connect(m_model, &OrganizeModel::pagesChanged, this, [this] { refresh(true); });
    connect(m_model, &OrganizeModel::pagesReset, this, [this] { refresh(true, resetMilliseconds); });
    connect(m_model, &OrganizeModel::thumbnailChanged, this, &PageGrid::showThumbnail);
}

PageGrid::Columns PageGrid::columnsFor(int width)
{
    Columns columns;
    columns.count = std::max(1, (width + spacing) / (narrowest + spacing));
    columns.width = std::clamp((width - spacing * (columns.count - 1)) / columns.count, narrowest, widest);
    columns.left = std::max(0, (width - columns.count * columns.width - (columns.count - 1) * spacing) / 2);
    return columns;
}

QRect PageGrid::frameOf(std::size_t index) const
{
    const Columns columns = columnsFor(contentWidth());
    const int height = PageCard::heightFor(columns.width);
    const int row = static_cast<int>(index) / columns.count;
    const int column = static_cast<int>(index) % columns.count;
    return {columns.left + column * (columns.width + spacing), row * (height + spacing), columns.width, height};
}

int PageGrid::contentHeight() const
{
    if (count() == 0)
        return 0;
    return frameOf(count() - 1).bottom() + 1 + bottomPadding;
}

std::optional<std::size_t> PageGrid::indexAt(QPoint contentPoint) const
{
    const Columns columns = columnsFor(contentWidth());
    const int rowStep = PageCard::heightFor(columns.width) + spacing;
    const int columnStep = columns.width + spacing;
    const int x = contentPoint.x() - columns.left;
    if (x < 0 || contentPoint.y() < 0 || x >= columns.count * columnStep)
        return std::nullopt;
    const auto index = static_cast<std::size_t>(contentPoint.y() / rowStep * columns.count + x / columnStep);
    return index < count() && frameOf(index).contains(contentPoint) ? std::optional(index) : std::nullopt;
}

std::pair<std::ptrdiff_t, std::ptrdiff_t> PageGrid::indexesBetween(int top, int bottom) const
{
    const Columns columns = columnsFor(contentWidth());
    const int rowStep = PageCard::heightFor(columns.width) + spacing;
    return {std::max(0, top) / rowStep * columns.count, (bottom / rowStep + 1) * columns.count - 1};
}

QWidget* PageGrid::makeItem(std::size_t index, QWidget* content)
{
    auto* const card = new PageCard(m_model->pages()[index], content);
    connect(card, &PageCard::rotateRequested, m_model, &OrganizeModel::rotate);
    connect(card, &PageCard::duplicateRequested, m_model, &OrganizeModel::duplicate);
    connect(card, &PageCard::removeRequested, this, &PageGrid::removePage);
    connect(card, &PageCard::moveRequested, this, &PageGrid::movePage);
    connect(card, &PageCard::focusMoveRequested, this, &PageGrid::moveFocus);
    return card;
}

void PageGrid::updateItem(QWidget* item, std::size_t index, bool isDragged)
{
    auto* const card = static_cast<PageCard*>(item);
    const PageEdit& page = m_model->pages()[index];
    card->setPage(page, static_cast<int>(index) + 1, static_cast<int>(count()));
    card->setDimmed(isDragged);
    card->setImage(m_model->thumbnail(page.sourceIndex));
    m_model->loadThumbnail(page.sourceIndex);
}

void PageGrid::itemLeaves(QWidget* item)
{
    const std::int64_t source = static_cast<PageCard*>(item)->edit().sourceIndex;
    const bool isShownElsewhere = std::any_of(items().begin(), items().end(), [&](const auto& entry) {
        return entry.second != item && static_cast<PageCard*>(entry.second)->edit().sourceIndex == source;
    });
    if (!isShownElsewhere)
        m_model->cancelThumbnail(source);
}

void PageGrid::showThumbnail(std::int64_t sourceIndex)
{
    for (const auto& [id, item] : items()) {
        auto* const card = static_cast<PageCard*>(item);
        if (card->edit().sourceIndex == sourceIndex)
            card->setImage(m_model->thumbnail(sourceIndex));
    }
}

bool PageGrid::dragOver(const Identifier& dragging, const Identifier& target)
{
    m_model->dragOver(dragging, target);
    return false; // the model's own signal has refreshed the view
}

void PageGrid::dragEnded()
{
    m_model->commitReordering();
}

void PageGrid::dragCancelled()
{
    m_model->cancelReordering();
}

std::ptrdiff_t PageGrid::stepOf(PageCard::Direction direction) const
{
    const std::ptrdiff_t row = columnsFor(contentWidth()).count;
    switch (direction) {
    case PageCard::Direction::left:
        return -1;
    case PageCard::Direction::right:
        return 1;
    case PageCard::Direction::up:
        return -row;
    case PageCard::Direction::down:
        return row;
    }
    return 0;
}

void PageGrid::moveFocus(const Identifier& id, PageCard::Direction direction)
{
    const auto index = Reordering::indexOf(m_model->pages(), id);
    const std::ptrdiff_t step = stepOf(direction);
    if (index && Reordering::canMove(count(), static_cast<std::ptrdiff_t>(*index), step))
        focusItem(static_cast<std::size_t>(static_cast<std::ptrdiff_t>(*index) + step));
}

void PageGrid::removePage(const Identifier& id)
{
    const auto index = Reordering::indexOf(m_model->pages(), id);
    if (!index)
        return;
    const auto card = items().find(id);
    const bool canBeClicked = card != items().end() && static_cast<PageCard*>(card->second)->showsRemoveButton();
    if (!isInSight(*index) && !canBeClicked) {
        focusItem(*index); // the view was scrolled away from the focus: nobody sees what would be removed
        return;
    }
    m_model->remove(id);
    focusItem(std::min(*index, count() - 1)); // the focus stays where it was
}

void PageGrid::movePage(const Identifier& id, PageCard::Direction direction)
{
    m_model->moveBy(id, stepOf(direction));
    if (const auto index = Reordering::indexOf(m_model->pages(), id))
        focusItem(*index);
}

} // namespace Pelgra
