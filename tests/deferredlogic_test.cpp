// CDeferredLogic on a real event loop: runs once, not before its delay, deletes
// itself afterwards; never runs where no event loop turns.
#include <utility/deferredlogic.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>

namespace {

class Counting : public CDeferredLogic
{
public:
    Counting(int delay, std::atomic<int> &runs, QElapsedTimer *clock = nullptr, qint64 *ranAt = nullptr)
        : CDeferredLogic(delay), m_runs(runs), m_clock(clock), m_ranAt(ranAt)
    {
    }
    explicit Counting(std::atomic<int> &runs)
        : m_runs(runs)
    {
    }
    void execute() override
    {
        ++m_runs;
        if (m_clock && m_ranAt)
            *m_ranAt = m_clock->elapsed();
    }

private:
    std::atomic<int> &m_runs;
    QElapsedTimer *m_clock = nullptr;
    qint64 *m_ranAt = nullptr;
};

// Turns the event loop until object is gone (or a generous safety limit passes).
bool waitForDestruction(const QPointer<QObject> &object)
{
    if (!object)
        return true;
    QEventLoop loop;
    QObject::connect(object.data(), &QObject::destroyed, &loop, &QEventLoop::quit);
    QTimer::singleShot(5000, &loop, &QEventLoop::quit);
    loop.exec();
    return object.isNull();
}

} // namespace

TEST(CDeferredLogic, RunsOnceAfterItsDelayThenDeletesItself)
{
    struct Case
    {
        int delay; // -1: the default constructor
        qint64 atLeast;
    };
    for (const Case c : {Case{-1, 10}, Case{0, 0}, Case{40, 40}}) {
        std::atomic<int> runs{0};
        qint64 ranAt = -1;
        QElapsedTimer clock;
        clock.start();
        CDeferredLogic *logic = c.delay < 0 ? new Counting(runs) : new Counting(c.delay, runs, &clock, &ranAt);
        QPointer<QObject> watch(logic);
        EXPECT_EQ(logic->parent(), nullptr);

        // Nothing runs before the event loop turns.
        EXPECT_EQ(runs.load(), 0) << c.delay;
        if (c.delay > 0) {
            QCoreApplication::processEvents();
            if (clock.elapsed() < c.atLeast - 1) // only meaningful while the delay lasts
                EXPECT_EQ(runs.load(), 0) << c.delay;
        }

        EXPECT_TRUE(waitForDestruction(watch)) << c.delay;
        EXPECT_EQ(runs.load(), 1) << c.delay;
        if (c.delay >= 0)
            EXPECT_GE(ranAt, c.atLeast - 1) << c.delay; // timers count whole milliseconds
        else
            EXPECT_GE(clock.elapsed(), c.atLeast - 1);

        // Turning the loop again does not run it a second time.
        QEventLoop idle;
        QTimer::singleShot(30, &idle, &QEventLoop::quit);
        idle.exec();
        EXPECT_EQ(runs.load(), 1) << c.delay;
    }
}

TEST(CDeferredLogic, DestroyedEarlyNeverRuns)
{
    std::atomic<int> runs{0};
    delete new Counting(0, runs);
    QEventLoop idle;
    QTimer::singleShot(30, &idle, &QEventLoop::quit);
    idle.exec();
    EXPECT_EQ(runs.load(), 0);
}

TEST(CDeferredLogic, NeverRunsInAThreadWithoutAnEventLoop)
{
    std::atomic<int> runs{0};
    std::atomic<bool> aliveAtEnd{false};
    QThread *thread = QThread::create([&runs, &aliveAtEnd] {
        QPointer<QObject> logic(new Counting(1, runs));
        // Long past the delay, but nothing delivers the timer here.
        QThread::msleep(100);
        aliveAtEnd = !logic.isNull();
        delete logic.data(); // the test's own clean-up; callers never do this
    });
    thread->start();
    ASSERT_TRUE(thread->wait(5000));
    delete thread;

    QEventLoop idle;
    QTimer::singleShot(30, &idle, &QEventLoop::quit);
    idle.exec();
    EXPECT_EQ(runs.load(), 0);
    EXPECT_TRUE(aliveAtEnd.load());
}

TEST(CDeferredLogic, IsAQtObjectClass)
{
    std::atomic<int> runs{0};
    CDeferredLogic *logic = new Counting(0, runs);
    EXPECT_STREQ(logic->metaObject()->className(), "CDeferredLogic");
    EXPECT_NE(logic->qt_metacast("CDeferredLogic"), nullptr);
    QPointer<QObject> watch(logic);
    EXPECT_TRUE(waitForDestruction(watch));
}
