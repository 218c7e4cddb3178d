// How fast the pages of a large document come up, how smoothly they scroll, and what that takes.
// Usage: QT_QPA_PLATFORM=offscreen pelgra-organize-benchmark [FILE]   (without a file: 2,000 pages of its own)
#include "SampleFiles.h"
#include "ToolWindows/Frame/ToolWindow.h"
#include "ToolWindows/Pages/OrganizeModel.h"
#include "ToolWindows/Pages/PageCard.h"
#include "ToolWindows/Pages/PageGrid.h"
#include "ToolWindows/ToolWindowController.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QScrollBar>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <utility>
#include <vector>

using namespace Pelgra;

namespace {

double residentMegabytes()
{
    QFile status(QStringLiteral("/proc/self/statm"));
    const bool isOpen = status.open(QIODevice::ReadOnly);
    return isOpen ? status.readAll().split(' ').value(1).toDouble() * 4096 / 1e6 : 0;
}

double milliseconds(const QElapsedTimer& clock)
{
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

/// Whether every card in view shows its page.
bool isComplete(const PageGrid& grid)
{
    bool any = false;
    for (const PageCard* const card : grid.findChildren<PageCard*>()) {
        if (!card->isVisible() || card->visibleRegion().isEmpty())
            continue;
        any = true;
        if (!card->hasImage())
            return false;
    }
    return any;
}

/// Processor time of this thread alone: what a frame takes on an otherwise idle machine.
double ownMilliseconds()
{
    timespec used = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

void reportFrames(const char* what, std::vector<double> frames)
{
    std::sort(frames.begin(), frames.end());
    std::printf("scrolling, %zu steps, %s: median %.1f ms, 99th percentile %.1f ms, longest %.1f ms\n", frames.size(),
                what, frames[frames.size() / 2], frames[frames.size() * 99 / 100], frames.back());
}

void turnEventLoop()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // as a running loop does
}

/// Runs the event loop until everything in view is there; returns the time of the longest turn in milliseconds.
double complete(const PageGrid& grid)
{
    double longest = 0;
    while (!isComplete(grid)) {
        QElapsedTimer turn;
        turn.start();
        turnEventLoop();
        longest = std::max(longest, milliseconds(turn));
    }
    return longest;
}

void scrollThrough(PageGrid& grid)
{
    std::vector<double> frames;
    std::vector<double> own;
    QScrollBar* const bar = grid.verticalScrollBar();
    while (bar->value() < bar->maximum()) {
        QElapsedTimer frame;
        frame.start();
        const double begin = ownMilliseconds();
        bar->setValue(bar->value() + 120);
        turnEventLoop();
        frames.push_back(milliseconds(frame));
        own.push_back(ownMilliseconds() - begin);
    }
    reportFrames("by the clock", std::move(frames));
    reportFrames("of the thread's own time", std::move(own));
}

void measure(const QString& file)
{
    const double before = residentMegabytes();
    QElapsedTimer clock;
    clock.start();
    ToolWindowController::present(FileTool::organizePDF, {file.toStdString()}, [](const auto&) { });
    ToolWindowController& controller = *ToolWindowController::openControllers().front();
    auto& grid = *controller.window().findChild<PageGrid*>();
    complete(grid);
    std::printf("first screen complete: %.0f ms\n", milliseconds(clock));
    const double shown = residentMegabytes();
    scrollThrough(grid);
    clock.start();
    const double longest = complete(grid);
    std::printf("last screen complete %.0f ms after the end was reached, longest turn %.1f ms\n", milliseconds(clock),
                longest);
    std::printf("memory: %.0f MB at the start, %.0f MB with the first screen, %.0f MB at the end\n", before, shown,
                residentMegabytes());
    controller.finish(std::nullopt);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QTemporaryDir folder;
    QString file = QCoreApplication::arguments().value(1);
    if (file.isEmpty()) {
        file = folder.filePath(QStringLiteral("large.pdf"));
        writeDocument(file, 2000);
    }
    measure(file);
    return 0;
}
