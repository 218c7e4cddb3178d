#pragma once

#include "Settings/ModifierKey.h"
#include "Wheel/WheelKind.h"
#include "Wheel/WheelPanel.h"
#include "Wheel/WheelPetal.h"

#include <QObject>
#include <QPoint>
#include <QUuid>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace Pelgra {

/// Owns the one wheel and decides what it shows. Main thread. Points are logical pixels of the desktop, y down.
class WheelController : public QObject {
    Q_OBJECT

public:
    using Files = std::vector<std::filesystem::path>;

    /// The surface outlives the controller.
    explicit WheelController(WheelSurface& surface, QObject* parent = nullptr);

    /// Shows the wheel around a point. An interactive wheel was asked for without a drag: it takes the focus, and a
    /// click on a petal takes the place of a drop. A visible wheel stays where it is and shows the new files.
    void show(WheelKind kind, std::vector<std::filesystem::path> urls, QPoint point, bool interactive);

    /// Shows the other wheel for the same files; nothing happens while hidden.
    void switchTo(WheelKind kind);

    void hide();

    bool isVisible() const { return m_panel->isShown(); }

    /// Visible, and asked for without a drag.
    bool isInteractive() const { return isVisible() && m_panel->allowsKey(); }

    /// The wheel shown, or none.
    std::optional<WheelKind> kind() const { return m_kind; }

    WheelPanel* panel() const { return m_panel.get(); }

    /// Which key selects which wheel; the standard keys until replaced.
    std::function<WheelKeys()> keys;

    /// Where the pointer is; the platform's answer until replaced.
    std::function<QPoint()> pointer;

    /// The words about the files in the centre. Called on any thread: it may look at the files.
    std::function<QString(const std::vector<std::filesystem::path>&)> summaryOf;

Q_SIGNALS:
    /// A petal was chosen for these files, the pointer being there. The wheel is hidden already.
    void activated(const Pelgra::WheelPetal& petal, const std::vector<std::filesystem::path>& files, QPoint point);

    /// The drag was cancelled over the wheel. The wheel is hidden already.
    void dragCancelled();

private:
    /// Paints a wheel that nobody sees: otherwise the first real one would wait for fonts, symbols and shadows.
    void rehearse();
    void configureView();
    void loadCentre();
    void loadSummary();
    void loadThumbnail(std::size_t index);
    void modifiersTapped(ModifierFlags pressed);

    std::unique_ptr<WheelPanel> m_panel;
    std::optional<WheelKind> m_kind;
    std::vector<std::filesystem::path> m_urls; ///< of the drag
    std::vector<std::filesystem::path> m_thumbnailURLs; ///< shown in the centre
    QUuid m_thumbnailToken; ///< of the latest load; answers with another token are late
};

} // namespace Pelgra
