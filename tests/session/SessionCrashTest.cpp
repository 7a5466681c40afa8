// A real child process journals decisions and is killed with SIGKILL at random moments.
// Whatever it acknowledged must come back on the next load, and numbering must go on from
// there.

#include "KillLoop.h"
#include "SessionTestData.h"
#include "session/SessionEvent.h"
#include "session/SessionStoreError.h"

#include <QProcess>
#include <QRandomGenerator>
#include <csignal>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

constexpr int photoCount = 40;

PhotoDecision expectedDecision(qint64 sequence)
{
    static constexpr PhotoDecision cycle[] = {PhotoDecision::keep, PhotoDecision::maybe, PhotoDecision::del};
    return cycle[((sequence - 1) / photoCount) % 3];
}

// Runs the child until it has acknowledged `acknowledgements` events, kills it `later` on, and
// returns every sequence it acknowledged.
QList<qint64> runAndKill(const QString& storeFolder, int acknowledgements, std::chrono::microseconds later)
{
    const KilledProcess child = runKilledAfter(QStringLiteral(SESSION_CRASH_CHILD), {storeFolder},
                                               QProcessEnvironment::systemEnvironment(),
                                               {QProcess::StandardOutput, acknowledgements, later});
    QList<qint64> acknowledged;
    for (const QByteArray& line : child.output.split('\n'))
        if (line.startsWith("ack "))
            acknowledged.append(line.mid(4).toLongLong());
    return acknowledged;
}

} // namespace

TEST(SessionCrash, everyAcknowledgedEventSurvivesSigkillAndNumberingContinues)
{
    TempTree tree;
    const QString folder = tree.mkdir(u"Sessions"_s);
    const SortSession initial = makeSession(photoCount);
    {
        SessionStore store(folder);
        await(store.saveSnapshot(initial));
    }
    auto* random = QRandomGenerator::global();
    qint64 highestAcknowledged = 0;
    qint64 lastLoaded = 0;
    for (int round = 0; round < 200; ++round) {
        const QList<qint64> acknowledged = runAndKill(folder, int(random->bounded(6)), std::chrono::microseconds(random->bounded(3000)));
        for (qint64 sequence : acknowledged) {
            ASSERT_GT(sequence, highestAcknowledged) << "round " << round << ": numbering went backwards";
            highestAcknowledged = sequence;
        }

        SessionStore store(folder);
        const auto loaded = await(store.loadLatestIncomplete());
        ASSERT_TRUE(loaded.has_value()) << "round " << round << ": session no longer loads";
        ASSERT_GE(loaded->lastEventSequence, highestAcknowledged) << "round " << round;
        ASSERT_GE(loaded->lastEventSequence, lastLoaded) << "round " << round;
        lastLoaded = loaded->lastEventSequence;
        // Every photo shows the decision of the last event that touched it.
        for (int photo = 0; photo < photoCount; ++photo) {
            const qint64 lastTouching = lastLoaded - ((lastLoaded - 1 - photo) % photoCount + photoCount) % photoCount;
            if (lastTouching < 1)
                ASSERT_FALSE(loaded->photos[photo].decision.has_value()) << "round " << round << " photo " << photo;
            else
                ASSERT_EQ(loaded->photos[photo].decision, expectedDecision(lastTouching)) << "round " << round << " photo " << photo;
        }
    }
    EXPECT_GT(highestAcknowledged, 200);
    // The log holds every number exactly once, in order: no gaps from restarts, no repeats.
    qint64 expected = 1;
    for (const QByteArray& line : readFile(SessionStore(folder).eventLogPath(initial.id)).split('\n')) {
        if (!line.isEmpty()) {
            ASSERT_EQ(decodeEventLine(line).sequence, expected++);
        }
    }
    EXPECT_EQ(expected - 1, lastLoaded);
}

TEST(SessionCrash, aLiveWritersSessionIsRefusedAndAKilledWritersIsTakenOver)
{
    TempTree tree;
    const QString folder = tree.mkdir(u"Sessions"_s);
    const SortSession session = makeSession(photoCount);
    {
        SessionStore store(folder);
        await(store.saveSnapshot(session));
    }
    QProcess child;
    child.start(QStringLiteral(SESSION_CRASH_CHILD), {folder});
    ASSERT_TRUE(child.waitForStarted(60000));
    QByteArray output;
    while (!output.contains('\n') && child.state() == QProcess::Running) {
        child.waitForReadyRead(2000);
        output += child.readAllStandardOutput();
    }
    ASSERT_EQ(child.state(), QProcess::Running) << "the writer ended before its first event";

    SessionStore store(folder);
    EXPECT_THROW(store.lockSession(session.id), SessionStoreError);
    EXPECT_THROW(await(store.append(SessionEventKind::decision, {session.photos[0].sourceURL.path()},
                                    PhotoDecision::keep, std::nullopt, 0, 0, session.id)),
                 SessionStoreError);

    ::kill(pid_t(child.processId()), SIGKILL);
    ASSERT_TRUE(child.waitForFinished(60000));
    // The kernel dropped the dead writer's lock; nobody has to clean anything up.
    EXPECT_NO_THROW(store.lockSession(session.id));
    const qint64 logged = store.lastLoggedSequence(session.id);
    EXPECT_GT(logged, 0);
    EXPECT_EQ(await(store.append(SessionEventKind::decision, {session.photos[0].sourceURL.path()},
                                 PhotoDecision::keep, std::nullopt, 0, 0, session.id)),
              logged + 1);
}
