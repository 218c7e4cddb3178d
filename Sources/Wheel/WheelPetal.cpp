#include "Wheel/WheelPetal.h"

#include "PelgraCore/Catalog.h"
#include "Support/Text.h"

#include <algorithm>

namespace Pelgra {

std::vector<WheelPetal> WheelPetal::petalsFor(WheelKind kind, std::span<const std::filesystem::path> files)
{
    std::vector<WheelPetal> petals;
    switch (kind) {
    case WheelKind::convert:
        for (FileFormat target : Catalog::conversionTargetsFor(files))
            petals.push_back(format(target));
        break;
    case WheelKind::tools:
        for (FileTool offered : Catalog::toolsFor(files))
            petals.push_back(tool(offered));
        break;
    }
    return petals;
}

bool WheelPetal::isOfferedFor(std::span<const std::filesystem::path> files) const
{
    const std::vector<WheelPetal> offered = petalsFor(asFormat() ? WheelKind::convert : WheelKind::tools, files);
    return std::find(offered.begin(), offered.end(), *this) != offered.end();
}

QString WheelPetal::emptyMessage(WheelKind kind)
{
    return textOf(Catalog::emptyMessage(kind == WheelKind::convert));
}

QString WheelPetal::label() const
{
    if (const FileFormat* format = asFormat())
        return textOf(format->wheelLabel());
    return textOf(asTool()->wheelLabel());
}

std::optional<QString> WheelPetal::symbolName() const
{
    if (const FileTool* tool = asTool())
        return textOf(tool->symbolName());
    return std::nullopt;
}

} // namespace Pelgra

std::size_t std::hash<Pelgra::WheelPetal>::operator()(const Pelgra::WheelPetal& petal) const noexcept
{
    const Pelgra::FileFormat* format = petal.asFormat();
    const std::size_t payload = std::hash<std::string_view>()(format ? format->rawValue() : petal.asTool()->rawValue());
    // The case is part of it, so that a format and a tool with the same payload text differ.
    return payload * 31 + (format ? 0 : 1);
}
