#pragma once

#include <QString>
#include <optional>

/// Build information of the program, and its data folder.
class ApplicationInfo {
public:
    virtual ~ApplicationInfo() = default;

    /// Information by key: "APIBaseURL", "CFBundleShortVersionString", "CFBundleVersion", "CFBundleName".
    virtual std::optional<QString> information(const QString& key) const = 0;

    /// The user's folder for application data, without a trailing slash; contains the program's folder "Velmora
    /// TimeTracker".
    virtual QString applicationSupportDirectory() const = 0;
};
