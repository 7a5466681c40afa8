#include "ui/FileDialogs.h"

#include <QApplication>
#include <gtest/gtest.h>
#include <cstdlib>

#ifdef KESTRAVA_SANITIZED
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}
#endif

// The file dialogs are widgets: these tests need a QApplication where the others make do with
// a QGuiApplication, and Qt's German texts, as the program loads them.
int main(int argc, char** argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 0);
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    kestrava::installGermanQtTranslations(app);
    return RUN_ALL_TESTS();
}
