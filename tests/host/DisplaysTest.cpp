#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Displays.h"

using qcphost::DisplayInfo;
using qcphost::RegionProblem;

TEST(Displays, ReadThePluginsRecord) {
    const std::vector<DisplayInfo> displays = qcphost::ParseDisplays(R"(<?xml version="1.0" encoding="UTF-8"?>
<displays count="5">
  <display index="0" id="11" name="Main &amp; &quot;wide&quot;" width="1920" height="1080" scale="1" />
  <display index="1" id="33" name="Unknown" width="1440.5" height="900" scale="2" />
  <display index="2" id="0" name="no id" width="100" height="100" scale="1" />
  <display index="3" id="44" name="no size" width="" height="100" scale="1" />
  <display index="4" id="55" name="flat" width="100" height="-5" scale="1" />
</displays>
)");
    ASSERT_EQ(displays.size(), 2u) << "displays with a field out of form are left out";
    EXPECT_EQ(displays[0].name, "Main & \"wide\"");
    EXPECT_EQ(displays[0].id, 11u);
    EXPECT_EQ(displays[1].index, 1);
    EXPECT_EQ(displays[1].width, 1440.5);
    EXPECT_EQ(displays[1].scale, 2.0);
    EXPECT_EQ(qcphost::FindDisplay(displays, 1), &displays[1]);
    EXPECT_EQ(qcphost::FindDisplay(displays, 2), nullptr);

    EXPECT_TRUE(qcphost::ParseDisplays("").empty());
    EXPECT_TRUE(qcphost::ParseDisplays("<displays><display index=\"0\"").empty());
    EXPECT_TRUE(qcphost::ParseDisplays("<apps count=\"0\"/>").empty());
}

TEST(Displays, RegionMustLieInsideItsDisplay) {
    const DisplayInfo display{1, 22, "Side", 1280, 1024, 1};
    EXPECT_EQ(RegionProblem(display, 0, 0, 1279, 1023), "") << "the whole display, edges inclusive";
    EXPECT_EQ(RegionProblem(display, 1279, 1023, 1279, 1023), "") << "its last point";
    EXPECT_EQ(RegionProblem(display, 100, 50, 739, 529), "");

    const std::string past = "extends past display 1 (1280 x 1024 points)";
    EXPECT_EQ(RegionProblem(display, 0, 0, 1280, 100), "region 0,0,1280,100 " + past);
    EXPECT_EQ(RegionProblem(display, 0, 0, 100, 1024), "region 0,0,100,1024 " + past);
    EXPECT_EQ(RegionProblem(display, -1, 0, 100, 100), "region -1,0,100,100 " + past);
    EXPECT_EQ(RegionProblem(display, 0, -10, 100, 100), "region 0,-10,100,100 " + past);
    EXPECT_EQ(RegionProblem(display, -10, -10, 5000, 5000), "region -10,-10,5000,5000 " + past)
        << "larger than the display";

    const std::string outside = "lies outside display 1 (1280 x 1024 points)";
    EXPECT_EQ(RegionProblem(display, 5000, 0, 5100, 100), "region 5000,0,5100,100 " + outside);
    EXPECT_EQ(RegionProblem(display, 1280, 0, 1300, 100), "region 1280,0,1300,100 " + outside);
    EXPECT_EQ(RegionProblem(display, 0, 1024, 100, 1100), "region 0,1024,100,1100 " + outside);
    EXPECT_EQ(RegionProblem(display, -200, -200, -1, -1), "region -200,-200,-1,-1 " + outside);
    EXPECT_EQ(RegionProblem(display, INT32_MIN, 0, INT32_MAX, 10), "region -2147483648,0,2147483647,10 " + past);

    EXPECT_EQ(RegionProblem(display, 0, 0, -1, -1), "region 0,0,-1,-1 has no area");

    // A fractional width: the last whole point is the last inside.
    const DisplayInfo panel{0, 33, "Unknown", 1440.5, 900, 2};
    EXPECT_EQ(RegionProblem(panel, 0, 0, 1439, 899), "");
    EXPECT_EQ(RegionProblem(panel, 0, 0, 1440, 899),
              "region 0,0,1440,899 extends past display 0 (1440.5 x 900 points)");
}
