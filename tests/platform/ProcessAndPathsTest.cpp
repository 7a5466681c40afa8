#include "platform/AppPaths.h"
#include "platform/ProcessProbe.h"

#include "PosixHelpers.h"
#include "TestSupport.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace kestrava;
using kestrava::test::ScopedEnvironment;
using kestrava::test::TempTree;

// A live process (this one, or init which belongs to another user unless we are root: EPERM
// still means alive) owns its lock; a reaped child, a process group or an impossible id do not.
TEST(ProcessProbe, onlyALiveProcessIsAnOwner)
{
    EXPECT_TRUE(isProcessAlive(::getpid()));
    EXPECT_TRUE(isProcessAlive(1));
    for (const qint64 pid : {kestrava::test::pidOfReapedProcess(), qint64(0), qint64(-1), qint64(1) << 40})
        EXPECT_FALSE(isProcessAlive(pid)) << pid;
}

TEST(AppPaths, honoursXdgFoldersAndCreatesThem)
{
    TempTree tree;
    ScopedEnvironment environment;
    environment.set("XDG_DATA_HOME", QFile::encodeName(tree.path("data")));
    environment.set("XDG_CACHE_HOME", QFile::encodeName(tree.path("cache")));

    EXPECT_EQ(AppPaths::dataHome(), tree.path("data"));
    EXPECT_EQ(AppPaths::sessionsFolder(), tree.path("data/Kestrava/Sessions"));
    EXPECT_TRUE(QFileInfo(tree.path("data/Kestrava/Sessions")).isDir());
    EXPECT_EQ(AppPaths::previewCacheFolder(), tree.path("cache/Kestrava/Previews"));
    EXPECT_TRUE(QFileInfo(tree.path("cache/Kestrava/Previews")).isDir());
}

TEST(AppPaths, fallsBackToHomeWhenUnsetOrRelative)
{
    TempTree tree;
    ScopedEnvironment environment;
    environment.set("HOME", QFile::encodeName(tree.root()));
    environment.set("XDG_DATA_HOME", "relative/data");
    environment.unset("XDG_CACHE_HOME");

    EXPECT_EQ(AppPaths::dataHome(), tree.path(".local/share"));
    EXPECT_EQ(AppPaths::previewCacheFolder(), tree.path(".cache/Kestrava/Previews"));
    EXPECT_TRUE(QFileInfo(tree.path(".cache/Kestrava/Previews")).isDir());
}
