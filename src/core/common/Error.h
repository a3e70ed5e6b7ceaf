#pragma once

#include <QString>

// A failure as it crosses a boundary: `message` is written for the user and shown as it
// stands; `detail` is for the log (a library's code, a path, the call that failed).
struct Error
{
    QString message;
    QString detail;
};
