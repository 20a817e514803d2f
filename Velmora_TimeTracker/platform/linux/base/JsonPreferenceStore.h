#pragma once

#include "platform/PreferenceStore.h"

#include <QHash>
#include <QJsonObject>
#include <mutex>

class Clock;

/// Preferences in one JSON file, mode 0600 in a folder of mode 0700, rewritten at each change.
///
/// The program runs once per user, so this object is the file's only writer and reads it once; later reads come from
/// memory. A value whose write failed is kept in memory and written with the next successful write. A file with
/// invalid content is renamed and a new one created. A file that exists but cannot be read is not changed: changes
/// stay in memory, each one retries the read, and they are merged into its content.
class JsonPreferenceStore final : public PreferenceStore {
public:
    JsonPreferenceStore(QString file, const Clock& clock);

    QJsonValue value(const QString& key) const override;
    void set(const QString& key, const QJsonValue& value) override;
    void remove(const QString& key) override;
    void setDefault(const QString& key, const QJsonValue& value) override;

private:
    enum class Origin { user, program };
    void change(const QString& key, const QJsonValue& value, Origin origin);
    void load();
    QJsonObject parsed(const QByteArray& text) const;
    void save();

    const QString file_;
    const Clock& clock_;
    mutable std::mutex mutex_; ///< Guards all below.
    QJsonObject values_;
    /// Keys set or removed before the file could be read; absent once it was read.
    std::optional<QHash<QString, Origin>> unmerged_ = QHash<QString, Origin>();
    bool saved_ = true; ///< True if the file matches `values_`.
};
