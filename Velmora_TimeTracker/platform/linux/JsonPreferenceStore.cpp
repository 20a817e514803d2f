#include "JsonPreferenceStore.h"

#include "ApplicationFolder.h"
#include "Clock.h"
#include "Log.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

JsonPreferenceStore::JsonPreferenceStore(QString file, Clock& clock)
    : file_(std::move(file)) {
    load(clock);
}

QJsonValue JsonPreferenceStore::value(const QString& key) const {
    const std::lock_guard guard(mutex_);
    return values_.value(key);
}

void JsonPreferenceStore::set(const QString& key, const QJsonValue& value) {
    const std::lock_guard guard(mutex_);
    if (saved_ && values_.contains(key) && values_.value(key) == value)
        return;
    values_.insert(key, value);
    save();
}

void JsonPreferenceStore::remove(const QString& key) {
    const std::lock_guard guard(mutex_);
    if (saved_ && !values_.contains(key))
        return;
    values_.remove(key);
    save();
}

void JsonPreferenceStore::load(Clock& clock) {
    QFile stored(file_);
    if (!stored.exists())
        return;
    stored.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    const QByteArray text = stored.open(QIODevice::ReadOnly) ? stored.readAll() : QByteArray();
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (document.isObject()) {
        values_ = document.object();
        return;
    }
    stored.close();
    const QString stamp = clock.now().toDateTime(QTimeZone::utc()).toString("yyyyMMdd-HHmmss");
    const QString aside = ApplicationFolder::setAside(file_, stamp);
    qCCritical(Log::session, "Preferences cannot be read; kept as %s, starting with none",
               qUtf8Printable(aside));
}

void JsonPreferenceStore::save() {
    ApplicationFolder::create(QFileInfo(file_).absolutePath());
    const QString failure = ApplicationFolder::replaceFile(file_, QJsonDocument(values_).toJson());
    saved_ = failure.isEmpty();
    if (!saved_)
        qCCritical(Log::session, "Preferences cannot be written: %s", qUtf8Printable(failure));
}
