#include "SmallFiles.h"
#include "Support/BackgroundTask.h"
#include "ToolWindows/Files/FileThumbnail.h"
#include "ToolWindows/Frame/ToolWindow.h"
#include "ToolWindows/Frame/WindowEdge.h"
#include "ToolWindows/ToolWindowController.h"

#include <QApplication>
#include <QLabel>
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
        ToolWindowController::present(tool, files, [](const auto&) { });
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

    /// Themes set the text colour alone, and the toolkit's own colour of placeholders stays that of a light desktop.
    void secondaryTextIsReadableWhateverThePaletteLeavesOut()
    {
        ToolWindow& window = open(FileTool::organizePDF, {m_files.document("a.pdf", 1)});
        QPalette dark(QColor(30, 30, 30));
        dark.setColor(QPalette::PlaceholderText, QColor(0, 0, 0, 128));
        QApplication::setPalette(dark);
        QCoreApplication::processEvents();
        int seen = 0;
        for (const QLabel* const label : window.findChildren<QLabel*>()) {
            const QColor color = label->palette().color(label->foregroundRole());
            QVERIFY2(color.lightness() > 200 && color.alpha() > 150, qPrintable(label->text()));
            seen += label->foregroundRole() == QPalette::PlaceholderText;
        }
        QVERIFY(seen >= 3); // the count, the caption, and that the file has no pages
    }

    void theButtonsOfTheOnlyPageStandInTheMiddle()
    {
        ToolWindow& window = open(FileTool::organizePDF, {m_files.document("a.pdf", 1)});
        QTRY_VERIFY(window.findChild<QWidget*>("rotate-0"));
        const QWidget* const rotate = window.findChild<QWidget*>("rotate-0");
        const QWidget* const duplicate = window.findChild<QWidget*>("duplicate-0");
        const int right = rotate->parentWidget()->width() - 1 - duplicate->geometry().right();
        QVERIFY(qAbs(rotate->x() - right) <= 1); // no half pixels
    }

    void numbersBeyondAHundredAndNamesInAnyScriptHaveTheirPlace()
    {
        ToolWindowController::Files files(120, m_files.path("missing.pdf"));
        files[0] = m_files.path("\xD7\x93\xD7\x95\xD7\x97\n.pdf"); // Hebrew, and two lines
        ToolWindow& window = open(FileTool::mergePDF, files);
        const auto labels = window.findChild<QWidget*>("row-0")->findChildren<QLabel*>();
        QVERIFY(labels[0]->width() >= labels[0]->fontMetrics().horizontalAdvance("120"));
        QVERIFY(!labels[1]->text().contains('\n'));
        const QImage picture = pictureOf(*labels[1]);
        const auto isEmpty = [&](int left, int right) {
            for (int y = 0; y < picture.height(); ++y) {
                for (int x = left; x < right; ++x) {
                    if (picture.pixelColor(x, y).alpha() > 0)
                        return false;
                }
            }
            return true;
        };
        QVERIFY(!isEmpty(0, 40));
        QVERIFY(isEmpty(picture.width() - 40, picture.width()));
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
