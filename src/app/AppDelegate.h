#pragma once

#include "InstanceChannel.h"

#include <QObject>

#include <memory>

class AppCoordinator;
class CompositionRoot;

// Receives the process's launch and reopen events and owns the one coordinator.
class AppDelegate : public QObject
{
    Q_OBJECT

public:
    explicit AppDelegate(CompositionRoot &root, QObject *parent = nullptr);
    ~AppDelegate() override;

    void launch();
    void handle(InstanceRequest request);

    AppCoordinator *coordinator() const { return m_coordinator.get(); }

private:
    CompositionRoot &m_root;
    std::unique_ptr<AppCoordinator> m_coordinator;
};
