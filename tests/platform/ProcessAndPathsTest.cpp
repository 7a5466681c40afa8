#include "platform/AppPaths.h"
#include "platform/ProcessProbe.h"

#include "PosixHelpers.h"
#include "TestSupport.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace kestrava;
using kestrava::test::TempTree;

TEST(ProcessProbe, ownProcessIsAliveAndAReapedChildIsNot)
{
    EXPECT_TRUE(isProcessAlive(::getpid()));
    EXPECT_FALSE(isProcessAlive(kestrava::test::pidOfReapedProcess()));
}

TEST(ProcessProbe, processGroupsAndImpossiblePidsAreNotOwners)
{
    EXPECT_FALSE(isProcessAlive(0));
    EXPECT_FALSE(isProcessAlive(-1));
    EXPECT_FALSE(isProcessAlive(qint64(1) << 40));
    // init belongs to another user unless we are root; EPERM still means alive.
    EXPECT_TRUE(isProcessAlive(1));
}

namespace {

// Sets environment variables for one test and restores them afterwards.
class ScopedEnvironment {
public:
    void set(const char* name, const QByteArray& value)
    {
        saved_.append({name, qgetenv(name), qEnvironmentVariableIsSet(name)});
        qputenv(name, value);
    }
    void unset(const char* name)
    {
        saved_.append({name, qgetenv(name), qEnvironmentVariableIsSet(name)});
        qunsetenv(name);
    }
    ~ScopedEnvironment()
    {
        for (const Saved& s : saved_) {
            if (s.wasSet)
                qputenv(s.name, s.value);
            else
                qunsetenv(s.name);
        }
    }

private:
    struct Saved {
        const char* name;
        QByteArray value;
        bool wasSet;
    };
    QList<Saved> saved_;
};

} // namespace

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
