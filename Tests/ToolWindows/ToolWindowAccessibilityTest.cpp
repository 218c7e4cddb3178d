#include "Controls/TabOrder.h"
#include "MouseDrag.h"
#include "SmallFiles.h"
#include "Support/BackgroundTask.h"
#include "ToolWindows/Frame/ToolWindow.h"
#include "ToolWindows/Pages/OrganizePDFView.h"
#include "ToolWindows/Reordering/ReorderView.h"
#include "ToolWindows/ToolWindowController.h"

#include <QAccessible>
#include <QScrollBar>
#include <QSemaphore>
#include <QTest>

#include <memory>

using namespace Pelgra;

namespace {

struct Control {
    QString name;
    QAccessible::Role role;
    QObject* object;
};

/// Everything in the accessibility tree that a user acts on.
void collect(QAccessibleInterface* node, QList<Control>& controls)
{
    if (!node || node->state().invisible)
        return;
    if (node->state().focusable && node->role() != QAccessible::Window)
        controls.append({node->text(QAccessible::Name), node->role(), node->object()});
    for (int i = 0; i < node->childCount(); ++i)
        collect(node->child(i), controls);
}

} // namespace

class ToolWindowAccessibilityTest : public QObject {
    Q_OBJECT

private:
    SmallFiles m_files;

    ToolWindow& open(FileTool tool)
    {
        ToolWindowController::Files files;
        if (tool == FileTool::createPDF)
            files = {m_files.picture("a.png"), m_files.picture("b.png")};
        else
            files = {m_files.document("a.pdf", 3), m_files.document("b.pdf", 1)};
        ToolWindowController::present(tool, files, [](const auto&) { });
        ToolWindow& window = ToolWindowController::openControllers().front()->window();
        [&] {
            QVERIFY(QTest::qWaitForWindowActive(&window));
            QTRY_VERIFY(window.findChild<QWidget*>(QStringLiteral("primaryAction"))->isEnabled());
        }();
        return window;
    }

private Q_SLOTS:
    void cleanup()
    {
        for (ToolWindowController* controller : ToolWindowController::openControllers())
            controller->finish(std::nullopt);
        utilityPool().waitForDone();
    }

    void everyControlHasANameAndIsReachedByTab_data()
    {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QStringList>("order");
        QTest::addColumn<QStringList>("others"); // each reached by an arrow key from the one before, then by Tab
        const QStringList rows = {"close", "row-0", "moveDown-0", "primaryAction"};
        QTest::newRow("create") << "createPDF" << rows << QStringList{"row-1", "moveUp-1"};
        QTest::newRow("merge") << "mergePDF" << rows << QStringList{"row-1", "moveUp-1"};
        QTest::newRow("organize") << "organizePDF"
                                  << QStringList{"close",       "uniformWidth", "page-0",       "rotate-0",
                                                 "duplicate-0", "remove-0",     "primaryAction"}
                                  << QStringList{"page-1", "rotate-1", "duplicate-1", "remove-1",
                                                 "page-2", "rotate-2", "duplicate-2", "remove-2"};
    }
    void everyControlHasANameAndIsReachedByTab()
    {
        QFETCH(QString, tool);
        QFETCH(QStringList, order);
        QFETCH(QStringList, others);
        ToolWindow& window = open(*FileTool::fromRawValue(tool.toStdString()));
        QCOMPARE(window.focusWidget()->objectName(), "primaryAction");

        QSet<QObject*> reached;
        for (const QString& expected : order) {
            QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
            QCOMPARE(window.focusWidget()->objectName(), expected);
            reached.insert(window.focusWidget());
        }
        QTest::keyClick(window.focusWidget(), Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(window.focusWidget()->objectName(), order[order.size() - 2]);

        for (const QString& expected : others) {
            const bool isItem = expected.startsWith("row-") || expected.startsWith("page-");
            QTest::keyClick(window.focusWidget(),
                            !isItem                     ? Qt::Key_Tab
                                : tool == "organizePDF" ? Qt::Key_Right
                                                        : Qt::Key_Down);
            QCOMPARE(window.focusWidget()->objectName(), expected);
            reached.insert(window.focusWidget());
        }

        QList<Control> controls;
        collect(QAccessible::queryAccessibleInterface(&window), controls);
        int enabled = 0;
        for (const Control& control : std::as_const(controls)) {
            QVERIFY2(!control.name.isEmpty(), qPrintable("no name: " + control.object->objectName()));
            if (!static_cast<QWidget*>(control.object)->isEnabled())
                continue;
            QVERIFY2(reached.contains(control.object), qPrintable("Tab does not reach " + control.name));
            ++enabled;
        }
        QCOMPARE(enabled, order.size() + others.size());
    }

    void theActionIsNearFromTheMiddleOfManyPages()
    {
        ToolWindowController::present(FileTool::organizePDF, {m_files.document("long.pdf", 200)}, [](const auto&) { });
        ToolWindow& window = ToolWindowController::openControllers().front()->window();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTRY_VERIFY(window.findChild<QWidget*>("page-0"));
        auto* const grid = window.findChild<ReorderView*>();
        grid->verticalScrollBar()->setValue(grid->verticalScrollBar()->maximum() / 2);
        window.findChild<QWidget*>("uniformWidth")->setFocus();
        QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
        const QWidget* const page = window.focusWidget();
        QVERIFY2(page->objectName() > "page-1" && page->objectName().startsWith("page-"),
                 qPrintable(page->objectName()));
        QCOMPARE(grid->verticalScrollBar()->value(), grid->verticalScrollBar()->maximum() / 2);
        for (int press = 0; press < 4; ++press)
            QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
        QCOMPARE(window.focusWidget()->objectName(), "primaryAction");
        QTest::keyClick(window.focusWidget(), Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(window.focusWidget()->parentWidget(), page); // where it was
    }

    void returnActsOnWhatHasTheKeyboard_data()
    {
        QTest::addColumn<QString>("focused");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<bool>("saves");
        QTest::newRow("a page") << "page-1" << int{Qt::Key_Return} << int{Qt::NoModifier} << true;
        QTest::newRow("keypad") << "page-1" << int{Qt::Key_Enter} << int{Qt::KeypadModifier} << true;
        QTest::newRow("an option") << "uniformWidth" << int{Qt::Key_Return} << int{Qt::NoModifier} << true;
        QTest::newRow("a button") << "rotate-1" << int{Qt::Key_Return} << int{Qt::NoModifier} << false;
        QTest::newRow("the action itself") << "primaryAction" << int{Qt::Key_Return} << int{Qt::NoModifier} << true;
        const int control = Qt::ControlModifier;
        QTest::newRow("Control+Return") << "rotate-1" << int{Qt::Key_Return} << control << true;
        QTest::newRow("Control+Enter") << "close" << int{Qt::Key_Enter} << int(Qt::ControlModifier | Qt::KeypadModifier)
                                       << true;
        QTest::newRow("Control+S") << "page-1" << int{Qt::Key_S} << control << true;
        QTest::newRow("Shift+Return") << "page-1" << int{Qt::Key_Return} << int{Qt::ShiftModifier} << false;
    }
    void returnActsOnWhatHasTheKeyboard()
    {
        QFETCH(QString, focused);
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(bool, saves);
        // Told once more when the window is cleared away after the test.
        const auto saved = std::make_shared<int>(0);
        ToolWindowController::present(FileTool::organizePDF, {m_files.document("a.pdf", 3)},
                                      [saved](const auto& outcome) { *saved += outcome.has_value(); });
        ToolWindow& window = ToolWindowController::openControllers().front()->window();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTRY_VERIFY(window.findChild<QWidget*>("page-1"));
        window.findChild<QWidget*>(focused)->setFocus();
        QTest::keyClick(window.windowHandle(), static_cast<Qt::Key>(key), Qt::KeyboardModifiers(modifiers));
        jobPool().waitForDone();
        QTRY_COMPARE(*saved, saves ? 1 : 0);
        if (focused == "rotate-1" && !saves)
            QCOMPARE(window.findChild<OrganizePDFView*>()->model().pages()[1].rotation, std::int64_t{90});
    }

    void rowsAndPagesAreItemsWithTheirPlace()
    {
        ToolWindow& merge = open(FileTool::mergePDF);
        auto* const row = QAccessible::queryAccessibleInterface(merge.findChild<QWidget*>(QStringLiteral("row-1")));
        QCOMPARE(row->role(), QAccessible::ListItem);
        QCOMPARE(row->text(QAccessible::Name), "b.pdf, 2 of 2");
        QCOMPARE(row->parent()->role(), QAccessible::List);
        QCOMPARE(row->parent()->text(QAccessible::Name), "Document order");
        QCOMPARE(merge.findChild<QWidget*>(QStringLiteral("moveUp-1"))->accessibleName(), "Move b.pdf up");
    }

    void theRingShowsOnceTheKeyboardIsUsed_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("focused");
        QTest::newRow("Tab") << int{Qt::Key_Tab} << int{Qt::NoModifier} << "moveDown-0";
        QTest::newRow("arrow") << int{Qt::Key_Down} << int{Qt::NoModifier} << "row-1";
        QTest::newRow("move") << int{Qt::Key_Down} << int{Qt::AltModifier} << "row-1";
    }
    void theRingShowsOnceTheKeyboardIsUsed()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, focused);
        ToolWindow& window = open(FileTool::mergePDF);
        const auto hasRing = [](QWidget* control) {
            const QColor ring = control->palette().color(QPalette::Highlight);
            return control->grab().toImage().pixelColor(control->width() / 2, 1) == ring;
        };
        auto* const row = window.findChild<QWidget*>(QStringLiteral("row-0"));
        QTest::mouseClick(row, Qt::LeftButton);
        QVERIFY(row->hasFocus());
        QVERIFY(!hasRing(row));
        QTest::keyClick(row, static_cast<Qt::Key>(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(window.focusWidget()->objectName(), focused);
        QVERIFY(hasRing(window.focusWidget()));
    }

    void escapeEndsADragBeforeItClosesTheWindow()
    {
        ToolWindow& window = open(FileTool::organizePDF);
        MouseDrag drag(window.findChild<QWidget*>("page-0"));
        QTest::keyClick(window.windowHandle(), Qt::Key_Return); // nor is anything saved in the middle of it
        QTest::keyClick(window.windowHandle(), Qt::Key_Escape);
        QVERIFY(!window.findChild<ReorderView*>()->dragging());
        QVERIFY(!ToolWindowController::openControllers().front()->context().isRunning());
        drag.release();
        QTest::keyClick(window.windowHandle(), Qt::Key_Escape);
        QVERIFY(ToolWindowController::openControllers().empty());
    }

    void whileAJobRunsTheKeyboardStaysInTheOverlay()
    {
        ToolWindow& window = open(FileTool::mergePDF);
        QSemaphore gate;
        ToolWindowController::openControllers().front()->context().run(
            [&gate](const JobControl&) -> JobResult {
                gate.acquire();
                return JobResult("out.pdf");
            },
            "out.pdf");
        QWidget* const overlay = window.focusWidget();
        QCOMPARE(overlay->accessibleName(), "Merging PDFs…");
        QTest::keyClick(overlay, Qt::Key_Tab);
        QCOMPARE(window.focusWidget(), overlay);
        gate.release();
        QTRY_VERIFY(ToolWindowController::openControllers().empty());
    }
};

QTEST_MAIN(ToolWindowAccessibilityTest)
#include "ToolWindowAccessibilityTest.moc"
