#pragma once

#include "PreferenceStore.h"

#include <QJsonObject>
#include <mutex>

class Clock;

/// Preferences in one JSON file, mode 0600 in a folder of mode 0700, replaced as a whole at each change.
///
/// The program runs once per user, so this object is the file's only writer and reads it once: reads come
/// from memory. A value whose write failed stays valid in memory, and goes to the file with the next write
/// that succeeds. A file that cannot be read is set aside and a new one begun.
class JsonPreferenceStore final : public PreferenceStore {
public:
    JsonPreferenceStore(QString file, Clock& clock);

    QJsonValue value(const QString& key) const override;
    void set(const QString& key, const QJsonValue& value) override;
    void remove(const QString& key) override;

private:
    void load(Clock& clock);
    void save();

    const QString file_;
    mutable std::mutex mutex_; ///< Guards all below.
    QJsonObject values_;
    bool saved_ = true; ///< The file holds what `values_` holds.
};
