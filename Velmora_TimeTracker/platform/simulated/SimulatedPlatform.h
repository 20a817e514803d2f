#pragma once

#include "platform/Platform.h"
#include "platform/simulated/SimulatedDisplays.h"
#include "platform/simulated/SimulatedInput.h"
#include "platform/simulated/SimulatedSession.h"
#include "platform/simulated/SimulatedStores.h"
#include "platform/simulated/Timeline.h"

#include <QHash>
#include <deque>

using namespace Qt::StringLiterals;

class SimulatedPower : public PowerEvents {
public:
    void start(Handlers handlers) override { handlers_ = std::move(handlers); }
    void willSleep() const;
    void didWake() const;
    void willTerminate() const;
    /// The process died: removes the handlers.
    void forget() { handlers_ = {}; }

private:
    Handlers handlers_;
};

class SimulatedPath : public PathMonitor {
public:
    void start(std::function<void(bool)> onUpdate) override;
    void set(bool online);
    void forget() { onUpdate_ = nullptr; }

private:
    bool online_ = true;
    std::function<void(bool)> onUpdate_;
};

/// Records what the program showed. An alert is answered by a queued answer, or by `answer`.
class SimulatedDesktop : public Desktop {
public:
    std::vector<Alert> alerts;
    std::deque<int> queuedAnswers;
    int activations = 0;
    int windowsRaised = 0;
    bool hasWindow = false;
    std::vector<QUrl> opened;
    bool terminated = false;

    void present(const Alert& alert, std::function<void(int)> done) override;
    void withdraw(const QString& identifier) override;
    void answer(int button);
    std::size_t openAlerts() const { return waiting_.size(); }
    void activate() override { ++activations; }
    bool bringWindowToFront() override;
    void open(const QUrl& url) override { opened.push_back(url); }
    void terminate() override { terminated = true; }
    void forget() { waiting_.clear(); }

private:
    struct Open {
        QString identifier;
        std::function<void(int)> done;
    };
    std::deque<Open> waiting_;
};

class SimulatedInformation : public ApplicationInfo {
public:
    QHash<QString, QString> values = {{u"CFBundleShortVersionString"_s, u"1.0.0"_s},
                                      {u"CFBundleVersion"_s, u"1"_s},
                                      {u"CFBundleName"_s, u"Velmora TimeTracker"_s}};
    QString supportDirectory;

    std::optional<QString> information(const QString& key) const override;
    QString applicationSupportDirectory() const override { return supportDirectory; }
};

/// A simulated machine. Preferences, secrets and the files in `supportDirectory`, which a real machine keeps on disk,
/// outlive `processDied`.
class SimulatedPlatform {
public:
    explicit SimulatedPlatform(const QString& supportDirectory, quint32 seed = 1,
                               Date start = Date::since1970(1'700'000'000), const QByteArray& zone = "UTC");

    Timeline timeline;
    SimulatedClock clock{timeline};
    SimulatedRandom random;
    SimulatedExecutor main{timeline, true};
    SimulatedExecutor worker{timeline};
    SimulatedExecutor screenCapture{timeline};
    SimulatedExecutor utility{timeline};
    SimulatedExecutor idle{timeline};
    SimulatedExecutor watchdog{timeline};
    SimulatedExecutor userInitiated{timeline};
    SimulatedExecutor network{timeline};
    SimulatedURLSession urlSession{timeline, network};
    MemoryPreferenceStore preferences;
    MemorySecretStore secrets;
    SimulatedInput input{timeline};
    SimulatedDisplays displays;
    SimulatedPermissions permissions;
    SimulatedPower power;
    SimulatedPath path;
    SimulatedDesktop desktop;
    SimulatedInformation information;

    Platform platform();

    /// Call it after destroying the program's objects: drops the pending work of the process.
    void processDied();
};
