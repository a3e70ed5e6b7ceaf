#pragma once

#include "ScreenCaptureAccess.h"

#include <memory>

class X11Connection;

// X11 has no permission to read the screen: access is there unless the server refuses a read
// for a technical reason (a security extension, a broken connection), which a 1×1 grab shows.
class X11ScreenCaptureAccess : public ScreenCaptureAccess
{
public:
    explicit X11ScreenCaptureAccess(std::shared_ptr<X11Connection> connection);

    bool preflight() override { return true; }
    void request() override { }
    Probe probe() override;
    void openSettings() override { }

private:
    std::shared_ptr<X11Connection> m_connection;
};
