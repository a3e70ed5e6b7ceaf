#include "ShortcutRows.h"

#include "SettingsContext.h"
#include "ShortcutRecorder.h"

#include <QFormLayout>

void addShortcutRows(QFormLayout &form, const SettingsContext &context)
{
    using KeyboardShortcuts::Name;
    QWidget *parent = form.parentWidget();
    const auto recorder = [&](const Name &name, const char *objectName) {
        auto *field = new ShortcutRecorder(
            context.shortcuts, name,
            [&conflicts = context.conflicts, name](
                const KeyboardShortcuts::Shortcut &chord) { return conflicts.check(name, chord); },
            parent);
        field->setObjectName(QLatin1String(objectName));
        return field;
    };
    form.addRow(QStringLiteral("Take screenshot:"), recorder(Name::captureScreenshot(), "captureScreenshot"));
    form.addRow(QStringLiteral("Record video / stop:"), recorder(Name::recordVideo(), "recordVideo"));
}
