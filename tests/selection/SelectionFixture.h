#pragma once
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "SimPlatform.h"
#include "Selection/MacCaptureSelectionDialog.h"

// A simulated desktop with two displays ("Main Panel" 1920 x 1080, id 1;
// "Side Panel" 1280 x 1024, id 2) and two applications (Editor, pid 500,
// with Notes and Draft; Browser, pid 610, with Home), the inventory started,
// and a translator that answers "tr:" and the key.
class SelectionTest : public ::testing::Test {
protected:
    struct Answer {
        int response;
        int id;
        std::optional<zRect> region;
        friend bool operator==(const Answer&, const Answer&) = default;
    };
    using Answers = std::vector<Answer>;
    static const Answer kCancelled;

    void SetUp() override;
    void TearDown() override;

    // The dialog's callback: appends to the Answers its userInfo points at.
    static void Heard(MC::MacCaptureSelectionDialog::eUserResponse response, int id, const zRect* region,
                      void* userInfo);

    qcp::platform::sim::SimWorld& world() { return *fWorld; }
    qcp::platform::sim::SimUser& user() { return *fUser; }

    uint32_t fNotes = 0, fDraft = 0, fHome = 0;

private:
    qcp::platform::sim::SimWorld* fWorld = nullptr;
    qcp::platform::sim::SimUser* fUser = nullptr;
};
