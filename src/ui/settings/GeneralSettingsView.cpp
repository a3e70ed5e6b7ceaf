#include "GeneralSettingsView.h"

#include "AccessibilityPermissionRow.h"
#include "LoginItem.h"
#include "PreferenceControls.h"
#include "Preferences.h"
#include "SettingsContext.h"
#include "ShortcutRows.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

GeneralSettingsView::GeneralSettingsView(const SettingsContext &context, QWidget *parent)
    : QWidget(parent)
    , m_loginItem(context.loginItem)
{
    using PreferenceControls::checkBox;
    using PreferenceControls::note;

    auto *shortcuts = new QGroupBox(QStringLiteral("Shortcuts"), this);
    auto *shortcutForm = new QFormLayout(shortcuts);
    addShortcutRows(*shortcutForm, context);
    shortcutForm->addRow(note(QStringLiteral("Esc cancels a selection or a recording. Shortcuts already used by "
                                             "another program or a menu are rejected."),
        shortcuts));

    auto *selection = new QGroupBox(QStringLiteral("Selection"), this);
    auto *selectionLayout = new QVBoxLayout(selection);
    QCheckBox *magnifier = checkBox(context.preferences, PreferenceKey::showMagnifier,
        QStringLiteral("Pixel &magnifier with coordinates"), selection);
    magnifier->setObjectName(QStringLiteral("showMagnifier"));
    selectionLayout->addWidget(magnifier);
    selectionLayout->addWidget(new AccessibilityPermissionRow(context.accessibility, selection));

    auto *system = new QGroupBox(QStringLiteral("System"), this);
    auto *systemLayout = new QVBoxLayout(system);
    m_launchAtLogin = new QCheckBox(QStringLiteral("&Launch at login"), system);
    m_launchAtLogin->setObjectName(QStringLiteral("launchAtLogin"));
    m_launchAtLoginError = note(QString(), system);
    m_launchAtLoginError->setObjectName(QStringLiteral("launchAtLoginError"));
    m_launchAtLoginError->hide();
    QCheckBox *shutter
        = checkBox(context.preferences, PreferenceKey::playShutterSound, QStringLiteral("Shutter so&und"), system);
    shutter->setObjectName(QStringLiteral("playShutterSound"));
    systemLayout->addWidget(m_launchAtLogin);
    systemLayout->addWidget(m_launchAtLoginError);
    systemLayout->addWidget(shutter);
    connect(m_launchAtLogin, &QCheckBox::toggled, this, &GeneralSettingsView::changeLaunchAtLogin);
    showLaunchAtLogin();

    // Linux builds carry no updater: the distribution's package manager updates Qorvel.
    auto *updates = new QGroupBox(QStringLiteral("Updates"), this);
    auto *updatesForm = new QFormLayout(updates);
    updatesForm->addRow(
        note(QStringLiteral("Updates are off in this build (no appcast URL or Sparkle key)."), updates));
    auto *version = new QLabel(context.version, updates);
    version->setObjectName(QStringLiteral("version"));
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    updatesForm->addRow(QStringLiteral("Version"), version);

    auto *layout = new QVBoxLayout(this);
    for (QGroupBox *section : {shortcuts, selection, system, updates})
        layout->addWidget(section);
    layout->addStretch();
}

void GeneralSettingsView::showLaunchAtLogin()
{
    const QSignalBlocker quiet(m_launchAtLogin);
    m_launchAtLogin->setChecked(m_loginItem.status() == LoginItem::Status::enabled);
}

void GeneralSettingsView::changeLaunchAtLogin(bool on)
{
    const bool enabled = m_loginItem.status() == LoginItem::Status::enabled;
    if (on == enabled)
        return;
    QString text;
    if (const Result<void> changed = m_loginItem.setEnabled(on); !changed) {
        text = QStringLiteral("Couldn't change the setting: ") + changed.error().message;
        showLaunchAtLogin();
    } else if (m_loginItem.status() == LoginItem::Status::requiresApproval) {
        text = QStringLiteral("Approve Qorvel in System Settings → General → Login Items.");
    }
    m_launchAtLoginError->setText(text);
    m_launchAtLoginError->setVisible(!text.isEmpty());
}
