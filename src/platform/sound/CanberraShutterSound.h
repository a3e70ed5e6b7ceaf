#pragma once

#include "ShutterSound.h"

#include <memory>

// The sound theme's "screen-capture" event through libcanberra, which is loaded with its module
// at the first play: a tray that never sounds never holds the sound libraries.
class CanberraShutterSound : public ShutterSound
{
public:
    CanberraShutterSound();
    ~CanberraShutterSound() override;

    void play() override;
    bool waitUntilQuiet(std::chrono::milliseconds timeout) override;

private:
    std::unique_ptr<ShutterSound> m_player; // from the module, once loaded
    bool m_tried = false;
};
