#pragma once

#include "ModelServer.h"
#include "Truth.h"
#include "application/TimeTrackerCore.h"
#include "platform/simulated/SimulatedPlatform.h"

#include <QFile>
#include <QHash>
#include <QSet>
#include <QStringList>
#include <QTemporaryDir>
#include <map>
#include <memory>
#include <random>

using namespace Qt::StringLiterals;

struct sqlite3;

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
        bool isAsked = false; ///< Whether to go on.
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
        Date wallBegan;
        double seconds;
        bool isPlain; ///< Ended by a pause or stop of the employee: nothing may be missing of it.
    };
    /// What the world knows of one session.
    struct Known {
        int events = 0;          ///< What was typed and moved in it.
        int unstored = 0;        ///< Those of them that came since the interval began.
        int lost = 0;            ///< Those that a death may have taken.
        std::vector<Span> spans; ///< In lives whose clock jumps.
        std::optional<Gap> gap;
        QSet<QString> dropped;        ///< The types of its rows that were refused for good.
        QHash<QString, int> attempts; ///< By the type of row, as the log tells.
    };
    /// What a ten-minute slot of the company's calendar should hold.
    struct Slot {
        double ran = 0;
        int edges = 0;               ///< Beginnings and ends of running in it: each may count a second more or less.
        int touches = 0, events = 0; ///< What was typed and moved while it ran: how often, and how much.
        double lost = 0;             ///< What deaths may have taken: the seconds since the last write of each.
        Seconds countedUntil = 0;    ///< Uptime at which something last ran in it.
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
    Seconds untilMidnight() const;
    void useItAtMidnight();
    void start();
    void press(double chosen);
    void workInBits();
    void takeOver();
    AuthTokens tokens() const;
    void storeSignIn();
    void signIn();
    Task<> finishSignIn();
    /// Something is pressed, and what comes of it at once is no surprise.
    template <typename Press>
    void command(const Press& press) {
        isCommanding_ = true;
        press();
        observe();
        isCommanding_ = false;
    }
    void sleepMachine(Seconds span);
    void changeSettings();
    void changeCompany();
    void workIntoTheChange();
    void workWithoutKeyring();
    void pressWhileBusy();
    void holdDatabase();
    void releaseDatabase();
    void quit();
    void sleepOrSetClock(Seconds span, bool setsClock);
    void startProcess(bool diesAtStart = false);
    void stampPictures();
    void stamp(QFile& file) const;
    void leaveHalfPicture();
    void die();
    void endProcess();

    // What that means.
    void runningBegan(bool isRollover);
    void midnightPassed();
    void intervalBegan();
    void runningEnded(bool isPlain);
    void noteRunning();
    void moveGap(const QUuid& from, const QUuid& to);
    void resolveGap(const QUuid& session, bool goesOn);
    void leaveInterrupted(bool resumes);
    QDateTime companyTime(Date date) const;
    QDate companyDate(Date date) const { return companyTime(date).date(); }
    /// Real time of the midnight that begins the company's day `days` after that of `date`.
    double companyMidnight(Date date, int days = 0) const;
    QString slotOf(Date date) const;
    /// With the values in the place of %1, %2 and so on.
    template <typename... Values>
    void complain(QString what, const Values&... values) {
        ((what = what.arg(values)), ...);
        if (complaints_.size() < 10)
            complaints_.append(u"[%1 s] "_s.arg(real(), 0, 'f', 1) + what);
    }
    void hear(const QString& logLine);
    void hearAttempt(const QString& row, const QString& type, int attempt);
    QUuid sessionOfRow(const QString& row) const;

    // Checks.
    void checkConfiguration();
    void checkReports();
    void checkHour();
    void checkHistory(const std::vector<Session>& finished);
    void checkSpans(const std::vector<Session>& finished);
    void checkToday(const std::vector<Session>& all);
    void checkDelivery(const std::vector<Session>& all);
    void checkPictures();
    void checkSegments();
    void calmDown();
    QString databaseFile() const { return folder_.filePath("Velmora TimeTracker/timetracker.sqlite"); }
    QStringList sql(const QByteArray& text) const;
    std::vector<Session> storedSessions(const QByteArray& table) const;
    QStringList pictureFiles(const QString& pattern = "*.jpg") const;
    QString pictureFolder() const;
    qint64 missingPictures() const;
    /// Its wall times name real seconds, its days are those of one company in one zone.
    bool isTidy() const { return !changesClock_ && !changesZone_ && !changesCompany_; }

    double chance() { return std::uniform_real_distribution<>(0, 1)(random_); }
    double between(double low, double high) { return std::uniform_real_distribution<>(low, high)(random_); }
    int number(int low, int high) { return std::uniform_int_distribution<>(low, high)(random_); }
    bool oneIn(int n) { return number(1, n) == 1; }

    static constexpr const char* zones[12] = {
        "UTC",          "Europe/Berlin",     "America/New_York", "America/St_Johns",
        "Asia/Kolkata", "Asia/Jakarta",      "Asia/Kathmandu",   "Australia/Lord_Howe",
        "Africa/Cairo", "America/Sao_Paulo", "Pacific/Auckland", "Pacific/Honolulu"};
    Options options_;
    std::mt19937 random_;
    QTemporaryDir folder_;
    SimulatedPlatform platform_;
    ModelServer server_;
    Truth truth_;
    std::unique_ptr<TimeTrackerCore> core_;
    Happened happened_;
    QStringList complaints_;
    QHash<QUuid, Known> known_;
    int droppedPictures_ = 0;
    qint64 lostPictures_ = 0;      ///< A death fell between the taking and the file.
    QHash<QString, int> attempts_; ///< How often each row failed, as the log tells.
    QSet<QString> stamped_;        ///< Pictures whose files bear the world's time.

    const bool changesClock_ = options_.seed % 5 == 4;
    const bool changesZone_ = options_.seed % 7 == 3 && !changesClock_;
    const bool changesCompany_ = options_.seed % 5 == 2;
    int account_ = 0;
    bool isSigningIn_ = false; ///< The program may have no configuration, or not that of `account_`.
    Seconds configuredAt_ = 0; ///< Uptime at which the program last had one, or could not get any.
    int countedFailures_ = 0;  ///< Since the server began to fail, or the program to run.
    Seconds capturedAt_ = 0;   ///< Of the seconds that ran, when a picture was last tried.
    Seconds ran_ = 0;          ///< In intervals that have ended.
    int probes_ = 0;
    Seconds shownToday_ = 0;
    sqlite3* holder_ = nullptr; ///< Keeps the program from writing to its database.
    QTimeZone zone_;            ///< The company's, in lives that do not change it.
    std::optional<int> offset_; ///< The company's from universal time, an hour ago.
    double slept_ = 0;
    double jumped_ = 0;
    qint64 jobsUntilDeath_ = -1;
    int jobsUntilPress_ = -1;   ///< The employee presses something in the middle of what happens.
    bool isCommanding_ = false; ///< The employee is pressing something right now.
    bool heardNoWake_ = false;  ///< It is still paused for the sleep, and nothing runs.
    bool isSleepy_ = false;     ///< The machine is about to sleep, or woke this moment.
    Date fellAsleep_;
    Seen seen_;
    bool discardsIdle_ = true; ///< By the last configuration that the program took over: a session ends by it.
    double intervalBegan_ = 0;
    double watchedSince_ = 0;  ///< When the watch for idleness began.
    bool isContinued_ = false; ///< It began at a midnight, while the program ran.
    double slotsCounted_ = 0;  ///< Until when the interval that runs is noted in the slots.
    Date wallBegan_;
    std::optional<double> lastCountedInput_;
    Seconds lastInputUptime_ = 0;
    Seconds idleThreshold_ = 300;
    QHash<QString, Slot> slots_;
    double nextHour_ = 3600;
};
