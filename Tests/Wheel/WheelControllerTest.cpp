#include "Wheel/WheelController.h"
#include "Pictures/ThumbnailLoader.h"
#include "Platform/WheelSurface.h"
#include "Support/BackgroundTask.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QPdfWriter>
#include <QScreen>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

using namespace Pelgra;
using Files = std::vector<std::filesystem::path>;

namespace {

/// A desktop that can be switched to compositing and back.
class FakeSurface final : public WheelSurface {
public:
    void attach(QWidget*, DropTarget* given) override { target = given; }
    void detach() override { target = nullptr; }
    void setInputRegion(const QRegion& logical) override { input = logical; }
    void setPaintedRegion(const QRegion& logical) override { painted = logical; }
    bool isCompositing() const override { return compositing; }

    DropTarget* target = nullptr;
    QRegion input;
    QRegion painted;
    bool compositing = true;
};

struct Desktop {
    FakeSurface surface;
    WheelController controller{surface};
    QTemporaryDir folder;
    QStringList activated;

    Desktop()
    {
        controller.panel()->wheelView()->playTick = [] {
        };
        controller.pointer = [] {
            return QPoint(7, 9);
        };
        const auto note = [this](const WheelPetal& petal, const Files& files, QPoint place) {
            activated += QString("%1 %2 %3,%4 %5")
                             .arg(petal.label())
                             .arg(files.size())
                             .arg(place.x())
                             .arg(place.y())
                             .arg(controller.isVisible() ? "shown" : "hidden");
        };
        QObject::connect(&controller, &WheelController::activated, &controller, note);
    }
    ~Desktop()
    {
        ThumbnailLoader::pool().waitForDone();
        lookUpPool().waitForDone();
    }

    const WheelContent& content() const { return controller.panel()->wheelView()->content(); }

    /// A document whose page is all in one colour.
    std::filesystem::path document(const char* name, QColor color) const
    {
        const QString file = folder.filePath(name);
        QPdfWriter writer(file);
        writer.setPageMargins({});
        QPainter(&writer).fillRect(QRect(0, 0, writer.width(), writer.height()), color);
        return file.toStdString();
    }

    void show(const Files& files, bool interactive = false)
    {
        controller.show(WheelKind::convert, files, QPoint(400, 400), interactive);
    }
};

} // namespace

class WheelControllerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void showsSwitchesAndHides()
    {
        Desktop desktop;
        WheelController& controller = desktop.controller;
        controller.switchTo(WheelKind::tools);
        controller.hide();
        QVERIFY(!controller.isVisible());

        desktop.show({"a.pdf"});
        QVERIFY(controller.isVisible());
        QCOMPARE(controller.kind(), std::optional(WheelKind::convert));
        QCOMPARE(desktop.content().petals.size(), std::size_t(4));
        QTRY_COMPARE(controller.panel()->windowOpacity(), 1.0);

        const QPoint place = controller.panel()->pos();
        controller.switchTo(WheelKind::tools);
        QCOMPARE(desktop.content().petals.size(), std::size_t(2));
        QCOMPARE(controller.panel()->pos(), place);

        controller.hide();
        QVERIFY(!controller.isVisible());
        QVERIFY(!controller.kind());
        QTRY_VERIFY(!controller.panel()->isVisible());
    }

    void showingAgainWhileItFadesKeepsTheWheel()
    {
        Desktop desktop;
        desktop.show({"a.pdf"});
        QTRY_COMPARE(desktop.controller.panel()->windowOpacity(), 1.0);
        desktop.controller.hide();
        desktop.show({"a.pdf"});
        QTRY_COMPARE(desktop.controller.panel()->windowOpacity(), 1.0);
        QVERIFY(desktop.controller.panel()->isVisible());
    }

    void withoutCompositingItAppearsAtOnceAndIsCutToItsShape()
    {
        Desktop desktop;
        desktop.surface.compositing = false;
        desktop.surface.onCompositingChanged();
        desktop.show({"a.pdf"});
        QCOMPARE(desktop.controller.panel()->windowOpacity(), 1.0);
        const QPoint centre(150, 150);
        QVERIFY(desktop.surface.painted.contains(centre));
        QVERIFY(!desktop.surface.input.contains(centre));
        // The capsule grows with the name of the petal, and the shape with it.
        desktop.controller.switchTo(WheelKind::tools);
        desktop.surface.target->dragMoved(QPointF(150, 260));
        QVERIFY(desktop.surface.painted.subtracted(desktop.surface.input).boundingRect().width() >= 90);
        desktop.controller.hide();
        QVERIFY(!desktop.controller.panel()->isVisible());
    }

    void staysOnTheScreen()
    {
        Desktop desktop;
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        desktop.controller.show(WheelKind::convert, {"a.pdf"}, screen.topLeft(), false);
        QCOMPARE(desktop.controller.panel()->pos(), screen.topLeft());
    }

    void aDropActsOnceTheWheelIsHidden()
    {
        Desktop desktop;
        desktop.show({"a.pdf"});
        QVERIFY(desktop.surface.target->dropAt(QPointF(150, 40))({"a.pdf", "b.pdf"}));
        desktop.surface.target->dragEnded(false);
        QTRY_COMPARE(desktop.activated, QStringList("JPG 2 7,9 hidden"));
    }

    void aDropOnTheFadingWheelStillCounts()
    {
        Desktop desktop;
        desktop.show({"a.pdf"});
        desktop.controller.hide();
        QVERIFY(desktop.surface.target->dropAt(QPointF(150, 40))({"a.pdf"}));
        QTRY_COMPARE(desktop.activated, QStringList("JPG 1 7,9 hidden"));
    }

    void aCancelledDragHides()
    {
        Desktop desktop;
        int cancelled = 0;
        connect(&desktop.controller, &WheelController::dragCancelled, this,
                [&] { cancelled += desktop.controller.isVisible() ? 10 : 1; });
        desktop.show({"a.pdf"});
        desktop.surface.target->dragEnded(true);
        QCOMPARE(cancelled, 1);
    }

    void theKeysOfAnInteractiveWheelSwitchIt()
    {
        Desktop desktop;
        desktop.controller.keys = [] {
            return WheelKeys{ModifierKey::control, ModifierKey::option};
        };
        desktop.show({"a.pdf"}, true);
        WheelView* const view = desktop.controller.panel()->wheelView();
        QTest::keyClick(view, Qt::Key_Shift);
        QCOMPARE(desktop.controller.kind(), std::optional(WheelKind::convert));
        QTest::keyClick(view, Qt::Key_Alt);
        QCOMPARE(desktop.controller.kind(), std::optional(WheelKind::tools));
        Q_EMIT view->modifiersTapped(flagOf(ModifierKey::control) | flagOf(ModifierKey::option));
        QCOMPARE(desktop.controller.kind(), std::optional(WheelKind::convert));
        QTest::keyClick(view, Qt::Key_Escape);
        QVERIFY(!desktop.controller.isVisible());
    }

    void onlyAnInteractiveWheelHidesWithoutTheFocus()
    {
        Desktop desktop;
        desktop.show({"a.pdf"}, true);
        QVERIFY(QTest::qWaitForWindowActive(desktop.controller.panel()));
        QWidget other;
        other.show();
        other.activateWindow();
        QTRY_VERIFY(!desktop.controller.isVisible());

        desktop.show({"a.pdf"});
        QVERIFY(desktop.controller.panel()->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
        Q_EMIT desktop.controller.panel()->focusLost();
        QVERIFY(desktop.controller.isVisible());
    }

    void iconsFirstThenThePictures()
    {
        Desktop desktop;
        desktop.show({desktop.document("red.pdf", Qt::red), "/nowhere/at/all.png", "third.png"});
        QTRY_COMPARE(desktop.content().summary, QString("3 files"));
        QCOMPARE(desktop.content().thumbnails.size(), std::size_t(2));
        const QImage icon = desktop.content().thumbnails[1];
        QVERIFY(!icon.isNull());
        QTRY_COMPARE(desktop.content().thumbnails[0].pixelColor(50, 20), QColor(Qt::red));
        ThumbnailLoader::pool().waitForDone();
        QCoreApplication::processEvents();
        // What nothing can show keeps its icon.
        QCOMPARE(desktop.content().thumbnails[1], icon);
    }

    void aDiskThatDoesNotAnswerHoldsUpNothing()
    {
        Desktop desktop;
        QSemaphore disk;
        desktop.controller.summaryOf = [&disk](const Files& files) {
            if (files.front() == "asleep.pdf")
                disk.acquire();
            return QString::fromStdString(files.front());
        };
        desktop.show({"asleep.pdf"});
        QVERIFY(desktop.controller.isVisible());
        QCOMPARE(desktop.content().summary, QString());
        desktop.show({"other.pdf"});
        QTRY_COMPARE(desktop.content().summary, QString("other.pdf"));
        disk.release();
        lookUpPool().waitForDone();
        QCoreApplication::processEvents();
        QCOMPARE(desktop.content().summary, QString("other.pdf")); // the late words are about other files
        disk.release();
        desktop.show({"asleep.pdf"});
        QTRY_COMPARE(desktop.content().summary, QString("asleep.pdf"));
    }

    void latePicturesOfEarlierFilesAreDropped()
    {
        Desktop desktop;
        const std::filesystem::path red = desktop.document("red.pdf", Qt::red);
        const std::filesystem::path blue = desktop.document("blue.pdf", Qt::blue);
        desktop.show({red});
        // Its answer waits in the event loop by now, and the next one is yet to come.
        ThumbnailLoader::pool().waitForDone();
        QSemaphore gate;
        const int threads = ThumbnailLoader::pool().maxThreadCount();
        for (int i = 0; i < threads; ++i)
            ThumbnailLoader::pool().start([&gate] { gate.acquire(); });
        desktop.show({blue});
        QCoreApplication::processEvents();
        const QColor before = desktop.content().thumbnails[0].pixelColor(50, 20);
        gate.release(threads);
        QVERIFY(before != QColor(Qt::red));
        QTRY_COMPARE(desktop.content().thumbnails[0].pixelColor(50, 20), QColor(Qt::blue));
        ThumbnailLoader::pool().waitForDone();
        QCoreApplication::processEvents();
        QCOMPARE(desktop.content().thumbnails[0].pixelColor(50, 20), QColor(Qt::blue));
        // The same files again keep their pictures, without the icons in between.
        desktop.show({blue});
        QCOMPARE(desktop.content().thumbnails[0].pixelColor(50, 20), QColor(Qt::blue));
    }
};

QTEST_MAIN(WheelControllerTest)
#include "WheelControllerTest.moc"
