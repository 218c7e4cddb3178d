#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Pelgra {

/// One page for PDFBuilder, in the syntax of the file format.
struct SamplePage {
    std::string contents; ///< drawing operators; `/F1` is Helvetica
    std::string mediaBox = "[0 0 612 792]"; ///< empty: the page has none
    std::string entries; ///< further entries of the page's dictionary, such as "/Rotate 90"
    std::string resources; ///< further entries of its resources; /Font is taken
};

/// Writes small documents with a correct cross-reference table. Objects are numbered from 1 in the order they are
/// added; object 1 is the catalogue and object 2 the root of a flat page tree, unless replaced with set().
class PDFBuilder {
public:
    PDFBuilder();

    /// Adds an object and returns its number.
    int add(std::string body);
    /// Adds a stream; /Length is written here, further entries of its dictionary may be given.
    int addStream(std::string_view content, std::string_view entries = {});
    /// Adds a page at the end and returns the number of its object.
    int addPage(const SamplePage& page);
    /// Adds an object whose number is needed before its body is known; set() follows.
    int reserve();
    /// Gives an object its body, for the catalogue and the page tree in place of the ones made here.
    void set(int object, std::string body);

    /// Further entries of the catalogue, such as "/Outlines 7 0 R".
    void addToCatalog(std::string_view entries);
    /// Further entries of the trailer, such as "/Info 8 0 R".
    void addToTrailer(std::string_view entries);

    int pageCount() const { return static_cast<int>(m_pages.size()); }
    /// The object number of a page by its index.
    int pageObject(int index) const { return m_pages.at(static_cast<std::size_t>(index)); }

    /// The file's bytes.
    std::string build() const;

private:
    std::vector<std::string> m_bodies; ///< of object 1 and up
    std::vector<int> m_pages;
    std::string m_catalogEntries;
    std::string m_trailerEntries;
};

/// "12 0 R".
std::string reference(int object);

/// A document with the given pages and nothing else.
std::string documentWith(const std::vector<SamplePage>& pages);

/// Operators that fill a rectangle (x, y, width, height in points) with a colour (0 to 1 each).
std::string filledRectangle(double x, double y, double width, double height, double red, double green, double blue);

/// Operators that show a line of text in Helvetica at a position.
std::string textAt(double x, double y, double size, std::string_view text);

} // namespace Pelgra
