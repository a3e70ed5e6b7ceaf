#pragma once

#include "InstanceChannel.h"
#include "RecordingRequest.h"
#include "ScreenshotRequest.h"

#include <QRectF>
#include <QString>
#include <QStringList>

#include <optional>

struct UploadOptions
{
    QStringList files; // `upload`: the files, in order
    bool anonymous = false; // `upload`: leave the stored userhash out
    QString record; // `uploads delete`: a record's id, or its 1-based place in the list
};

enum class AccountAction { show, set, clear };

// What the process was asked to do, decided before any window-system connection is made, so
// that --help and --version work anywhere and a typo costs nothing.
struct Invocation
{
    enum class Action {
        runApp, // start the tray application, or hand over to the running one
        printAndExit, // print `output` and exit with `exitCode`
        screenshot,
        record,
        listDisplays,
        listWindows,
        upload,
        listUploads,
        deleteUpload,
        clearUploads,
        account,
    };

    Action action = Action::runApp;
    // With `runApp`: what the running instance is asked to do, or this process once it has
    // started, when none runs yet.
    InstanceRequest request = InstanceRequest::reopen;
    QString output;
    int exitCode = 0;
    ScreenshotRequest screenshot;
    RecordingRequest recording;
    UploadOptions upload;
    AccountAction account = AccountAction::show;
};

class CommandLine
{
public:
    static constexpr int usageExitCode = 2;

    // `arguments` as from QCoreApplication::arguments(), program name first.
    static Invocation parse(const QStringList &arguments);
    static QString helpText();
};
