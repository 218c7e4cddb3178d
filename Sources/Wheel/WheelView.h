#pragma once

#include "Platform/WheelSurface.h"
#include "Settings/ModifierKey.h"
#include "Wheel/WheelContent.h"

#include <QRegion>
#include <QWidget>

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace Pelgra {

class WheelCanvas;

/// The wheel as a widget: it follows pointer, drag and keyboard, and says which petal was chosen. What it shows is
/// painted by its canvas, a child.
class WheelView : public QWidget, public DropTarget {
    Q_OBJECT

public:
    explicit WheelView(QWidget* parent = nullptr);

    const WheelContent& content() const { return m_content; }

    /// Shows other petals, or the message when there are none. Clears the highlight.
    void configure(std::vector<WheelPetal> petals, const QString& emptyMessage);

    /// A new petal under the pointer makes the tick; losing it does not.
    void setHighlightedIndex(std::optional<int> index);
    void setSummary(const QString& summary);
    void setThumbnails(std::vector<QImage> thumbnails);
    /// Replaces one of the thumbnails; nothing happens beyond their number.
    void setThumbnail(std::size_t index, const QImage& thumbnail);
    void setCompositing(bool isCompositing);

    /// The petal under a point of the view.
    std::optional<int> petalIndexAt(QPointF viewPoint) const;
    /// The outline of a petal in the view.
    QPainterPath petalPath(int petal) const;

    /// Chooses a petal for the fallback files, as a click does; nothing happens without such files. Later, from the
    /// event loop, activated() tells.
    void activate(int petal);

    /// The files used when a petal is clicked, or when a drop brings none; only a wheel without a drag has any.
    std::vector<std::filesystem::path> fallbackURLs;

    std::function<void()> playTick;

    /// Where the pointer and drags hit the wheel, in pixels of the screen from this widget's corner.
    QRegion activeRegion() const;
    /// Everything the wheel covers, likewise.
    QRegion paintedRegion() const;

    // DropTarget
    bool dragMoved(QPointF viewPoint) override;
    void dragLeft() override;
    Drop dropAt(QPointF viewPoint) override;
    void pressedBeside() override;
    void dragEnded(bool buttonStillDown) override;

Q_SIGNALS:
    /// A petal was chosen for these files. Always comes from the event loop, never inside a handler.
    void activated(const Pelgra::WheelPetal& petal, const std::vector<std::filesystem::path>& files);
    /// The user dismissed the wheel.
    void dismissed();
    /// These modifiers went down while the view had the focus.
    void modifiersTapped(Pelgra::ModifierFlags pressed);
    /// The drag was cancelled over the wheel, the button still down.
    void dragCancelled();
    /// activeRegion() or paintedRegion() changed.
    void regionsChanged();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    void moveHighlight(int steps);
    void modifiersChanged(const QKeyEvent& event);
    bool drop(const WheelPetal& petal, const std::vector<std::filesystem::path>& files);
    void scheduleActivation(const WheelPetal& petal, std::vector<std::filesystem::path> files);
    void repaintAll();
    /// Repaints what the current highlight touches.
    void repaintHighlight();

    WheelContent m_content;
    WheelCanvas* m_canvas;
    ModifierFlags m_lastFlags = 0;
    bool m_didPerformDrop = false;
};

} // namespace Pelgra
