#include "UploadCommands.h"

#include "AccountCommand.h"
#include "CommandLine.h"
#include "CompositionRoot.h"
#include "ErrorOutput.h"
#include "UploadCommand.h"
#include "UploadHistory.h"
#include "UploadsCommand.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>
#include <termios.h>
#include <unistd.h>

namespace {

// The userhash from standard input: typed at a prompt with the echo off, or piped in. It never
// passes through the arguments, where other users of the machine could read it.
QString readSecretLine()
{
    QTextStream input(stdin);
    if (!::isatty(STDIN_FILENO))
        return input.readLine();

    QTextStream(stderr) << "Catbox userhash: " << Qt::flush;
    termios saved = {};
    const bool quiet = ::tcgetattr(STDIN_FILENO, &saved) == 0;
    if (quiet) {
        termios silent = saved;
        silent.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    QString line = input.readLine();
    if (quiet)
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    QTextStream(stderr) << '\n';
    return line;
}

} // namespace

bool UploadCommands::handles(const Invocation &invocation)
{
    switch (invocation.action) {
    case Invocation::Action::upload:
    case Invocation::Action::listUploads:
    case Invocation::Action::deleteUpload:
    case Invocation::Action::clearUploads:
    case Invocation::Action::account:
        return true;
    default:
        return false;
    }
}

namespace {

int runCommand(CompositionRoot &root, const Invocation &invocation, QTextStream &output, QTextStream &errors)
{
    SecretStore &secrets = root.secrets();

    switch (invocation.action) {
    case Invocation::Action::account:
        switch (invocation.account) {
        case AccountAction::show:
            return AccountCommand::show(secrets, output, errors);
        case AccountAction::set:
            return AccountCommand::set(readSecretLine(), secrets, output, errors);
        case AccountAction::clear:
            return AccountCommand::clear(secrets, output, errors);
        }
        return 1;
    default:
        break;
    }

    UploadHistory history(secrets);
    switch (invocation.action) {
    case Invocation::Action::upload: {
        QTextStream progress(stderr);
        UploadCommand command(
            [&root](const std::optional<QString> &userhash) { return root.makeUploader(userhash); }, secrets, history);
        return command.run(invocation.upload, output, errors, ::isatty(STDERR_FILENO) ? &progress : nullptr);
    }
    case Invocation::Action::listUploads:
        return UploadsCommand::list(history, output);
    case Invocation::Action::clearUploads:
        return UploadsCommand::clear(history, output);
    case Invocation::Action::deleteUpload: {
        Result<std::unique_ptr<Uploader>> uploader = root.makeAccountUploader();
        if (!uploader)
            return printError(errors, uploader.error().message);
        return UploadsCommand::remove(invocation.upload.record, history, **uploader, output, errors);
    }
    default:
        return 1;
    }
}

} // namespace

int UploadCommands::run(const Invocation &invocation, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    CompositionRoot root;
    root.sweepLeftovers();
    // Interrupted, the command takes its request bodies along.
    root.endOnSignals();
    QTextStream output(stdout);
    QTextStream errors(stderr);
    int status = runCommand(root, invocation, output, errors);
    output.flush();
    if (!standardOutputIsWritten())
        status = printError(errors, QStringLiteral("Couldn't write to standard output."));
    return status;
}
