#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Pelgra {

/// A document tool of the tools wheel.
class FileTool {
public:
    enum Case : std::uint8_t { createPDF, mergePDF, splitPDF, organizePDF };

    static constexpr std::size_t count = 4;

    // Implicit on purpose, as in FileFormat.
    constexpr FileTool(Case value)
        : m_case(value)
    {
    } // NOLINT(google-explicit-constructor)
    constexpr operator Case() const { return m_case; } // NOLINT(google-explicit-constructor)

    static const std::array<FileTool, count>& allCases();
    static std::optional<FileTool> fromRawValue(std::string_view rawValue);

    std::string_view rawValue() const;

    /// The text on a petal, upper case.
    std::string_view wheelLabel() const;

    /// The human title of the tool.
    std::string_view title() const;

    /// The title of the tool's window.
    std::string_view windowTitle() const;

    /// The name of the symbol drawn on the petal and in the window.
    std::string_view symbolName() const;

    constexpr bool requiresMultipleFiles() const { return m_case < splitPDF; }

    /// False for the one tool that runs at once, without a window.
    constexpr bool opensWindow() const { return m_case != splitPDF; }

private:
    Case m_case;
};

} // namespace Pelgra
