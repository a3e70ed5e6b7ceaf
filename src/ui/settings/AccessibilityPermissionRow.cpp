#include "AccessibilityPermissionRow.h"

#include "AccessibilitySwitch.h"
#include "PreferenceControls.h"
#include "SymbolIcon.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QWidget *iconLabel(const QIcon &icon, const QString &text, QWidget *parent)
{
    auto *row = new QWidget(parent);
    auto *picture = new QLabel(row);
    setSmallIcon(*picture, icon);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(picture);
    layout->addWidget(new QLabel(text, row));
    return row;
}

} // namespace

AccessibilityPermissionRow::AccessibilityPermissionRow(AccessibilitySwitch &accessibility, QWidget *parent)
    : QWidget(parent)
    , m_accessibility(accessibility)
    , m_turnOn(new QPushButton(QStringLiteral("Turn On…"), this))
{
    m_on = iconLabel(symbolIcon(QStringLiteral("emblem-ok"), QStyle::SP_DialogApplyButton), QStringLiteral("On"), this);
    m_on->setObjectName(QStringLiteral("accessibilityOn"));
    QPalette green = m_on->palette();
    green.setColor(QPalette::WindowText, QColor(0x28, 0xa7, 0x45));
    m_on->setPalette(green);
    m_turnOn->setObjectName(QStringLiteral("turnOnAccessibility"));
    // The next answer shows whether the desktop took it; the row never assumes.
    connect(m_turnOn, &QPushButton::clicked, &m_accessibility, &AccessibilitySwitch::turnOn);
    connect(&m_accessibility, &AccessibilitySwitch::answered, this, &AccessibilityPermissionRow::showGranted);

    auto *top = new QHBoxLayout;
    top->setContentsMargins(0, 0, 0, 0);
    top->addWidget(iconLabel(symbolIcon(QStringLiteral("view-dual"), QStyle::SP_FileDialogDetailedView),
        QStringLiteral("Select elements inside windows"), this));
    top->addStretch();
    top->addWidget(m_on);
    top->addWidget(m_turnOn);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addLayout(top);
    layout->addWidget(PreferenceControls::note(
        QStringLiteral("Optional. The Accessibility permission lets Qorvel highlight parts of windows, such as a "
                       "sidebar, a list or a toolbar. The scroll wheel switches between the element, the window and "
                       "the whole screen. Without it, you select whole windows."),
        this));

    m_poll.setInterval(1000);
    connect(&m_poll, &QTimer::timeout, &m_accessibility, &AccessibilitySwitch::query);
    showGranted(false);
}

void AccessibilityPermissionRow::showGranted(bool granted)
{
    m_granted = granted;
    m_on->setVisible(granted);
    m_turnOn->setVisible(!granted);
}

void AccessibilityPermissionRow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_accessibility.query();
    m_poll.start();
}

void AccessibilityPermissionRow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_poll.stop();
}
