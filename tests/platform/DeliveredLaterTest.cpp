// A continuation attached to work that has already finished (a worker that beat the caller
// to `then`) must still wait for the event loop, and come after what the worker posted.

#include "platform/DeliveredLater.h"

#include <QCoreApplication>
#include <QException>
#include <QtConcurrent/QtConcurrentRun>
#include <QTest>
#include <gtest/gtest.h>

using namespace kestrava;

namespace {

class WorkFailed : public QException {
public:
    void raise() const override { throw *this; }
    WorkFailed* clone() const override { return new WorkFailed(*this); }
};

} // namespace

TEST(DeliveredLater, finishedWorkContinuesFromTheEventLoopAfterWhatItPosted)
{
    QObject context;
    QStringList order;
    QFuture<int> work = QtConcurrent::run([&context, &order] {
        QMetaObject::invokeMethod(&context, [&order] { order.append(QStringLiteral("progress")); }, Qt::QueuedConnection);
        return 7;
    });
    work.waitForFinished(); // the race, forced: finished before anything is attached

    deliveredLater(work, &context).then(&context, [&order](int value) { order.append(QString::number(value)); });
    EXPECT_TRUE(order.isEmpty()) << "ran inside then";
    order.append(QStringLiteral("caller"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return order.size() == 3; }));
    EXPECT_EQ(order, (QStringList{"caller", "progress", "7"}));

    // Attached the moment the worker has said "finished" but not yet run continuations: the
    // window in which a plain then runs twice. Every continuation runs once.
    constexpr int rounds = 100;
    int continued = 0;
    for (int round = 0; round < rounds; ++round) {
        QFuture<int> quick = QtConcurrent::run([] { return 1; });
        quick.waitForFinished();
        deliveredLater(quick, &context).then(&context, [&continued](int one) { continued += one; });
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return continued >= rounds; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(continued, rounds);

    // A failure reaches onFailed the same way; a void future too.
    QFuture<void> failing = QtConcurrent::run([] { throw WorkFailed(); });
    try {
        failing.waitForFinished();
    } catch (const WorkFailed&) {
    }
    bool failed = false;
    bool succeeded = false;
    deliveredLater(failing, &context)
        .then(&context, [&succeeded] { succeeded = true; })
        .onFailed(&context, [&failed](const WorkFailed&) { failed = true; });
    EXPECT_FALSE(failed) << "ran inside onFailed";
    ASSERT_TRUE(QTest::qWaitFor([&] { return failed; }));
    EXPECT_FALSE(succeeded);
}

TEST(DeliveredLater, aContextGoneBeforeDeliveryGetsNothing)
{
    bool continued = false;
    QFuture<int> delivered;
    {
        QObject context;
        delivered = deliveredLater(QtFuture::makeReadyFuture(1), &context);
        delivered.then(&context, [&continued](int) { continued = true; });
    }
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_FALSE(continued);
    EXPECT_TRUE(delivered.isCanceled());
}
