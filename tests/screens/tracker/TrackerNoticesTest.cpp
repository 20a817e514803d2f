#include "screens/tracker/TrackerNotices.h"

#include "tests/screens/ScreensFixture.h"

using TrackerNotices = ScreensFixture;

TEST_F(TrackerNotices, AreOneLineForEachSource) {
    const std::pair<NoticeSources, std::vector<Notice>> cases[] = {
        {{}, {}},
        {{"Not saved.", 1, "500", 1, "No settings."},
         {{"Not saved.", {}, {}},
          {"1 session is not accepted by the server yet", "500", {}},
          {"1 picture was removed before it could be sent: too many are waiting.", {}, {}},
          {"No settings.", {}, "Try again"}}},
        {{{}, 2, {}, 3, {}},
         {{"2 sessions are not accepted by the server yet", {}, {}},
          {"3 pictures were removed before they could be sent: too many are waiting.", {}, {}}}},
    };
    for (const auto& [sources, notices] : cases)
        EXPECT_EQ(trackerNotices(sources), notices);
}

TEST_F(TrackerNotices, SayThatTheConfigurationIsMissingUntilTryAgainFetchesIt) {
    world.status = 500;
    QFile::remove(world.core->remoteConfig.fileURL());
    relaunch();
    inEveryLook("#trackerNotice1");
    EXPECT_FALSE(control(*shown, "#startTracking")->isEnabled());
    press("#trackerNoticeAction1");
    world.tick(1);
    EXPECT_TRUE(control(*shown, "#trackerNotice1"));
    world.status = 200;
    press("#trackerNoticeAction1");
    world.tick(1);
    EXPECT_FALSE(control(*shown, "#trackerNotice1"));
    EXPECT_TRUE(control(*shown, "#startTracking")->isEnabled());
}
