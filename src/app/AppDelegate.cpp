#include "AppDelegate.h"

#include "AppCoordinator.h"
#include "CompositionRoot.h"

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcApp)

AppDelegate::AppDelegate(CompositionRoot &root, QObject *parent)
    : QObject(parent)
    , m_root(root)
{
}

AppDelegate::~AppDelegate()
{
    if (InstanceChannel *channel = m_root.instanceChannel())
        channel->setCommandHandler({});
}

void AppDelegate::launch()
{
    InstanceChannel *channel = m_root.instanceChannel();
    if (channel)
        connect(channel, &InstanceChannel::requestReceived, this, &AppDelegate::handle);
    // The window commands (Ctrl+W, Ctrl+M, Ctrl+Q) come with every window the presenter shows.

    if (m_root.isTestHost()) {
        qCInfo(lcApp) << "hosted by a test: no coordinator, tray or shortcuts";
        return;
    }
    m_coordinator = std::make_unique<AppCoordinator>(m_root);
    if (channel) {
        channel->setCommandHandler(
            [coordinator = m_coordinator.get()](const ForwardedCommand &command, const InstanceChannel::Reply &reply) {
                return coordinator->serveCommand(command, reply);
            });
    }
    m_coordinator->start();
}

void AppDelegate::handle(InstanceRequest request)
{
    if (!m_coordinator)
        return;
    switch (request) {
    case InstanceRequest::reopen:
    case InstanceRequest::showSettings:
        m_coordinator->showSettings();
        return;
    case InstanceRequest::takeScreenshot:
        m_coordinator->takeScreenshot();
        return;
    case InstanceRequest::toggleRecording:
        m_coordinator->toggleRecording();
        return;
    }
}
