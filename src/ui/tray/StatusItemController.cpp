#include "StatusItemController.h"

#include "StatusIcon.h"
#include "StatusItemText.h"

#include <QCursor>
#include <QDateTime>
#include <QTimer>

namespace {

// Installed with Qorvel, this icon lets the desktop paint the tray picture in its own panel
// colour; without it the picture is drawn here.
const QString symbolicIconName = QStringLiteral("com.vostrink.qorvel-symbolic");

QIcon themeIcon(const char *name)
{
    return QIcon::fromTheme(QLatin1String(name));
}

} // namespace

StatusItemController::StatusItemController(
    Actions actions, ShortcutLookup shortcuts, ForegroundProbe foreground, QObject *parent)
    : QObject(parent)
    , m_actions(std::move(actions))
    , m_shortcuts(std::move(shortcuts))
    , m_probeForeground(std::move(foreground))
{
    m_menu.setToolTipsVisible(true);
    connect(&m_menu, &QMenu::aboutToShow, this, [this]() {
        m_menuOpened = true;
        rebuildMenu();
    });
    connect(&m_item, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason != QSystemTrayIcon::Trigger)
            return;
        // While recording the item is a stop button; otherwise a click opens the menu, as a
        // right-click does.
        if (m_recordingElapsed)
            m_actions.toggleRecording();
        else
            m_menu.popup(QCursor::pos());
    });
}

StatusItemController::~StatusItemController() = default;

bool StatusItemController::trayAvailable()
{
    return QSystemTrayIcon::isSystemTrayAvailable();
}

void StatusItemController::install()
{
    rebuildMenu();
    m_item.setContextMenu(&m_menu);
    probeForeground();
    m_item.show();
    // An embedding tray tells where the item went only once it has taken it in.
    constexpr int dockingDelayMs = 1000;
    QTimer::singleShot(dockingDelayMs, this, &StatusItemController::probeForeground);
}

void StatusItemController::probeForeground()
{
    const QColor foreground = m_probeForeground ? m_probeForeground(m_item.geometry()) : QColor();
    if (foreground == m_foreground && !m_lookKey.isEmpty())
        return;
    m_foreground = foreground;
    m_lookKey.clear();
    updateAppearance();
}

void StatusItemController::setRecording(std::optional<double> elapsedSeconds)
{
    const bool changed = m_recordingElapsed.has_value() != elapsedSeconds.has_value();
    m_recordingElapsed = elapsedSeconds;
    updateAppearance();
    if (changed)
        rebuildMenu();
}

void StatusItemController::setUploadProgress(std::optional<double> fraction)
{
    m_uploadProgress = fraction;
    updateAppearance();
}

void StatusItemController::updateAppearance()
{
    StatusIcon::Look look;
    look.foreground = m_foreground;
    QString toolTip;
    if (m_recordingElapsed) {
        look.kind = StatusIcon::Kind::recording;
        const QKeySequence stop = m_shortcuts(QStringLiteral("recordVideo"));
        toolTip = StatusItemText::recordingToolTip(*m_recordingElapsed, stop.toString(QKeySequence::NativeText));
    } else if (m_uploadProgress) {
        look.kind = StatusIcon::Kind::uploading;
        // The ring moves in whole percents; finer steps would redraw the tray for nothing.
        look.progress = StatusItemText::uploadPercent(*m_uploadProgress) / 100.0;
        toolTip = StatusItemText::uploadingToolTip(*m_uploadProgress);
    } else {
        toolTip = StatusItemText::idleToolTip();
    }

    const QString lookKey = QString::number(int(look.kind)) + QLatin1Char('/') + QString::number(look.progress);
    if (lookKey != m_lookKey) {
        m_lookKey = lookKey;
        const bool themed
            = look.kind == StatusIcon::Kind::idle && !m_foreground.isValid() && QIcon::hasThemeIcon(symbolicIconName);
        m_item.setIcon(themed ? QIcon::fromTheme(symbolicIconName) : StatusIcon::make(look));
    }
    if (m_item.toolTip() != toolTip)
        m_item.setToolTip(toolTip);
}

QAction *StatusItemController::addCommand(QMenu &menu, const QString &text, const std::function<void()> &action)
{
    QAction *item = menu.addAction(text);
    if (action)
        connect(item, &QAction::triggered, this, [action]() { action(); });
    else
        item->setEnabled(false);
    return item;
}

void StatusItemController::showShortcut(QAction &action, const QKeySequence &chord)
{
    if (chord.isEmpty())
        return;
    // Shown beside the command and heard only by the open menu itself: the global hot keys
    // run their commands on their own, and must not run them a second time.
    action.setShortcut(chord);
    action.setShortcutContext(Qt::WidgetShortcut);
    action.setShortcutVisibleInContextMenu(true);
}

namespace {

// QMenu::clear() leaves submenus alive; a menu rebuilt at every opening would pile them up.
void clearMenu(QMenu &menu)
{
    const QList<QAction *> actions = menu.actions();
    for (QAction *action : actions) {
        if (QMenu *submenu = QMenu::menuInAction(action)) {
            clearMenu(*submenu);
            submenu->deleteLater();
        }
    }
    menu.clear();
}

} // namespace

void StatusItemController::rebuildMenu()
{
    clearMenu(m_menu);
    showShortcut(*addCommand(m_menu, QStringLiteral("Take Screenshot"), m_actions.takeScreenshot),
        m_shortcuts(QStringLiteral("captureScreenshot")));
    showShortcut(
        *addCommand(m_menu, m_recordingElapsed ? QStringLiteral("Stop Recording") : QStringLiteral("Record Video"),
            m_actions.toggleRecording),
        m_shortcuts(QStringLiteral("recordVideo")));
    m_menu.addSeparator();
    addRecentUploads(m_menu);
    addCommand(m_menu, QStringLiteral("Open Save Folder"), m_actions.openSaveFolder);
    m_menu.addSeparator();
    showShortcut(*addCommand(m_menu, QStringLiteral("Settings…"), m_actions.showSettings),
        QKeySequence(Qt::CTRL | Qt::Key_Comma));
    addCommand(m_menu, QStringLiteral("About Qorvel"), m_actions.showAbout);
    m_menu.addSeparator();
    showShortcut(
        *addCommand(m_menu, QStringLiteral("Quit Qorvel"), m_actions.quit), QKeySequence(Qt::CTRL | Qt::Key_Q));
}

void StatusItemController::addRecentUploads(QMenu &menu)
{
    QMenu *uploads = menu.addMenu(QStringLiteral("Recent Uploads"));
    // The history lives in the secret store, whose libraries the tray loads only when needed:
    // it is read when the menu first opens, not while the tray merely starts.
    m_shownUploads = m_actions.recentUploads && m_menuOpened ? m_actions.recentUploads() : QList<UploadRecord>();
    if (m_shownUploads.isEmpty()) {
        uploads->addAction(QStringLiteral("No Uploads"))->setEnabled(false);
        return;
    }

    const QDateTime now = QDateTime::currentDateTime();
    for (qsizetype index = 0; index < m_shownUploads.size(); ++index) {
        const UploadRecord &record = m_shownUploads.at(index);
        QMenu *entry = uploads->addMenu(StatusItemText::uploadTitle(record, now));
        entry->setIcon(themeIcon(record.kind == UploadKind::video ? "video-x-generic" : "image-x-generic"));
        entry->setToolTipsVisible(true);
        entry->menuAction()->setToolTip(record.url.toString());
        const auto onShown = [this, index](const std::function<void(const UploadRecord &)> &action) {
            return [this, index, action]() { withShownUpload(index, action); };
        };
        addCommand(*entry, QStringLiteral("Copy Link"), onShown(m_actions.copyUpload))->setIcon(themeIcon("edit-copy"));
        addCommand(*entry, QStringLiteral("Open in Browser"), onShown(m_actions.openUpload))
            ->setIcon(themeIcon("internet-web-browser"));
        if (record.deletable) {
            addCommand(*entry, QStringLiteral("Delete from Catbox…"), onShown(m_actions.deleteUpload))
                ->setIcon(themeIcon("edit-delete"));
        } else {
            QAction *refused = addCommand(*entry, QStringLiteral("Delete from Catbox… (uploaded anonymously)"), {});
            refused->setIcon(themeIcon("edit-delete"));
            refused->setToolTip(QStringLiteral("Uploaded anonymously: can't be deleted."));
        }
    }
    uploads->addSeparator();
    uploads->addAction(QStringLiteral("Click a file for its link, or delete it from Catbox"))->setEnabled(false);
    addCommand(*uploads, QStringLiteral("Clear History"), m_actions.clearUploads);
}

void StatusItemController::withShownUpload(
    qsizetype index, const std::function<void(const UploadRecord &)> &action) const
{
    if (action && index >= 0 && index < m_shownUploads.size())
        action(m_shownUploads.at(index));
}
