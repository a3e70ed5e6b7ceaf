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

AppDelegate::~AppDelegate() = default;

void AppDelegate::launch()
{
    m_root.preferences().registerDefaults();
    // The window commands (Ctrl+W, Ctrl+M, Ctrl+Q) come with every window the presenter shows.

    if (m_root.isTestHost()) {
        qCInfo(lcApp) << "hosted by a test: no coordinator, tray or shortcuts";
        return;
    }
    m_coordinator = std::make_unique<AppCoordinator>(m_root.preferences(), m_root.stagingFolders());
    m_coordinator->start();
}

void AppDelegate::handle(InstanceRequest request)
{
    switch (request) {
    case InstanceRequest::reopen:
        if (m_coordinator)
            m_coordinator->showSettings();
        return;
    }
}
