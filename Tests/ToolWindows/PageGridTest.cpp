#include "ToolWindows/Pages/PageGrid.h"

#include "MouseDrag.h"
#include "SmallFiles.h"
#include "Support/BackgroundTask.h"

#include <QAbstractButton>
#include <QScrollBar>
#include <QSignalSpy>

using namespace Pelgra;

class PageGridTest : public QObject {
    Q_OBJECT

private:
    SmallFiles m_files;
    std::unique_ptr<OrganizeModel> m_model;
    std::unique_ptr<PageGrid> m_grid;

    void show(int pages)
    {
        m_grid.reset();
        m_model = std::make_unique<OrganizeModel>(m_files.document("pages.pdf", pages));
        m_model->load();
        QTRY_VERIFY(!m_model->isLoading());
        m_grid = std::make_unique<PageGrid>(m_model.get());
        m_grid->resize(740, 700); // three columns
        m_grid->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_grid.get()));
    }

    PageCard* card(int index) const { return m_grid->findChild<PageCard*>(QStringLiteral("page-%1").arg(index)); }

    void press(const char* name) const
    {
        QTest::mouseClick(m_grid->findChild<QAbstractButton*>(QString::fromLatin1(name)), Qt::LeftButton);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // cards of removed pages keep their names
    }

    QString order() const
    {
        QString pages;
        for (const PageEdit& page : m_model->pages())
            pages += QString::number(page.sourceIndex);
        return pages;
    }

private Q_SLOTS:
    void cleanup()
    {
        m_grid.reset();
        m_model.reset();
        utilityPool().waitForDone();
    }

    void columnsFillTheWidthWithinTheirLimits_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("columnWidth");
        QTest::newRow("narrower than a column") << 100 << 1 << 190;
        QTest::newRow("almost two") << 403 << 1 << 280;
        QTest::newRow("two") << 404 << 2 << 190;
        QTest::newRow("three") << 712 << 3 << 221;
    }
    void columnsFillTheWidthWithinTheirLimits()
    {
        QFETCH(int, width);
        const PageGrid::Columns columns = PageGrid::columnsFor(width);
        QTEST(columns.count, "count");
        QTEST(columns.width, "columnWidth");
    }

    void aDraggedPageTakesThePlaceOfTheOneItEnters()
    {
        show(6);
        MouseDrag drag(card(0));
        QVERIFY(m_grid->dragging() == m_model->pages()[0].id);
        drag.moveOver(card(2));
        QCOMPARE(order(), "120345");
        drag.moveOver(card(4)); // on the next row
        QCOMPARE(order(), "123405");
        drag.release();
        QVERIFY(!m_grid->dragging());
        QCOMPARE(order(), "123405");
        m_model->undo();
        QCOMPARE(order(), "012345");
    }

    void aDragReleasedOutsideEnds()
    {
        show(6);
        MouseDrag drag(card(3));
        drag.moveTo({-500, 5000});
        drag.release();
        QVERIFY(!m_grid->dragging());
        QCOMPARE(order(), "012345");
    }

    void escapeTakesADragBackAndLeavesNothingToUndo()
    {
        show(6);
        m_model->rotate(m_model->pages()[5].id);
        MouseDrag drag(card(0));
        drag.moveOver(card(2));
        drag.clickRight();
        QCOMPARE(order(), "120345");
        QTest::keyClick(m_grid->windowHandle(), Qt::Key_Escape);
        QVERIFY(!m_grid->dragging());
        QCOMPARE(order(), "012345");
        drag.release();
        m_model->undo();
        QVERIFY(!m_model->isChanged());
        QVERIFY(!m_model->canUndo());
    }

    void buttonsEditTheirPage()
    {
        show(3);
        press("rotate-1");
        QCOMPARE(m_model->pages()[1].rotation, std::int64_t{90});
        QTRY_COMPARE(card(1)->spin(), 90.0);
        QCOMPARE(card(1)->accessibleName(), "Page 2 of 3, turned by 90 degrees");
        press("duplicate-1");
        QCOMPARE(order(), "0112");
        press("remove-0");
        QCOMPARE(order(), "112");
        press("remove-0");
        press("remove-0");
        QCOMPARE(order(), "2");
        QVERIFY(!m_grid->findChild<QAbstractButton*>(QStringLiteral("remove-0"))->isVisible());
    }

    void aTurnFrom270GoesOnClockwise()
    {
        show(1);
        for (int turn = 1; turn <= 4; ++turn) {
            press("rotate-0");
            QTRY_COMPARE(card(0)->spin(), 90.0 * turn);
        }
        QVERIFY(!m_model->isChanged());
    }

    void theKeyboardMovesThroughAndMovesPages()
    {
        show(6);
        m_grid->activateWindow();
        card(0)->setFocus();
        QTest::keyClick(card(0), Qt::Key_Down);
        QTRY_VERIFY(card(3)->hasFocus());
        QTest::keyClick(card(3), Qt::Key_Left, Qt::AltModifier);
        QCOMPARE(order(), "013245");
        QVERIFY(card(2)->hasFocus());
        QTest::keyClick(card(2), Qt::Key_Delete);
        QCOMPARE(order(), "01245");
        QVERIFY(card(2)->hasFocus());
    }

    void deleteRemovesOnlyWhatIsSeen()
    {
        show(60);
        m_grid->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_grid.get()));
        card(1)->setFocus();
        QTest::keyClick(card(1), Qt::Key_PageDown); // what is below is not a whole row
        QVERIFY(card(4)->hasFocus());
        QTest::keyClick(card(4), Qt::Key_Delete, Qt::KeypadModifier);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(m_model->countLabel(), "59 pages");
        QVERIFY(card(4)->hasFocus());

        m_grid->verticalScrollBar()->setValue(m_grid->verticalScrollBar()->maximum());
        for (QWidget* const control : {static_cast<QWidget*>(card(4)), m_grid->findChild<QWidget*>("remove-4")}) {
            control->setFocus();
            m_grid->verticalScrollBar()->setValue(m_grid->verticalScrollBar()->maximum());
            QTest::keyClick(control, control == card(4) ? Qt::Key_Delete : Qt::Key_Space);
            QCOMPARE(m_model->countLabel(), "59 pages");
            QVERIFY(card(4)->hasFocus());
            QVERIFY(!card(4)->visibleRegion().isEmpty());
        }
        QTest::keyClick(card(4), Qt::Key_Delete);
        QCOMPARE(m_model->countLabel(), "58 pages");
    }

    void onlyPagesInViewExistAndAreDrawn()
    {
        show(300);
        QSignalSpy drawn(m_model.get(), &OrganizeModel::thumbnailChanged);
        m_grid->verticalScrollBar()->setValue(m_grid->verticalScrollBar()->maximum());
        QTRY_VERIFY(!m_model->thumbnail(299).isNull());
        utilityPool().waitForDone();
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(m_grid->findChildren<PageCard*>().size() <= 15);
        QVERIFY(drawn.count() <= 30);
        QVERIFY(m_model->thumbnail(150).isNull());
    }
};

QTEST_MAIN(PageGridTest)
#include "PageGridTest.moc"
