#pragma once

#include "Bitmap.h"

#include <chrono>

// Frame times are read from one monotonic clock (CLOCK_MONOTONIC, which steady_clock is on
// Linux), so that a frame's time and the moment a stop begins can be compared.
using RecordingClock = std::chrono::steady_clock;

// One picture of a recording, as the frame source hands it over.
struct VideoFrame
{
    enum class Status {
        complete, // new content: written
        idle, // nothing changed since the previous frame: not written, the previous one stays
    };

    Bitmap image; // opaque BGRX as grabbed; the writer scales it to the plan's size
    RecordingClock::time_point presentationTime;
    Status status = Status::complete;
};
