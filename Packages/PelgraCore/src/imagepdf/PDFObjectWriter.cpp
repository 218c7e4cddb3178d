#include "imagepdf/PDFObjectWriter.h"

#include <array>
#include <cassert>
#include <charconv>
#include <cinttypes>
#include <cstdio>

namespace Pelgra {

PDFObjectWriter::PDFObjectWriter(ByteSink& sink)
    : m_sink(sink)
{
    // The comment with bytes above 127 tells transfer programs that the file is not text.
    write("%PDF-1.7\n%\xE2\xE3\xCF\xD3\n");
}

int PDFObjectWriter::reserve()
{
    m_offsets.push_back(0);
    return static_cast<int>(m_offsets.size());
}

void PDFObjectWriter::writeObject(int number, std::string_view body)
{
    begin(number);
    write(body);
    write("\nendobj\n");
}

void PDFObjectWriter::writeStream(int number, std::string_view entries,
                                  std::span<const std::span<const std::byte>> parts)
{
    std::uint64_t length = 0;
    for (const auto& part : parts)
        length += part.size();
    begin(number);
    write("<<" + std::string(entries) + " /Length " + std::to_string(length) + ">>\nstream\n");
    for (const auto& part : parts)
        write(part);
    write("\nendstream\nendobj\n");
}

void PDFObjectWriter::finish(int catalog, int information)
{
    const std::uint64_t start = m_position;
    const std::string size = std::to_string(m_offsets.size() + 1);
    std::string table = "xref\n0 " + size + "\n0000000000 65535 f \n";
    for (std::uint64_t offset : m_offsets) {
        assert(offset != 0);
        std::array<char, 32> entry{}; // every entry has exactly 20 bytes
        std::snprintf(entry.data(), entry.size(), "%010" PRIu64 " 00000 n \n", offset);
        table += entry.data();
    }
    write(table + "trailer\n<</Size " + size + " /Root " + reference(catalog) + " /Info " + reference(information)
          + ">>\nstartxref\n" + std::to_string(start) + "\n%%EOF\n");
}

std::string PDFObjectWriter::reference(int number)
{
    return std::to_string(number) + " 0 R";
}

std::string PDFObjectWriter::number(double value)
{
    std::array<char, 400> text{}; // the largest double has 309 digits
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return {text.data(), result.ptr};
}

void PDFObjectWriter::write(std::string_view text)
{
    write(std::as_bytes(std::span(text)));
}

void PDFObjectWriter::write(std::span<const std::byte> bytes)
{
    m_sink.write(bytes);
    m_position += bytes.size();
}

void PDFObjectWriter::begin(int number)
{
    std::uint64_t& offset = m_offsets.at(static_cast<std::size_t>(number - 1));
    assert(offset == 0);
    offset = m_position;
    write(std::to_string(number) + " 0 obj\n");
}

} // namespace Pelgra
