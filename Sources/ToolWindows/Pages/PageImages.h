#pragma once

#include "PelgraCore/Thumbnails.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace Pelgra {

/// Small pictures of a document's pages, drawn on pool threads as they are asked for and kept as long as there is room.
/// Main thread.
class PageImages : public QObject {
    Q_OBJECT

public:
    /// Longest side of a picture, pixels.
    static constexpr double longestSide = 400;
    /// The most pictures kept; the oldest go first.
    static constexpr int mostKept = 160;

    explicit PageImages(const std::filesystem::path& document, QObject* parent = nullptr);

    /// The picture of a page of the document, null while there is none.
    QImage image(std::int64_t page) const { return m_images.value(page); }

    /// Asks for a picture, once at a time for each page. One that could not be drawn is not tried again before its page
    /// has been out of view.
    void load(std::int64_t page);
    /// A page went out of view: a picture not yet begun is no longer wanted.
    void cancel(std::int64_t page);

Q_SIGNALS:
    void changed(std::int64_t page);

private:
    using Flag = std::shared_ptr<std::atomic_bool>;

    void keep(std::int64_t page, const QImage& image);

    std::shared_ptr<Thumbnails::Pages> m_pictures; ///< shared with the drawing under way
    QHash<std::int64_t, QImage> m_images;
    std::vector<std::int64_t> m_order; ///< of m_images, oldest first
    QSet<std::int64_t> m_failed; ///< pages that could not be drawn, until they go out of view
    QHash<std::int64_t, Flag> m_underWay; ///< and whether it is no longer wanted
};

} // namespace Pelgra
