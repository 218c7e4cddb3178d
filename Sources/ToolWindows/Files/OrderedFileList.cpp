#include "ToolWindows/Files/OrderedFileList.h"

namespace Pelgra {

namespace {

constexpr int rowSpacing = 12;
constexpr int bottomPadding = 12;
constexpr int rowStep = OrderedFileRow::rowHeight + rowSpacing;

} // namespace

OrderedFileList::OrderedFileList(std::vector<OrderedFile> files, RowLeading leading, QWidget* parent)
    : ReorderView(parent)
    , m_files(std::move(files))
    , m_leading(leading)
{
    moveVerticallyOnly();
}

QRect OrderedFileList::frameOf(std::size_t index) const
{
    return {0, static_cast<int>(index) * rowStep, contentWidth(), OrderedFileRow::rowHeight};
}

int OrderedFileList::contentHeight() const
{
    return qMax(0, static_cast<int>(m_files.size()) * rowStep - rowSpacing) + bottomPadding;
}

std::optional<std::size_t> OrderedFileList::indexAt(QPoint contentPoint) const
{
    if (contentPoint.y() < 0 || contentPoint.y() % rowStep >= OrderedFileRow::rowHeight)
        return std::nullopt;
    const auto index = static_cast<std::size_t>(contentPoint.y() / rowStep);
    return index < m_files.size() ? std::optional(index) : std::nullopt;
}

std::pair<std::ptrdiff_t, std::ptrdiff_t> OrderedFileList::indexesBetween(int top, int bottom) const
{
    return {top / rowStep, bottom / rowStep};
}

QWidget* OrderedFileList::makeItem(std::size_t index, QWidget* content)
{
    auto* const row = new OrderedFileRow(m_files[index], m_leading, content);
    connect(row, &OrderedFileRow::moveRequested, this, &OrderedFileList::moveById);
    connect(row, &OrderedFileRow::focusMoveRequested, this, &OrderedFileList::moveFocus);
    return row;
}

void OrderedFileList::updateItem(QWidget* item, std::size_t index, bool isDragged)
{
    auto* const row = static_cast<OrderedFileRow*>(item);
    row->setPosition(index, m_files.size());
    row->setDimmed(isDragged);
}

bool OrderedFileList::dragOver(const Identifier& dragging, const Identifier& target)
{
    return Reordering::dragOver(m_files, dragging, target);
}

void OrderedFileList::dragBegan()
{
    m_filesBeforeDrag = m_files;
}

void OrderedFileList::dragCancelled()
{
    m_files = m_filesBeforeDrag;
}

void OrderedFileList::move(std::ptrdiff_t index, std::ptrdiff_t delta)
{
    if (Reordering::move(m_files, index, delta))
        refresh(true);
}

void OrderedFileList::moveById(const Identifier& id, int delta)
{
    if (const auto index = Reordering::indexOf(m_files, id)) {
        move(static_cast<std::ptrdiff_t>(*index), delta);
        reveal(*Reordering::indexOf(m_files, id));
    }
}

void OrderedFileList::moveFocus(const Identifier& id, int delta)
{
    const auto index = Reordering::indexOf(m_files, id);
    if (index && Reordering::canMove(m_files.size(), static_cast<std::ptrdiff_t>(*index), delta))
        focusItem(static_cast<std::size_t>(static_cast<std::ptrdiff_t>(*index) + delta));
}

} // namespace Pelgra
