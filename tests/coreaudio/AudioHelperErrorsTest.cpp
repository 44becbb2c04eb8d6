// Status descriptions: the HAL's statuses as this interface spells them, and
// codes without a sentence.
#include <gtest/gtest.h>

#include <CoreAudio/CoreAudio.h>

#include "vnAudioHelper.h"

namespace {

TEST(AudioErrorDescriptions, HardwareStatusesByTheirConstants) {
    EXPECT_EQ(vnAudioHelper_DescriptionForError(kAudioHardwareNotRunningError),
              "The function call requires that the hardware be running but it isn't.");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(kAudioHardwareUnknownPropertyError),
              "The AudioObject doesn't know about the property at the given address.");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(kAudioHardwareBadStreamError),
              "The AudioObjectID passed to the function doesn't map to a valid AudioStream.");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(kAudioDeviceUnsupportedFormatError),
              "The AudioStream doesn't support the requested format.");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(0x216F626A), // '!obj'
              "The AudioObjectID passed to the function doesn't map to a valid AudioObject.");
}

TEST(AudioErrorDescriptions, AudioUnitStatusesAtTheEdgesOfTheTable) {
    EXPECT_EQ(vnAudioHelper_DescriptionForError(-10879), "The audio unit property is not supported.");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(-10847), "The audio unit is not authorized.");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(-66741), "A required key is missing from a dictionary object.");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(-66754), "The audio unit instance timed out.");
}

TEST(AudioErrorDescriptions, OtherCodesAreTheirNumberInParentheses) {
    EXPECT_EQ(vnAudioHelper_DescriptionForError(kAudio_ParamError), "(-50)");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(-10873), "(-10873)") << "between two known codes";
    EXPECT_EQ(vnAudioHelper_DescriptionForError(0), "(0)");
    EXPECT_EQ(vnAudioHelper_DescriptionForError(kAudioHardwareNotReadyError), "(1852990585)");
}

} // namespace
