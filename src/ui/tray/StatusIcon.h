#pragma once

#include <QColor>
#include <QIcon>

// The status item's picture, drawn for each size and scale the tray asks for rather than
// scaled from one bitmap, so that the pixel pattern keeps hard edges at 1× and at 2×.
class StatusIcon
{
public:
    enum class Kind {
        idle, // the pixel pattern
        uploading, // the pattern inside a ring that fills with the progress
        recording, // the record symbol
    };

    struct Look
    {
        Kind kind = Kind::idle;
        double progress = 0; // 0...1, with `uploading`
        QColor foreground; // the panel's text colour, where it is known
    };

    static QIcon make(const Look &look);

    // The pattern's cells, top row first: "#" filled, "." empty.
    static constexpr int columns = 7;
    static constexpr int rows = 5;
    static const char *const pattern[rows];
};
