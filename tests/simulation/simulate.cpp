// Lives many simulated lives and reports how fast, and what was wrong.

#include "World.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <cstdio>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({{"seeds", "How many lives.", "N", "100"},
                       {"first", "The first seed.", "S", "1"},
                       {"days", "The length of each life.", "D", "1.5"},
                       {"stop-at-first", "End with the first life that fails."}});
    parser.process(application);
    const int seeds = parser.value("seeds").toInt();
    const quint32 first = parser.value("first").toUInt();
    const double days = parser.value("days").toDouble();

    if (seeds <= 0 || !(days > 0)) {
        std::fputs("--seeds and --days take numbers above zero\n", stderr);
        return 2;
    }

    QElapsedTimer clock;
    clock.start();
    int failed = 0;
    double worked = 0;
    const bool stopsAtFirst = parser.isSet("stop-at-first");
    for (int index = 0; index < seeds && !(stopsAtFirst && failed > 0); ++index) {
        const quint32 seed = first + static_cast<quint32>(index);
        World world({.seed = seed, .days = days});
        const QStringList faults = world.run();
        worked += world.workedSeconds();
        if (!faults.isEmpty()) {
            ++failed;
            std::printf("\nseed %u:\n  %s\nreplay: scripts/simulate --first %u --seeds 1 --days %g\n", seed,
                        qUtf8Printable(faults.join("\n  ")), seed, days);
        }
        if (seeds <= 20 || index % 20 == 19) {
            const double seconds = static_cast<double>(clock.elapsed()) / 1000;
            std::printf("%d of %d lives, %d failed, %.1f h worked, %.1f s, %.1f simulated days a second\n", index + 1,
                        seeds, failed, worked / 3600, seconds, days * (index + 1) / seconds);
            std::fflush(stdout);
        }
    }
    return failed == 0 ? 0 : 1;
}
