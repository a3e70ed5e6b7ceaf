#include "AccountCommand.h"

#include "ErrorOutput.h"
#include "SecretStore.h"
#include "TerminalText.h"

int AccountCommand::show(SecretStore &secrets, QTextStream &output, QTextStream &errors)
{
    const Result<std::optional<QByteArray>> stored = secrets.read(QLatin1String(SecretAccounts::userhash));
    if (!stored)
        return printError(errors, QLatin1String("couldn't read the userhash: ") + stored.error().message);
    const QString userhash = stored->has_value() ? QString::fromUtf8(**stored) : QString();
    if (userhash.isEmpty())
        output << "No Catbox userhash is stored: uploads are anonymous and can't be deleted.\n";
    else
        output << "Catbox userhash " << masked(userhash) << " is stored: uploads can be deleted again.\n";
    return 0;
}

int AccountCommand::set(const QString &userhash, SecretStore &secrets, QTextStream &output, QTextStream &errors)
{
    const QString trimmed = userhash.trimmed();
    if (trimmed.isEmpty())
        return printError(errors, QStringLiteral("no userhash given; 'qorvel account clear' forgets the stored one"));
    const Result<void> written = secrets.write(trimmed.toUtf8(), QLatin1String(SecretAccounts::userhash));
    if (!written)
        return printError(errors, QLatin1String("couldn't save the userhash: ") + written.error().message);
    output << "Catbox userhash " << masked(trimmed) << " stored.\n";
    return 0;
}

int AccountCommand::clear(SecretStore &secrets, QTextStream &output, QTextStream &errors)
{
    const Result<void> written = secrets.write(std::nullopt, QLatin1String(SecretAccounts::userhash));
    if (!written)
        return printError(errors, QLatin1String("couldn't remove the userhash: ") + written.error().message);
    output << "No Catbox userhash is stored now: uploads are anonymous.\n";
    return 0;
}

QString AccountCommand::masked(const QString &userhash)
{
    if (userhash.size() < 12)
        return QStringLiteral("(%1 characters)").arg(userhash.size());
    return printableText(userhash.left(2) + QStringLiteral("…") + userhash.right(2));
}
