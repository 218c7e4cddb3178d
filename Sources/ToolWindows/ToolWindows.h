#pragma once

#include "PelgraCore/FileTool.h"
#include "ToolWindows/ToolWindowController.h"

#include <QStringList>

/// The only way to a document tool. Main thread.
namespace Pelgra::ToolWindows {

/// Opens a tool's window, or for Split runs the job at once. The completion is called exactly once, on the main thread.
void present(FileTool tool, const ToolWindowController::Files& files, ToolWindowController::Completion completion);

/// Starts the tool that "-ToolWindowsDebug TOOL FILE…" among the arguments asks for, and logs how it ends. False where
/// nothing was started.
bool presentFromLaunchArguments(const QStringList& arguments);

} // namespace Pelgra::ToolWindows
