#pragma once
#include "TestDesktop.h"
#include "ThreadSanitizer.h"

// A suite of the GTK views' tests. GTK keeps the display it first opened for
// the life of the process, so all such suites share one Xvfb, kept until the
// program ends, rather than one each.
class GtkDesktopTest : public LinuxDesktopTest {
public:
    static void SetUpTestSuite() {
        if (!session) StartSession({});
    }
    static void TearDownTestSuite() {}

protected:
    void SetUp() override {
        if (kUnderThreadSanitizer) GTEST_SKIP() << "GTK is not built for ThreadSanitizer";
        LinuxDesktopTest::SetUp();
    }
};
