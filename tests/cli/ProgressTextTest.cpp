// The figures of the progress display: time left from the measured rate, and nothing invented
// before a rate exists.

#include "ProgressText.h"

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
