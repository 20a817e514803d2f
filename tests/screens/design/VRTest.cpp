#include "screens/design/VR.h"

#include <gtest/gtest.h>

TEST(VR, MakesForeignTextSafeToShow) {
    const QString family = QString::fromUtf8("👩\u200D👧 مشروع");
    EXPECT_EQ(VR::displayText(family), family);
    EXPECT_EQ(VR::displayText(QString::fromUtf8("a\tb\r\nevil\u202Egpj\u2066\u2028c")), "a b evilgpj c");
    EXPECT_EQ(VR::displayText("a\nb", true), "a\nb");
    EXPECT_EQ(VR::shortName(QString(10000, 'W'), 40).size(), 40);
    EXPECT_FALSE(VR::tooltip("<img src='file:///etc/passwd'>").contains("<img"));
}
