#pragma once

#include <QString>
#include <QTextStream>

class SecretStore;

// `qorvel account`: the Catbox userhash in the secret store. It is never printed whole.
class AccountCommand
{
public:
    static int show(SecretStore &secrets, QTextStream &output, QTextStream &errors);
    static int set(const QString &userhash, SecretStore &secrets, QTextStream &output, QTextStream &errors);
    static int clear(SecretStore &secrets, QTextStream &output, QTextStream &errors);

    // Enough of the userhash to tell two apart, too little to use.
    static QString masked(const QString &userhash);
};
