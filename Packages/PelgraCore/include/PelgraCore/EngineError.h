#pragma once

#include "PelgraCore/FileFormat.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Pelgra {

/// Everything the core can fail with. what() is the exact sentence for the user, in UTF-8 wherever the file's name is.
class EngineError final : public std::exception {
public:
    struct Unreadable {
        std::filesystem::path file;
        bool operator==(const Unreadable&) const = default;
    };
    struct Unsupported {
        FileFormat format;
        bool operator==(const Unsupported&) const = default;
    };
    struct UnsupportedConversion {
        std::optional<FileFormat> source; ///< absent where the file's format is unknown
        FileFormat target;
        bool operator==(const UnsupportedConversion&) const = default;
    };
    struct WriteFailed {
        std::filesystem::path file; ///< the output that could not be saved
        bool operator==(const WriteFailed&) const = default;
    };
    struct PageOutOfRange {
        std::int64_t index; ///< zero-based; the sentence counts from one
        bool operator==(const PageOutOfRange&) const = default;
    };
    struct NoPages {
        bool operator==(const NoPages&) const = default;
    };
    struct NoInputs {
        bool operator==(const NoInputs&) const = default;
    };
    using Cause =
        std::variant<Unreadable, Unsupported, UnsupportedConversion, WriteFailed, PageOutOfRange, NoPages, NoInputs>;

    EngineError(Cause cause); // NOLINT(google-explicit-constructor): a cause is an error

    static EngineError unreadable(std::filesystem::path file);
    static EngineError unsupported(FileFormat format);
    static EngineError unsupportedConversion(std::optional<FileFormat> source, FileFormat target);
    static EngineError writeFailed(std::filesystem::path file);
    static EngineError pageOutOfRange(std::int64_t index);
    static EngineError noPages();
    static EngineError noInputs();

    const Cause& cause() const { return m_cause; }

    /// "unreadable", "writeFailed" and so on, for machine-readable output.
    std::string_view caseName() const;

    /// The file the error is about, where there is one.
    std::optional<std::filesystem::path> file() const;

    const char* what() const noexcept override { return m_sentence.c_str(); }

    bool operator==(const EngineError& other) const { return m_cause == other.m_cause; }

private:
    Cause m_cause;
    std::string m_sentence;
};

/// Thrown out of a job whose JobControl was asked to stop. Not an EngineError: the user asked for it, nothing failed.
class JobCancelled final : public std::exception {
public:
    const char* what() const noexcept override { return "The job was cancelled."; }
};

} // namespace Pelgra
