#pragma once

#include "ToolWindows/Pages/PageEdits.h"
#include "ToolWindows/Pages/PageImages.h"

#include <QObject>
#include <QString>

#include <cstddef>
#include <filesystem>
#include <vector>

namespace Pelgra {

/// One document that is being organised: the edits of its pages, their pictures, and signals about both. Main thread;
/// the pages are counted and drawn on pool threads.
class OrganizeModel : public QObject {
    Q_OBJECT

public:
    explicit OrganizeModel(std::filesystem::path url, QObject* parent = nullptr);

    const std::filesystem::path& url() const { return m_url; }
    const std::vector<PageEdit>& pages() const { return m_edits.pages(); }
    bool uniformWidth() const { return m_uniformWidth; }
    bool isLoading() const { return m_isLoading; }

    /// Whether the pages differ from the document's; uniformWidth does not count.
    bool isChanged() const { return m_edits.isChanged(); }
    bool canRemove() const { return m_edits.canRemove(); }
    bool canUndo() const { return m_edits.canUndo(); }
    bool canRedo() const { return m_edits.canRedo(); }

    /// "1 page", "3 pages".
    QString countLabel() const;

    /// Counts the pages and fills the list; once.
    void load();

    /// The picture of a source page, null while there is none. Shared by all copies of the page.
    QImage thumbnail(std::int64_t sourceIndex) const { return m_images.image(sourceIndex); }
    void loadThumbnail(std::int64_t sourceIndex) { m_images.load(sourceIndex); }
    void cancelThumbnail(std::int64_t sourceIndex) { m_images.cancel(sourceIndex); }

    void rotate(const Identifier& id) { tellIf(m_edits.rotate(id)); }
    void duplicate(const Identifier& id) { tellIf(m_edits.duplicate(id)); }
    void remove(const Identifier& id) { tellIf(m_edits.remove(id)); }
    void setUniformWidth(bool on);
    void reset();

    /// The live reordering of a drag: no step of its own to undo until commitReordering(), and none at all after
    /// cancelReordering(), which puts back the order from before it.
    void dragOver(const Identifier& dragging, const Identifier& target) { tellIf(m_edits.dragOver(dragging, target)); }
    void commitReordering() { tellIf(m_edits.commitReordering()); }
    void cancelReordering() { tellIf(m_edits.cancelReordering()); }
    /// Moves a page by places, as one step to undo.
    void moveBy(const Identifier& id, std::ptrdiff_t delta) { tellIf(m_edits.moveBy(id, delta)); }

    void undo() { tellIf(m_edits.undo()); }
    void redo() { tellIf(m_edits.redo()); }

Q_SIGNALS:
    void loaded();
    void pagesChanged();
    void pagesReset(); ///< after pagesChanged()
    void uniformWidthChanged(bool on);
    void thumbnailChanged(std::int64_t sourceIndex);

private:
    void tellIf(bool pagesHaveChanged);

    std::filesystem::path m_url;
    PageEdits m_edits;
    PageImages m_images;
    bool m_uniformWidth = false;
    bool m_isLoading = true;
    bool m_started = false;
};

} // namespace Pelgra
