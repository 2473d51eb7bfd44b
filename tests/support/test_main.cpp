#include <gtest/gtest.h>

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
    TestApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
