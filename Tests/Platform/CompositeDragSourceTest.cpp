#include "Platform/Sampling/CompositeDragSource.h"

#include "FakeDragSource.h"

#include <QTest>

using namespace Pelgra;
using Files = std::vector<std::filesystem::path>;

namespace {

struct Pair {
    FakeDragSource first;
    FakeDragSource second;
    CompositeDragSource both{{&first, &second}};
};

} // namespace

class CompositeDragSourceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDragCountsOnceAndItsSourceAnswers()
    {
        Pair pair;
        pair.first.files = {"/old"};
        pair.second.files = {"/new"};
        pair.both.refresh();
        const std::int64_t before = pair.both.changeCount();

        pair.second.count = 7;
        pair.both.refresh();
        QCOMPARE(pair.both.changeCount(), before + 1);
        QCOMPARE(pair.both.fileURLs(), Files{"/new"});
        pair.both.refresh();
        QCOMPARE(pair.both.changeCount(), before + 1);

        // Both see the next one.
        pair.first.count = 1;
        pair.second.count = 8;
        pair.both.refresh();
        QCOMPARE(pair.both.changeCount(), before + 2);
        QCOMPARE(pair.both.fileURLs(), Files{"/old"});
        // What it doesn't know yet is not answered with another drag's files.
        pair.first.files.clear();
        QCOMPARE(pair.both.fileURLs(), Files());
    }

    void aDragSeenWholeIsNotTakenOverByALaterSource()
    {
        Pair pair;
        pair.first.count = 1;
        pair.first.button = ButtonState::down;
        pair.both.refresh();
        const std::int64_t count = pair.both.changeCount();
        pair.second.count = 1; // the same drag, when it comes where that one looks
        pair.both.refresh();
        QCOMPARE(pair.both.changeCount(), count);
        QCOMPARE(pair.both.current(), &pair.first);

        pair.first.button = ButtonState::up;
        pair.second.count = 2;
        pair.second.button = ButtonState::down;
        pair.both.refresh();
        QCOMPARE(pair.both.current(), &pair.second);
        pair.first.count = 2; // an earlier one knows better
        pair.both.refresh();
        QCOMPARE(pair.both.changeCount(), count + 2);
        QCOMPARE(pair.both.current(), &pair.first);
    }

    void theOthersTellWhatTheSourceOfTheDragDoesNotSee()
    {
        Pair pair;
        pair.first.count = 1;
        pair.both.refresh();
        QCOMPARE(pair.both.primaryButton(), ButtonState::unseen);
        QVERIFY(!pair.both.pointer());

        pair.second.button = ButtonState::up; // it knows of no drag
        QCOMPARE(pair.both.primaryButton(), ButtonState::unseen);
        pair.second.button = ButtonState::down;
        pair.second.place = QPoint(3, 4);
        QCOMPARE(pair.both.primaryButton(), ButtonState::down);
        QCOMPARE(pair.both.pointer(), std::optional(QPoint(3, 4)));

        pair.first.button = ButtonState::up;
        pair.first.place = QPoint(1, 2);
        QCOMPARE(pair.both.primaryButton(), ButtonState::up);
        QCOMPARE(pair.both.pointer(), std::optional(QPoint(1, 2)));

        pair.first.flags = shiftFlag;
        pair.second.flags = commandFlag;
        QCOMPARE(pair.both.modifierFlags(), shiftFlag | commandFlag);
        QCOMPARE(pair.both.modifierFlagsNow(), shiftFlag | commandFlag);
    }

    void allOfThemWatchTheKeys()
    {
        Pair pair;
        pair.both.setTapFlags(controlFlag);
        QCOMPARE(pair.first.tapFlags, controlFlag);
        QCOMPARE(pair.second.tapFlags, controlFlag);
    }

    void handsOnNewsAndCancellingAndLetsGoAtTheEnd()
    {
        FakeDragSource part;
        QString told;
        {
            CompositeDragSource both({&part});
            part.onNews(); // nobody listens
            both.onNews = [&] {
                told += "news ";
            };
            both.onCancelled = [&] {
                told += "cancelled";
            };
            part.onNews();
            part.onCancelled();
        }
        QCOMPARE(told, QString("news cancelled"));
        QVERIFY(!part.onNews && !part.onCancelled);
    }
};

QTEST_GUILESS_MAIN(CompositeDragSourceTest)

#include "CompositeDragSourceTest.moc"
