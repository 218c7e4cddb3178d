#pragma once

#include "files/ByteSink.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Pelgra {

/// Writes the frame of a PDF 1.7 file (ISO 32000-1, 7.5): header, numbered objects, cross-reference table and trailer.
/// What the objects contain is up to the caller. Every function throws what the sink throws.
class PDFObjectWriter {
public:
    /// Writes the header. The sink must outlive this.
    explicit PDFObjectWriter(ByteSink& sink);

    /// A number for an object that is written later, or has been.
    int reserve();

    /// Writes an object that was reserved, for instance "<</Type /Page>>".
    void writeObject(int number, std::string_view body);

    /// Writes a stream whose data are the parts one after another. The entries are those of its dictionary other than
    /// /Length, without the brackets.
    void writeStream(int number, std::string_view entries, std::span<const std::span<const std::byte>> parts);

    /// Writes the cross-reference table and the trailer. Every reserved object must have been written.
    void finish(int catalog, int information);

    /// A reference to an object: "5 0 R".
    static std::string reference(int number);

    /// A number in the decimal notation of PDF, exact: it reads back as the same double.
    static std::string number(double value);

private:
    void write(std::string_view text);
    void write(std::span<const std::byte> bytes);
    void begin(int number);

    ByteSink& m_sink;
    std::uint64_t m_position = 0;
    std::vector<std::uint64_t> m_offsets; ///< of object number index + 1; 0 until it is written
};

} // namespace Pelgra
