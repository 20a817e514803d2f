#include "shell/window/QtDesktop.h"

#include <QUrl>
#include <gtest/gtest.h>

TEST(QtDesktop, OpensOnlyWebAddresses) {
    for (const char* address : {"file:///etc/passwd", "javascript:alert(1)", "/bin/sh", "http:///etc/passwd"})
        EXPECT_FALSE(QtDesktop::mayOpen(QUrl(address))) << address;
    EXPECT_TRUE(QtDesktop::mayOpen(QUrl("https://acme.test/get?a=b")));
}
