#pragma once

#include "Clipboard.h"
#include "Result.h"

#include <QByteArray>
#include <QtGlobal>

#include <functional>

// Keeps a copy on the clipboard after the process that made it has exited. On X11 the owning
// process answers every paste, so the command line, about to exit, hands the content to a
// background instance of its own executable. That keeper lives until another program takes the
// clipboard or the display closes; it is detached from the terminal and from the caller's
// standard streams, so `qorvel screenshot --copy | cat` ends when the command does.
//
// An executable that calls keepInBackground must pass its arguments to isKeeperInvocation and
// runKeeper first thing in main(), before its own parsing.
class ClipboardKeeper
{
public:
    // Starts a keeper owning what `fill` put on the given clipboard (the last set* call wins) and
    // returns its pid once it owns the clipboard, so a paste right after the call works. Call it
    // with the command's output written: it waits for the keeper's start-up, 30–50 ms in a release build.
    //
    // `attachment` is more work for the keeper, opaque here: the caller's runKeeper hook gets it
    // (the command line hands over its notification, whose click must find a listener). With
    // an attachment, `fill` may put nothing on the clipboard.
    static Result<qint64> keepInBackground(
        const std::function<void(Clipboard &)> &fill, const QByteArray &attachment = QByteArray());

    // Runs in the keeper with a non-empty attachment; calls `finished` once its work is over.
    using AttachmentHandler = std::function<void(const QByteArray &attachment, std::function<void()> finished)>;

    static bool isKeeperInvocation(int argc, char **argv);
    // The keeper's life; returns its exit status.
    static int runKeeper(int argc, char **argv, const AttachmentHandler &handleAttachment = {});
};
