#pragma once

#include <QObject>

// The desktop's own switch for assistive technologies. Element snapping needs it on: with it
// off, applications publish no elements and the overlay selects whole windows.
class AccessibilitySwitch : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // Asks for the switch's position; `answered` follows. Nothing answering counts as off.
    virtual void query() = 0;
    // Flips the switch on; the next query tells whether the desktop took it.
    virtual void turnOn() = 0;

Q_SIGNALS:
    void answered(bool on);
};
