#pragma once

#include "isolation/Packet.h"
#include "isolation/Task.h"

#include <cstdint>
#include <optional>
#include <string>

namespace Pelgra {

/// The most bytes one packet may have; longer tasks come in parts.
inline constexpr std::size_t packetLimit = std::size_t{64} << 10;
/// The most bytes a task may have.
inline constexpr std::size_t taskLimit = std::size_t{256} << 20;

/// From the process that asks to the worker. Each packet begins with its kind.
enum class Request : std::uint32_t {
    taskPart, ///< bytes of a task
    task, ///< its last bytes: begin
    granted, ///< the answer to a wish; with a descriptor where one was asked for
    refused, ///< the answer to a wish
};
inline constexpr std::uint32_t requestKinds = 4;

/// From the worker. Wishes are answered in order, one at a time.
enum class Report : std::uint32_t {
    walls, ///< bits of what it has raised, see Walls.h
    refusedCall, ///< a system call the filter refused, by its number
    wantsInput, ///< a wish, with the input's number
    wantsOutput, ///< a wish, with the output's number
    finishedOutput, ///< a wish to have it kept, with its number
    pageCount, ///< of the document
    progress, ///< done and total
    warning, ///< a sentence
    failed, ///< the task has ended with an error
    done, ///< the task has ended well
};
inline constexpr std::uint32_t reportKinds = 10;

/// How a task failed: a case of EngineError without what only the process above knows.
struct Failure {
    enum class Case : std::uint32_t {
        unreadable, ///< number is that of the input
        unsupported, ///< number is the format
        unsupportedConversion, ///< number is the target, source the source
        writeFailed, ///< number is that of the output
        pageOutOfRange, ///< index is the page
        noPages,
        noInputs,
    };
    static constexpr std::uint32_t cases = 7;

    Case which = Case::unreadable;
    std::uint32_t number = 0;
    std::optional<FileFormat> source;
    std::int64_t index = 0;
};

/// A packet of the worker, taken apart.
struct ReportPacket {
    Report kind = Report::done;
    std::uint32_t number = 0; ///< of an input, an output, a call, bits, pages; what is done
    std::uint32_t total = 0;
    std::string sentence;
    Failure failure;

    Bytes encoded() const;
    /// Throws ProtocolError.
    static ReportPacket decoded(std::span<const std::byte> bytes);
};

} // namespace Pelgra
