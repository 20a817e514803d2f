#pragma once

#include "ModelServer.h"
#include "SimulatedPlatform.h"
#include "TimeTrackerCore.h"
#include "Truth.h"

#include <QSet>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>
#include <random>

/// A fault that the harness plants on purpose, to show that it would be noticed.
enum class PlantedFault { none, lostMark, doubleCountAtMidnight, rowDeletedBeforeAnswer };

/// One employee, one machine, one server, and chance from a seed: works, types, goes idle, sleeps the
/// machine, loses the network, changes company, clock and zone; the process dies between any two steps and
/// starts again on the same files. Writes down what really happened, and compares.
class World {
public:
    struct Options {
        quint32 seed = 1;
        double days = 1.5;
        PlantedFault fault = PlantedFault::none;
    };
    struct Happened {
        int deaths = 0, sleeps = 0, idlePauses = 0, midnights = 0, starts = 0, takeovers = 0, clockJumps = 0,
            zoneChanges = 0, companyChanges = 0, serverFaults = 0;
        double workedSeconds = 0;
        Happened& operator+=(const Happened& other);
    };

    explicit World(const Options& options);
    ~World();

    /// Lives the whole time. What is wrong, at the first hour at which something is; empty when all is well.
    QStringList run();
    const Happened& happened() const { return happened_; }

private:
    struct Seen {
        bool isTracking = false;
        bool isPaused = false;
        bool isIdle = false;
        QUuid session;
        friend bool operator==(const Seen&, const Seen&) = default;
        bool isRunning() const { return isTracking && !isPaused; }
    };
    /// The last seconds before an idle pause, whose fate is open until the session goes on or ends.
    struct Gap {
        double from, to;
    };

    // Time.
    double real() const { return platform_.timeline.uptime() + slept_; }
    void pass(Seconds span);
    void observe();

    // What the employee and the world do.
    void act();
    void workFor(Seconds span, Seconds between);
    void touch();
    void useTheProgram();
    void sleepMachine(Seconds span);
    void changeSettings();
    void changeCompany();
    void jumpClock();
    void startProcess();
    void die();

    // What that means.
    void runningBegan(bool isRollover);
    void runningEnded();
    void resolveGap(bool goesOn);
    bool discards() const;
    QString companyDate(Date date) const;
    QTimeZone companyZone() const;
    void complain(const QString& what);
    void hear(const QString& logLine);

    // Checks.
    void checkHour();
    void calmDown();
    void checkDelivery();
    QString databaseFile() const;
    std::vector<Session> storedSessions(const char* table) const;
    qint64 count(const char* sql) const;

    double chance() { return std::uniform_real_distribution<>(0, 1)(random_); }
    double between(double low, double high) { return std::uniform_real_distribution<>(low, high)(random_); }
    bool oneIn(int n) { return std::uniform_int_distribution<>(1, n)(random_) == 1; }

    const Options options_;
    std::mt19937 random_;
    QTemporaryDir folder_;
    SimulatedPlatform platform_;
    ModelServer server_;
    Truth truth_;
    std::unique_ptr<TimeTrackerCore> core_;
    Happened happened_;
    QStringList complaints_;
    /// Rows that the program gave up after six failures, by type, as its log told.
    QHash<QString, int> discarded_;

    bool changesClock_ = false;
    bool changesZone_ = false;
    bool changesCompany_ = false;
    double slept_ = 0;
    double jumped_ = 0;
    qint64 jobsUntilDeath_ = -1;
    bool isCommanding_ = false; ///< The employee is pressing something right now.
    bool isSleepy_ = false;     ///< The machine is about to sleep, or woke this moment.
    Seen seen_;
    double intervalBegan_ = 0;
    std::optional<double> lastCountedInput_;
    Seconds lastInputUptime_ = 0;
    Seconds idleThreshold_ = 300;
    std::optional<Gap> gap_;
    std::optional<double> diedRunningAt_;
    double ranSeconds_ =
        0; ///< All seconds of running sessions, those included that a rule took out afterwards.
    /// Sessions that a take-over closed: their end is reported by the other device. The rule closes whatever
    /// session runs, also when the take-over was of an earlier one.
    QSet<QUuid> closedByTakeover_;
    int seenTakeovers_ = 0;
    double nextHour_ = 3600;
};
