#pragma once

#include <QWidget>

#include <functional>
#include <memory>

class QLabel;
class QPushButton;
class QStackedWidget;
class ScreenRecordingPermission;
class ScreenRecordingPermissionMonitor;
struct SettingsContext;

// The welcome shown until the user has finished it once: the screen permission, uploads, and
// the two shortcuts, one step at a time.
class OnboardingView : public QWidget
{
    Q_OBJECT

public:
    enum class Step { permission, upload, shortcuts };
    static constexpr int stepCount = 3;

    struct Actions
    {
        std::function<void()> relaunch;
        std::function<void()> finish;
    };

    // Without `permission` (no screen capture in this session) the first step says so.
    OnboardingView(const SettingsContext &context, ScreenRecordingPermission *permission, Actions actions,
        QWidget *parent = nullptr);
    ~OnboardingView() override;

    Step step() const { return m_step; }

protected:
    // Return goes on, as in a dialog: a plain window has no default button of its own.
    void keyPressEvent(QKeyEvent *event) override;

private:
    QWidget *permissionStep();
    QWidget *uploadStep(const SettingsContext &context);
    QWidget *shortcutsStep(const SettingsContext &context);
    void go(Step step);
    void showPermission();

    Actions m_actions;
    // The view's, not the step's: going back to the first step shows the last answer at once.
    std::unique_ptr<ScreenRecordingPermissionMonitor> m_monitor;
    Step m_step = Step::permission;
    QStackedWidget *m_steps = nullptr;
    QLabel *m_progress = nullptr;
    QPushButton *m_back = nullptr;
    QPushButton *m_skip = nullptr;
    QPushButton *m_continue = nullptr;
    QPushButton *m_done = nullptr;
    QLabel *m_statusIcon = nullptr;
    QLabel *m_statusText = nullptr;
    QWidget *m_permissionButtons = nullptr;
    QPushButton *m_restart = nullptr;
    QLabel *m_restartNote = nullptr;
};
