#include "App/AppDelegate.h"
#include "App/DisplayCheck.h"
#include "App/Doctor.h"
#include "App/LaunchArguments.h"
#include "App/SingleInstance.h"
#include "App/TerminationSignals.h"
#include "Desktop/JournalLog.h"
#include "Jobs/RunningJobs.h"
#include "PelgraCore/Isolation.h"
#include "Platform/Platform.h"
#include "Settings/Preferences.h"
#include "Support/Logging.h"
#include "Support/Text.h"

#include <QApplication>
#include <QIcon>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int exitUsage = 2; ///< also where there is no display
constexpr int idleTimeOfWorkers = 30; // seconds

/// This process reads no file itself: it stays for days, and files are the normal way to be attacked.
void readFilesInWorkers()
{
    Pelgra::Isolation::setLog(
        [](std::string_view line) { qCInfo(Pelgra::applicationLog, "%s", qUtf8Printable(Pelgra::textOf(line))); });
    Pelgra::Isolation::useWorkers(idleTimeOfWorkers);
}

/// A report is wanted most where nothing else works.
bool chooseNoDisplay()
{
    const bool isThere = !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
    return !isThere && qputenv("QT_QPA_PLATFORM", "offscreen");
}

void nameApplication()
{
    // The display name as well; set separately, it would be appended to every window’s title.
    QApplication::setApplicationName(QStringLiteral("Pelgra"));
    QApplication::setDesktopFileName(QStringLiteral("org.pelgra.Pelgra"));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("org.pelgra.Pelgra")));
    QApplication::setQuitOnLastWindowClosed(false);
}

} // namespace

int main(int argumentCount, char** argumentVector)
{
    using namespace Pelgra;
    catchTerminationSignals();
    // The toolkit's own copy of the words has lost whatever is not text.
    const std::vector<std::string> words(argumentVector + (argumentCount > 0 ? 1 : 0), argumentVector + argumentCount);
    LaunchArguments arguments;
    try {
        arguments = LaunchArguments::parse(words);
    } catch (const std::invalid_argument& problem) {
        std::fprintf(stderr, "pelgra: %s\n", problem.what());
        return exitUsage;
    }
    JournalLog::install(arguments.verbose);
    readFilesInWorkers();

    const bool choseForToolkit = Platform::chooseForToolkit() || (arguments.doctor && chooseNoDisplay());
    DisplayCheck::begin(arguments.verbose, exitUsage);
    QApplication application(argumentCount, argumentVector);
    DisplayCheck::end();
    if (choseForToolkit)
        qunsetenv("QT_QPA_PLATFORM"); // programs started from here choose for themselves
    nameApplication();
    if (arguments.doctor) {
        std::fputs(Doctor::report(Platform::forThisSession()->abilities()).c_str(), stdout);
        return 0;
    }
    const bool isTestHost = qEnvironmentVariableIsSet("XCTestConfigurationFilePath");
    SingleInstance instance;
    // A wheel for files alone is not an instance. Of several starts at once the bus lets one have the name.
    const bool isFirst = isTestHost || (arguments.files.empty() ? instance.claim() : !instance.isAnotherRunning());
    // Started with the session while already running: nobody asked to see anything.
    if (!isFirst && (arguments.background || instance.forward(arguments.kind, arguments.files)))
        return 0;
    const std::unique_ptr<Platform> platform = Platform::forThisSession();
    AppDelegate delegate(Preferences::shared(), *platform);
    onTerminationSignal(&delegate, [&delegate] { delegate.terminate(); });
    if (!arguments.files.empty()) {
        delegate.showWheelAlone(arguments.kind, arguments.files);
    } else {
        QObject::connect(&instance, &SingleInstance::openRequested, &delegate, &AppDelegate::open);
        delegate.applicationDidFinishLaunching();
        if (arguments.settings)
            delegate.open(arguments.kind, {});
    }
    const int status = QApplication::exec();
    if (RunningJobs::shared().count() > 0)
        std::_Exit(status); // their threads must not meet what is taken down after main()
    return status;
}
