#include "App/AppDelegate.h"
#include "App/LaunchArguments.h"
#include "Settings/Preferences.h"
#include "Support/Platform/Platform.h"

#include <QApplication>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int exitUsage = 2;

} // namespace

int main(int argumentCount, char** argumentVector)
{
    using namespace Pelgra;
    // The toolkit's own copy of the words has lost what is no text.
    const std::vector<std::string> words(argumentVector + (argumentCount > 0 ? 1 : 0), argumentVector + argumentCount);
    LaunchArguments arguments;
    try {
        arguments = LaunchArguments::parse(words);
    } catch (const std::invalid_argument& problem) {
        std::fprintf(stderr, "pelgra: %s\n", problem.what());
        return exitUsage;
    }

    QApplication application(argumentCount, argumentVector);
    QApplication::setApplicationName(QStringLiteral("pelgra"));
    QApplication::setApplicationDisplayName(QStringLiteral("Pelgra"));
    QApplication::setQuitOnLastWindowClosed(false);
    const std::unique_ptr<Platform> platform = Platform::forThisSession();
    AppDelegate delegate(Preferences::shared(), *platform);
    if (arguments.files.empty())
        delegate.applicationDidFinishLaunching();
    else
        delegate.showWheelAlone(arguments.kind, arguments.files);
    return QApplication::exec();
}
