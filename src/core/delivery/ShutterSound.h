#pragma once

// The camera sound of a screenshot. Playing again restarts it; a desktop without sound
// plays nothing.
class ShutterSound
{
public:
    virtual ~ShutterSound() = default;
    virtual void play() = 0;
};
