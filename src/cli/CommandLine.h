#pragma once

#include "ImageFormat.h"

#include <QRectF>
#include <QString>
#include <QStringList>

#include <optional>

struct ScreenshotOptions
{
    std::optional<quint32> displayId;
    std::optional<quint32> windowId;
    std::optional<QRectF> areaInPoints; // local to the display
    std::optional<ImageFormat> format;
    std::optional<double> quality;
    bool select = false; // the user picks the target in the selection overlay
    QString outputPath; // empty: the screenshot folder under the template name; "-": standard output
    // Overrides of the screenshot output actions in the preferences; none keeps the preference.
    std::optional<bool> copy;
    std::optional<bool> save;
    std::optional<bool> upload;
};

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
        listDisplays,
        listWindows,
        upload,
        listUploads,
        deleteUpload,
        clearUploads,
        account,
    };

    Action action = Action::runApp;
    QString output;
    int exitCode = 0;
    ScreenshotOptions screenshot;
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
