#pragma once

class QFormLayout;
struct SettingsContext;

// The recorders of the two global shortcuts, as rows of a form: the settings and the
// onboarding show the same two.
void addShortcutRows(QFormLayout &form, const SettingsContext &context);
