#pragma once

#include "ToolWindows/Pages/OrganizeModel.h"
#include "ToolWindows/Pages/PageCard.h"
#include "ToolWindows/Reordering/ReorderView.h"

namespace Pelgra {

/// The pages of an organised document in as many columns as fit, each 190 to 280 logical pixels wide.
class PageGrid : public ReorderView {
    Q_OBJECT

public:
    /// The model outlives the grid.
    explicit PageGrid(OrganizeModel* model, QWidget* parent = nullptr);

    /// How many columns of which width fill a width, logical pixels.
    struct Columns {
        int count = 1;
        int width = 190;
        int left = 0; ///< where the first begins, so that all are centred
    };
    static Columns columnsFor(int width);

protected:
    std::size_t count() const override { return m_model->pages().size(); }
    Identifier idAt(std::size_t index) const override { return m_model->pages()[index].id; }
    QRect frameOf(std::size_t index) const override;
    int contentHeight() const override;
    std::optional<std::size_t> indexAt(QPoint contentPoint) const override;
    std::pair<std::ptrdiff_t, std::ptrdiff_t> indexesBetween(int top, int bottom) const override;
    int columnCount() const override { return columnsFor(contentWidth()).count; }
    QWidget* makeItem(std::size_t index, QWidget* content) override;
    void updateItem(QWidget* item, std::size_t index, bool isDragged) override;
    void itemLeaves(QWidget* item) override;
    bool dragOver(const Identifier& dragging, const Identifier& target) override;
    void dragEnded() override;
    void dragCancelled() override;

private:
    std::ptrdiff_t stepOf(PageCard::Direction direction) const;
    void moveFocus(const Identifier& id, PageCard::Direction direction);
    void removePage(const Identifier& id);
    void movePage(const Identifier& id, PageCard::Direction direction);
    void showThumbnail(std::int64_t sourceIndex);

    OrganizeModel* m_model;
};

} // namespace Pelgra
