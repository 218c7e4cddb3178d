#include "SmallFiles.h"
#include "Support/BackgroundTask.h"
#include "ToolWindows/FileThumbnail.h"
#include "ToolWindows/ToolWindow.h"
#include "ToolWindows/ToolWindowController.h"
#include "ToolWindows/WindowEdge.h"

#include <QApplication>
#include <QTest>

using namespace Pelgra;

namespace {

QImage pictureOf(QWidget& widget)
{
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

} // namespace

class ToolWindowLookTest : public QObject {
    Q_OBJECT

private:
    SmallFiles m_files;
    QPalette m_palette;

    ToolWindow& open(FileTool tool, const ToolWindowController::Files& files)
    {
        ToolWindowController::present(tool, files, [](const auto&) {});
        ToolWindow& window = ToolWindowController::openControllers().back()->window();
        [&] {
            QVERIFY(QTest::qWaitForWindowExposed(&window));
        }();
        return window;
    }

private Q_SLOTS:
    void initTestCase() { m_palette = QApplication::palette(); }

    void cleanup()
    {
        QApplication::setPalette(m_palette);
        for (ToolWindowController* controller : ToolWindowController::openControllers())
            controller->finish(std::nullopt);
        utilityPool().waitForDone();
    }

    void followsThePaletteWhileItIsOpen()
    {
        ToolWindow& window = open(FileTool::mergePDF, {m_files.document("a.pdf", 1)});
        auto* const row = window.findChild<QWidget*>(QStringLiteral("row-0"));
        const QPoint emptyPart(300, 8);
        QApplication::setPalette(QPalette(Qt::white));
        QCoreApplication::processEvents();
        const QColor light = window.grab().toImage().pixelColor(row->mapTo(&window, emptyPart));
        QApplication::setPalette(QPalette(QColor(30, 30, 30)));
        QCoreApplication::processEvents();
        const QColor dark = window.grab().toImage().pixelColor(row->mapTo(&window, emptyPart));
        QVERIFY2(light.lightness() > 200, qPrintable(light.name()));
        QVERIFY2(dark.lightness() < 70 && dark.lightness() > 30, qPrintable(dark.name())); // a little above its ground
    }

    void picturesTakeThePlaceOfTheirSymbol()
    {
        ToolWindow& window = open(FileTool::createPDF, {m_files.picture("red.png"), m_files.path("missing.png")});
        const auto colourOf = [&](const char* row) {
            auto* const thumbnail = window.findChild<QWidget*>(QString::fromLatin1(row))->findChild<FileThumbnail*>();
            return pictureOf(*thumbnail).pixelColor(18, 18);
        };
        QTRY_COMPARE(colourOf("row-0"), QColor(Qt::red));
        utilityPool().waitForDone();
        QCoreApplication::processEvents();
        QVERIFY(colourOf("row-1") != QColor(Qt::red));
    }

    void onlyWindowsThatMayChangeTheirSizeHaveEdgesToPull()
    {
        QVERIFY(!open(FileTool::mergePDF, {m_files.document("a.pdf", 1)}).findChild<WindowEdge*>());
        ToolWindow& window = open(FileTool::organizePDF, {m_files.document("b.pdf", 1)});
        window.resize(900, 700);
        const QWidget* const corner = window.childAt(895, 690); // within the round corner
        QVERIFY(qobject_cast<const WindowEdge*>(corner));
        QCOMPARE(corner->cursor().shape(), Qt::SizeFDiagCursor);
        QVERIFY(!qobject_cast<const WindowEdge*>(window.childAt(450, 40)));
    }
};

QTEST_MAIN(ToolWindowLookTest)
#include "ToolWindowLookTest.moc"
