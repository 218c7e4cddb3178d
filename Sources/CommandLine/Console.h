#pragma once

#include "PelgraCore/EngineError.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Pelgra {

/// Opens the standard descriptors that the caller left closed, so that no output file takes the place of one.
void claimStandardDescriptors();

/// What the user sees: results on standard output, errors and progress on standard error. For one thread at a time.
class Console {
public:
    explicit Console(bool json);

    /// Text for standard output as it is.
    void print(std::string_view text);

    /// The outputs of a job, one path to a line, or as one JSON object.
    void printResult(const JobResult& result);

    /// The sentence, followed by the path of the file it is about unless that adds nothing; with JSON also an object on
    /// standard output.
    void printError(const EngineError& error, const std::optional<std::filesystem::path>& file);

    /// A sentence about a job that succeeds all the same; in JSON an object on standard output as well.
    void printWarning(std::string_view sentence);

    /// A sentence of the program itself, on standard error.
    void printMessage(std::string_view sentence);

    /// Shown on a terminal only, and wiped by whatever is printed next.
    void showProgress(int done, int total);
    void clearProgress();

    /// False once something could not be written to standard output.
    bool succeeded() const { return m_succeeded; }

private:
    bool m_json;
    bool m_succeeded = true;
    bool m_progressShown = false;
    bool m_resultsOnTerminal;
    bool m_errorsOnTerminal;
};

} // namespace Pelgra
