#include "platform/linux/bus/LibsecretStore.h"

#include "platform/Log.h"

#include <QMap>
#include <QPair>
#include <cstring>
#include <libsecret/secret.h>
#include <type_traits>
#include <utility>

namespace {

using Status = SecretStore::Status;
using WhenLocked = SecretStore::WhenLocked;

template <auto release>
struct Release {
    template <typename T>
    void operator()(T* object) const {
        release(object);
    }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, Release<g_object_unref>>;
using Attributes = std::unique_ptr<GHashTable, Release<g_hash_table_unref>>;
using Schema = std::unique_ptr<SecretSchema, Release<secret_schema_unref>>;
using Value = std::unique_ptr<SecretValue, Release<secret_value_unref>>;

struct Error {
    GError* error = nullptr;
    Error() = default;
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    ~Error() { g_clear_error(&error); }
};

/// Null without a bus. GDBus would exit the process when the bus is lost; that is disabled here.
GObjectPtr<GDBusConnection> sessionBus(GCancellable* cancellable) {
    GObjectPtr<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, nullptr));
    if (bus)
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return bus;
}

/// The Secret Service on the session bus.
class Keyring final : public SecretStore {
public:
    explicit Keyring(GCancellable* cancellable)
        : cancellable_(cancellable)
        , schema_(secret_schema_new("com.velmora.timetracker", SECRET_SCHEMA_NONE, "service",
                                    SECRET_SCHEMA_ATTRIBUTE_STRING, "account", SECRET_SCHEMA_ATTRIBUTE_STRING,
                                    nullptr)) {}

    ReadResult read(const QString& service, const QString& account, WhenLocked whenLocked) override {
        const Found found = find(service, account, whenLocked);
        if (found.status != Status::success)
            return {found.status, {}};
        const Value value(secret_item_get_secret(found.items.front().get()));
        if (!value)
            return {Status::failed, {}};
        gsize size = 0;
        const gchar* bytes = secret_value_get(value.get(), &size);
        return {Status::success, QByteArray(bytes, static_cast<qsizetype>(size))};
    }

    Status remove(const QString& service, const QString& account) override {
        const Found found = find(service, account, WhenLocked::askToUnlock);
        for (const auto& item : found.items) {
            Error error;
            if (!secret_item_delete_sync(item.get(), cancellable_, &error.error))
                return failure(error);
        }
        return found.status;
    }

    Status add(const QString& service, const QString& account, const QByteArray& value) override {
        Error error;
        const Service keyring = connect(error);
        if (!keyring)
            return failure(error);
        const Value secret(secret_value_new(value.constData(), value.size(), "text/plain"));
        if (secret_service_store_sync(keyring.get(), schema_.get(), attributes(service, account).get(),
                                      SECRET_COLLECTION_DEFAULT, "Velmora TimeTracker", secret.get(), cancellable_,
                                      &error.error))
            return Status::success;
        return error.error ? failure(error) : Status::locked; // no error: the user dismissed the prompt
    }

private:
    using Service = GObjectPtr<SecretService>;
    struct Found {
        Status status;
        std::vector<GObjectPtr<SecretItem>> items{}; ///< Not empty, and unlocked, on success.
    };

    Service connect(Error& error) const {
        const auto bus = sessionBus(cancellable_); // which the service then shares
        return Service(secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, cancellable_, &error.error));
    }

    Attributes attributes(const QString& service, const QString& account) const {
        return Attributes(secret_attributes_build(schema_.get(), "service", qUtf8Printable(service), "account",
                                                  qUtf8Printable(account), nullptr));
    }

    /// A locked keyring may hide its items from the search: an empty result does not mean that the item is missing.
    Found find(const QString& service, const QString& account, WhenLocked whenLocked) const {
        Error error;
        const Service keyring = connect(error);
        if (!keyring)
            return {failure(error)};
        Found found = search(keyring.get(), service, account, whenLocked);
        if (found.status != Status::missing)
            return found;
        const GObjectPtr<SecretCollection> collection(secret_collection_for_alias_sync(
            keyring.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, cancellable_, &error.error));
        if (error.error)
            return {failure(error)};
        if (!collection || !secret_collection_get_locked(collection.get()))
            return found;
        if (whenLocked == WhenLocked::giveUp)
            return {Status::locked};
        GList one{collection.get(), nullptr, nullptr};
        if (secret_service_unlock_sync(keyring.get(), &one, cancellable_, nullptr, &error.error) < 1)
            return {error.error ? failure(error) : Status::locked};
        return search(keyring.get(), service, account, whenLocked);
    }

    Found search(SecretService* keyring, const QString& service, const QString& account, WhenLocked whenLocked) const {
        constexpr int always = SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS;
        const int flags = whenLocked == WhenLocked::askToUnlock ? always | SECRET_SEARCH_UNLOCK : always;
        Error error;
        GList* list = secret_service_search_sync(keyring, schema_.get(), attributes(service, account).get(),
                                                 static_cast<SecretSearchFlags>(flags), cancellable_, &error.error);
        if (error.error)
            return {failure(error)};
        Found found{list ? Status::success : Status::missing};
        for (const GList* entry = list; entry; entry = entry->next) {
            auto* item = static_cast<SecretItem*>(entry->data);
            if (secret_item_get_locked(item))
                found.status = Status::locked;
            found.items.emplace_back(item);
        }
        g_list_free(list);
        if (found.status == Status::locked)
            found.items.clear();
        return found;
    }

    /// The status for an error. Drops the connection, so that the next call reconnects to a restarted service.
    static Status failure(const Error& error) {
        if (g_error_matches(error.error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED))
            return Status::locked;
        qCCritical(Log::auth, "The keyring cannot be reached: %s", error.error ? error.error->message : "?");
        secret_service_disconnect();
        return Status::failed;
    }

    GCancellable* const cancellable_;
    const Schema schema_;
};

/// Secrets in the memory of the process.
class ProcessMemory final : public SecretStore {
public:
    ~ProcessMemory() override {
        for (QByteArray& secret : secrets_)
            wipe(secret);
    }

    ReadResult read(const QString& service, const QString& account, WhenLocked) override {
        const std::lock_guard guard(mutex_);
        const auto found = secrets_.constFind({service, account});
        if (found == secrets_.constEnd())
            return {Status::missing, {}};
        return {Status::success, copy(*found)};
    }

    Status remove(const QString& service, const QString& account) override {
        const std::lock_guard guard(mutex_);
        const auto found = secrets_.find({service, account});
        if (found == secrets_.end())
            return Status::missing;
        wipe(*found);
        secrets_.erase(found);
        return Status::success;
    }

    Status add(const QString& service, const QString& account, const QByteArray& value) override {
        const std::lock_guard guard(mutex_);
        QByteArray& secret = secrets_[{service, account}];
        wipe(secret);
        secret = copy(value);
        return Status::success;
    }

private:
    // A deep copy, so that wiping it does not affect shared data.
    static QByteArray copy(const QByteArray& secret) { return {secret.constData(), secret.size()}; }
    static void wipe(QByteArray& secret) { explicit_bzero(secret.data(), static_cast<size_t>(secret.size())); }

    std::mutex mutex_; ///< Guards the secrets.
    QMap<QPair<QString, QString>, QByteArray> secrets_;
};

/// True if the bus reports that the name has no owner and is not activatable. A slow service still counts as present.
bool meansAbsent(const GError* error) {
    if (!error || error->domain != G_DBUS_ERROR)
        return false;
    switch (error->code) {
    case G_DBUS_ERROR_SERVICE_UNKNOWN:
    case G_DBUS_ERROR_NAME_HAS_NO_OWNER:
    case G_DBUS_ERROR_SPAWN_EXEC_FAILED:
    case G_DBUS_ERROR_SPAWN_FORK_FAILED:
    case G_DBUS_ERROR_SPAWN_CHILD_EXITED:
    case G_DBUS_ERROR_SPAWN_CHILD_SIGNALED:
    case G_DBUS_ERROR_SPAWN_FAILED:
        return true;
    default:
        return false;
    }
}

/// True if the session bus has a Secret Service; `G_DBUS_CALL_FLAGS_NONE` starts it if necessary.
bool hasSecretService(GCancellable* cancellable, GDBusCallFlags flags) {
    const auto bus = sessionBus(cancellable);
    if (g_cancellable_is_cancelled(cancellable))
        return true; // it was not asked
    if (!bus)
        return false;
    Error error;
    GVariant* reply = g_dbus_connection_call_sync(bus.get(), "org.freedesktop.secrets", "/org/freedesktop/secrets",
                                                  "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr, flags, -1,
                                                  cancellable, &error.error);
    if (reply)
        g_variant_unref(reply);
    return !meansAbsent(error.error);
}

} // namespace

LibsecretStore::LibsecretStore()
    : cancellable_(g_cancellable_new(), g_object_unref)
    , memory_(std::make_unique<ProcessMemory>()) {}

LibsecretStore::~LibsecretStore() = default;

SecretStore* LibsecretStore::keyring() {
    const std::lock_guard guard(choice_);
    const auto flags = std::exchange(startRequested_, true) ? G_DBUS_CALL_FLAGS_NO_AUTO_START : G_DBUS_CALL_FLAGS_NONE;
    if (!keyring_ && hasSecretService(cancellable_.get(), flags))
        keyring_ = std::make_unique<Keyring>(cancellable_.get());
    return keyring_.get();
}

SecretStore::ReadResult LibsecretStore::read(const QString& service, const QString& account, WhenLocked whenLocked) {
    SecretStore* const store = keyring();
    if (store)
        moveInto(*store, service, account);
    const ReadResult held = memory_->read(service, account, whenLocked);
    if (held.status == Status::success)
        return held;
    return store ? store->read(service, account, whenLocked) : ReadResult{Status::absent, {}};
}

void LibsecretStore::moveInto(SecretStore& store, const QString& service, const QString& account) {
    if (memory_->read(service, account, WhenLocked::giveUp).status != Status::success)
        return;
    const std::lock_guard guard(writing_);
    const ReadResult held = memory_->read(service, account, WhenLocked::giveUp);
    const Status stored = store.read(service, account, WhenLocked::giveUp).status;
    const bool isUnlocked = stored == Status::success || stored == Status::missing;
    if (held.status != Status::success || !isUnlocked)
        return;
    store.remove(service, account);
    if (store.add(service, account, held.value) == Status::success)
        memory_->remove(service, account);
}

SecretStore::Status LibsecretStore::remove(const QString& service, const QString& account) {
    const std::lock_guard guard(writing_);
    const Status forgotten = memory_->remove(service, account);
    SecretStore* const store = keyring();
    return store ? store->remove(service, account) : forgotten;
}

SecretStore::Status LibsecretStore::add(const QString& service, const QString& account, const QByteArray& value) {
    const std::lock_guard guard(writing_);
    if (SecretStore* const store = keyring())
        return store->add(service, account, value);
    qCCritical(Log::auth, "This session has no Secret Service: the sign-in is kept in memory only");
    return memory_->add(service, account, value);
}

void LibsecretStore::cancel() {
    g_cancellable_cancel(cancellable_.get());
}
