#pragma once

#include <QObject>
#include <QString>
#include <optional>

class AppStateManager;
class Desktop;

/// The screen that blocks a program too old for the backend. Main thread.
class ForcedUpdateModel : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        const AppStateManager& appState;
        Desktop& desktop;
    };
    explicit ForcedUpdateModel(const Dependencies& dependencies);

    std::optional<QString> latestVersion() const;
    bool hasDownload() const;
    void openDownload();

Q_SIGNALS:
    void changed();

private:
    const Dependencies deps_;
};
