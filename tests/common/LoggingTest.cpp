#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "MacCaptureLogging.h"
#include "zTime.h"

namespace {

struct Delivery {
    void* context;
    int level;
    std::string format;
    std::string text; // the format applied to its arguments, as a host prints it
};
std::vector<Delivery> gDeliveries;

void CaptureSink(void* context, int level, const char* format, ...) {
    char text[2048];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    gDeliveries.push_back({context, level, format, text});
}

// An arbitrary moment far from 0, like the steady clock's.
constexpr int64_t kStart = 987'654'321'987;
int64_t gNow = 0;
int64_t ManualClock() { return gNow; }
constexpr int64_t kMillisecond = 1000;
constexpr int64_t kSecond = 1'000'000;

int gHostContext = 0;

class Logging : public testing::Test {
protected:
    void SetUp() override {
        gDeliveries.clear();
        gNow = kStart;
        zTime::SetSource(&ManualClock);
        MC::initializeMacCaptureLogging();
        Register();
    }
    void TearDown() override {
        MC::shutdownMacCaptureLogging();
        zTime::SetSource(nullptr);
    }
    static void Register() { MC::setLog(&CaptureSink, &gHostContext, MC::kLogBurstCeiling, MC::kLogBurstFloor); }

    // Messages from one call site in a tight loop, one millisecond apart.
    static void LogFrom(int line, int count) {
        for (int i = 1; i <= count; ++i) {
            MC::_aux_log(3, line, "/src/audio/file.cpp", "msg %d", i);
            gNow += kMillisecond;
        }
    }
    static std::vector<std::string> Texts() {
        std::vector<std::string> texts;
        for (const Delivery& delivery : gDeliveries) texts.push_back(delivery.text);
        return texts;
    }
};

TEST_F(Logging, ABurstDeliversTheFirstHundredThenOneInThreeHundredAndTwo) {
    LogFrom(123, 1000);

    std::vector<std::string> expected;
    for (int i = 1; i <= 100; ++i) expected.push_back("file.cpp:123    msg " + std::to_string(i));
    expected.push_back("file.cpp:123 x 300    msg 402");
    expected.push_back("file.cpp:123 x 300    msg 704");
    EXPECT_EQ(Texts(), expected);
    for (const Delivery& delivery : gDeliveries) {
        EXPECT_EQ(delivery.context, &gHostContext);
        EXPECT_EQ(delivery.level, 3);
        EXPECT_EQ(delivery.format, "%s    %s");
    }
}

TEST_F(Logging, APauseOfMoreThanFiveSecondsStartsANewBurst) {
    LogFrom(123, 150); // the last fifty are dropped
    // 3.002 s after the call site's first message: from here, the difference of
    // the two readings of a five-second pause rounds to a hair below -5.0.
    gNow = kStart + 3'002'000;
    MC::_aux_log(3, 123, "file.cpp", "before the pause");
    gNow += 5 * kSecond;
    MC::_aux_log(3, 123, "file.cpp", "after exactly five seconds");
    EXPECT_EQ(gDeliveries.size(), 100u);

    gDeliveries.clear();
    gNow += 5 * kSecond + 1;
    LogFrom(123, 101);
    ASSERT_EQ(gDeliveries.size(), 100u);
    EXPECT_EQ(gDeliveries.front().text, "file.cpp:123    msg 1");
    EXPECT_EQ(gDeliveries.back().text, "file.cpp:123    msg 100");
}

TEST_F(Logging, CallSitesCountAndPauseIndependently) {
    LogFrom(1, 150);
    LogFrom(2, 100); // another line of the same file: a hundred of its own
    ASSERT_EQ(gDeliveries.size(), 200u);
    EXPECT_EQ(gDeliveries.back().text, "file.cpp:2    msg 100");
    for (int i = 0; i < 6; ++i) { // line 3 logs every second; line 1 stays silent
        LogFrom(3, 1);
        gNow += kSecond;
    }
    gDeliveries.clear();
    LogFrom(1, 1);
    EXPECT_EQ(Texts(), std::vector<std::string>{"file.cpp:1    msg 1"});
}

TEST_F(Logging, RegisteringAgainResetsEveryCount) {
    LogFrom(123, 150);
    LogFrom(124, 150);
    gDeliveries.clear();
    Register();
    LogFrom(123, 1);
    LogFrom(124, 1);
    EXPECT_EQ(Texts(), (std::vector<std::string>{"file.cpp:123    msg 1", "file.cpp:124    msg 1"}));
}

TEST_F(Logging, ASinkWithoutCallbackOrContextIsRemoved) {
    MC::setLog(&CaptureSink, nullptr, MC::kLogBurstCeiling, MC::kLogBurstFloor);
    LogFrom(1, 3);
    MC::UserLog(-1, "user text");
    MC::setLog(nullptr, &gHostContext, MC::kLogBurstCeiling, MC::kLogBurstFloor);
    LogFrom(1, 3);
    MC::UserLog(-1, "user text");
    EXPECT_TRUE(gDeliveries.empty());
}

TEST_F(Logging, LongMessagesAreTruncatedNotOverrun) {
    const std::string longText(2000, 'a');
    MC::_aux_log(3, 1, "file.cpp", "%s", longText.c_str());
    ASSERT_EQ(gDeliveries.size(), 1u);
    EXPECT_EQ(gDeliveries[0].text, "file.cpp:1    " + longText.substr(0, 511));
}

TEST_F(Logging, UserLogForwardsLevelsMinusOneAndMinusTwoUnthinned) {
    for (int level : {0, 1, 3, -3}) MC::UserLog(level, "ignored");
    MC::UserLog(-1, "System Audio Capture: 100% ready");
    MC::UserLog(-2, "second");
    for (int i = 0; i < 500; ++i) MC::UserLog(-1, "again");
    ASSERT_EQ(gDeliveries.size(), 502u);
    EXPECT_EQ(gDeliveries[0].level, -1);
    EXPECT_EQ(gDeliveries[0].context, &gHostContext);
    EXPECT_EQ(gDeliveries[0].text, "System Audio Capture: 100% ready");
    EXPECT_EQ(gDeliveries[1].level, -2);
    EXPECT_EQ(gDeliveries[1].text, "second");
}

} // namespace
