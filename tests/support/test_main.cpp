#include <gtest/gtest.h>

#if defined(ORVANTA_TEST_WIDGETS) || defined(ORVANTA_TEST_GUI)
#include "playback/VideoSurface.h"
#endif

#if defined(ORVANTA_TEST_WIDGETS)
#include <QApplication>
using TestApplication = QApplication;
#elif defined(ORVANTA_TEST_GUI)
#include <QGuiApplication>
using TestApplication = QGuiApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
#if defined(ORVANTA_TEST_WIDGETS) || defined(ORVANTA_TEST_GUI)
    // As the program does: before the application object (llvmpipe under the harness draws in
    // software unless ORVANTA_RENDER_PATH says otherwise).
    VideoSurface::chooseRenderPath();
#endif
    TestApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
