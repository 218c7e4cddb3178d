#include "Jobs/HUDPanel.h"
#include "Jobs/HUDState.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QPointer>
#include <QTest>

using namespace Pelgra;

class HUDPanelTest : public QObject {
    Q_OBJECT

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
        QElapsedTimer clock;
        clock.start();
        job->update(HUDDone{"a.png — just like that.", std::nullopt});
        QCOMPARE(job->accessibleName(), QString("a.png — just like that."));
        QTRY_VERIFY_WITH_TIMEOUT(!job, 5000);
        QVERIFY(clock.elapsed() >= 1600);
        QVERIFY(other);
        QVERIFY(other->isVisible());
        QCOMPARE(HUDPanel::livePanels(), QList<HUDPanel*>{other.data()});
        delete other.data();
    }

    void anUpdateBeforeTheEndBeginsItsTimeAnew()
    {
        QPointer<HUDPanel> panel = HUDPanel::show(HUDDone{"a", std::nullopt}, {100, 100});
        panel->update(HUDWorking{"again"});
        QTest::qWait(1900); // longer than a final state stays: there is no event to wait for
        QVERIFY(panel && panel->isVisible());
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
