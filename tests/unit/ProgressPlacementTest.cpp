#include <gtest/gtest.h>

#include "display/ProgressPlacement.h"

TEST(ProgressPlacement, SlotsAreTakenLowestFirstAndFreedForReuse) {
    ProgressSlotSet slots;
    EXPECT_EQ(slots.Take(), 0);
    EXPECT_EQ(slots.Take(), 1);
    EXPECT_EQ(slots.Take(), 2);
    slots.Release(0);
    EXPECT_FALSE(slots.InUse(0));
    EXPECT_EQ(slots.Take(), 0);
    EXPECT_EQ(slots.Take(), 3);
}

TEST(ProgressPlacement, WhenAllSlotsAreTakenTheDialogGetsSlot256AndMarksNothing) {
    ProgressSlotSet slots;
    for (int i = 0; i < 256; ++i) ASSERT_EQ(slots.Take(), i);
    EXPECT_EQ(slots.Take(), 256);
    EXPECT_EQ(slots.Take(), 256);
    slots.Release(256);  // frees nothing
    for (int i = 0; i < 256; ++i) EXPECT_TRUE(slots.InUse(i));
    slots.Release(255);
    EXPECT_EQ(slots.Take(), 255);
}

TEST(ProgressPlacement, SlotZeroSitsInTheBottomRightCorner) {
    int x = -1, y = -1;
    ASSERT_TRUE(ProgressDialogPosition(0, 200, 60, 1024, 768, &x, &y));
    EXPECT_EQ(x, 824);
    EXPECT_EQ(y, 708);
}

TEST(ProgressPlacement, LaterSlotsFillLeftwardsThenUpwards) {
    int x = -1, y = -1;
    // 1024 / 200 = 5 columns.
    ASSERT_TRUE(ProgressDialogPosition(1, 200, 60, 1024, 768, &x, &y));
    EXPECT_EQ(x, 624);
    EXPECT_EQ(y, 708);
    ASSERT_TRUE(ProgressDialogPosition(4, 200, 60, 1024, 768, &x, &y));
    EXPECT_EQ(x, 24);
    EXPECT_EQ(y, 708);
    ASSERT_TRUE(ProgressDialogPosition(5, 200, 60, 1024, 768, &x, &y));
    EXPECT_EQ(x, 824);
    EXPECT_EQ(y, 648);
    ASSERT_TRUE(ProgressDialogPosition(255, 200, 60, 1024, 768, &x, &y));
    EXPECT_EQ(x, 824);            // column 0
    EXPECT_EQ(y, 768 - 52 * 60);  // row 51, far above the screen
}

TEST(ProgressPlacement, Slot256IsNotPlaced) {
    int x = 7, y = 9;
    EXPECT_FALSE(ProgressDialogPosition(256, 200, 60, 1024, 768, &x, &y));
    EXPECT_EQ(x, 7);
    EXPECT_EQ(y, 9);
}

TEST(ProgressPlacement, ADialogWiderThanTheScreenStillGetsOneColumn) {
    int x = 0, y = 0;
    ASSERT_TRUE(ProgressDialogPosition(1, 900, 60, 800, 600, &x, &y));
    EXPECT_EQ(x, -100);
    EXPECT_EQ(y, 480);
}
