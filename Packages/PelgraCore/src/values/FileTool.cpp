#include "PelgraCore/FileTool.h"

namespace Pelgra {

namespace {

struct ToolInfo {
    std::string_view rawValue;
    std::string_view wheelLabel;
    std::string_view title;
    std::string_view windowTitle;
    std::string_view symbolName;
};

constexpr std::array<ToolInfo, FileTool::count> tools{{
    {"createPDF", "CREATE PDF", "Create a PDF", "Create a PDF", "doc.badge.plus"},
    {"mergePDF", "MERGE PDF", "Merge PDFs", "Merge PDFs", "doc.on.doc"},
    {"splitPDF", "SPLIT", "Split pages", "Split pages", "rectangle.split.2x1"},
    {"organizePDF", "ORGANIZE", "Organize pages", "Organize PDF", "square.grid.2x2"},
}};

const ToolInfo& info(FileTool tool)
{
    return tools[static_cast<std::size_t>(static_cast<FileTool::Case>(tool))];
}

} // namespace

const std::array<FileTool, FileTool::count>& FileTool::allCases()
{
    static constexpr std::array<FileTool, count> cases{createPDF, mergePDF, splitPDF, organizePDF};
    return cases;
}

std::optional<FileTool> FileTool::fromRawValue(std::string_view rawValue)
{
    for (FileTool tool : allCases()) {
        if (tool.rawValue() == rawValue)
            return tool;
    }
    return std::nullopt;
}

std::string_view FileTool::rawValue() const
{
    return info(*this).rawValue;
}

std::string_view FileTool::wheelLabel() const
{
    return info(*this).wheelLabel;
}

std::string_view FileTool::title() const
{
    return info(*this).title;
}

std::string_view FileTool::windowTitle() const
{
    return info(*this).windowTitle;
}

std::string_view FileTool::symbolName() const
{
    return info(*this).symbolName;
}

} // namespace Pelgra
