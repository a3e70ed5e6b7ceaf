#pragma once

#include "UploadRecord.h"

#include <QColor>
#include <QKeySequence>
#include <QList>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

#include <functional>
#include <optional>

// The tray item, Qorvel's only permanent piece of interface, and its menu. It knows nothing of
// captures: every command is one of its actions, which the coordinator fills in.
class StatusItemController : public QObject
{
    Q_OBJECT

public:
    struct Actions
    {
        std::function<void()> takeScreenshot;
        std::function<void()> toggleRecording;
        std::function<void()> openSaveFolder;
        std::function<void()> showSettings;
        std::function<void()> showAbout;
        std::function<QList<UploadRecord>()> recentUploads;
        std::function<void(const UploadRecord &)> copyUpload;
        std::function<void(const UploadRecord &)> openUpload;
        std::function<void(const UploadRecord &)> deleteUpload;
        std::function<void()> clearUploads;
        std::function<void()> quit;
    };
    // The chord of a named shortcut as it is stored now; empty when it is off.
    using ShortcutLookup = std::function<QKeySequence(const QString &shortcutName)>;

    // The colour to draw the picture in, for an item at `item` on the screen (empty when the
    // tray does not say where it is); an invalid colour when nothing tells.
    using ForegroundProbe = std::function<QColor(const QRect &item)>;

    StatusItemController(
        Actions actions, ShortcutLookup shortcuts, ForegroundProbe foreground, QObject *parent = nullptr);
    ~StatusItemController() override;

    // Shows the item; whether a tray shows it depends on the desktop (see trayAvailable()).
    void install();
    static bool trayAvailable();

    // The recording appearance while `elapsedSeconds` is set; the previous one otherwise.
    void setRecording(std::optional<double> elapsedSeconds);
    // The upload appearance while `fraction` is set.
    void setUploadProgress(std::optional<double> fraction);

    // Built afresh each time the menu opens; called by hand when what it shows has changed.
    void rebuildMenu();

    const QSystemTrayIcon &item() const { return m_item; }

private:
    void updateAppearance();
    void probeForeground();
    QAction *addCommand(QMenu &menu, const QString &text, const std::function<void()> &action);
    static void showShortcut(QAction &action, const QKeySequence &chord);
    void addRecentUploads(QMenu &menu);
    // The record shown at `index` when the menu was built; none if the list has moved on.
    void withShownUpload(qsizetype index, const std::function<void(const UploadRecord &)> &action) const;

    Actions m_actions;
    ShortcutLookup m_shortcuts;
    ForegroundProbe m_probeForeground;
    QColor m_foreground;
    QSystemTrayIcon m_item;
    QMenu m_menu;
    std::optional<double> m_recordingElapsed;
    std::optional<double> m_uploadProgress;
    QList<UploadRecord> m_shownUploads;
    bool m_menuOpened = false;
    QString m_lookKey; // what the icon shows now, so unchanged ticks redraw nothing
};
