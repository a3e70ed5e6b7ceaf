#pragma once

#include <QLatin1String>
#include <QList>
#include <QString>

#include <utility>

class Preferences;
class QCheckBox;
class QComboBox;
class QLabel;
class QWidget;

// Controls bound to one preference each: they show what the file holds (or the registered
// default), write every change at once, and follow changes made elsewhere (another window,
// the command line, a text editor), so there is never anything to apply.
namespace PreferenceControls {

QCheckBox *checkBox(Preferences &preferences, const QString &key, const QString &text, QWidget *parent);

// `choices` pairs each shown text with the raw value stored for it.
QComboBox *comboBox(Preferences &preferences, const QString &key,
    const QList<std::pair<QString, QLatin1String>> &choices, QWidget *parent);

// A note under a group of controls: smaller, in the secondary colour, wrapping.
QLabel *note(const QString &text, QWidget *parent);

} // namespace PreferenceControls
