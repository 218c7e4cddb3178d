#include "ToolWindows/ToolWindowController.h"

#include "PelgraCore/PDFRendering.h"
#include "SmallFiles.h"
#include "Support/BackgroundTask.h"
#include "ToolWindows/Frame/ToolWindow.h"

#include <QKeyEvent>
#include <QPushButton>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTest>

#include <memory>

using namespace Pelgra;

namespace {

/// Counts how a request ended.
struct Request {
    int completions = 0;
    std::optional<JobOutcome> outcome;
};

std::shared_ptr<Request> present(FileTool tool, const ToolWindowController::Files& files)
{
    auto request = std::make_shared<Request>();
    ToolWindowController::present(tool, files, [request](std::optional<JobOutcome> outcome) {
        ++request->completions;
        request->outcome = std::move(outcome);
    });
    return request;
}

void press(ToolWindow& window, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QKeyEvent event(QEvent::KeyPress, key, modifiers);
    QCoreApplication::sendEvent(&window, &event);
}

} // namespace

class ToolWindowControllerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        ToolWindowController::setViewFactory(
            [](FileTool, const ToolWindowController::Files&, ToolContext*) { return new QPushButton; });
    }

    void cleanup()
    {
        for (ToolWindowController* controller : ToolWindowController::openControllers())
            controller->finish(std::nullopt);
        jobPool().waitForDone();
        QCoreApplication::processEvents();
        QVERIFY(ToolWindowController::openControllers().empty());
    }

    void theSameRequestFindsItsWindowAgain()
    {
        const auto first = present(FileTool::mergePDF, {"/a.pdf", "/x/../b.pdf"});
        const auto second = present(FileTool::mergePDF, {"/a.pdf", "/b.pdf"});
        QCOMPARE(ToolWindowController::openControllers().size(), std::size_t{1});
        QCOMPARE(first->completions, 1);
        QVERIFY(!first->outcome);
        QCOMPARE(second->completions, 0);

        present(FileTool::mergePDF, {"/b.pdf", "/a.pdf"});
        present(FileTool::createPDF, {"/a.pdf", "/b.pdf"});
        QCOMPARE(ToolWindowController::openControllers().size(), std::size_t{3});
    }

    void anIdleWindowClosesOnItsKeys_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<bool>("closes");
        QTest::newRow("Escape") << int{Qt::Key_Escape} << int{Qt::NoModifier} << true;
        QTest::newRow("Control+W") << int{Qt::Key_W} << int{Qt::ControlModifier} << true;
        QTest::newRow("Control+Shift+W") << int{Qt::Key_W} << int(Qt::ControlModifier | Qt::ShiftModifier) << false;
        QTest::newRow("Control+Escape") << int{Qt::Key_Escape} << int{Qt::ControlModifier} << false;
        QTest::newRow("W alone") << int{Qt::Key_W} << int{Qt::NoModifier} << false;
    }
    void anIdleWindowClosesOnItsKeys()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(bool, closes);
        const auto request = present(FileTool::createPDF, {"/a.png"});
        press(ToolWindowController::openControllers().front()->window(), static_cast<Qt::Key>(key),
              Qt::KeyboardModifiers(modifiers));
        QCOMPARE(request->completions, closes ? 1 : 0);
        QCOMPARE(ToolWindowController::openControllers().empty(), closes);
    }

    void aRunningWindowRefusesToClose()
    {
        const auto request = present(FileTool::createPDF, {"/a.png"});
        ToolWindowController& controller = *ToolWindowController::openControllers().front();
        QSemaphore gate;
        controller.context().run(
            [&](const JobControl&) {
                gate.acquire();
                return JobResult("/a.pdf");
            },
            "/a.png");
        press(controller.window(), Qt::Key_Escape);
        controller.window().close();
        QCOMPARE(request->completions, 0);
        QVERIFY(controller.window().isVisible());
        gate.release();
        QTRY_COMPARE(request->completions, 1);
        QCOMPARE(std::get<JobDone>(*request->outcome).results.at(0).displayName, std::string("a.pdf"));
        QVERIFY(ToolWindowController::openControllers().empty());
    }

    void theWindowManagersCloseEndsTheRequest()
    {
        const auto request = present(FileTool::mergePDF, {"/a.pdf"});
        ToolWindowController::openControllers().front()->window().close();
        QCOMPARE(request->completions, 1);
        QVERIFY(!request->outcome);
    }

    void everyRequestCompletesOnceWhateverHappens()
    {
        QRandomGenerator random(20261121);
        std::vector<std::shared_ptr<Request>> requests;
        QSemaphore gate;
        const std::vector<ToolWindowController::Files> files{{"/a"}, {"/b"}, {"/a", "/b"}};
        for (int step = 0; step < 400; ++step) {
            auto open = ToolWindowController::openControllers();
            ToolWindowController* const some =
                open.empty() ? nullptr : open[random.bounded(static_cast<quint32>(open.size()))];
            switch (random.bounded(7)) {
            case 0:
            case 1:
                requests.push_back(present(random.bounded(2) ? FileTool::mergePDF : FileTool::organizePDF,
                                           files[random.bounded(static_cast<quint32>(files.size()))]));
                break;
            case 2:
                if (some)
                    some->context().run(
                        [&gate, fails = random.bounded(2) == 0](const JobControl&) -> JobResult {
                            gate.acquire();
                            if (fails)
                                throw EngineError::noPages();
                            return JobResult("/out");
                        },
                        "/a");
                break;
            case 3:
                if (some)
                    press(some->window(), Qt::Key_Escape);
                break;
            case 4:
                if (some)
                    some->window().close();
                break;
            case 5:
                if (some)
                    some->finish(EngineError::noInputs());
                break;
            default:
                gate.release(1);
                QCoreApplication::processEvents();
            }
            for (const auto& request : requests)
                QVERIFY(request->completions <= 1);
        }
        gate.release(1000);
        jobPool().waitForDone();
        QCoreApplication::processEvents();
        for (ToolWindowController* controller : ToolWindowController::openControllers())
            controller->finish(std::nullopt);
        for (const auto& request : requests)
            QCOMPARE(request->completions, 1);
    }

    void whatAWindowShowsIsWhatItMakes()
    {
        ToolWindowController::setViewFactory({});
        const SmallFiles files;
        const auto madeAfter = [](FileTool tool, const ToolWindowController::Files& inputs,
                                  const std::vector<const char*>& clicks) {
            const auto request = present(tool, inputs);
            ToolWindow& window = ToolWindowController::openControllers().front()->window();
            for (const char* const control : clicks) {
                [&] {
                    QTRY_VERIFY(window.findChild<QAbstractButton*>(control)
                                && window.findChild<QAbstractButton*>(control)->isEnabled());
                }();
                window.findChild<QAbstractButton*>(control)->click();
            }
            [&] {
                QTRY_COMPARE(request->completions, 1);
            }();
            return std::get<JobDone>(*request->outcome).results.at(0).outputs.at(0);
        };
        const ToolWindowController::Files pictures{files.picture("a.png"), files.picture("b.png")};
        QCOMPARE(madeAfter(FileTool::createPDF, pictures, {"moveDown-0", "primaryAction"}), files.path("b.pdf"));
        const auto turned = madeAfter(FileTool::organizePDF, {files.document("pages.pdf", 2)},
                                      {"rotate-1", "uniformWidth", "primaryAction"});
        const auto document = PDFRender::open(turned);
        QVERIFY(document->displayedSize(1).height < document->displayedSize(0).height);
        QCOMPARE(document->displayedSize(1).width, document->displayedSize(0).width);
    }

    void aWindowLargerThanTheWorkAreaIsShrunkAndCentred()
    {
        QCOMPARE(ToolWindow::centeredFrame({640, 596}, {0, 0, 1001, 700}), QRect(181, 52, 640, 596));
        QCOMPARE(ToolWindow::centeredFrame({760, 820}, {10, 20, 600, 400}), QRect(10, 20, 600, 400));
    }
};

QTEST_MAIN(ToolWindowControllerTest)
#include "ToolWindowControllerTest.moc"
