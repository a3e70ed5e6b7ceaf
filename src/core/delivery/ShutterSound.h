#pragma once

// The camera sound of a screenshot. Playing again restarts it; a desktop without sound
// plays nothing.
class ShutterSound
{
public:
    virtual ~ShutterSound() = default;
    virtual void play() = 0;
};

// For captures a script asked for: they make no sound.
class SilentShutterSound : public ShutterSound
{
public:
    void play() override { }
};
