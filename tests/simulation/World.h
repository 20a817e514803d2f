#pragma once

#include "ModelServer.h"
#include "SimulatedPlatform.h"
#include "TimeTrackerCore.h"
#include "Truth.h"

#include <QHash>
#include <QSet>
#include <QStringList>
#include <QTemporaryDir>
#include <map>
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
    /// How often what came about.
    using Happened = std::map<std::string, int>;

    explicit World(const Options& options);
    ~World();

    /// Lives the whole time. What is wrong, at the first hour at which something is; empty when all is well.
    QStringList run();
    const Happened& happened() const { return happened_; }
    double workedSeconds() const { return truth_.workedSeconds(); }

private:
    struct Seen {
        bool isTracking = false;
        bool isPaused = false;
        bool isIdle = false;
        QUuid session;
        QString project;
        friend bool operator==(const Seen&, const Seen&) = default;
        bool isRunning() const { return isTracking && !isPaused; }
    };
    /// The last seconds before an idle pause, whose fate is open until the session goes on or ends.
    struct Gap {
        double from, to;
    };
    /// A time in which a session ran, by the wall clock at its beginning and by real seconds.
    struct Span {
        QUuid session;
        Date wallBegan;
        double seconds;
        bool isPlain; ///< Ended by a pause or stop of the employee: nothing may be missing of it.
    };
    /// What a ten-minute slot of the company's calendar should hold.
    struct Slot {
        double ran = 0;
        int edges = 0; ///< Beginnings and ends of running in it: each may count a second more or less.
        int touches = 0, events = 0; ///< What was typed and moved while it ran: how often, and how much.
        bool isShort = false; ///< The counters began anew in it, or the clock repeated it: it may hold less.
        Seconds countedUntil = 0; ///< Uptime at which something last ran in it.
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
    void storeSignIn();
    void signIn();
    void sleepMachine(Seconds span);
    void changeSettings();
    void changeCompany();
    void jumpClock();
    void moveClock();
    void startProcess(bool diesAtStart = false);
    void stampPictures();
    void die();
    void endProcess();

    // What that means.
    void runningBegan(bool isRollover);
    void intervalBegan();
    void runningEnded(bool isPlain);
    void countSlots(double to);
    void resolveGap(const QUuid& session, bool goesOn);
    std::optional<double> leaveInterrupted();
    void resumeInterrupted();
    void discardInterrupted();
    bool discards() const;
    QTimeZone companyZone() const;
    QDate companyDate(Date date) const;
    /// Real time of the midnight that begins the company's day `days` after that of `date`.
    double companyMidnight(Date date, int days = 0) const;
    QString slotOf(Date date) const;
    /// With the values in the place of %1, %2 and so on.
    template <typename... Values>
    void complain(QString what, const Values&... values) {
        ((what = what.arg(values)), ...);
        if (complaints_.size() < 10)
            complaints_.append(QString("[%1 s] ").arg(real(), 0, 'f', 1) + what);
    }
    void hear(const QString& logLine);

    // Checks.
    void checkHour();
    void checkHistory(const std::vector<Session>& finished);
    void checkSpans(const std::vector<Session>& finished);
    void checkToday(const std::vector<Session>& all);
    void checkDelivery(const std::vector<Session>& finished, const std::vector<Session>& active);
    void checkPictures();
    void checkSegments();
    void calmDown();
    QStringList sql(const QByteArray& text) const;
    std::vector<Session> storedSessions(const QByteArray& table) const;
    QStringList pictureFiles() const;
    qint64 missingPictures() const;
    bool isClosedElsewhere(const QUuid& session) const {
        return server_.sessions.value(session).takenOver || closedByTakeover_.contains(session);
    }
    /// Its wall times name real seconds, its days are those of one company in one zone.
    bool isTidy() const { return !changesClock_ && !changesZone_ && !changesCompany_; }

    double chance() { return std::uniform_real_distribution<>(0, 1)(random_); }
    double between(double low, double high) { return std::uniform_real_distribution<>(low, high)(random_); }
    bool oneIn(int n) { return std::uniform_int_distribution<>(1, n)(random_) == 1; }

    static const char* const zones[12];
    const Options options_;
    std::mt19937 random_;
    QTemporaryDir folder_;
    SimulatedPlatform platform_;
    ModelServer server_;
    Truth truth_;
    std::unique_ptr<TimeTrackerCore> core_;
    Happened happened_;
    QStringList complaints_;
    /// Sessions of which the program dropped a row for a reason that its log names, by the type of the row.
    QHash<QString, QSet<QUuid>> dropped_;
    int droppedPictures_ = 0;
    qint64 lostPictures_ = 0;      ///< A death fell between the taking and the file.
    QHash<QString, int> attempts_; ///< How often each row failed, as the log tells.
    QSet<QString> stamped_;        ///< Pictures whose files bear the world's time.

    bool changesClock_ = false;
    bool changesZone_ = false;
    bool changesCompany_ = false;
    QTimeZone zone_; ///< The company's, in lives that do not change it.
    double slept_ = 0;
    double jumped_ = 0;
    qint64 jobsUntilDeath_ = -1;
    bool isCommanding_ = false; ///< The employee is pressing something right now.
    bool heardNoWake_ = false;  ///< It is still paused for the sleep, and nothing runs.
    bool isSleepy_ = false;     ///< The machine is about to sleep, or woke this moment.
    Seen seen_;
    double intervalBegan_ = 0;
    double slotsCounted_ = 0; ///< Until when the interval that runs is noted in the slots.
    Date wallBegan_;
    std::optional<double> lastCountedInput_;
    Seconds lastInputUptime_ = 0;
    Seconds idleThreshold_ = 300;
    QHash<QUuid, Gap> gaps_;
    /// Sessions that ran when the process died, and when that was.
    QHash<QUuid, double> diedRunning_;
    std::vector<Span> spans_;
    QHash<QString, Slot> slots_;
    QHash<QUuid, int> events_; ///< What was typed and moved in each session.
    /// Sessions that a take-over closed: their end is reported by the other device. The rule closes whatever
    /// session runs, also when the take-over was of an earlier one.
    QSet<QUuid> closedByTakeover_;
    int seenTakeovers_ = 0;
    /// Sessions that a midnight began while the employee paused: they have no start to report.
    QSet<QUuid> beganPaused_;
    /// Sessions found open and ended by a rule: with their first day, or when they were found.
    QSet<QUuid> endedByRule_;
    double nextHour_ = 3600;
};
