#include "screens/design/ThemeManager.h"

#include "platform/simulated/SimulatedStores.h"

#include <gtest/gtest.h>

TEST(ThemeManager, KeepsTheSelectedPaletteForTheNextStart) {
    MemoryPreferenceStore preferences;
    ThemeManager(preferences).select(VRPalette::byID("black"));
    EXPECT_EQ(ThemeManager(preferences).paletteID(), "black");
}
