#include "OnboardingView.h"

#include "PreferenceControls.h"
#include "Preferences.h"
#include "ScreenRecordingPermissionMonitor.h"
#include "SettingsContext.h"
#include "ShortcutRows.h"
#include "SymbolIcon.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <utility>

namespace {

using Kind = ScreenRecordingPermission::Status::Kind;

// A step's head: its picture, large, and its title.
QWidget *stepPage(const QString &iconName, const QString &title, QWidget *parent, QVBoxLayout **body)
{
    auto *page = new QWidget(parent);
    auto *picture = new QLabel(page);
    picture->setPixmap(symbolIcon(iconName).pixmap(48, 48));
    auto *heading = new QLabel(title, page);
    QFont headingFont = heading->font();
    headingFont.setBold(true);
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.3);
    heading->setFont(headingFont);
    *body = new QVBoxLayout(page);
    (*body)->setSpacing(10);
    (*body)->addWidget(picture);
    (*body)->addWidget(heading);
    return page;
}

QLabel *paragraph(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}

} // namespace

OnboardingView::OnboardingView(
    const SettingsContext &context, ScreenRecordingPermission *permission, Actions actions, QWidget *parent)
    : QWidget(parent)
    , m_actions(std::move(actions))
    , m_steps(new QStackedWidget(this))
    , m_progress(new QLabel(this))
    , m_back(new QPushButton(QStringLiteral("&Back"), this))
    , m_skip(new QPushButton(QStringLiteral("&Skip"), this))
    , m_continue(new QPushButton(QStringLiteral("&Continue"), this))
    , m_done(new QPushButton(QStringLiteral("&Done"), this))
{
    if (permission)
        m_monitor = std::make_unique<ScreenRecordingPermissionMonitor>(*permission);
    m_steps->addWidget(permissionStep());
    m_steps->addWidget(uploadStep(context));
    m_steps->addWidget(shortcutsStep(context));

    m_progress->setObjectName(QStringLiteral("progress"));
    m_progress->setForegroundRole(QPalette::PlaceholderText);
    m_back->setObjectName(QStringLiteral("back"));
    m_skip->setObjectName(QStringLiteral("skip"));
    m_continue->setObjectName(QStringLiteral("continue"));
    m_done->setObjectName(QStringLiteral("done"));
    connect(m_back, &QPushButton::clicked, this, [this]() { go(Step(int(m_step) - 1)); });
    connect(m_skip, &QPushButton::clicked, this, [this]() { go(Step(int(m_step) + 1)); });
    connect(m_continue, &QPushButton::clicked, this, [this]() { go(Step(int(m_step) + 1)); });
    connect(m_done, &QPushButton::clicked, this, [this]() {
        if (m_actions.finish)
            m_actions.finish();
    });

    auto *bar = new QHBoxLayout;
    bar->addWidget(m_progress);
    bar->addStretch();
    for (QPushButton *button : {m_back, m_skip, m_continue, m_done}) {
        button->setAutoDefault(false);
        bar->addWidget(button);
    }
    m_continue->setDefault(true);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 16);
    layout->addWidget(m_steps);
    layout->addSpacing(12);
    layout->addLayout(bar);
    setMinimumWidth(fontMetrics().averageCharWidth() * 70);

    if (m_monitor) {
        connect(
            m_monitor.get(), &ScreenRecordingPermissionMonitor::statusChanged, this, &OnboardingView::showPermission);
        connect(m_monitor.get(), &ScreenRecordingPermissionMonitor::didOpenSettingsChanged, this,
            &OnboardingView::showPermission);
        // Asks at once, then until the answer is yes: the user may grant it from the desktop's
        // own settings.
        m_monitor->startPolling();
    }
    showPermission();
    go(Step::permission);
}

OnboardingView::~OnboardingView() = default;

QWidget *OnboardingView::permissionStep()
{
    QVBoxLayout *body = nullptr;
    QWidget *page = stepPage(QStringLiteral("camera-web"), QStringLiteral("Screen Recording"), m_steps, &body);
    body->addWidget(paragraph(QStringLiteral("Qorvel needs this permission to take screenshots and record the screen. "
                                             "Nothing leaves your computer unless you turn on uploads."),
        page));

    m_statusIcon = new QLabel(page);
    m_statusText = new QLabel(page);
    m_statusText->setObjectName(QStringLiteral("permissionStatus"));
    auto *status = new QHBoxLayout;
    status->addWidget(m_statusIcon);
    status->addWidget(m_statusText, 1);
    body->addLayout(status);

    m_permissionButtons = new QWidget(page);
    auto *open = new QPushButton(QStringLiteral("Open System Settings"), m_permissionButtons);
    m_restart = new QPushButton(QStringLiteral("Restart Qorvel"), m_permissionButtons);
    connect(open, &QPushButton::clicked, this, [this]() {
        if (m_monitor)
            m_monitor->openSettings();
    });
    connect(m_restart, &QPushButton::clicked, this, [this]() {
        if (m_actions.relaunch)
            m_actions.relaunch();
    });
    auto *buttons = new QHBoxLayout(m_permissionButtons);
    buttons->setContentsMargins(0, 0, 0, 0);
    buttons->addWidget(open);
    buttons->addWidget(m_restart);
    buttons->addStretch();
    body->addWidget(m_permissionButtons);
    m_restartNote = PreferenceControls::note(
        QStringLiteral("After you turn on Qorvel in the list, macOS may ask to restart the app. If the status doesn't "
                       "change to “granted”, use the button above."),
        page);
    body->addWidget(m_restartNote);
    body->addStretch();
    return page;
}

QWidget *OnboardingView::uploadStep(const SettingsContext &context)
{
    QVBoxLayout *body = nullptr;
    QWidget *page
        = stepPage(QStringLiteral("document-send"), QStringLiteral("Upload to Catbox (optional)"), m_steps, &body);
    QCheckBox *upload = PreferenceControls::checkBox(context.preferences, PreferenceKey::screenshotUpload,
        QStringLiteral("&Upload screenshots to Catbox and copy the link"), page);
    upload->setObjectName(QStringLiteral("screenshotUpload"));
    body->addWidget(upload);
    body->addWidget(
        PreferenceControls::note(QStringLiteral("You can skip this and come back later in Settings → Catbox."), page));
    body->addStretch();
    return page;
}

QWidget *OnboardingView::shortcutsStep(const SettingsContext &context)
{
    QVBoxLayout *body = nullptr;
    QWidget *page = stepPage(QStringLiteral("input-keyboard"), QStringLiteral("Shortcuts"), m_steps, &body);
    body->addWidget(paragraph(
        QStringLiteral("Qorvel lives in the menu bar. You can change the shortcuts here or later in Settings."), page));
    auto *form = new QFormLayout;
    auto *rows = new QWidget(page);
    rows->setLayout(form);
    addShortcutRows(*form, context);
    form->addRow(QStringLiteral("Cancel:"), new QLabel(QStringLiteral("Esc"), rows));
    body->addWidget(rows);
    body->addStretch();
    return page;
}

void OnboardingView::go(Step step)
{
    m_step = step;
    m_steps->setCurrentIndex(int(step));
    m_progress->setText(QStringLiteral("Step %1 of %2").arg(int(step) + 1).arg(stepCount));
    m_back->setVisible(step != Step::permission);
    m_skip->setVisible(step == Step::upload);
    m_continue->setVisible(step != Step::shortcuts);
    m_done->setVisible(step == Step::shortcuts);
    (step == Step::shortcuts ? m_done : m_continue)->setDefault(true);
}

void OnboardingView::keyPressEvent(QKeyEvent *event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!enter || (event->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier) {
        QWidget::keyPressEvent(event);
        return;
    }
    (m_step == Step::shortcuts ? m_done : m_continue)->click();
}

void OnboardingView::showPermission()
{
    using Status = ScreenRecordingPermission::Status;
    const std::optional<Status> status = m_monitor
        ? m_monitor->status()
        : std::optional(Status::failed(QStringLiteral("Screen capture is not available in this session.")));
    QString iconName = QStringLiteral("content-loading");
    QString text = QStringLiteral("Checking");
    auto fallback = QStyle::SP_BrowserReload;
    if (status) {
        switch (status->kind) {
        case Kind::granted:
            iconName = QStringLiteral("emblem-ok");
            text = QStringLiteral("Permission granted");
            fallback = QStyle::SP_DialogApplyButton;
            break;
        case Kind::denied:
            iconName = QStringLiteral("dialog-error");
            text = QStringLiteral("Permission missing");
            fallback = QStyle::SP_MessageBoxCritical;
            break;
        case Kind::failed:
            iconName = QStringLiteral("dialog-warning");
            text = QStringLiteral("Error: ") + status->message;
            fallback = QStyle::SP_MessageBoxWarning;
            break;
        }
    }
    setSmallIcon(*m_statusIcon, symbolIcon(iconName, fallback));
    m_statusText->setText(text);
    const bool granted = status && status->kind == Kind::granted;
    const bool opened = m_monitor && m_monitor->didOpenSettings();
    m_permissionButtons->setVisible(!granted && m_monitor);
    m_restart->setVisible(opened);
    m_restartNote->setVisible(opened);
}
