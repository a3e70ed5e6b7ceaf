#pragma once

#include "Error.h"
#include "Notifier.h"
#include "UploadKind.h"

#include <QString>
#include <QUrl>

#include <optional>

// What became of one capture, and the one notification that tells the user.
struct DeliveryOutcome
{
    UploadKind kind = UploadKind::image;
    bool saveWasOn = false;
    bool uploadRan = false;
    std::optional<QUrl> link; // the upload succeeded
    QString uploadError; // the upload failed: its description
    bool copied = false; // the image or the file went to the clipboard (never when the link did)
    QString savedPath; // the file in the user's folder, saved there first or as the fallback
    std::optional<Error> saveError; // the save the user asked for failed

    bool uploaded() const { return link.has_value(); }
    bool saved() const { return !savedPath.isEmpty(); }

    // Title, body and click action by the outcome; the thumbnail is the caller's to add.
    NotificationRequest notification() const;
};
