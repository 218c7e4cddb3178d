#include "Support/PDFSamples.h"

#include <cstdio>
#include <sstream>

namespace Pelgra {

namespace {

constexpr int catalogObject = 1;
constexpr int pageTreeObject = 2;
constexpr int fontObject = 3;

} // namespace

PDFBuilder::PDFBuilder()
    : m_bodies(2)
{
    add("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>");
}

int PDFBuilder::add(std::string body)
{
    m_bodies.push_back(std::move(body));
    return static_cast<int>(m_bodies.size());
}

int PDFBuilder::addStream(std::string_view content, std::string_view entries)
{
    std::string body = "<< /Length " + std::to_string(content.size()) + " ";
    body.append(entries).append(" >>\nstream\n").append(content).append("\nendstream");
    return add(std::move(body));
}

int PDFBuilder::addPage(const SamplePage& page)
{
    const int contents = addStream(page.contents);
    std::string body = "<< /Type /Page /Parent " + reference(pageTreeObject);
    if (!page.mediaBox.empty())
        body += " /MediaBox " + page.mediaBox;
    body += " /Contents " + reference(contents) + " /Resources << /Font << /F1 " + reference(fontObject) + " >> "
        + page.resources + " >> " + page.entries + " >>";
    m_pages.push_back(add(std::move(body)));
    return m_pages.back();
}

int PDFBuilder::reserve()
{
    return add("null");
}

void PDFBuilder::set(int object, std::string body)
{
    m_bodies.at(static_cast<std::size_t>(object) - 1) = std::move(body);
}

void PDFBuilder::addToCatalog(std::string_view entries)
{
    m_catalogEntries.append(" ").append(entries);
}

void PDFBuilder::addToTrailer(std::string_view entries)
{
    m_trailerEntries.append(" ").append(entries);
}

std::string PDFBuilder::build() const
{
    std::vector<std::string> bodies = m_bodies;
    if (bodies[0].empty())
        bodies[0] = "<< /Type /Catalog /Pages " + reference(pageTreeObject) + m_catalogEntries + " >>";
    if (bodies[1].empty()) {
        std::string kids;
        for (const int page : m_pages)
            kids += reference(page) + " ";
        bodies[1] = "<< /Type /Pages /Count " + std::to_string(m_pages.size()) + " /Kids [" + kids + "] >>";
    }

    std::string file = "%PDF-1.7\n%\xE2\xE3\xCF\xD3\n";
    std::string table;
    for (std::size_t index = 0; index < bodies.size(); ++index) {
        char entry[32];
        std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", file.size());
        table += entry;
        file += std::to_string(index + 1) + " 0 obj\n" + bodies[index] + "\nendobj\n";
    }
    const std::size_t tableOffset = file.size();
    const std::string size = std::to_string(bodies.size() + 1);
    file += "xref\n0 " + size + "\n0000000000 65535 f \n" + table;
    file += "trailer\n<< /Size " + size + " /Root " + reference(catalogObject) + m_trailerEntries + " >>\nstartxref\n"
        + std::to_string(tableOffset) + "\n%%EOF\n";
    return file;
}

std::string reference(int object)
{
    return std::to_string(object) + " 0 R";
}

std::string documentWith(const std::vector<SamplePage>& pages)
{
    PDFBuilder builder;
    for (const SamplePage& page : pages)
        builder.addPage(page);
    return builder.build();
}

std::string filledRectangle(double x, double y, double width, double height, double red, double green, double blue)
{
    std::ostringstream operators;
    operators << red << ' ' << green << ' ' << blue << " rg " << x << ' ' << y << ' ' << width << ' ' << height
              << " re f\n";
    return operators.str();
}

std::string textAt(double x, double y, double size, std::string_view text)
{
    std::string escaped;
    for (const char character : text) {
        if (character == '(' || character == ')' || character == '\\')
            escaped += '\\';
        escaped += character;
    }
    std::ostringstream operators;
    operators << "BT /F1 " << size << " Tf " << x << ' ' << y << " Td (" << escaped << ") Tj ET\n";
    return operators.str();
}

} // namespace Pelgra
