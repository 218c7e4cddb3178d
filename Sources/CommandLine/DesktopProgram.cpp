#include "CommandLine/DesktopProgram.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include <signal.h>
#include <unistd.h>

namespace Pelgra {

void becomeDesktopProgram(std::span<const std::string> arguments)
{
    std::string name = "pelgra-desktop";
    std::vector<std::string> words(arguments.begin(), arguments.end());
    std::vector<char*> vector{name.data()};
    for (std::string& word : words)
        vector.push_back(word.data());
    vector.push_back(nullptr);

    signal(SIGPIPE, SIG_DFL); // an ignored signal would stay ignored over there
    signal(SIGXFSZ, SIG_DFL);
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error)
        execv((self.parent_path() / name).c_str(), vector.data());
    execvp(name.c_str(), vector.data());
}

} // namespace Pelgra
