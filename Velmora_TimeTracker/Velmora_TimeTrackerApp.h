#pragma once

#include <memory>

class SingleInstance;

/// The composition root: everything that the program consists of, built once in boot order and handed by
/// reference to those that use it. Lives on the main thread from after the QApplication to the end of the
/// process.
class Velmora_TimeTrackerApp {
public:
    explicit Velmora_TimeTrackerApp(SingleInstance& instance);
    ~Velmora_TimeTrackerApp();
    Velmora_TimeTrackerApp(const Velmora_TimeTrackerApp&) = delete;
    Velmora_TimeTrackerApp& operator=(const Velmora_TimeTrackerApp&) = delete;

private:
    struct Parts;
    const std::unique_ptr<Parts> parts_;
};
