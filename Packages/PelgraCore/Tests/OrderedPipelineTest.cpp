#include "parallel/OrderedPipeline.h"
#include "parallel/IdlePool.h"
#include "parallel/InParallel.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <memory>
#include <numeric>
#include <semaphore>
#include <string>

using namespace Pelgra;

class OrderedPipelineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void takesInOrderWhateverIsReadyFirst()
    {
        // The first item is done only when three later ones are, so that they must wait for it.
        std::counting_semaphore<> later(0);
        std::vector<std::size_t> taken;
        OrderedPipeline<std::size_t> pipeline(20, 2, 8, {});
        pipeline.run(
            [&](std::size_t index) {
                if (index == 0)
                    for (int i = 0; i < 3; ++i)
                        later.acquire();
                else
                    later.release();
                return index * 10;
            },
            [&](std::size_t index, std::size_t item) {
                QCOMPARE(item, index * 10);
                taken.push_back(index);
            });
        QCOMPARE(taken.size(), std::size_t{20});
        QVERIFY(std::is_sorted(taken.begin(), taken.end()));
    }

    void aFailureWaitsForSlowerItemsBeforeIt()
    {
        std::binary_semaphore failed(0);
        std::vector<std::size_t> taken;
        const auto alive = std::make_shared<int>();
        std::string message;
        {
            OrderedPipeline<std::shared_ptr<int>> pipeline(30, 3, 30, {});
            try {
                pipeline.run(
                    [&](std::size_t index) {
                        if (index == 0)
                            failed.acquire();
                        if (index == 2) {
                            failed.release();
                            throw std::runtime_error("third");
                        }
                        return alive;
                    },
                    [&](std::size_t index, std::shared_ptr<int>) { taken.push_back(index); });
            } catch (const std::runtime_error& error) {
                message = error.what();
            }
        }
        QCOMPARE(message, std::string("third"));
        QCOMPARE(taken, (std::vector<std::size_t>{0, 1}));
        QCOMPARE(alive.use_count(), 1);
    }

    void aWorkerTakesNeighboursAndAllBeforeAFailure()
    {
        constexpr std::size_t runLength = 4;
        std::binary_semaphore failed(0);
        std::vector<std::thread::id> workers(12);
        std::vector<std::size_t> taken;
        OrderedPipeline<int> pipeline(workers.size(), 2, workers.size(), {}, runLength);
        QVERIFY_EXCEPTION_THROWN(pipeline.run(
                                     [&](std::size_t index) {
                                         workers[index] = std::this_thread::get_id();
                                         if (index == 2)
                                             failed.acquire();
                                         if (index == 6) {
                                             failed.release();
                                             throw std::runtime_error("seventh");
                                         }
                                         return 0;
                                     },
                                     [&](std::size_t index, int) { taken.push_back(index); }),
                                 std::runtime_error);
        QCOMPARE(taken, (std::vector<std::size_t>{0, 1, 2, 3, 4, 5}));
        for (std::size_t index = 0; index < 6; ++index)
            QVERIFY(workers[index] == workers[index / runLength * runLength]);
        QVERIFY(workers[7] == std::thread::id());
    }

    void noWorkerRunsFurtherAheadThanTheWindow()
    {
        constexpr std::size_t window = 5;
        std::atomic<std::size_t> taken = 0;
        std::atomic<std::size_t> furthest = 0;
        OrderedPipeline<int> pipeline(200, 2, window, {});
        pipeline.run(
            [&](std::size_t index) {
                const std::size_t ahead = index - taken;
                for (std::size_t seen = furthest; ahead > seen && !furthest.compare_exchange_weak(seen, ahead);) { }
                return 0;
            },
            [&](std::size_t, int) { ++taken; });
        // One more: an item counts as taken before the receiver has it.
        QVERIFY2(furthest <= window, std::to_string(furthest).c_str());
    }

    void itemsAreBegunInOrderOneAtATime_data()
    {
        QTest::addColumn<int>("workers");
        QTest::newRow("in turn") << 1;
        QTest::newRow("several") << 4;
    }
    void itemsAreBegunInOrderOneAtATime()
    {
        QFETCH(int, workers);
        std::vector<std::size_t> begun, taken; // the first without a lock, as a reader of rows would be
        OrderedPipeline<std::size_t> pipeline(500, workers, 8, {});
        pipeline.runJobs(
            [&](std::size_t index) {
                begun.push_back(index);
                return [index] {
                    return index * 10;
                };
            },
            [&](std::size_t index, std::size_t item) {
                QCOMPARE(item, index * 10);
                taken.push_back(index);
            });
        std::vector<std::size_t> all(500);
        std::iota(all.begin(), all.end(), std::size_t{0});
        QCOMPARE(begun, all);
        QCOMPARE(taken, all);
    }

    void nothingIsBegunAfterABeginningThatFailed()
    {
        std::vector<std::size_t> begun, taken;
        OrderedPipeline<int> pipeline(100, 3, 100, {});
        QVERIFY_EXCEPTION_THROWN(pipeline.runJobs(
                                     [&](std::size_t index) {
                                         begun.push_back(index);
                                         if (index == 5)
                                             throw std::runtime_error("no more rows");
                                         return [] {
                                             return 0;
                                         };
                                     },
                                     [&](std::size_t index, int) { taken.push_back(index); }),
                                 std::runtime_error);
        QCOMPARE(begun.size(), std::size_t{6});
        QCOMPARE(taken.size(), std::size_t{5});
    }

    void inParallelThrowsTheFirstFailureInOrder()
    {
        std::binary_semaphore failed(0);
        std::string message;
        try {
            inParallel(2, 2, {}, [&](int index) {
                if (index == 0)
                    failed.acquire();
                else
                    failed.release();
                throw std::runtime_error(std::to_string(index));
            });
        } catch (const std::runtime_error& error) {
            message = error.what();
        }
        QCOMPARE(message, std::string("0"));
    }

    void anIdlePoolOpensOnlyWhatIsNeededAtOnce()
    {
        struct Helper {
            std::atomic<bool> isUsed = false;
        };
        std::atomic<int> opened = 0;
        IdlePool<Helper> pool([&] {
            ++opened;
            return std::make_unique<Helper>();
        });
        {
            const IdlePool<Helper>::Lease first(pool);
            const IdlePool<Helper>::Lease second(pool);
            QVERIFY(&*first != &*second);
        }
        inParallel(200, 2, {}, [&](int) {
            const IdlePool<Helper>::Lease helper(pool);
            if (helper->isUsed.exchange(true))
                throw std::runtime_error("two threads with one helper");
            helper->isUsed = false;
        });
        QCOMPARE(opened.load(), 2);
        pool.closeIdle();
        const IdlePool<Helper>::Lease again(pool);
        QCOMPARE(opened.load(), 3);
    }

    void aReceiverThatThrowsEndsTheWorkers()
    {
        std::atomic<int> prepared = 0;
        OrderedPipeline<int> pipeline(1000, 2, 3, {});
        QVERIFY_EXCEPTION_THROWN(pipeline.run([&](std::size_t) { return ++prepared; },
                                              [](std::size_t, int) { throw std::runtime_error("full"); }),
                                 std::runtime_error);
        QVERIFY(prepared <= 4);
    }

    void aStopEndsTheWaiting_data()
    {
        QTest::addColumn<int>("workers");
        QTest::newRow("in turn") << 1;
        QTest::newRow("several") << 3;
    }
    void aStopEndsTheWaiting()
    {
        QFETCH(int, workers);
        std::stop_source source;
        std::atomic<int> taken = 0;
        OrderedPipeline<int> pipeline(50, workers, 10, source.get_token());
        QVERIFY_EXCEPTION_THROWN(pipeline.run(
                                     [&](std::size_t index) {
                                         if (index == 4)
                                             source.request_stop();
                                         return 0;
                                     },
                                     [&](std::size_t, int) { ++taken; }),
                                 JobCancelled);
        QVERIFY(taken <= 5);
    }
};

QTEST_GUILESS_MAIN(OrderedPipelineTest)
#include "OrderedPipelineTest.moc"
