#pragma once

#include <QWidget>

#include <functional>

class QTabWidget;
struct SettingsContext;

// The settings window's content: four tabs, every control bound to its preference, so a
// change is kept at once and used by the next capture. There is nothing to apply or cancel.
class SettingsView : public QWidget
{
    Q_OBJECT

public:
    // The Catbox tab is built by `makeCatboxPane`, which gets the tab widget as its parent.
    SettingsView(const SettingsContext &context, const std::function<QWidget *(QWidget *)> &makeCatboxPane,
        QWidget *parent = nullptr);

    QTabWidget *tabs() const { return m_tabs; }

private:
    QTabWidget *m_tabs = nullptr;
};
