#include "PelgraCore/Models.h"

#include "PelgraCore/Hexadecimal.h"

#include <cstring>
#include <random>
#include <utility>

namespace Pelgra {

JobResult::JobResult(std::vector<std::filesystem::path> allOutputs, std::string name)
    : outputs(std::move(allOutputs))
    , displayName(std::move(name))
{
}

JobResult::JobResult(const std::filesystem::path& output)
    : outputs{output}
    , displayName(output.filename().string())
{
}

Identifier Identifier::random()
{
    thread_local std::random_device device;
    Identifier identifier;
    for (std::size_t i = 0; i < identifier.bytes.size(); i += sizeof(unsigned)) {
        const unsigned word = device();
        std::memcpy(identifier.bytes.data() + i, &word, sizeof word);
    }
    identifier.bytes[6] = static_cast<std::uint8_t>((identifier.bytes[6] & 0x0F) | 0x40);
    identifier.bytes[8] = static_cast<std::uint8_t>((identifier.bytes[8] & 0x3F) | 0x80);
    return identifier;
}

std::string Identifier::text() const
{
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            text += '-';
        text += hexadecimal(bytes[i], HexadecimalLetters::capital);
    }
    return text;
}

PageEdit::PageEdit(std::int64_t source, std::int64_t degrees)
    : id(Identifier::random())
    , sourceIndex(source)
    , rotation(degrees)
{
}

} // namespace Pelgra
