#pragma once

#include "ToolWindows/Files/OrderedFileRow.h"
#include "ToolWindows/Reordering/Reordering.h"
#include "ToolWindows/Reordering/ReorderView.h"

#include <vector>

namespace Pelgra {

/// Files in an order the user chooses: by dragging rows, by the rows' buttons, or by Alt or Control with the arrow
/// keys.
class OrderedFileList : public ReorderView {
    Q_OBJECT

public:
    OrderedFileList(std::vector<OrderedFile> files, RowLeading leading, QWidget* parent = nullptr);

    const std::vector<OrderedFile>& files() const { return m_files; }

    /// Swaps the file at index with the one delta places on; nothing outside the list.
    void move(std::ptrdiff_t index, std::ptrdiff_t delta);

protected:
    std::size_t count() const override { return m_files.size(); }
    Identifier idAt(std::size_t index) const override { return m_files[index].id; }
    QRect frameOf(std::size_t index) const override;
    int contentHeight() const override;
    std::optional<std::size_t> indexAt(QPoint contentPoint) const override;
    std::pair<std::ptrdiff_t, std::ptrdiff_t> indexesBetween(int top, int bottom) const override;
    QWidget* makeItem(std::size_t index, QWidget* content) override;
    void updateItem(QWidget* item, std::size_t index, bool isDragged) override;
    bool dragOver(const Identifier& dragging, const Identifier& target) override;
    void dragBegan() override;
    void dragCancelled() override;

private:
    void moveById(const Identifier& id, int delta);
    void moveFocus(const Identifier& id, int delta);

    std::vector<OrderedFile> m_files;
    std::vector<OrderedFile> m_filesBeforeDrag;
    RowLeading m_leading;
};

} // namespace Pelgra
