#pragma once

#include "CanberraShutterSound.h"
#include "CaptureOutput.h"
#include "InstanceChannel.h"
#include "QtClipboard.h"

#include <QObject>

#include <memory>

class CompositionRoot;
struct Invocation;

// Runs command-line screenshots inside the running instance: Qt is up and the screen's shared
// memory is kept there, and the clipboard and the notification stay with a process that lives
// on, so no keeper is needed.
class InstanceCommands : public QObject
{
    Q_OBJECT

public:
    explicit InstanceCommands(CompositionRoot &root, QObject *parent = nullptr);
    ~InstanceCommands() override;

    // A screenshot, chosen or selected, that is not written to standard output: what the
    // instance serves. Every other command runs in the calling process.
    static bool servable(const Invocation &invocation);

    CommandAnswer run(const ForwardedCommand &command);

private:
    CompositionRoot &m_root;
    QtClipboard m_clipboard;
    std::unique_ptr<Notifier> m_notifier;
    std::unique_ptr<Notifier> m_quiet;
    std::unique_ptr<UploadHistory> m_history;
    std::unique_ptr<CaptureOutput> m_output;
    std::unique_ptr<CaptureOutput> m_quietOutput;
    CanberraShutterSound m_shutter;
};
