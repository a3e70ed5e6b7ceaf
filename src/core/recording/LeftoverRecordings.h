#pragma once

#include "Result.h"

#include <QStringList>

#include <functional>

// The recordings that processes which died (killed, crashed, logged out) left in the Recordings
// staging folder, made playable so that they are delivered like any other. A recording that a
// live process still writes is held by its writer and left alone.
class LeftoverRecordings
{
public:
    // Turns one unfinished recording into a plain, playable file in its place.
    using Recover = std::function<Result<void>(const QString &path)>;

    // Blocking (a long recording takes a while to rewrite): run it off the main thread. Returns
    // the playable files, oldest first. One that cannot be recovered stays where it is, for the
    // purge.
    static QStringList recover(const QString &folder, const Recover &recover);
};
