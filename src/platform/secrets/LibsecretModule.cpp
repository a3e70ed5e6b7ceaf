// The Secret Service through libsecret, in a module of its own: libsecret brings GIO and its
// crypto libraries, some megabytes that the tray would otherwise hold from start to quit.

#include "SecretStore.h"

#include <QMutex>
#include <QMutexLocker>

#include <libsecret/secret.h>

#include <memory>
#include <utility>

namespace {

template <auto release> struct Releaser
{
    template <typename T> void operator()(T *pointer) const { release(pointer); }
};
template <typename T, auto release> using Owned = std::unique_ptr<T, Releaser<release>>;

using Service = Owned<SecretService, g_object_unref>;
using Attributes = Owned<GHashTable, g_hash_table_unref>;
using Value = Owned<SecretValue, secret_value_unref>;

void freeItems(GList *items)
{
    g_list_free_full(items, g_object_unref);
}
using Items = Owned<GList, freeItems>;

// The out-parameter of a GLib call, freed with the scope.
class GlibError
{
public:
    GlibError() = default;
    GlibError(const GlibError &) = delete;
    GlibError &operator=(const GlibError &) = delete;
    ~GlibError() { g_clear_error(&m_error); }

    GError **out() { return &m_error; }
    const GError *get() const { return m_error; }
    explicit operator bool() const { return m_error != nullptr; }

private:
    GError *m_error = nullptr;
};

// The values are bytes whose meaning only the caller knows (JSON, a userhash). A service may keep
// text/plain secrets as text and re-encode what is not UTF-8; libsecret's password calls also stop
// at the first zero byte. So every value goes in as an octet stream with an explicit length.
constexpr char contentType[] = "application/octet-stream";

// Serialises look-up-then-add, so two threads writing one account cannot both add an item.
QMutex writeLock;

QString noBusMessage()
{
    return QStringLiteral("No Secret Service can be reached: there is no D-Bus session bus.");
}

QString noServiceMessage()
{
    return QStringLiteral("No Secret Service is running on the session bus (org.freedesktop.secrets).");
}

const SecretSchema *schema()
{
    // Our own schema name, matched on the attributes alone: an item stored by secret-tool carries
    // xdg:schema org.freedesktop.Secret.Generic and must still be found and replaced.
    static const SecretSchema definition = [] {
        SecretSchema s{};
        s.name = "com.vostrink.qorvel.Secret";
        s.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
        s.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        s.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return s;
    }();
    return &definition;
}

Error failureFrom(const GError *error)
{
    // The bus answers at once when nothing owns the name and nothing can be started for it; GLib's
    // text for that ("The name ... was not provided by any .service files") means nothing to a user.
    const bool serviceMissing = error->domain == G_DBUS_ERROR
        && (error->code == G_DBUS_ERROR_SERVICE_UNKNOWN || error->code == G_DBUS_ERROR_NAME_HAS_NO_OWNER);
    return SecretStore::failure(error->code, serviceMissing ? noServiceMessage() : QString::fromUtf8(error->message));
}

Result<Service> openService()
{
    GlibError error;
    // Connecting first tells "no bus" apart from "no service": libsecret reports a missing bus as a
    // bare I/O error.
    const Owned<GDBusConnection, g_object_unref> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, error.out()));
    if (!bus)
        return SecretStore::failure(error.get()->code, noBusMessage());
    // GLib's shared connection would otherwise end the whole process when the bus goes away.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);

    // A new proxy for every call. libsecret's shared one stays bound to the unique name of the
    // daemon that answered first (nothing runs its main context to follow the owner), so after a
    // keyring restart it would fail until Qorvel restarts too.
    Service service(secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_NONE, nullptr, error.out()));
    if (!service)
        return failureFrom(error.get());
    return service;
}

Attributes attributesFor(const QString &service, const QString &account)
{
    const QByteArray serviceText = service.toUtf8();
    const QByteArray accountText = account.toUtf8();
    return Attributes(secret_attributes_build(
        schema(), "service", serviceText.constData(), "account", accountText.constData(), nullptr));
}

} // namespace

// Unmangled so the loader finds them by name; the loader is built from the same sources, so the
// C++ types on both sides agree.
// NOLINTNEXTLINE(clang-diagnostic-return-type-c-linkage)
extern "C" __attribute__((visibility("default"))) Result<std::optional<QByteArray>> qorvelSecretRead(
    const QString &storeService, const QString &account)
{
    const Result<Service> service = openService();
    if (!service)
        return service.error();

    GlibError error;
    const Attributes attributes = attributesFor(storeService, account);
    const Value secret(secret_service_lookup_sync(service->get(), schema(), attributes.get(), nullptr, error.out()));
    if (error)
        return failureFrom(error.get());
    if (!secret)
        return std::optional<QByteArray>();
    gsize length = 0;
    const gchar *bytes = secret_value_get(secret.get(), &length);
    return std::optional<QByteArray>(QByteArray(bytes, qsizetype(length)));
}

// NOLINTNEXTLINE(clang-diagnostic-return-type-c-linkage)
extern "C" __attribute__((visibility("default"))) Result<void> qorvelSecretWrite(
    const QString &storeService, const std::optional<QByteArray> &value, const QString &account)
{
    const Result<Service> service = openService();
    if (!service)
        return service.error();

    GlibError error;
    const Attributes attributes = attributesFor(storeService, account);
    if (!value) {
        // FALSE without an error: nothing matched, so there was nothing to delete.
        if (!secret_service_clear_sync(service->get(), schema(), attributes.get(), nullptr, error.out()) && error)
            return failureFrom(error.get());
        return {};
    }

    const QByteArray label = QStringLiteral("Qorvel: %1").arg(account).toUtf8();
    const Value secret(secret_value_new(value->constData(), value->size(), contentType));
    const QMutexLocker lock(&writeLock);

    // The service's own replace-on-add compares every attribute, xdg:schema included, so an item
    // seeded by another tool would stay beside a new one. Update whatever the account already has.
    const Items items(secret_service_search_sync(service->get(), schema(), attributes.get(),
        SecretSearchFlags(SECRET_SEARCH_ALL | SECRET_SEARCH_UNLOCK), nullptr, error.out()));
    if (error)
        return failureFrom(error.get());
    if (!items) {
        if (!secret_service_store_sync(service->get(), schema(), attributes.get(), SECRET_COLLECTION_DEFAULT,
                label.constData(), secret.get(), nullptr, error.out()))
            return failureFrom(error.get());
        return {};
    }

    SecretItem *kept = SECRET_ITEM(items->data);
    if (!secret_item_set_secret_sync(kept, secret.get(), nullptr, error.out()))
        return failureFrom(error.get());
    const Owned<gchar, g_free> keptLabel(secret_item_get_label(kept));
    if (label != keptLabel.get() && !secret_item_set_label_sync(kept, label.constData(), nullptr, error.out()))
        return failureFrom(error.get());
    for (GList *extra = items->next; extra; extra = extra->next) {
        if (!secret_item_delete_sync(SECRET_ITEM(extra->data), nullptr, error.out()))
            return failureFrom(error.get());
    }
    return {};
}
