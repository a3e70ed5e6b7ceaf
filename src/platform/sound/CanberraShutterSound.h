#pragma once

#include "ShutterSound.h"

#include <condition_variable>
#include <mutex>
#include <thread>

// The sound theme's "screen-capture" event through libcanberra. play() only wakes a worker
// thread: opening the sound system took 50 ms on a cold start without a sound card, and a
// hanging sound server would hold the capture for as long as it hangs.
class CanberraShutterSound : public ShutterSound
{
public:
    CanberraShutterSound() = default;
    // Stops the sound and waits for the worker, which may be waiting on the sound system.
    ~CanberraShutterSound() override;

    void play() override;

private:
    void run();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_pending = false;
    bool m_stopping = false;
    std::thread m_worker;
};
