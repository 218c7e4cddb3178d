#pragma once

#include "imagepdf/PDFImage.h"
#include "imagepdf/PDFObjectWriter.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Pelgra {

/// Writes a PDF whose pages are pictures: each page exactly the size of its picture, upright, without margins. Throws
/// what the sink throws.
class ImagePDFWriter {
public:
    explicit ImagePDFWriter(ByteSink& sink)
        : m_objects(sink)
    {
    }

    /// Writes a picture and returns the number by which pages name it, from 0 on.
    std::size_t addImage(const PDFImage& image);

    /// A page that shows the picture. One picture may be on several pages.
    void addPage(std::size_t image) { m_pages.push_back(image); }

    /// Writes the pages and the rest of the file.
    void finish();

private:
    struct Placed {
        int object = 0;
        double width = 0; ///< of the page, points
        double height = 0;
        std::string content; ///< what paints the page
    };

    std::string colorSpace(const PDFImage& image);
    std::string commonEntries(const PDFImage& image) const;
    int profileObject(const PDFImage& image);
    int writeAlpha(const PDFImage& image);
    int writePage(const Placed& image, int parent);

    PDFObjectWriter m_objects;
    std::map<Bytes, int> m_profiles; ///< already written
    std::vector<Placed> m_images;
    std::vector<std::size_t> m_pages;
};

} // namespace Pelgra
