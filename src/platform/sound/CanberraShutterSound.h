#pragma once

#include "ShutterSound.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

// The sound theme's "screen-capture" event through libcanberra. play() only wakes a worker
// thread: opening the sound system took 50 ms on a cold start without a sound card, and a
// hanging sound server would hold the capture for as long as it hangs.
struct ca_context;

class CanberraShutterSound : public ShutterSound
{
public:
    CanberraShutterSound() = default;
    // Stops the sound and waits for the worker, which may be waiting on the sound system.
    ~CanberraShutterSound() override;

    void play() override;

    bool waitUntilQuiet(std::chrono::milliseconds timeout) override;

private:
    void run();
    static void playFinished(ca_context *context, std::uint32_t id, int error, void *self);

    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_pending = false;
    bool m_stopping = false;
    int m_sounding = 0; // plays started and not yet reported finished
    std::thread m_worker;
};
