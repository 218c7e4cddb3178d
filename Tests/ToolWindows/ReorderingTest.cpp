#include "ToolWindows/Reordering/Reordering.h"

#include <QTest>

#include <limits>

using namespace Pelgra;

class ReorderingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDraggedItemTakesThePlaceOfTheOneItPasses_data()
    {
        QTest::addColumn<int>("dragged");
        QTest::addColumn<int>("target");
        QTest::addColumn<QString>("order");
        QTest::newRow("first over last") << 0 << 2 << "bca";
        QTest::newRow("last over first") << 2 << 0 << "cab";
        QTest::newRow("first over its neighbour") << 0 << 1 << "bac";
        QTest::newRow("over itself") << 1 << 1 << "abc";
    }
    void aDraggedItemTakesThePlaceOfTheOneItPasses()
    {
        QFETCH(int, dragged);
        QFETCH(int, target);
        QFETCH(QString, order);
        auto files = orderedFilesFrom({"a", "b", "c"});
        const auto id = [&](int index) {
            return files[static_cast<std::size_t>(index)].id;
        };
        QCOMPARE(Reordering::dragOver(files, id(dragged), id(target)), dragged != target);
        QCOMPARE(names(files), order);
    }

    void anUnknownItemMovesNothing()
    {
        auto files = orderedFilesFrom({"a", "a"});
        QVERIFY(!Reordering::dragOver(files, Identifier::random(), files[0].id));
        QVERIFY(!Reordering::dragOver(files, files[0].id, Identifier::random()));
        QVERIFY(Reordering::dragOver(files, files[0].id, files[1].id));
    }

    void stepsSwapAndNeverLeaveTheList_data()
    {
        QTest::addColumn<qlonglong>("index");
        QTest::addColumn<qlonglong>("delta");
        QTest::addColumn<QString>("order");
        QTest::newRow("down") << 0LL << 1LL << "bac";
        QTest::newRow("up") << 2LL << -1LL << "acb";
        QTest::newRow("a larger step swaps") << 0LL << 2LL << "cba";
        QTest::newRow("above the first") << 0LL << -1LL << "abc";
        QTest::newRow("below the last") << 2LL << 1LL << "abc";
        QTest::newRow("no such row") << -1LL << 1LL << "abc";
        QTest::newRow("a sum that would overflow") << 1LL << std::numeric_limits<qlonglong>::max() << "abc";
    }
    void stepsSwapAndNeverLeaveTheList()
    {
        QFETCH(qlonglong, index);
        QFETCH(qlonglong, delta);
        QFETCH(QString, order);
        auto files = orderedFilesFrom({"a", "b", "c"});
        Reordering::move(files, static_cast<std::ptrdiff_t>(index), static_cast<std::ptrdiff_t>(delta));
        QCOMPARE(names(files), order);
    }

private:
    static QString names(const std::vector<OrderedFile>& files)
    {
        QString names;
        for (const OrderedFile& file : files)
            names += QString::fromStdString(file.url.string());
        return names;
    }
};

QTEST_GUILESS_MAIN(ReorderingTest)
#include "ReorderingTest.moc"
