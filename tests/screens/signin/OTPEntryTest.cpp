#include "screens/signin/OTPEntry.h"

#include <gtest/gtest.h>

TEST(OTPEntry, FillsItsBoxes) {
    OTPEntry entry;
    for (const auto& [box, typed, digits, focus] : {
             // A paste fills from the first box, whatever box received it.
             std::tuple{2, "12a-34 56789", "1 2 3 4 5 6", 5},
             {3, "", "1 2 3  5 6", 3},   // an emptied box keeps the focus
             {0, "78", "7 8 3  5 6", 2}, // boxes past a short paste keep their content
             {3, "٣", "7 8 3 3 5 6", 4}, // digits of any script; nothing else that counts as a number
             {4, "½", "7 8 3 3  6", 4},
             {0, "１𞥒", "1 2 3 3  6", 2},
         }) {
        entry.change(box, typed);
        EXPECT_EQ(QStringList(entry.digits.begin(), entry.digits.end()).join(' '), digits);
        EXPECT_EQ(entry.focusedField, focus) << typed;
        EXPECT_EQ(entry.isComplete(), !QString(digits).contains("  "));
    }
}
