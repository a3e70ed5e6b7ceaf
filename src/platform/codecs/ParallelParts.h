#pragma once

#include <functional>

// The encoders split an image into a fixed number of parts, so that the bytes written depend on
// the image alone and not on the machine; this runs those parts side by side.
class ParallelParts
{
public:
    // Runs work(0) … work(count - 1) at the same time, part 0 on the calling thread, and returns
    // when all have finished. When no thread can be started the parts run one after another. An
    // exception thrown by a part is thrown again here.
    static void run(int count, const std::function<void(int part)> &work);
};
