#include "processing/BlockingQueue.h"

#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

class BlockingQueueTest : public QObject
{
    Q_OBJECT

private slots:
    // Producers run into a close at a different moment in every round: each accepted item comes out
    // exactly once and in its producer's order, and the consumer always ends.
    void nothingLostWhenClosedInMidFlight()
    {
        constexpr int Producers = 3;
        for (int round = 0; round < 300; ++round) {
            BlockingQueue<std::pair<int, int>> queue;
            std::atomic<int> offered = 0;
            std::vector<int> accepted(Producers, 0);
            std::vector<int> received(Producers, 0);
            bool inOrder = true;
            std::vector<std::thread> producers;
            for (int producer = 0; producer < Producers; ++producer) {
                producers.emplace_back([&, producer] {
                    while (queue.push({ producer, accepted[producer] })) {
                        ++accepted[producer];
                        ++offered;
                        std::this_thread::yield(); // lets the close in
                    }
                });
            }
            std::thread consumer([&] {
                while (const auto item = queue.pop())
                    inOrder = inOrder && item->second == received[item->first]++;
            });
            while (offered < round % 50)
                std::this_thread::yield();
            queue.close();
            for (std::thread& producer : producers)
                producer.join();
            consumer.join();
            QVERIFY(inOrder);
            QCOMPARE(received, accepted);
        }
    }
};

QTEST_GUILESS_MAIN(BlockingQueueTest)
#include "BlockingQueueTest.moc"
