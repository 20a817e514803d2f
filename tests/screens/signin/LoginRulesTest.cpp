#include "screens/signin/LoginRules.h"

#include <gtest/gtest.h>

using Text = std::optional<QString>;

TEST(LoginRules, NameWhatIsWrong) {
    const char* badEmail = "Invalid email format.";
    const char* shortPassword = "Password must be at least 4 characters.";
    for (const auto& [email, password, whileTyping, atThePress] :
         {std::tuple<const char*, const char*, Text, Text>{"", "", {}, "Email cannot be empty."},
          {"ann@acme.c", "abc", badEmail, badEmail},
          {"ann@acme.com", "", {}, "Password cannot be empty."},
          {"ann@acme.com", "👩👩👧", shortPassword, shortPassword}, // characters, not code units
          {"A.N+n_1%-@SUB.acme-x.COM", "    ", {}, {}}}) {
        EXPECT_EQ(LoginRules::clientValidationMessage(email, password), whileTyping) << email;
        EXPECT_EQ(LoginRules::validationError(email, password), atThePress) << email;
    }
}
