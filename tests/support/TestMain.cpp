#include <QGuiApplication>
#include <gtest/gtest.h>

// Every test executable gets an offscreen application so event loops, timers and
// QFuture continuations work as they do in the program.
int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QGuiApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
