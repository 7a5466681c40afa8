#include <QGuiApplication>
#include <gtest/gtest.h>
#include <cstdlib>

#ifdef KESTRAVA_SANITIZED
// Qt keeps some process-lifetime allocations that LeakSanitizer would report at exit.
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}
#endif

// Every test executable gets an offscreen application so event loops, timers and
// QFuture continuations work as they do in the program. The environment is set here (not
// by ctest) so a test binary started by hand behaves the same; child processes inherit it.
int main(int argc, char** argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::setenv("KESTRAVA_CLI", KESTRAVA_CLI_PATH, 0);
    ::setenv("KESTRAVA_CAMERA_TESTDATA", KESTRAVA_CAMERA_TESTDATA_DIR, 0);
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 0);
    ::testing::InitGoogleTest(&argc, argv);
    QGuiApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
