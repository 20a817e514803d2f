#pragma once

#include "platform/PreferenceStore.h"

#include <QHash>
#include <QJsonObject>
#include <mutex>

class Clock;

/// Preferences in one JSON file, mode 0600 in a folder of mode 0700, replaced as a whole at each change.
///
/// The program runs once per user, so this object is the file's only writer and reads it once: reads come
/// from memory. A value whose write failed stays valid in memory, and goes to the file with the next write
/// that succeeds. A file whose content makes no sense is set aside and a new one begun. A file that exists but
/// cannot be read is left as it is: changes stay in memory, each tries to read the file again, and they are
/// merged into what it then holds.
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
    /// The keys that were set or removed before the file could be read; absent once it was.
    std::optional<QHash<QString, Origin>> unmerged_ = QHash<QString, Origin>();
    bool saved_ = true; ///< The file holds what `values_` holds.
};
