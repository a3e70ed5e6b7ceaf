#pragma once

#include "Result.h"

#include <QByteArray>
#include <QString>

#include <optional>

// Private values kept out of the ordinary preferences, each under an account name within one
// service. Calls are synchronous and may be made from any thread.
class SecretStore
{
public:
    virtual ~SecretStore() = default;

    // The bytes stored under the account; none when nothing is stored there.
    virtual Result<std::optional<QByteArray>> read(const QString &account) = 0;
    // Stores or replaces the value; none deletes it, and deleting what is not there succeeds.
    virtual Result<void> write(const std::optional<QByteArray> &value, const QString &account) = 0;

    // A store failure: the back end's message for the user, its numeric status in the detail.
    static Error failure(int status, const QString &message);
    // The status a failure carries, 0 when it carries none.
    static int status(const Error &error);
};

namespace SecretAccounts {
inline constexpr char userhash[] = "catbox.userhash";
inline constexpr char uploadHistory[] = "uploads.history";
} // namespace SecretAccounts

// The Catbox userhash, or none: an empty text, a missing item and a store failure all mean
// anonymous uploads.
std::optional<QString> readUserhash(SecretStore &store);
