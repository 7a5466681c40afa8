// The figures of the progress display: time left from the measured rate, and nothing invented
// before a rate exists.

#include "cli/CliWording.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::cli;

TEST(ProgressText, showsFilesBytesRateAndTimeLeftOnlyOnceMeasured)
{
    SortProgress progress;
    progress.phase = SortPhase::copying;
    progress.completedFiles = 12;
    progress.totalFiles = 300;
    progress.completedBytes = 1'500'000;
    progress.totalBytes = 45'000'000;
    // Nothing measured yet: no rate, no time left.
    EXPECT_EQ(describeProgress(progress), QStringLiteral("12/300 Dateien · 1,5 MB von 45 MB"));
    EXPECT_FALSE(secondsLeft(progress));

    progress.bytesPerSecond = 3'000'000;
    EXPECT_EQ(secondsLeft(progress), 15); // 43.5 MB at 3 MB/s, rounded up
    EXPECT_EQ(describeProgress(progress), QStringLiteral("12/300 Dateien · 1,5 MB von 45 MB · 3 MB/s · noch 0:15"));
    EXPECT_EQ(progressBar(progress), QStringLiteral("[#-----------------------]"));

    // Done: no time left is shown, the bar is full, more bytes than planned do not overflow it.
    progress.completedBytes = progress.totalBytes + 10;
    EXPECT_FALSE(describeProgress(progress).contains(QStringLiteral("noch")));
    EXPECT_EQ(progressBar(progress), QStringLiteral("[########################]"));

    // Without byte totals the bar follows the files.
    SortProgress files;
    files.completedFiles = 1;
    files.totalFiles = 2;
    EXPECT_EQ(progressBar(files), QStringLiteral("[############------------]"));

    EXPECT_EQ(formatDuration(7), QStringLiteral("0:07"));
    EXPECT_EQ(formatDuration(750), QStringLiteral("12:30"));
    EXPECT_EQ(formatDuration(3723), QStringLiteral("1:02:03"));
}

// The last line of a run that did not finish everything: no time left to wait for, and no
// "Fertig" for a stopped or failed run.
TEST(ProgressText, endedRunShowsNoTimeLeftAndClaimsDoneOnlyWhenItIs)
{
    SortProgress progress;
    progress.phase = SortPhase::finished;
    progress.completedFiles = 49;
    progress.totalFiles = 49;
    progress.completedBytes = 40'000'000;
    progress.totalBytes = 49'000'000; // a failed file's bytes never arrived
    progress.bytesPerSecond = 1'000'000;
    EXPECT_FALSE(describeProgress(progress).contains(QStringLiteral("noch"))) << describeProgress(progress).toStdString();

    const QString done = rawValue(SortPhase::finished);
    SortResult clean;
    EXPECT_EQ(phaseHeading(progress, &clean), done);
    SortResult failed;
    failed.errors.append(QStringLiteral("x"));
    SortResult stopped;
    stopped.pendingCount = 3;
    EXPECT_NE(phaseHeading(progress, &failed), done);
    EXPECT_NE(phaseHeading(progress, &stopped), done);
    EXPECT_NE(phaseHeading(progress, &failed), phaseHeading(progress, &stopped));
    // While running, the phase speaks for itself.
    progress.phase = SortPhase::copying;
    EXPECT_EQ(phaseHeading(progress, &failed), rawValue(SortPhase::copying));
}
