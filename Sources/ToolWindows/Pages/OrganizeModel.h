#pragma once

#include "PelgraCore/Models.h"
#include "PelgraCore/Thumbnails.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QString>

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

namespace Pelgra {

/// The edits of one document that is being organised: which pages, in which order, turned how. Main thread; counting
/// and drawing pages run on pool threads.
class OrganizeModel : public QObject {
    Q_OBJECT

public:
    /// Longest side of a page image, pixels.
    static constexpr double thumbnailPixels = 400;
    /// Page images kept at most; the ones that were out of view longest go first.
    static constexpr int thumbnailLimit = 160;

    explicit OrganizeModel(std::filesystem::path url, QObject* parent = nullptr);

    const std::filesystem::path& url() const { return m_url; }
    const std::vector<PageEdit>& pages() const { return m_pages; }
    bool uniformWidth() const { return m_uniformWidth; }
    bool isLoading() const { return m_isLoading; }

    /// The image of a source page, null while there is none. Shared by all copies of the page.
    QImage thumbnail(std::int64_t sourceIndex) const { return m_thumbnails.value(sourceIndex); }

    /// Whether the pages differ from the document's by source or rotation; identities and uniformWidth do not count.
    bool isChanged() const;
    bool canRemove() const { return m_pages.size() > 1; }
    bool canUndo() const { return m_position > 0; }
    bool canRedo() const { return m_position + 1 < m_history.size(); }

    /// "1 page", "3 pages".
    QString countLabel() const;

    /// Counts the pages and fills the list; once.
    void load();

    /// Asks for a page image, once at a time for each page. One that could not be drawn is not tried again before its
    /// page has been out of view.
    void loadThumbnail(std::int64_t sourceIndex);
    /// A page went out of view: an image not yet begun is no longer wanted.
    void cancelThumbnail(std::int64_t sourceIndex);

    void rotate(const Identifier& id);
    void duplicate(const Identifier& id);
    void remove(const Identifier& id);
    void setUniformWidth(bool on);
    void reset();

    /// The live reordering of a drag: no step of its own to undo until commitReordering(), and none at all after
    /// cancelReordering(), which puts back the order from before it.
    void dragOver(const Identifier& dragging, const Identifier& target);
    void commitReordering();
    void cancelReordering();
    /// Moves a page by places, as one step to undo.
    void moveBy(const Identifier& id, std::ptrdiff_t delta);

    void undo();
    void redo();

Q_SIGNALS:
    void loaded();
    void pagesChanged();
    void pagesReset(); ///< after pagesChanged()
    void uniformWidthChanged(bool on);
    void thumbnailChanged(std::int64_t sourceIndex);

private:
    void replacePages(std::vector<PageEdit> pages);
    void recordStep();
    void storeThumbnail(std::int64_t sourceIndex, const QImage& image);

    std::filesystem::path m_url;
    std::shared_ptr<Thumbnails::Pages> m_pictures; ///< shared with thumbnails under way
    std::vector<PageEdit> m_pages;
    bool m_uniformWidth = false;
    std::vector<PageEdit> m_original;
    QHash<std::int64_t, QImage> m_thumbnails;
    std::vector<std::int64_t> m_thumbnailOrder; ///< oldest first
    bool m_isLoading = true;
    QSet<std::int64_t> m_inFlight;
    QSet<std::int64_t> m_failed; ///< pages whose image could not be drawn, until they go out of view
    QHash<std::int64_t, std::shared_ptr<std::atomic_bool>> m_cancelled;
    bool m_started = false;
    std::vector<std::vector<PageEdit>> m_history; ///< states; m_position is the one shown
    std::size_t m_position = 0;
};

} // namespace Pelgra
