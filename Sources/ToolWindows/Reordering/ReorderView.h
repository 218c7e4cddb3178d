#pragma once

#include "Controls/TabOrder.h"
#include "PelgraCore/Models.h"

#include <QScrollArea>

#include <cstddef>
#include <map>
#include <optional>
#include <utility>

namespace Pelgra {

class ReorderDrag;

/// A scrolled view of items that the user reorders by dragging. What the items are and where they are placed is up to
/// the subclass. A widget exists for an item only while it is in view, so thousands of items cost no more than a
/// screenful; changes of place are animated. The keyboard moves between items with the arrow, Home, End and Page keys;
/// Tab goes through the controls of one item and on. Points and frames are in logical pixels of the content, y down.
class ReorderView : public QScrollArea, public TabOrder::Group {
    Q_OBJECT

public:
    /// Room on the right for the scroll bar, which is outside the items' width, logical pixels.
    static constexpr int trailingRoom = 18;

    ~ReorderView() override;

    /// The item that is being dragged, if any.
    const std::optional<Identifier>& dragging() const;

    /// The widgets that exist, first to last.
    QList<QWidget*> itemsInOrder() const;

    /// The item that the focus is in, else the last one it was in, else the first one; always one in sight if the focus
    /// is elsewhere.
    QWidget* tabStop() const override;

protected:
    explicit ReorderView(QWidget* parent);

    virtual std::size_t count() const = 0;
    virtual Identifier idAt(std::size_t index) const = 0;
    virtual QRect frameOf(std::size_t index) const = 0;
    virtual int contentHeight() const = 0;
    /// The item whose frame holds the point.
    virtual std::optional<std::size_t> indexAt(QPoint contentPoint) const = 0;
    /// First and last index whose frames may meet these heights; first > last for none.
    virtual std::pair<std::ptrdiff_t, std::ptrdiff_t> indexesBetween(int top, int bottom) const = 0;

    /// How many items there are side by side.
    virtual int columnCount() const { return 1; }

    virtual QWidget* makeItem(std::size_t index, QWidget* content) = 0;
    /// Shows in the widget where its item is now.
    virtual void updateItem(QWidget* item, std::size_t index, bool isDragged) = 0;
    /// The widget's item went out of view; it is deleted next.
    virtual void itemLeaves(QWidget* item);

    /// The dragged item entered another. Returns whether the order changed.
    virtual bool dragOver(const Identifier& dragging, const Identifier& target) = 0;
    virtual void dragBegan();
    virtual void dragEnded();
    /// Puts back the order from before the drag.
    virtual void dragCancelled() = 0;

    /// A dragged item's picture keeps its left edge.
    void moveVerticallyOnly();

    int contentWidth() const;
    const std::map<Identifier, QWidget*>& items() const { return m_items; }

    static constexpr int moveMilliseconds = 180;
    /// Puts every item in view where it belongs.
    void refresh(bool animated, int milliseconds = moveMilliseconds);
    /// Scrolls until the item is in view and gives its widget the keyboard focus.
    void focusItem(std::size_t index);
    void reveal(std::size_t index);
    /// Whether enough of an item is visible to recognise it.
    bool isInSight(std::size_t index) const;

    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    QWidget* itemFor(std::size_t index);
    void place(QWidget* item, const QRect& frame, bool animated, int milliseconds);
    bool isKept(const Identifier& id, const QWidget* item) const;
    std::optional<std::size_t> focusedIndex() const;
    std::optional<std::size_t> indexOf(const Identifier& id) const;
    std::size_t indexAfterPageKey(std::size_t from, int direction) const;

    QWidget* m_content;
    std::map<Identifier, QWidget*> m_items; ///< those that exist
    std::optional<Identifier> m_lastFocused;
    ReorderDrag* m_drag;
};

} // namespace Pelgra
