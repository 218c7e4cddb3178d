// Shows the wheel over several desktops and saves what the screen shows. Usage: pelgra-screenshots FOLDER PREFIX
#include "Pictures/ThumbnailLoader.h"
#include "Platform/Platform.h"
#include "SampleDesktop.h"
#include "SampleFiles.h"
#include "ScreenGrab.h"
#include "Wheel/WheelController.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QPainter>
#include <QTemporaryDir>
#include <QThreadPool>

#include <algorithm>
#include <cstdio>

using namespace Pelgra;
using Files = std::vector<std::filesystem::path>;

namespace {

struct Case {
    const char* name;
    WheelKind kind;
    std::vector<const char*> files;
    std::optional<int> highlighted;
};

const std::vector<Case> cases = {
    {"convert-6", WheelKind::convert, {"photo.webp"}, {}},
    {"convert-6-highlighted", WheelKind::convert, {"photo.webp"}, 1},
    {"convert-5", WheelKind::convert, {"photo.jpg"}, {}},
    {"convert-4-document", WheelKind::convert, {"document.pdf"}, {}},
    {"convert-4-several", WheelKind::convert, {"photo.jpg", "tall.png"}, {}},
    {"convert-3", WheelKind::convert, {"tall.png", "photo.jpg", "a.heic"}, 2},
    {"convert-2", WheelKind::convert, {"photo.jpg", "tall.png", "a.heic", "a.tiff"}, 1},
    {"convert-1", WheelKind::convert, {"photo.jpg", "tall.png", "a.heic", "a.tiff", "a.bmp"}, {}},
    {"convert-icon", WheelKind::convert, {"broken.tiff"}, {}},
    {"convert-empty", WheelKind::convert, {"notes.txt"}, {}},
    {"tools-2", WheelKind::tools, {"document.pdf"}, {}},
    {"tools-2-highlighted", WheelKind::tools, {"document.pdf", "second.pdf"}, 1},
    {"tools-1-highlighted", WheelKind::tools, {"photo.jpg", "tall.png"}, 0},
    {"tools-empty", WheelKind::tools, {"photo.jpg"}, {}},
};

void writeFiles(const QDir& folder)
{
    writePicture(folder.filePath(QStringLiteral("photo.jpg")), {1200, 800}, "jpg");
    writePicture(folder.filePath(QStringLiteral("photo.webp")), {1200, 800}, "png");
    writePicture(folder.filePath(QStringLiteral("tall.png")), {700, 1000}, "png");
    writeDocument(folder.filePath(QStringLiteral("document.pdf")));
    writeDocument(folder.filePath(QStringLiteral("second.pdf")));
    QFile notes(folder.filePath(QStringLiteral("notes.txt")));
    if (notes.open(QIODevice::WriteOnly))
        notes.write("Notes\n");
}

bool take(WheelController& controller, const Case& wanted, const QDir& files, const QString& output)
{
    Files urls;
    for (const char* name : wanted.files)
        urls.push_back(std::filesystem::path(files.path().toStdString()) / name);
    QImage strip;
    WheelPanel* const panel = controller.panel();
    for (int i = 0; i < tileCount; ++i) {
        const QRect area(i * tile, 0, tile, tile);
        controller.show(wanted.kind, urls, area.center(), false);
        ThumbnailLoader::pool().waitForDone();
        panel->wheelView()->setHighlightedIndex(wanted.highlighted);
        if (!waitFor([&] { return panel->windowOpacity() == 1; }))
            return false;
        QImage shot = grabSettled(area);
        shot.setDevicePixelRatio(1);
        if (strip.isNull())
            strip = QImage(shot.width() * tileCount, shot.height(), QImage::Format_RGB32);
        QPainter(&strip).drawImage(i * shot.width(), 0, shot);
        controller.hide();
        if (!waitFor([&] { return !panel->isVisible(); }))
            return false;
    }
    return strip.save(output);
}

/// The time of the slowest part of a highlight's way to the screen that is up to us: painting.
void measureHighlight(WheelController& controller, const QDir& files)
{
    controller.show(WheelKind::convert, {std::filesystem::path(files.path().toStdString()) / "photo.webp"},
                    QPoint(tile / 2, tile / 2), false);
    ThumbnailLoader::pool().waitForDone();
    WheelView* const view = controller.panel()->wheelView();
    view->playTick = [] {
    };
    waitFor([&] { return controller.panel()->windowOpacity() == 1; });
    std::vector<double> times;
    for (int i = 0; i < 200; ++i) {
        QElapsedTimer timer;
        timer.start();
        view->setHighlightedIndex(i % view->content().layout.petalCount);
        // Delivers the paint events that are pending, and the backing store to the window.
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    std::printf("highlight to painted, 200 changes: median %.1f ms, 99th percentile %.1f ms\n", times[100], times[197]);
    controller.hide();
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QTemporaryDir files;
    if (arguments.size() != 3 || !files.isValid()) {
        std::fprintf(stderr, "usage: pelgra-screenshots FOLDER PREFIX\n");
        return 2;
    }
    writeFiles(QDir(files.path()));
    const std::unique_ptr<Platform> platform = Platform::forThisSession();
    // Where a compositing manager has just been started, wait for it.
    if (arguments[2].startsWith(QStringLiteral("composited"))
        && !waitFor([&] { return platform->wheelSurface().isCompositing(); })) {
        std::fprintf(stderr, "no compositing manager\n");
        return 1;
    }
    SampleDesktop desktop;
    desktop.show();
    WheelController controller(platform->wheelSurface());
    for (const Case& wanted : cases) {
        const QString output =
            QDir(arguments[1])
                .filePath(QStringLiteral("%1-%2.png").arg(arguments[2], QString::fromLatin1(wanted.name)));
        if (!take(controller, wanted, QDir(files.path()), output)) {
            std::fprintf(stderr, "no picture: %s\n", qUtf8Printable(output));
            return 1;
        }
    }
    measureHighlight(controller, QDir(files.path()));
    return 0;
}
