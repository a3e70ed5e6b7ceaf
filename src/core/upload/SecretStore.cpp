#include "SecretStore.h"

Error SecretStore::failure(int status, const QString &message)
{
    const QString text = message.isEmpty() ? QStringLiteral("Secret store error %1").arg(status) : message;
    return Error{text, QString::number(status)};
}

int SecretStore::status(const Error &error)
{
    return error.detail.toInt();
}

std::optional<QString> readUserhash(SecretStore &store)
{
    const Result<std::optional<QByteArray>> stored = store.read(QLatin1String(SecretAccounts::userhash));
    if (!stored || !stored->has_value())
        return std::nullopt;
    const QString text = QString::fromUtf8(**stored);
    if (text.isEmpty())
        return std::nullopt;
    return text;
}
