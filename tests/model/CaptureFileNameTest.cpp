#include "model/CaptureFileName.h"

#include <gtest/gtest.h>

namespace {

const QUuid session("0A1B2C3D-0000-4000-8000-000000000007");
const QString prefix = "0A1B2C3D-0000-4000-8000-000000000007_";

QString sentName(const QString& name) {
    return CaptureFileName::normalizedScreenshotUploadFileName(name, session, QTimeZone("Asia/Ho_Chi_Minh"));
}

TEST(CaptureFileName, ReadsWhatItWrites) {
    const QString token = CaptureFileName::timestampToken(Date::since1970(1'700'000'000), QTimeZone::utc());
    const QString name = CaptureFileName::format(session, token, 1);
    EXPECT_EQ(name, prefix + "2023-11-14T22-13-20Z_1.jpg");
    EXPECT_EQ(CaptureFileName::sessionOf(name), session);
    EXPECT_TRUE(CaptureFileName::isOfSession(name, session) && CaptureFileName::isPicture(name));
    EXPECT_TRUE(CaptureFileName::isTemporary(name + ".a1B2c3") && !CaptureFileName::isPicture(name + ".a1B2c3"));
}

TEST(CaptureFileName, NamesTheCaptureTimeInTheZoneOfTheCompany) {
    for (const char* name :
         {"2025-03-14T02-30-00Z_0.jpg", "20250314T093000+0700_0.jpg", "2025-03-14T04-30-00+02:00_0.jpg"})
        EXPECT_EQ(sentName(prefix + name), prefix + "2025-03-14T09-30-00+07-00_0.jpg") << name;
}

TEST(CaptureFileName, KeepsANameWithoutAReadableTime) {
    // In the first, the sign that is found is the one inside the offset.
    for (const char* name : {"2025-03-14T11-30-00+09-00_0.jpg", "2025-03-14T02-30-00Z.jpg", "yesterday_0.jpg"})
        EXPECT_EQ(sentName(prefix + name), prefix + name);
}

} // namespace
