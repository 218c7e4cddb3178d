#include "ToolWindows/Files/OrderedFileList.h"

#include "MouseDrag.h"

#include <QAbstractButton>
#include <QApplication>
#include <QScrollBar>

using namespace Pelgra;

class OrderedFileListTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<OrderedFileList> m_list;

    void show(int count)
    {
        std::vector<std::filesystem::path> files;
        for (int i = 0; i < count; ++i)
            files.push_back("/folder/" + std::to_string(i) + ".pdf");
        m_list = std::make_unique<OrderedFileList>(orderedFilesFrom(files), RowLeading::documentIcon);
        m_list->resize(500, 300);
        m_list->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_list.get()));
    }

    QWidget* row(int index) const { return m_list->findChild<QWidget*>(QStringLiteral("row-%1").arg(index)); }

    QString order() const
    {
        QString names;
        for (const OrderedFile& file : m_list->files())
            names += QString::fromStdString(file.url.stem().string()) + u' ';
        return names.trimmed();
    }

    /// The position of each row on the screen agrees with the list.
    bool isSettled() const
    {
        for (int i = 0; i < static_cast<int>(m_list->files().size()); ++i) {
            const QWidget* const at = row(i);
            if (at && (at->y() != i * 92 || at->graphicsEffect()))
                return false;
        }
        return !m_list->dragging();
    }

private Q_SLOTS:
    void initTestCase() { qunsetenv("PELGRA_REDUCED_MOTION"); }

    void aDraggedRowTakesThePlaceOfTheOneItEnters_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QString>("result");
        QTest::newRow("first over third") << 0 << 2 << "1 2 0";
        QTest::newRow("third over first") << 2 << 0 << "2 0 1";
        QTest::newRow("over itself") << 1 << 1 << "0 1 2";
    }
    void aDraggedRowTakesThePlaceOfTheOneItEnters()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QString, result);
        show(3);
        MouseDrag drag(row(from));
        QVERIFY(m_list->dragging() == m_list->files()[static_cast<std::size_t>(from)].id);
        QVERIFY(row(from)->graphicsEffect()); // dimmed
        drag.moveOver(row(to));
        QCOMPARE(order(), result); // live, before the release
        drag.release();
        QCOMPARE(order(), result);
        QTRY_VERIFY(isSettled());
    }

    void aDragThatEndsAnywhereLeavesNothingDimmed_data()
    {
        QTest::addColumn<bool>("released");
        QTest::newRow("outside the window") << true;
        QTest::newRow("never told of the release") << false;
    }
    void aDragThatEndsAnywhereLeavesNothingDimmed()
    {
        QFETCH(bool, released);
        show(3);
        MouseDrag drag(row(0));
        drag.moveTo({-400, -300});
        QVERIFY(m_list->dragging());
        if (released) {
            drag.release();
        } else {
            QMouseEvent move(QEvent::MouseMove, QPointF(40, 40), QPointF(40, 40), Qt::NoButton, Qt::NoButton, {});
            QCoreApplication::sendEvent(m_list->widget(), &move);
            drag.release();
        }
        QTRY_VERIFY(isSettled());
    }

    void escapeAloneTakesADragBack()
    {
        show(3);
        row(1)->setFocus();
        MouseDrag drag(row(0));
        drag.moveOver(row(2));
        drag.clickRight();
        QTest::keyClick(m_list->windowHandle(), Qt::Key_Up, Qt::AltModifier);
        QVERIFY(m_list->dragging());
        QCOMPARE(order(), "1 2 0");
        QTest::keyClick(m_list->windowHandle(), Qt::Key_Escape);
        QCOMPARE(order(), "0 1 2");
        drag.moveOver(row(2)); // the button is still down
        drag.release();
        QCOMPARE(order(), "0 1 2");
        QTRY_VERIFY(isSettled());
    }

    void aSingleRowStaysWhereItIs()
    {
        show(1);
        MouseDrag drag(row(0));
        QVERIFY(!m_list->dragging());
        drag.release();
        QVERIFY(!m_list->findChild<QAbstractButton*>(QStringLiteral("moveUp-0"))->isEnabled());
        QVERIFY(!m_list->findChild<QAbstractButton*>(QStringLiteral("moveDown-0"))->isEnabled());
    }

    void scrollsByItselfNearTheEdges()
    {
        show(10);
        QScrollBar* const bar = m_list->verticalScrollBar();
        MouseDrag drag(row(0));
        drag.moveTo({100, 298});
        QTRY_COMPARE_WITH_TIMEOUT(bar->value(), bar->maximum(), 10000);
        QCOMPARE(m_list->files().back().url.stem().string(), "0");
        drag.moveTo({100, 2});
        QTRY_COMPARE_WITH_TIMEOUT(bar->value(), 0, 10000);
        drag.release();
        QCOMPARE(m_list->files().front().url.stem().string(), "0");
        QTRY_VERIFY(isSettled());
    }

    void rowsMoveByTheirButtonsAndByTheKeyboard()
    {
        show(3);
        QTest::mouseClick(m_list->findChild<QAbstractButton*>(QStringLiteral("moveDown-0")), Qt::LeftButton);
        QCOMPARE(order(), "1 0 2");
        QTest::keyClick(row(2), Qt::Key_Up, Qt::AltModifier);
        QCOMPARE(order(), "1 2 0");
        QCOMPARE(row(1)->accessibleName(), "2.pdf, 2 of 3");
        QTest::keyClick(row(0), Qt::Key_Up, Qt::AltModifier);
        QCOMPARE(order(), "1 2 0");
        QTRY_VERIFY(isSettled());
    }

    void theKeyboardGoesFarAtOnce()
    {
        show(100); // three and a bit in view
        m_list->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_list.get()));
        row(0)->setFocus();
        const auto focusedAfter = [this](Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
            QTest::keyClick(QApplication::focusWidget(), key, modifiers);
            const QWidget* const focused = QApplication::focusWidget();
            return focused->visibleRegion().boundingRect() == focused->rect() ? focused->objectName() : "out of sight";
        };
        QCOMPARE(focusedAfter(Qt::Key_PageDown), "row-3");
        QCOMPARE(focusedAfter(Qt::Key_End, Qt::KeypadModifier), "row-99");
        QCOMPARE(focusedAfter(Qt::Key_PageDown), "row-99");
        QCOMPARE(focusedAfter(Qt::Key_PageUp), "row-96");
        row(96)->findChild<QAbstractButton*>()->setFocus();
        QCOMPARE(focusedAfter(Qt::Key_Up), "row-95");
        QCOMPARE(focusedAfter(Qt::Key_Home), "row-0");
    }

    void onlyRowsInViewExist()
    {
        show(5000);
        QVERIFY(m_list->findChildren<OrderedFileRow*>().size() < 12);
        m_list->verticalScrollBar()->setValue(m_list->verticalScrollBar()->maximum());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(row(4999));
        QVERIFY(m_list->findChildren<OrderedFileRow*>().size() < 12);
    }
};

QTEST_MAIN(OrderedFileListTest)
#include "OrderedFileListTest.moc"
