#include "PreferenceControls.h"

#include "Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QSignalBlocker>

namespace PreferenceControls {

QCheckBox *checkBox(Preferences &preferences, const QString &key, const QString &text, QWidget *parent)
{
    auto *box = new QCheckBox(text, parent);
    const auto show = [box, &preferences, key]() {
        const QSignalBlocker quiet(box);
        box->setChecked(preferences.boolValue(key));
    };
    show();
    QObject::connect(box, &QCheckBox::toggled, box, [&preferences, key](bool on) { preferences.setValue(key, on); });
    QObject::connect(&preferences, &Preferences::changed, box, [show, key](const QString &changed) {
        if (changed == key)
            show();
    });
    return box;
}

QComboBox *comboBox(Preferences &preferences, const QString &key,
    const QList<std::pair<QString, QLatin1String>> &choices, QWidget *parent)
{
    auto *box = new QComboBox(parent);
    for (const auto &[text, raw] : choices)
        box->addItem(text, QString(raw));
    const auto show = [box, &preferences, key]() {
        const QSignalBlocker quiet(box);
        int index = box->findData(preferences.stringValue(key).value_or(QString()));
        // A value this version does not know is read as the default, as the capture reads it.
        for (const auto &[registered, value] : Preferences::registrationTable()) {
            if (index < 0 && registered == key)
                index = box->findData(value);
        }
        box->setCurrentIndex(std::max(0, index));
    };
    show();
    QObject::connect(box, &QComboBox::activated, box,
        [box, &preferences, key](int index) { preferences.setValue(key, box->itemData(index)); });
    QObject::connect(&preferences, &Preferences::changed, box, [show, key](const QString &changed) {
        if (changed == key)
            show();
    });
    return box;
}

QLabel *note(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont small = label->font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    label->setFont(small);
    return label;
}

} // namespace PreferenceControls
