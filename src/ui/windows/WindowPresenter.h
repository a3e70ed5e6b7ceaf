#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

class QWidget;

// Shows Qorvel's few ordinary windows (settings, onboarding), at most one per identifier.
// Showing an identifier again brings its window to the front; closing a window forgets it,
// so the next show builds a fresh window with a fresh view.
//
// A tray application has no menu bar, so every window carries the commands a menu bar would
// give it: Ctrl+W closes, Ctrl+M minimises, Ctrl+Q quits.
class WindowPresenter : public QObject
{
    Q_OBJECT

public:
    using ViewFactory = std::function<QWidget *()>;

    explicit WindowPresenter(QObject *parent = nullptr);
    ~WindowPresenter() override;

    // `makeView` runs only when a new window is built.
    QWidget *show(const QString &identifier, const QString &title, const ViewFactory &makeView);
    void close(const QString &identifier);

    // The open window for `identifier`, or null.
    QWidget *window(const QString &identifier) const;

Q_SIGNALS:
    void quitRequested();

private:
    QWidget *build(const QString &identifier, const QString &title, QWidget *view);

    QHash<QString, QPointer<QWidget>> m_windows;
};
