#pragma once

#include "Name.h"
#include "ShortcutConflicts.h"

#include <QWidget>

#include <functional>
#include <optional>

class QKeyEvent;
class QLabel;
class QPushButton;
class QToolButton;

namespace KeyboardShortcuts {
class ShortcutStore;
}

// A field that shows the chord stored for one shortcut name and records a new one: click it
// (or press Space) and press the chord. Escape gives up on the recording, Backspace or Delete
// turns the shortcut off. A refused chord is explained under the field and recording goes on.
//
// While recording the field holds the keyboard, so even a chord another program has grabbed
// reaches it, and the conflict check can say who has it.
class ShortcutRecorder : public QWidget
{
    Q_OBJECT

public:
    using Check
        = std::function<std::optional<KeyboardShortcuts::ShortcutConflict>(const KeyboardShortcuts::Shortcut &)>;

    ShortcutRecorder(KeyboardShortcuts::ShortcutStore &shortcuts, KeyboardShortcuts::Name name, Check check,
        QWidget *parent = nullptr);
    ~ShortcutRecorder() override;

    bool isRecording() const { return m_recording; }
    void startRecording();
    // What the field says under it now; empty when nothing was refused.
    QString message() const;

    static QString refusalText(const KeyboardShortcuts::ShortcutConflict &conflict, const QString &chord);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void showStored();
    void stopRecording();
    void store(std::optional<KeyboardShortcuts::Shortcut> shortcut);
    void showMessage(const QString &text);
    bool recordKey(const QKeyEvent &key);

    KeyboardShortcuts::ShortcutStore &m_store;
    KeyboardShortcuts::Name m_name;
    Check m_check;
    QPushButton *m_field = nullptr;
    QToolButton *m_clear = nullptr;
    QLabel *m_message = nullptr;
    bool m_recording = false;
};
