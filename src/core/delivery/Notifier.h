#pragma once

#include "Bitmap.h"
#include "NotificationAction.h"

#include <QString>

#include <optional>
#include <variant>

// One notification as the delivery decides it.
struct NotificationRequest
{
    QString title;
    QString body; // may be empty; line breaks separate lines
    std::optional<NotificationAction> action;
    // The picture shown with it: the captured image, or a recording file whose first frame is
    // shown; nothing for none.
    std::variant<std::monostate, Bitmap, QString> thumbnail;
    // Failures sound and must be seen: without a notification server they become an alert.
    // Successes are silent and are dropped when they cannot be shown.
    bool failure = false;
};

// The process's one poster of notifications. Posting returns at once and never fails; a
// click on the notification later runs its action.
class Notifier
{
public:
    virtual ~Notifier() = default;
    virtual void post(const NotificationRequest &request) = 0;
};
