#include "platform/linux/base/JsonPreferenceStore.h"

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/PrivateFiles.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

JsonPreferenceStore::JsonPreferenceStore(QString file, const Clock& clock)
    : file_(std::move(file))
    , clock_(clock) {
    load();
}

QJsonValue JsonPreferenceStore::value(const QString& key) const {
    const std::lock_guard guard(mutex_);
    return values_.value(key);
}

void JsonPreferenceStore::set(const QString& key, const QJsonValue& value) {
    change(key, value, Origin::user);
}

void JsonPreferenceStore::setDefault(const QString& key, const QJsonValue& value) {
    change(key, value, Origin::program);
}

void JsonPreferenceStore::remove(const QString& key) {
    change(key, QJsonValue::Undefined, Origin::user);
}

void JsonPreferenceStore::change(const QString& key, const QJsonValue& value, Origin origin) {
    const std::lock_guard guard(mutex_);
    if (saved_ && values_.value(key) == value)
        return;
    values_.insert(key, value); // an undefined value removes the key
    if (unmerged_)
        unmerged_->insert(key, origin);
    save();
}

void JsonPreferenceStore::load() {
    QFile::setPermissions(file_, QFile::ReadOwner | QFile::WriteOwner);
    const auto stored = PrivateFiles::readFile(file_);
    if (!stored.failure.isEmpty()) {
        qCCritical(Log::session, "Preferences cannot be read, changes are kept in memory: %s",
                   qUtf8Printable(stored.failure));
        return;
    }
    QJsonObject merged = stored.text ? parsed(*stored.text) : QJsonObject();
    for (const auto& [key, origin] : unmerged_->asKeyValueRange())
        if (origin == Origin::user || !merged.contains(key))
            merged.insert(key, values_.value(key));
    values_ = merged;
    unmerged_.reset();
}

/// The values in `text`. If it is invalid, renames the file and returns none.
QJsonObject JsonPreferenceStore::parsed(const QByteArray& text) const {
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (document.isObject())
        return document.object();
    const QString stamp = clock_.now().toDateTime(QTimeZone::utc()).toString("yyyyMMdd-HHmmss");
    const QString aside = PrivateFiles::setAside(file_, stamp);
    qCCritical(Log::session, "Preferences are invalid; renamed to %s, starting with none", qUtf8Printable(aside));
    return {};
}

void JsonPreferenceStore::save() {
    saved_ = false;
    if (unmerged_)
        load();
    if (unmerged_)
        return;
    PrivateFiles::create(QFileInfo(file_).absolutePath());
    const QString failure = PrivateFiles::replaceFile(file_, QJsonDocument(values_).toJson());
    saved_ = failure.isEmpty();
    if (!saved_)
        qCCritical(Log::session, "Preferences cannot be written: %s", qUtf8Printable(failure));
}
