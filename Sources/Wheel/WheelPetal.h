#pragma once

#include "PelgraCore/FileFormat.h"
#include "PelgraCore/FileTool.h"
#include "Wheel/WheelKind.h"

#include <QString>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <variant>
#include <vector>

namespace Pelgra {

/// One action of the wheel: convert the files to a format, or open a tool on them.
class WheelPetal {
public:
    static WheelPetal format(FileFormat format) { return WheelPetal(format); }
    static WheelPetal tool(FileTool tool) { return WheelPetal(tool); }

    /// The petals that the catalogue offers for the files, in its order; empty when it offers nothing.
    static std::vector<WheelPetal> petalsFor(WheelKind kind, std::span<const std::filesystem::path> files);

    /// What a wheel of this kind says when it has no petals.
    static QString emptyMessage(WheelKind kind);

    const FileFormat* asFormat() const { return std::get_if<FileFormat>(&m_action); }
    const FileTool* asTool() const { return std::get_if<FileTool>(&m_action); }

    /// The text on the petal, in capitals.
    QString label() const;

    /// The name of the symbol above the label; formats have none.
    std::optional<QString> symbolName() const;

    /// Whether one of the wheels for these files shows this petal.
    bool isOfferedFor(std::span<const std::filesystem::path> files) const;

    /// The text in the wheel's centre while the petal is highlighted.
    QString centerTitle() const { return label(); }

    bool operator==(const WheelPetal&) const = default;

private:
    explicit WheelPetal(std::variant<FileFormat, FileTool> action)
        : m_action(action)
    {
    }

    std::variant<FileFormat, FileTool> m_action;
};

} // namespace Pelgra

template <>
struct std::hash<Pelgra::WheelPetal> {
    std::size_t operator()(const Pelgra::WheelPetal& petal) const noexcept;
};
