#pragma once
#include "Platform.h"
#include "QCP_API.h"
#include "TestDesktop.h"

// A suite that drives the plug-in through its C interface over the X11
// platform on the suite's Xvfb: the library is initialised for each test and
// uninitialised after it.
class LinuxPluginTest : public LinuxDesktopTest {
protected:
    void SetUp() override {
        LinuxDesktopTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        qcp::platform::Install(std::move(platform));
        ASSERT_EQ(QCP_IntitializeLibrary(), 1);
        fInitialised = true;
    }
    void TearDown() override {
        if (fInitialised) QCP_UninitializeLibrary();
        qcp::platform::Install(nullptr);
    }

private:
    bool fInitialised = false;
};
