#include "Wheel/WheelView.h"
#include "Settings/ModifierKey.h"
#include "Support/Brand.h"

#include <QAccessible>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QTest>

#include <cmath>

using namespace Pelgra;
using Files = std::vector<std::filesystem::path>;

namespace {

const std::vector<WheelPetal> formats = {WheelPetal::format(FileFormat::jpg), WheelPetal::format(FileFormat::png),
                                         WheelPetal::format(FileFormat::txt), WheelPetal::format(FileFormat::md)};

/// A wheel of four petals that notes what it reports.
struct Wheel {
    WheelView view;
    int ticks = 0;
    int escapes = 0;
    int cancels = 0;
    ModifierFlags tapped = 0;
    QStringList chosen; ///< label and number of files

    Wheel()
    {
        view.resize(300, 300);
        view.playTick = [this] {
            ++ticks;
        };
        QObject::connect(&view, &WheelView::dismissed, &view, [this] { ++escapes; });
        QObject::connect(&view, &WheelView::dragCancelled, &view, [this] { ++cancels; });
        QObject::connect(&view, &WheelView::modifiersTapped, &view, [this](ModifierFlags flags) { tapped = flags; });
        QObject::connect(&view, &WheelView::activated, &view, [this](const WheelPetal& petal, const Files& files) {
            chosen += QString("%1 %2").arg(petal.label()).arg(files.size());
        });
        view.configure(formats, "Nothing here.");
    }

    QImage picture(double scale = 1)
    {
        QImage image(QSize(300, 300) * scale, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(scale);
        image.fill(Qt::transparent);
        view.render(&image, {}, {}, QWidget::DrawChildren);
        return image;
    }
};

// Points in the view, y down: petals clockwise from the top, clear of labels and the centre.
const QPointF top(150, 20);
const QPointF right(280, 150);
const QPointF bottom(150, 280);
const QPointF hole(150, 185);
const QPointF outside(8, 8);

int difference(QColor a, QColor b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
}

/// Laid over a background, as a compositing manager does.
QImage over(const QImage& wheel, QColor background)
{
    QImage result(wheel.size(), QImage::Format_RGB32);
    result.fill(background);
    result.setDevicePixelRatio(wheel.devicePixelRatio());
    QPainter(&result).drawImage(0, 0, wheel);
    return result;
}

} // namespace

class WheelViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void highlightFollowsTheDragAndTicksOncePerPetal()
    {
        Wheel wheel;
        QVERIFY(wheel.view.dragMoved(top));
        QVERIFY(wheel.view.dragMoved(top + QPointF(5, 5)));
        QCOMPARE(wheel.ticks, 1);
        QVERIFY(wheel.view.dragMoved(right));
        QCOMPARE(wheel.ticks, 2);
        QCOMPARE(wheel.view.content().highlightedIndex, std::optional<int>(1));
        QVERIFY(!wheel.view.dragMoved(hole));
        wheel.view.dragLeft();
        QCOMPARE(wheel.ticks, 2);
        QVERIFY(!wheel.view.content().highlightedIndex);
        wheel.view.dragMoved(right);
        wheel.view.configure(formats, {});
        QVERIFY(!wheel.view.content().highlightedIndex);
        QCOMPARE(wheel.ticks, 3);
    }

    void dropsOnPetalsAloneActAndNeverInsideTheHandler()
    {
        Wheel wheel;
        const Files files{"a.pdf", "b.pdf"};
        QVERIFY(!wheel.view.dropAt(hole));
        QVERIFY(!wheel.view.dropAt(outside));
        QVERIFY(!wheel.view.dropAt(top)({}));
        QVERIFY(wheel.view.dropAt(bottom)(files));
        wheel.view.dragEnded(true);
        QCOMPARE(wheel.chosen, QStringList());
        QTRY_COMPARE(wheel.chosen, QStringList("TXT 2"));
        QCOMPARE(wheel.cancels, 0);
    }

    void aDragThatEndsWithTheButtonDownWasCancelled()
    {
        Wheel wheel;
        wheel.view.dragMoved(top);
        wheel.view.dragEnded(false);
        QCOMPARE(wheel.cancels, 0);
        QVERIFY(!wheel.view.content().highlightedIndex);
        wheel.view.dragEnded(true);
        QCOMPARE(wheel.cancels, 1);
    }

    void aDropWithoutFilesUsesThoseOfAnInteractiveWheel()
    {
        Wheel wheel;
        wheel.view.fallbackURLs = {"a.pdf"};
        QVERIFY(wheel.view.dropAt(top)({}));
        QTRY_COMPARE(wheel.chosen, QStringList("JPG 1"));
    }

    void aDropKeepsItsPetalWhateverIsShownByThen()
    {
        Wheel wheel;
        const DropTarget::Drop drop = wheel.view.dropAt(bottom);
        wheel.view.configure({}, "Nothing here.");
        QVERIFY(!drop({"a.png"})); // which that petal was never offered for
        QVERIFY(drop({"a.pdf"}));
        QTRY_COMPARE(wheel.chosen, QStringList("TXT 1"));
    }

    void clicksChooseAPetalOfAnInteractiveWheelAndElseDismiss()
    {
        Wheel wheel;
        QTest::mouseClick(&wheel.view, Qt::LeftButton, {}, right.toPoint());
        QCOMPARE(wheel.escapes, 1);
        wheel.view.fallbackURLs = {"a.pdf"};
        QTest::mouseClick(&wheel.view, Qt::LeftButton, {}, right.toPoint());
        QTRY_COMPARE(wheel.chosen, QStringList("PNG 1"));
        QTest::mouseClick(&wheel.view, Qt::LeftButton, {}, hole.toPoint());
        QCOMPARE(wheel.escapes, 2);
    }

    void keysMoveAroundTheRingAndChoose()
    {
        Wheel wheel;
        wheel.view.fallbackURLs = {"a.pdf"};
        const auto highlighted = [&] {
            return wheel.view.content().highlightedIndex.value_or(-1);
        };
        QTest::keyClick(&wheel.view, Qt::Key_Return);
        QTest::keyClick(&wheel.view, Qt::Key_Left);
        QCOMPARE(highlighted(), 3);
        QTest::keyClick(&wheel.view, Qt::Key_Right);
        QCOMPARE(highlighted(), 0);
        QTest::keyClick(&wheel.view, Qt::Key_Tab);
        QCOMPARE(highlighted(), 1);
        QTest::keyClick(&wheel.view, Qt::Key_Backtab, Qt::ShiftModifier);
        QTest::keyClick(&wheel.view, Qt::Key_Up);
        QCOMPARE(highlighted(), 3);
        QTest::keyClick(&wheel.view, Qt::Key_Space);
        QTRY_COMPARE(wheel.chosen, QStringList("MD 1"));
        QTest::keyClick(&wheel.view, Qt::Key_Escape);
        QCOMPARE(wheel.escapes, 1);
        wheel.view.configure({}, "Nothing here.");
        QTest::keyClick(&wheel.view, Qt::Key_Tab);
        QCOMPARE(highlighted(), -1);
    }

    void onlyNewlyPressedModifiersAreTaps()
    {
        Wheel wheel;
        QTest::keyPress(&wheel.view, Qt::Key_Shift);
        QCOMPARE(wheel.tapped, flagOf(ModifierKey::shift));
        wheel.tapped = 0;
        QTest::keyPress(&wheel.view, Qt::Key_Meta, Qt::ShiftModifier);
        QCOMPARE(wheel.tapped, flagOf(ModifierKey::command));
        wheel.tapped = 0;
        QTest::keyRelease(&wheel.view, Qt::Key_Meta, Qt::ShiftModifier);
        QTest::keyRelease(&wheel.view, Qt::Key_Shift);
        // Held since before the wheel had the focus, and now a plain key.
        QKeyEvent plain(QEvent::KeyPress, Qt::Key_A, Qt::ShiftModifier);
        QCoreApplication::sendEvent(&wheel.view, &plain);
        QCOMPARE(wheel.tapped, ModifierFlags(0));
    }

    void theHighlightedPetalAloneTurnsOrange_data()
    {
        QTest::addColumn<double>("scale");
        QTest::newRow("1x") << 1.0;
        QTest::newRow("1.5x") << 1.5;
        QTest::newRow("2x") << 2.0;
    }
    void theHighlightedPetalAloneTurnsOrange()
    {
        QFETCH(double, scale);
        Wheel wheel;
        const QImage before = over(wheel.picture(scale), Qt::black);
        wheel.view.setHighlightedIndex(1);
        const QImage after = over(wheel.picture(scale), Qt::black);
        const auto change = [&](QPointF point) {
            const QPoint pixel = (point * scale).toPoint();
            return difference(before.pixelColor(pixel), after.pixelColor(pixel));
        };
        QVERIFY(change(right) > 40);
        QVERIFY(change(top) == 0);
        QVERIFY(change(bottom) == 0);
        const QColor lit = after.pixelColor((right * scale).toPoint());
        QVERIFY(lit.red() > lit.green() && lit.red() > lit.blue());
    }

    void textStaysReadableOnAnyDesktop()
    {
        Wheel wheel;
        const QImage picture = wheel.picture();
        for (QColor background : {QColor(Qt::black), QColor(Qt::white), QColor(Qt::blue)}) {
            const QColor petal = over(picture, background).pixelColor(right.toPoint());
            // Black on this grey has a contrast of more than 10 to 1 (WCAG 2.1).
            QVERIFY2(qGray(petal.rgb()) > 180, qPrintable(petal.name()));
        }
    }

    void theHoleAndTheCornersAreClear()
    {
        Wheel wheel;
        const QImage picture = wheel.picture();
        QCOMPARE(picture.pixelColor(hole.toPoint()).alpha(), 0);
        QCOMPARE(picture.pixelColor(outside.toPoint()).alpha(), 0);
        QVERIFY(wheel.view.activeRegion().contains(right.toPoint()));
        QVERIFY(!wheel.view.activeRegion().contains(hole.toPoint()));
        QVERIFY(!wheel.view.activeRegion().contains(outside.toPoint()));
    }

    void theCentreShowsFilesAndNamesThePetal()
    {
        Wheel wheel;
        const QPoint capsule(115, 150);
        const QPoint card(150, 110);
        QCOMPARE(wheel.picture().pixelColor(capsule).alpha(), 0);
        QImage red(100, 100, QImage::Format_RGB32);
        red.fill(Qt::red);
        wheel.view.setThumbnails({red, QImage()});
        wheel.view.setSummary("1.2 MB");
        const QImage summary = wheel.picture();
        QCOMPARE(summary.pixelColor(card), QColor(Qt::red));
        QVERIFY(summary.pixelColor(capsule).alpha() > 200);
        wheel.view.setHighlightedIndex(2);
        QVERIFY(wheel.picture().copy(110, 135, 80, 30) != summary.copy(110, 135, 80, 30));
        // Visible but not hit.
        QVERIFY(wheel.view.paintedRegion().contains(card));
        QVERIFY(!wheel.view.activeRegion().contains(capsule));
    }

    void anEmptyWheelIsACapsuleWithItsMessage()
    {
        Wheel wheel;
        wheel.view.configure({}, "No conversions for this format.");
        const QImage picture = wheel.picture();
        QVERIFY(picture.pixelColor(60, 150).alpha() > 200);
        QCOMPARE(picture.pixelColor(150, 60).alpha(), 0);
        const QRect shape = wheel.view.activeRegion().boundingRect();
        QCOMPARE(shape.height(), 40);
        QVERIFY(!wheel.view.activeRegion().contains(shape.topLeft()));
        QVERIFY(!wheel.view.dragMoved(shape.center()));
    }

    void partsPaintedAnewLookLikeTheWhole()
    {
        Wheel wheel;
        wheel.view.setSummary("3 files");
        wheel.view.dragMoved(right);
        const QImage whole = wheel.picture();
        QImage parts(whole.size(), whole.format());
        parts.fill(Qt::transparent);
        const QSize size(77, 45); // not a multiple of the dither's grid
        for (int y = 0; y < 300; y += size.height()) {
            for (int x = 0; x < 300; x += size.width()) {
                const QRect part = QRect(QPoint(x, y), size).intersected(wheel.view.rect());
                wheel.view.render(&parts, part.topLeft(), part, QWidget::DrawChildren);
            }
        }
        QCOMPARE(parts, whole);
    }

    void petalsAreNamedButtonsToAScreenReader()
    {
        Wheel wheel;
        wheel.view.fallbackURLs = {"a.pdf"};
        QAccessibleInterface* group = QAccessible::queryAccessibleInterface(&wheel.view);
        QVERIFY(group);
        QStringList names;
        for (int i = 0; i < group->childCount(); ++i) {
            QCOMPARE(group->child(i)->role(), QAccessible::Button);
            QCOMPARE(group->indexOfChild(group->child(i)), i);
            names += group->child(i)->text(QAccessible::Name);
        }
        QCOMPARE(names, QStringList({"JPG", "PNG", "TXT", "MD"}));
        const QPoint onScreen = wheel.view.mapToGlobal(right.toPoint());
        QCOMPARE(group->childAt(onScreen.x(), onScreen.y()), group->child(1));
        QVERIFY(group->child(1)->rect().contains(onScreen));
        group->child(2)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_COMPARE(wheel.chosen, QStringList("TXT 1"));
        group->child(3)->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
        QCOMPARE(group->focusChild(), group->child(3));

        QAccessibleInterface* last = group->child(3);
        wheel.view.configure({WheelPetal::tool(FileTool::splitPDF)}, {});
        QCOMPARE(group->childCount(), 1);
        QCOMPARE(group->child(0)->text(QAccessible::Name), QString("SPLIT"));
        QVERIFY(!last->isValid());
        QVERIFY(!group->child(1));
    }
};

QTEST_MAIN(WheelViewTest)
#include "WheelViewTest.moc"
