#pragma once

#include <QGroupBox>
#include <QTimer>

class Preferences;
class QLabel;
class QLineEdit;

// "File name": the template every saved file is named from, with its expansion for this very
// second, so the effect of an edit is seen before any capture is made.
class FileNameTemplateSection : public QGroupBox
{
    Q_OBJECT

public:
    explicit FileNameTemplateSection(Preferences &preferences, QWidget *parent = nullptr);

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void showTemplate();
    void showPreview();

    Preferences &m_preferences;
    QLineEdit *m_template = nullptr;
    QLabel *m_preview = nullptr;
    // The clock tokens change every second.
    QTimer m_tick;
};
