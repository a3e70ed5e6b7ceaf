#pragma once

#include "SecretStore.h"

// The secret store on the freedesktop Secret Service (org.freedesktop.secrets on the session bus),
// through libsecret. Each value is one item in the default collection, found by the attributes
// `service` and `account` and labelled "Qorvel: " + account, so `secret-tool` can read, seed and
// clear it too. Every call opens its own proxy and session, so calls from different threads share
// nothing but GLib's bus connection, which is thread-safe.
class SecretServiceStore : public SecretStore
{
public:
    static constexpr const char *defaultService = "com.vostrink.qorvel.secrets";

    explicit SecretServiceStore(QString service = QLatin1String(defaultService));

    Result<std::optional<QByteArray>> read(const QString &account) override;
    Result<void> write(const std::optional<QByteArray> &value, const QString &account) override;

    QString service() const { return m_service; }

private:
    QString m_service;
};
