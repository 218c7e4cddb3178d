#include "App/DisplayCheck.h"

#include <QtGlobal>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace Pelgra::DisplayCheck {

namespace {

constexpr char sentence[] = "pelgra: The desktop part needs a graphical session, and there is none here; commands such "
                            "as “./run convert” (“pelgra convert” once installed) work without one.\n";

QtMessageHandler usualHandler = nullptr;
bool isVerbose = false;
int status = EXIT_FAILURE;

void explainOrPassOn(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const std::string_view category = context.category == nullptr ? "" : context.category;
    // The toolkit's plugins tell of a failed connection without a category too; the program's own lines have one.
    const bool isAboutDisplays = category.starts_with("qt.qpa.") || category.empty() || type == QtFatalMsg;
    if (isVerbose || !isAboutDisplays)
        usualHandler(type, context, message);
    if (type == QtFatalMsg) {
        std::fputs(sentence, stderr);
        std::_Exit(status);
    }
}

} // namespace

void begin(bool verbose, int exitStatus)
{
    isVerbose = verbose;
    status = exitStatus;
    usualHandler = qInstallMessageHandler(explainOrPassOn);
}

void end()
{
    qInstallMessageHandler(usualHandler);
}

} // namespace Pelgra::DisplayCheck
