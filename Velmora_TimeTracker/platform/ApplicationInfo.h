#pragma once

#include <QString>
#include <optional>

/// What is compiled into the program, and where it may keep files.
class ApplicationInfo {
public:
    virtual ~ApplicationInfo() = default;

    /// Information by key: "APIBaseURL", "CFBundleShortVersionString", "CFBundleVersion", "CFBundleName".
    virtual std::optional<QString> information(const QString& key) const = 0;

    /// The user's folder for application data, without a trailing slash; the program's own folder
    /// "Velmora TimeTracker" lies in it.
    virtual QString applicationSupportDirectory() const = 0;
};
