#include "CanberraShutterSound.h"

#include "LoadableModule.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcSound, "qorvel.sound", QtWarningMsg)

CanberraShutterSound::CanberraShutterSound() = default;
CanberraShutterSound::~CanberraShutterSound() = default;

void CanberraShutterSound::play()
{
    if (!m_tried) {
        m_tried = true;
        using Make = ShutterSound *(*)();
        const Result<QFunctionPointer> make
            = LoadableModule::entry(QStringLiteral("libqorvel-sound.so"), "qorvelMakeShutterSound");
        if (make)
            m_player.reset(reinterpret_cast<Make>(*make)());
        else
            // A capture without its sound is still a capture.
            qCWarning(lcSound) << "no shutter sound:" << make.error().detail;
    }
    if (m_player)
        m_player->play();
}

bool CanberraShutterSound::waitUntilQuiet(std::chrono::milliseconds timeout)
{
    return !m_player || m_player->waitUntilQuiet(timeout);
}
