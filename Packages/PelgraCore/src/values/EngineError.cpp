#include "PelgraCore/EngineError.h"

#include <utility>

namespace Pelgra {

namespace {

/// The last component of a path, also where the path ends in a slash.
std::string fileName(const std::filesystem::path& file)
{
    return (file.has_filename() ? file.filename() : file.parent_path().filename()).string();
}

std::string quotedName(const std::filesystem::path& file)
{
    return "“" + fileName(file) + "”";
}

struct Sentence {
    std::string operator()(const EngineError::Unreadable& e) const { return quotedName(e.file) + " couldn’t be read."; }
    std::string operator()(const EngineError::Unsupported& e) const
    {
        return e.format.wheelLabel() + " isn’t supported here.";
    }
    std::string operator()(const EngineError::UnsupportedConversion& e) const
    {
        return "Can’t convert " + (e.source ? e.source->wheelLabel() : "this file") + " to " + e.target.wheelLabel()
            + ".";
    }
    std::string operator()(const EngineError::WriteFailed& e) const
    {
        return "Couldn’t save " + quotedName(e.file) + ".";
    }
    std::string operator()(const EngineError::PageOutOfRange& e) const
    {
        // In unsigned arithmetic, so that the largest index has a page number too.
        const auto page = static_cast<std::uint64_t>(e.index) + 1;
        return "Page " + (e.index < -1 ? std::to_string(static_cast<std::int64_t>(page)) : std::to_string(page))
            + " doesn’t exist.";
    }
    std::string operator()(const EngineError::NoPages&) const { return "The document has no pages."; }
    std::string operator()(const EngineError::NoInputs&) const { return "No files were given."; }
};

} // namespace

EngineError::EngineError(Cause cause)
    : m_cause(std::move(cause))
    , m_sentence(std::visit(Sentence{}, m_cause))
{
}

EngineError EngineError::unreadable(std::filesystem::path file)
{
    return Cause(Unreadable{std::move(file)});
}

EngineError EngineError::unsupported(FileFormat format)
{
    return Cause(Unsupported{format});
}

EngineError EngineError::unsupportedConversion(std::optional<FileFormat> source, FileFormat target)
{
    return Cause(UnsupportedConversion{source, target});
}

EngineError EngineError::writeFailed(std::filesystem::path file)
{
    return Cause(WriteFailed{std::move(file)});
}

EngineError EngineError::pageOutOfRange(std::int64_t index)
{
    return Cause(PageOutOfRange{index});
}

EngineError EngineError::noPages()
{
    return Cause(NoPages{});
}

EngineError EngineError::noInputs()
{
    return Cause(NoInputs{});
}

std::string_view EngineError::caseName() const
{
    struct Name {
        std::string_view operator()(const Unreadable&) const { return "unreadable"; }
        std::string_view operator()(const Unsupported&) const { return "unsupported"; }
        std::string_view operator()(const UnsupportedConversion&) const { return "unsupportedConversion"; }
        std::string_view operator()(const WriteFailed&) const { return "writeFailed"; }
        std::string_view operator()(const PageOutOfRange&) const { return "pageOutOfRange"; }
        std::string_view operator()(const NoPages&) const { return "noPages"; }
        std::string_view operator()(const NoInputs&) const { return "noInputs"; }
    };
    return std::visit(Name{}, m_cause);
}

std::optional<std::filesystem::path> EngineError::file() const
{
    if (const auto* unreadable = std::get_if<Unreadable>(&m_cause))
        return unreadable->file;
    if (const auto* failed = std::get_if<WriteFailed>(&m_cause))
        return failed->file;
    return std::nullopt;
}

} // namespace Pelgra
