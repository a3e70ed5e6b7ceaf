#include "SecretServiceStore.h"

#include "LoadableModule.h"

#include <mutex>

namespace {

using Read = Result<std::optional<QByteArray>> (*)(const QString &, const QString &);
using Write = Result<void> (*)(const QString &, const std::optional<QByteArray> &, const QString &);

struct Entries
{
    Read read = nullptr;
    Write write = nullptr;
    Error problem;
};

// Loaded on the first use of the store, not at start: most captures never touch it.
const Entries &entries()
{
    static Entries loaded;
    static std::once_flag once;
    std::call_once(once, [] {
        const QString module = QStringLiteral("libqorvel-secrets.so");
        const Result<QFunctionPointer> read = LoadableModule::entry(module, "qorvelSecretRead");
        const Result<QFunctionPointer> write = LoadableModule::entry(module, "qorvelSecretWrite");
        if (!read || !write) {
            loaded.problem = Error{QStringLiteral("The Secret Service cannot be used: a part of Qorvel is missing."),
                (read ? write : read).error().detail};
            return;
        }
        loaded.read = reinterpret_cast<Read>(*read);
        loaded.write = reinterpret_cast<Write>(*write);
    });
    return loaded;
}

} // namespace

SecretServiceStore::SecretServiceStore(QString service)
    : m_service(std::move(service))
{
}

Result<std::optional<QByteArray>> SecretServiceStore::read(const QString &account)
{
    const Entries &store = entries();
    return store.read ? store.read(m_service, account) : store.problem;
}

Result<void> SecretServiceStore::write(const std::optional<QByteArray> &value, const QString &account)
{
    const Entries &store = entries();
    return store.write ? store.write(m_service, value, account) : store.problem;
}
