#pragma once

#include <QTimer>
#include <QWidget>

class AccessibilitySwitch;
class QLabel;
class QPushButton;

// Whether element snapping can work, with a button that turns the desktop's accessibility
// switch on. The desktop says nothing when the switch is flipped elsewhere, so the row asks
// once a second while it is on screen.
class AccessibilityPermissionRow : public QWidget
{
    Q_OBJECT

public:
    explicit AccessibilityPermissionRow(AccessibilitySwitch &accessibility, QWidget *parent = nullptr);

    bool isGranted() const { return m_granted; }

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void showGranted(bool granted);

    AccessibilitySwitch &m_accessibility;
    QWidget *m_on = nullptr;
    QPushButton *m_turnOn = nullptr;
    QTimer m_poll;
    bool m_granted = false;
};
