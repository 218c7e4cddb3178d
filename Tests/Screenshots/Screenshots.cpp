// Shows the wheel over several desktops and saves what the screen shows. Usage: pelgra-screenshots FOLDER PREFIX
#include "Support/Platform/Platform.h"
#include "Support/ThumbnailLoader.h"
#include "Wheel/WheelController.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QPainter>
#include <QPdfWriter>
#include <QRandomGenerator>
#include <QScreen>
#include <QTemporaryDir>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <cstdio>

using namespace Pelgra;
using Files = std::vector<std::filesystem::path>;

namespace {

constexpr int tile = 320; // side of one background, logical pixels
constexpr int tileCount = 4;

/// Light, dark, colourful and full of text, side by side.
class Desktop : public QWidget {
public:
    Desktop()
        : QWidget(nullptr, Qt::FramelessWindowHint | Qt::BypassWindowManagerHint)
    {
        setGeometry(0, 0, tile * tileCount, tile);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillRect(0, 0, tile, tile, QColor(250, 250, 250));
        painter.fillRect(tile, 0, tile, tile, QColor(24, 26, 30));
        QLinearGradient sky(2 * tile, 0, 3 * tile, tile);
        sky.setColorAt(0, QColor(20, 60, 120));
        sky.setColorAt(0.5, QColor(220, 120, 60));
        sky.setColorAt(1, QColor(40, 90, 40));
        painter.fillRect(2 * tile, 0, tile, tile, sky);
        QRandomGenerator random(4);
        painter.setPen(Qt::NoPen);
        painter.setClipRect(2 * tile, 0, tile, tile);
        for (int i = 0; i < 60; ++i) {
            painter.setBrush(QColor::fromHsv(static_cast<int>(random.bounded(360)), 180, 200, 120));
            const double radius = random.bounded(80.0);
            painter.drawEllipse(QPointF(2 * tile + random.bounded(double(tile)), random.bounded(double(tile))), radius,
                                radius);
        }
        painter.setClipRect(3 * tile, 0, tile, tile);
        painter.fillRect(3 * tile, 0, tile, tile, Qt::white);
        painter.setPen(Qt::black);
        for (int y = 0; y < tile; y += 15) {
            QString line;
            for (int i = 0; i < 60; ++i)
                line += QChar(u'a' + static_cast<char16_t>(random.bounded(26)));
            painter.drawText(3 * tile - 10, y, line);
        }
        painter.fillRect(3 * tile + tile / 2, 0, tile / 2, tile / 3, QColor(30, 30, 30));
    }
};

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

void writePicture(const QString& file, QSize size, const char* format)
{
    QImage picture(size, QImage::Format_RGB32);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, size.height());
    sky.setColorAt(0, QColor(64, 120, 200));
    sky.setColorAt(0.7, QColor(250, 200, 160));
    painter.fillRect(picture.rect(), sky);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 240, 200));
    painter.drawEllipse(QPointF(size.width() * 0.7, size.height() * 0.4), size.width() * 0.09, size.width() * 0.09);
    for (int ridge = 0; ridge < 3; ++ridge) {
        QPolygonF hills({QPointF(0, size.height())});
        for (int x = 0; x <= size.width(); x += 4) {
            const double wave = std::sin(x * 6.0 / size.width() + ridge * 2) + 0.5 * std::sin(x * 17.0 / size.width());
            hills << QPointF(x, size.height() * (0.6 + ridge * 0.13 - wave * 0.06));
        }
        hills << QPointF(size.width(), size.height());
        painter.setBrush(QColor(70 - ridge * 20, 100 - ridge * 22, 110 - ridge * 25));
        painter.drawPolygon(hills);
    }
    painter.end();
    picture.save(file, format);
}

void writeDocument(const QString& file)
{
    QPdfWriter writer(file);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setResolution(72);
    QPainter painter(&writer);
    painter.setFont(QFont(QStringLiteral("Sans"), 26, QFont::Bold));
    painter.drawText(20, 50, QStringLiteral("Report"));
    for (int i = 0; i < 22; ++i)
        painter.fillRect(20, 80 + i * 16, 420 - (i * 53) % 90, 6, QColor(150, 155, 165));
    painter.fillRect(20, 460, 420, 150, QColor(74, 127, 208));
}

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

/// Runs the event loop until the condition holds; false when it never does.
template <typename Condition>
bool waitFor(Condition condition)
{
    const QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (condition())
            return true;
        QThread::msleep(10);
    }
    return false;
}

QImage grab(const QRect& area)
{
    return QGuiApplication::primaryScreen()->grabWindow(0, area.x(), area.y(), area.width(), area.height()).toImage();
}

/// The screen once it no longer changes: compositing managers paint a little later.
QImage grabSettled(const QRect& area)
{
    QImage last = grab(area);
    int same = 0;
    waitFor([&] {
        QImage now = grab(area);
        same = now == last ? same + 1 : 0;
        last = std::move(now);
        return same >= 4;
    });
    return last;
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

/// The time of the slowest part of a highlight's way to the screen that is ours: painting.
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
    // With a compositing manager that has just been started, wait for it.
    if (arguments[2].startsWith(QStringLiteral("composited"))
        && !waitFor([&] { return platform->wheelSurface().isCompositing(); })) {
        std::fprintf(stderr, "no compositing manager\n");
        return 1;
    }
    Desktop desktop;
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
