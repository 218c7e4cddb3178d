// Shows every window in every state, light and dark, and saves what the screen shows.
// Usage: pelgra-window-screenshots FOLDER PREFIX
#include "Jobs/HUDPanel.h"
#include "Platform/Compositing.h"
#include "Platform/Placement.h"
#include "Platform/Platform.h"
#include "Platform/Pointer.h"
#include "SampleDesktop.h"
#include "SampleFiles.h"
#include "ScreenGrab.h"
#include "Settings/SettingsWindow.h"
#include "Support/BackgroundTask.h"
#include "ToolWindows/Frame/ToolWindow.h"
#include "ToolWindows/ToolWindowController.h"
#include "Wheel/WheelTargets.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QSemaphore>
#include <QTemporaryDir>

#include <cstdio>
#include <functional>

using namespace Pelgra;
using Files = ToolWindowController::Files;

namespace {

constexpr int surroundings = 24; // logical pixels of the desktop around a window

QPalette paletteNamed(const QString& appearance)
{
    const bool isDark = appearance == QStringLiteral("dark");
    const QColor window = isDark ? QColor(0x2A, 0x2E, 0x32) : QColor(0xEF, 0xF0, 0xF1);
    const QColor text = isDark ? QColor(0xFC, 0xFC, 0xFC) : QColor(0x23, 0x26, 0x29);
    QPalette palette(isDark ? QColor(0x31, 0x36, 0x3B) : QColor(0xFC, 0xFC, 0xFC), window);
    palette.setColor(QPalette::Base, isDark ? QColor(0x1B, 0x1E, 0x20) : Qt::white);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, text);
    QColor faint = text;
    faint.setAlphaF(0.4F);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint);
    faint.setAlphaF(0.62F);
    palette.setColor(QPalette::PlaceholderText, faint);
    palette.setColor(QPalette::Highlight, QColor(0x3D, 0xAE, 0xE9));
    return palette;
}

void send(QWidget* target, QEvent::Type type, QPoint point, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, QPointF(point), QPointF(target->mapToGlobal(point)),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
}

class Photographer {
public:
    Photographer(QString folder, QString prefix)
        : m_folder(std::move(folder))
        , m_prefix(std::move(prefix))
    {
        m_ground.setPalette(QPalette(QColor(0x7D, 0x8F, 0xA8)));
        m_ground.setGeometry(QGuiApplication::primaryScreen()->geometry());
        m_ground.show();
        m_ground.lower(); // it is not the window manager's to place
        for (int i = 1; i <= 10; ++i)
            writePicture(file(QStringLiteral("Holiday %1.jpg").arg(i)), i % 3 ? QSize(900, 600) : QSize(600, 900),
                         i % 2 ? "jpg" : "png");
        writeDocument(file(QStringLiteral("Report.pdf")), 14);
        writeDocument(file(QStringLiteral("A rather long name of a document that was scanned at the end of May.pdf")));
        QFile broken(file(QStringLiteral("Broken.pdf")));
        if (broken.open(QIODevice::WriteOnly))
            broken.write("%PDF-1.7\nnothing follows\n");
    }

    bool takeAll(const QString& appearance)
    {
        m_appearance = appearance;
        const Files pictures = files({"Holiday 1.jpg", "Holiday 2.jpg", "Holiday 3.jpg", "Holiday 4.jpg",
                                      "Holiday 5.jpg", "Holiday 6.jpg", "Holiday 7.jpg", "Holiday 8.jpg"});
        const Files documents = files(
            {"Report.pdf", "A rather long name of a document that was scanned at the end of May.pdf", "Broken.pdf"});
        const Files report = files({"Report.pdf"});
        using Steps = std::function<void(ToolWindowController&)>;
        const Steps none = [](ToolWindowController&) {
        };
        return takeTool("create", FileTool::createPDF, pictures, none)
            && takeTool("create-one", FileTool::createPDF, {pictures[0]}, none)
            && takeTool("create-dragging", FileTool::createPDF, pictures, [](auto& c) { drag(c, "row-0", "row-2"); })
            && takeTool("create-keyboard", FileTool::createPDF, pictures,
                        [](auto& c) {
                            c.window().setAttribute(Qt::WA_KeyboardFocusChange); // as Tab does
                            child(c, "row-1")->setFocus();
                        })
            && takeTool("merge", FileTool::mergePDF, documents, none)
            && takeTool("merge-running", FileTool::mergePDF, documents, [this](auto& c) { runForever(c); })
            && takeTool("organize", FileTool::organizePDF, report, none)
            && takeTool("organize-edited", FileTool::organizePDF, report, edit)
            && takeTool("organize-dragging", FileTool::organizePDF, report,
                        [](auto& c) { drag(c, "page-0", "page-2"); })
            && takeTool("organize-empty", FileTool::organizePDF, files({"Broken.pdf"}), none) && takeLoading(report)
            && takeSettings();
    }

    bool takePanels()
    {
        m_appearance = QStringLiteral("any");
        SampleDesktop desktop;
        desktop.show();
        desktop.raise();
        const QString reason = QStringLiteral("Couldn’t read “Report of the year before last.pdf”. It may be damaged, "
                                              "encrypted or in a format that isn’t supported.");
        return takePanel("working", HUDWorking{QStringLiteral("Making Holiday 1.png…")})
            && takePanel("done", HUDDone{QStringLiteral("Holiday 1.png — just like that."), std::nullopt})
            && takePanel("failed", HUDFailed{QStringLiteral("Couldn't make Holiday 1.png"), QStringLiteral("No room.")})
            && takePanel("failed-long",
                         HUDFailed{QStringLiteral("Couldn't make Report of the year before last Pages"), reason})
            && takeTargets();
    }

private:
    QString file(const QString& name) const { return QDir(m_files.path()).filePath(name); }

    Files files(const std::vector<const char*>& names) const
    {
        Files result;
        for (const char* name : names)
            result.push_back(file(QString::fromUtf8(name)).toStdString());
        return result;
    }

    static QWidget* child(ToolWindowController& controller, const char* name)
    {
        return controller.window().findChild<QWidget*>(QString::fromLatin1(name));
    }

    static void drag(ToolWindowController& controller, const char* from, const char* to)
    {
        QWidget* const content = child(controller, from)->parentWidget();
        const QPoint start = child(controller, from)->geometry().center();
        const QPoint end = child(controller, to)->geometry().center() + QPoint(30, 16);
        send(content, QEvent::MouseButtonPress, start, Qt::LeftButton);
        send(content, QEvent::MouseMove, start + QPoint(40, 0), Qt::LeftButton);
        send(content, QEvent::MouseMove, end, Qt::LeftButton);
    }

    static void edit(ToolWindowController& controller)
    {
        for (const char* name : {"rotate-0", "duplicate-1", "remove-4", "uniformWidth"})
            controller.window().findChild<QAbstractButton*>(QString::fromLatin1(name))->click();
    }

    void runForever(ToolWindowController& controller)
    {
        controller.context().run(
            [this](const JobControl&) -> JobResult {
                m_gate.acquire();
                return JobResult("out.pdf");
            },
            "out.pdf");
    }

    bool takeTool(const char* name, FileTool tool, const Files& wanted,
                  const std::function<void(ToolWindowController&)>& steps)
    {
        ToolWindowController::present(tool, wanted, [](const auto&) { });
        ToolWindowController& controller = *ToolWindowController::openControllers().front();
        ToolWindow& window = controller.window();
        jobPool().waitForDone(); // the pages are counted
        grabSettled(window.geometry()); // until thumbnails are there
        utilityPool().waitForDone();
        steps(controller);
        const bool taken = save(name, window.frameGeometry());
        m_gate.release();
        jobPool().waitForDone();
        controller.finish(std::nullopt);
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        m_gate.tryAcquire();
        return taken;
    }

    bool takeLoading(const Files& document)
    {
        QSemaphore gate;
        const int threads = jobPool().maxThreadCount();
        for (int i = 0; i < threads; ++i)
            jobPool().start([&gate] { gate.acquire(); }); // nothing else gets a turn
        ToolWindowController::present(FileTool::organizePDF, document, [](const auto&) { });
        ToolWindowController& controller = *ToolWindowController::openControllers().front();
        const bool taken = save("organize-loading", controller.window().frameGeometry());
        gate.release(threads);
        jobPool().waitForDone();
        controller.finish(std::nullopt);
        return taken;
    }

    bool takeSettings()
    {
        SettingsWindow::show({}, false);
        const bool taken = save("settings", SettingsWindow::window()->frameGeometry());
        SettingsWindow::window()->hide();
        return taken;
    }

    bool takePanel(const char* name, const HUDState& state)
    {
        const int height = 140;
        QImage strip;
        for (int i = 0; i < tileCount / 2; ++i) { // over two backgrounds at a time
            HUDPanel* const panel = HUDPanel::show(state, QPoint((2 * i + 1) * tile, 0));
            if (!waitFor([&] { return panel->windowOpacity() == 1; }))
                return false;
            QImage shot = grabSettled({2 * i * tile, 0, 2 * tile, height});
            shot.setDevicePixelRatio(1); // the strip is put together by pixels
            if (strip.isNull())
                strip = QImage(shot.width() * tileCount / 2, shot.height(), QImage::Format_RGB32);
            QPainter(&strip).drawImage(i * shot.width(), 0, shot);
            delete panel;
        }
        return strip.save(output("panel-" + QByteArray(name)));
    }

    bool takeTargets()
    {
        WheelTargets targets;
        QImage strip;
        for (int i = 0; i < tileCount; ++i) {
            const QPoint pointer(i * tile + tile / 2, tile - tile / 4);
            QCursor::setPos(pointer); // or they would go away from it
            targets.showBeside(pointer, {WheelKind::convert, WheelKind::tools});
            if (!waitFor([&] { return targets.windowOpacity() == 1; }))
                return false;
            QImage shot = grabSettled({i * tile, 0, tile, tile});
            shot.setDevicePixelRatio(1);
            if (strip.isNull())
                strip = QImage(shot.width() * tileCount, shot.height(), QImage::Format_RGB32);
            QPainter(&strip).drawImage(i * shot.width(), 0, shot);
        }
        return strip.save(output("targets"));
    }

    QString output(const QByteArray& name) const
    {
        return QDir(m_folder).filePath(
            QStringLiteral("%1-%2-%3.png").arg(m_prefix, m_appearance, QString::fromLatin1(name)));
    }

    bool save(const char* name, QRect frame)
    {
        frame.adjust(-surroundings, -surroundings, surroundings, surroundings);
        return grabSettled(frame).save(output(name));
    }

    QString m_folder;
    QString m_prefix;
    QString m_appearance;
    QTemporaryDir m_files;
    QWidget m_ground{nullptr, Qt::FramelessWindowHint | Qt::BypassWindowManagerHint};
    QSemaphore m_gate;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: pelgra-window-screenshots FOLDER PREFIX\n");
        return 2;
    }
    const std::unique_ptr<Platform> platform = Platform::forThisSession();
    if (arguments[2].startsWith(QStringLiteral("composited"))
        && !waitFor([&] { return platform->wheelSurface().isCompositing(); })) {
        std::fprintf(stderr, "no compositing manager\n");
        return 1;
    }
    Compositing::follow(platform.get());
    Placement::follow(platform.get());
    Pointer::follow(&platform->dragSource());
    Photographer photographer(arguments[1], arguments[2]);
    for (const QString& appearance : {QStringLiteral("light"), QStringLiteral("dark")}) {
        QApplication::setPalette(paletteNamed(appearance));
        if (!photographer.takeAll(appearance)) {
            std::fprintf(stderr, "a window could not be shown\n");
            return 1;
        }
    }
    return photographer.takePanels() ? 0 : 1;
}
