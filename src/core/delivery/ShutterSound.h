#pragma once

#include <chrono>

// The camera sound of a screenshot. Playing again restarts it; a desktop without sound
// plays nothing.
class ShutterSound
{
public:
    virtual ~ShutterSound() = default;
    virtual void play() = 0;
    // Waits until the sounds asked for so far have ended, at most `timeout`: a process about
    // to exit would otherwise cut its own shutter short. True when all is quiet.
    virtual bool waitUntilQuiet(std::chrono::milliseconds timeout)
    {
        (void)timeout;
        return true;
    }
};

// For captures a script asked for: they make no sound.
class SilentShutterSound : public ShutterSound
{
public:
    void play() override { }
};
