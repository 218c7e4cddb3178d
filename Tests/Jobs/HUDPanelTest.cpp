#include "Jobs/HUDPanel.h"
#include "Jobs/HUDState.h"

#include <QLabel>
#include <QPointer>
#include <QTest>
#include <QTimer>

using namespace Pelgra;

class HUDPanelTest : public QObject {
    Q_OBJECT

private:
    /// For how long the panel still stays, in milliseconds; negative when it does until it is told more.
    static int stay(const HUDPanel& panel) { return clockOf(panel)->isActive() ? clockOf(panel)->interval() : -1; }

    static void letTimePass(const HUDPanel& panel) { clockOf(panel)->setInterval(0); }

    static QTimer* clockOf(const HUDPanel& panel) { return panel.findChild<QTimer*>("dismissal"); }

private Q_SLOTS:
    void staysUnderTheDropInsideTheWorkArea_data()
    {
        QTest::addColumn<QPoint>("anchor");
        QTest::addColumn<QPoint>("origin");
        QTest::newRow("free") << QPoint(500, 300) << QPoint(400, 328);
        QTest::newRow("left edge") << QPoint(0, 300) << QPoint(8, 328);
        QTest::newRow("right edge") << QPoint(999, 300) << QPoint(792, 328);
        QTest::newRow("bottom edge") << QPoint(500, 599) << QPoint(400, 552);
        QTest::newRow("under the top panel") << QPoint(500, -40) << QPoint(400, 8);
    }
    void staysUnderTheDropInsideTheWorkArea()
    {
        QFETCH(QPoint, anchor);
        QFETCH(QPoint, origin);
        QCOMPARE(HUDPanel::originFor({200, 40}, anchor, QRect(0, 0, 1000, 600)), origin);
    }

    void isPlacedUnclampedWhereThereIsNoScreen()
    {
        QCOMPARE(HUDPanel::originFor({200, 40}, {-5000, 10}, std::nullopt), QPoint(-5100, 38));
    }

    void onASmallScreenTheTopAndRightMarginsWin()
    {
        QCOMPARE(HUDPanel::originFor({200, 40}, {50, 20}, QRect(0, 0, 100, 30)), QPoint(-108, 8));
    }

    void goesAwayOnceItsStateIsFinal()
    {
        QPointer<HUDPanel> job = HUDPanel::show(HUDWorking{"Making a.png…"}, {100, 100});
        QPointer<HUDPanel> other = HUDPanel::show(HUDWorking{"Making b.png…"}, {300, 100});
        QCOMPARE(stay(*job), -1);
        job->update(HUDDone{"a.png — just like that.", std::nullopt});
        QCOMPARE(job->accessibleName(), QString("a.png — just like that."));
        QCOMPARE(stay(*job), 1600);
        letTimePass(*job);
        QTRY_VERIFY(!job);
        QVERIFY(other);
        QVERIFY(other->isVisible());
        QCOMPARE(HUDPanel::livePanels(), QList<HUDPanel*>{other.data()});
        delete other.data();
    }

    void anUpdateBeforeTheEndBeginsItsTimeAnew()
    {
        QPointer<HUDPanel> panel = HUDPanel::show(HUDDone{"a", std::nullopt}, {100, 100});
        panel->update(HUDWorking{"again"});
        QCOMPARE(stay(*panel), -1);
        panel->update(HUDFailed{"Couldn't make a", "The disk is full."});
        QCOMPARE(stay(*panel), 4000);
        delete panel.data();
    }

    void namesThatFitNoLineKeepTheirEnds()
    {
        const QString name = QString(200, QLatin1Char('x')) + QStringLiteral("\n\u05D0.jpg"); // a line's end, Hebrew
        const QPointer<HUDPanel> panel = HUDPanel::show(HUDDone{name + " — just like that.", std::nullopt}, {200, 200});
        const QLabel* const label = panel->findChildren<QLabel*>().at(1); // behind the symbol
        for (const QString& word : label->text().split(' '))
            QVERIFY(label->fontMetrics().horizontalAdvance(word) <= label->width());
        QVERIFY(label->text().startsWith("xxx"));
        QVERIFY(label->text().endsWith(".jpg — just like that."));
        QVERIFY(panel->accessibleName().startsWith(name));
        delete panel.data();

        // An English sentence runs from left to right even if it begins with another script.
        const QPointer<HUDPanel> other = HUDPanel::show(HUDDone{QStringLiteral("\u05D0 b"), std::nullopt}, {200, 200});
        QVERIFY(!other->findChildren<QLabel*>().at(1)->text().isRightToLeft());
        delete other.data();
    }

    void growsWithItsTextAndNeverTakesClicksOrFocus()
    {
        QPointer<HUDPanel> panel = HUDPanel::show(HUDWorking{"a"}, {200, 200});
        const int small = panel->width();
        panel->update(HUDFailed{"Couldn't make a.png", QString(90, QLatin1Char('m'))});
        QVERIFY(panel->width() > small);
        QVERIFY(panel->width() < 420);
        QVERIFY(panel->windowFlags().testFlag(Qt::WindowTransparentForInput));
        QVERIFY(panel->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
        delete panel.data();
    }
};

QTEST_MAIN(HUDPanelTest)
#include "HUDPanelTest.moc"
