#pragma once

#include "platform/ApplicationInfo.h"

/// Values of the build, and the XDG base directories.
class LinuxApplicationInfo final : public ApplicationInfo {
public:
    std::optional<QString> information(const QString& key) const override;
    /// $XDG_DATA_HOME, by default ~/.local/share.
    QString applicationSupportDirectory() const override;
    /// The program's own folder below $XDG_CONFIG_HOME (by default ~/.config), without a trailing slash.
    QString configurationFolder() const;
    /// Name and version, as sent in the header User-Agent.
    static QString userAgent();
};
