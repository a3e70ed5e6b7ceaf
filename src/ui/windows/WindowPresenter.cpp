#include "WindowPresenter.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeySequence>
#include <QScreen>
#include <QShortcut>
#include <QVBoxLayout>
#include <QWidget>

namespace {

void bringToFront(QWidget *window)
{
    if (window->isMinimized())
        window->showNormal();
    else
        window->show();
    window->raise();
    window->activateWindow();
}

void centreOnScreen(QWidget *window)
{
    QScreen *screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    QRect frame = window->frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    window->move(frame.topLeft());
}

} // namespace

WindowPresenter::WindowPresenter(QObject *parent)
    : QObject(parent)
{
}

WindowPresenter::~WindowPresenter()
{
    for (const QPointer<QWidget> &window : std::as_const(m_windows))
        delete window.data();
}

QWidget *WindowPresenter::show(const QString &identifier, const QString &title, const ViewFactory &makeView)
{
    QWidget *window = m_windows.value(identifier);
    if (!window) {
        window = build(identifier, title, makeView());
        m_windows.insert(identifier, window);
    }
    bringToFront(window);
    return window;
}

void WindowPresenter::close(const QString &identifier)
{
    if (QWidget *window = m_windows.value(identifier))
        window->close();
}

QWidget *WindowPresenter::window(const QString &identifier) const
{
    return m_windows.value(identifier);
}

QWidget *WindowPresenter::build(const QString &identifier, const QString &title, QWidget *view)
{
    // Titled and closable only: no resize handle, no minimise or maximise button.
    auto window
        = new QWidget(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    window->setObjectName(identifier);
    window->setWindowTitle(title);
    window->setAttribute(Qt::WA_DeleteOnClose);

    auto layout = new QVBoxLayout(window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(view);

    const auto addShortcut = [window](const QKeySequence &keys, auto slot) {
        auto shortcut = new QShortcut(keys, window);
        QObject::connect(shortcut, &QShortcut::activated, window, slot);
    };
    addShortcut(QKeySequence(Qt::CTRL | Qt::Key_W), [window] { window->close(); });
    addShortcut(QKeySequence(Qt::CTRL | Qt::Key_M), [window] { window->showMinimized(); });
    addShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), [this] { Q_EMIT quitRequested(); });

    // Forget the window as it goes, whoever closed it: Ctrl+W, the title bar, or close().
    connect(window, &QObject::destroyed, this, [this, identifier] { m_windows.remove(identifier); });

    window->adjustSize();
    centreOnScreen(window);
    return window;
}
