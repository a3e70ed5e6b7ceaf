#include "ShortcutRecorder.h"

#include "ShortcutStore.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <utility>

using KeyboardShortcuts::Shortcut;
using KeyboardShortcuts::ShortcutConflict;

namespace {

QString chordText(QKeyCombination combination)
{
    return QKeySequence(combination).toString(QKeySequence::NativeText);
}

bool isModifierKey(int key)
{
    return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt || key == Qt::Key_Meta
        || key == Qt::Key_Super_L || key == Qt::Key_Super_R || key == Qt::Key_AltGr || key == Qt::Key_Hyper_L
        || key == Qt::Key_Hyper_R;
}

// The modifiers held so far, as the start of a chord ("Ctrl+Alt+…").
QString heldModifiers(Qt::KeyboardModifiers modifiers)
{
    const QString text = QKeySequence(QKeyCombination(modifiers, Qt::Key_unknown)).toString(QKeySequence::NativeText);
    // The unknown key itself has no text of its own, but some styles print a placeholder.
    const qsizetype plus = text.lastIndexOf(QLatin1Char('+'));
    return (plus < 0 ? QString() : text.left(plus + 1)) + QStringLiteral("…");
}

} // namespace

ShortcutRecorder::ShortcutRecorder(
    KeyboardShortcuts::ShortcutStore &shortcuts, KeyboardShortcuts::Name name, Check check, QWidget *parent)
    : QWidget(parent)
    , m_store(shortcuts)
    , m_name(std::move(name))
    , m_check(std::move(check))
    , m_field(new QPushButton(this))
    , m_clear(new QToolButton(this))
    , m_message(new QLabel(this))
{
    m_field->setObjectName(QStringLiteral("chord"));
    m_field->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("Shift+Ctrl+Alt+Super+F12")));
    m_field->setToolTip(QStringLiteral("Click, then press the new shortcut. Backspace turns it off."));
    m_field->installEventFilter(this);
    connect(m_field, &QPushButton::clicked, this, &ShortcutRecorder::startRecording);

    m_clear->setObjectName(QStringLiteral("clearChord"));
    m_clear->setIcon(
        QIcon::fromTheme(QStringLiteral("edit-clear-symbolic"), QIcon::fromTheme(QStringLiteral("edit-clear"))));
    m_clear->setText(QStringLiteral("Clear"));
    m_clear->setToolTip(QStringLiteral("Turn this shortcut off"));
    m_clear->setAutoRaise(true);
    connect(m_clear, &QToolButton::clicked, this, [this]() { store(std::nullopt); });

    m_message->setObjectName(QStringLiteral("chordMessage"));
    m_message->setWordWrap(true);
    m_message->setForegroundRole(QPalette::PlaceholderText);
    m_message->hide();

    auto *row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(m_field);
    row->addWidget(m_clear);
    row->addStretch();
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addLayout(row);
    layout->addWidget(m_message);

    // Another window (the onboarding, the settings) or the command line may change it too.
    connect(&m_store, &KeyboardShortcuts::ShortcutStore::shortcutChanged, this, [this](const QString &rawValue) {
        if (rawValue == m_name.rawValue && !m_recording)
            showStored();
    });
    showStored();
}

ShortcutRecorder::~ShortcutRecorder()
{
    if (m_recording)
        m_field->releaseKeyboard();
}

QString ShortcutRecorder::message() const
{
    return m_message->isHidden() ? QString() : m_message->text();
}

QString ShortcutRecorder::refusalText(const ShortcutConflict &conflict, const QString &chord)
{
    switch (conflict.kind) {
    case ShortcutConflict::Kind::typing:
        return QStringLiteral("%1 is needed for typing: add Ctrl, Alt or Super.").arg(chord);
    case ShortcutConflict::Kind::otherShortcut:
        return QStringLiteral("%1 is already the shortcut for “%2”.").arg(chord, conflict.usedFor);
    case ShortcutConflict::Kind::menu:
        return QStringLiteral("%1 is used by Qorvel's windows for “%2”.").arg(chord, conflict.usedFor);
    case ShortcutConflict::Kind::otherProgram:
        return QStringLiteral("%1 is already used by another program.").arg(chord);
    }
    return {};
}

void ShortcutRecorder::startRecording()
{
    if (m_recording)
        return;
    m_recording = true;
    m_field->setDown(true);
    m_field->setText(QStringLiteral("Press a shortcut…"));
    m_clear->setEnabled(false);
    m_field->setFocus(Qt::OtherFocusReason);
    m_field->grabKeyboard();
}

void ShortcutRecorder::stopRecording()
{
    if (!m_recording)
        return;
    m_recording = false;
    m_field->releaseKeyboard();
    m_field->setDown(false);
    showStored();
}

void ShortcutRecorder::showStored()
{
    const std::optional<Shortcut> shortcut = m_store.shortcut(m_name);
    m_field->setText(shortcut ? chordText(shortcut->toQt()) : QStringLiteral("Record Shortcut"));
    m_clear->setEnabled(shortcut.has_value());
    m_clear->setVisible(shortcut.has_value());
}

void ShortcutRecorder::store(std::optional<Shortcut> shortcut)
{
    showMessage({});
    stopRecording();
    // The running hot keys follow the store: the old chord is let go, the new one taken.
    m_store.setShortcut(m_name, shortcut);
    showStored();
}

void ShortcutRecorder::showMessage(const QString &text)
{
    m_message->setText(text);
    m_message->setVisible(!text.isEmpty());
}

bool ShortcutRecorder::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_field)
        return false;
    switch (event->type()) {
    case QEvent::KeyPress:
        return recordKey(*static_cast<QKeyEvent *>(event));
    case QEvent::KeyRelease:
        if (m_recording) {
            const auto *key = static_cast<QKeyEvent *>(event);
            const Qt::KeyboardModifiers held = key->modifiers() & ~Qt::KeypadModifier;
            m_field->setText(held ? heldModifiers(held) : QStringLiteral("Press a shortcut…"));
            return true;
        }
        return false;
    case QEvent::FocusOut:
        // Recording ends with the window's focus, or the keyboard would stay held.
        stopRecording();
        return false;
    default:
        return false;
    }
}

bool ShortcutRecorder::recordKey(const QKeyEvent &key)
{
    const Qt::KeyboardModifiers modifiers = key.modifiers() & ~Qt::KeypadModifier;
    const bool bare = modifiers == Qt::NoModifier;
    const bool clearing = bare && (key.key() == Qt::Key_Backspace || key.key() == Qt::Key_Delete);
    if (!m_recording) {
        if (!clearing)
            return false;
        store(std::nullopt);
        return true;
    }
    if (key.isAutoRepeat())
        return true;
    if (bare && key.key() == Qt::Key_Escape) {
        showMessage({});
        stopRecording();
        return true;
    }
    if (clearing) {
        store(std::nullopt);
        return true;
    }
    if (isModifierKey(key.key())) {
        m_field->setText(heldModifiers(modifiers));
        return true;
    }
    const std::optional<Shortcut> shortcut = Shortcut::fromQt(key.keyCombination());
    if (!shortcut) {
        showMessage(QStringLiteral("This key can't be part of a shortcut."));
        return true;
    }
    if (const std::optional<ShortcutConflict> conflict = m_check ? m_check(*shortcut) : std::nullopt) {
        showMessage(refusalText(*conflict, chordText(shortcut->toQt())));
        m_field->setText(QStringLiteral("Press a shortcut…"));
        return true;
    }
    store(shortcut);
    return true;
}
