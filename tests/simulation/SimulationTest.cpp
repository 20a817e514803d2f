#include "World.h"

#include <gtest/gtest.h>

namespace {

QByteArray replay(quint32 seed) {
    return QStringLiteral("replay it with: scripts/simulate --first %1 --seeds 1 --days 1.5")
        .arg(seed)
        .toUtf8();
}

class Seeds : public testing::TestWithParam<quint32> {};

} // namespace

TEST_P(Seeds, aDayAndAHalfHoldsEveryInvariant) {
    World world({.seed = GetParam()});
    const QStringList faults = world.run();
    EXPECT_TRUE(faults.isEmpty()) << faults.join('\n').toStdString() << '\n'
                                  << replay(GetParam()).constData();
}

#ifndef VELMORA_LIVES
#define VELMORA_LIVES 120U
#endif
INSTANTIATE_TEST_SUITE_P(Life, Seeds, testing::Range(1U, VELMORA_LIVES + 1));

/// A harness that cannot fail proves nothing: each planted fault must be seen within a few lives.
TEST(Planted, faultsAreCaught) {
    const struct {
        PlantedFault fault;
        const char* shows;
    } cases[] = {{PlantedFault::lostMark, "L: lost"},
                 {PlantedFault::doubleCountAtMidnight, "B: billed twice"},
                 {PlantedFault::rowDeletedBeforeAnswer, "D: "}};
    for (const auto& planted : cases) {
        bool caught = false;
        for (quint32 seed = 1; seed <= 20 && !caught; ++seed) {
            World world({.seed = seed, .fault = planted.fault});
            caught = !world.run().filter(QLatin1String(planted.shows)).isEmpty();
        }
        EXPECT_TRUE(caught) << planted.shows;
    }
}

/// And it must have met what it claims to survive.
TEST(Campaign, meetsWhatItClaimsToSurvive) {
    World::Happened all;
    for (quint32 seed = 1; seed <= 24; ++seed) {
        World world({.seed = seed});
        world.run();
        const auto& one = world.happened();
        all.deaths += one.deaths;
        all.sleeps += one.sleeps;
        all.idlePauses += one.idlePauses;
        all.midnights += one.midnights;
        all.takeovers += one.takeovers;
        all.clockJumps += one.clockJumps;
        all.zoneChanges += one.zoneChanges;
        all.companyChanges += one.companyChanges;
        all.serverFaults += one.serverFaults;
        all.workedSeconds += one.workedSeconds;
    }
    for (const int count : {all.deaths, all.sleeps, all.idlePauses, all.midnights, all.takeovers,
                            all.clockJumps, all.zoneChanges, all.companyChanges, all.serverFaults})
        EXPECT_GT(count, 3);
    EXPECT_GT(all.workedSeconds, 24 * 3600);
}
