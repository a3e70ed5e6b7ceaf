#pragma once

#include <QGroupBox>
#include <QString>

class Preferences;
class QLabel;

// "After capture": what happens to each capture of one kind (screenshots or videos): copy,
// save into a folder, upload. The notes under the switches say what a combination means,
// and a warning says when a capture would be kept nowhere.
class CaptureActionsSection : public QGroupBox
{
    Q_OBJECT

public:
    struct Keys
    {
        QString copy;
        QString save;
        QString upload;
        QString folder;
    };

    CaptureActionsSection(Preferences &preferences, Keys keys, const QString &copyLabel, QWidget *parent = nullptr);

private:
    void showNotes();

    Preferences &m_preferences;
    Keys m_keys;
    QLabel *m_linkNote = nullptr;
    QLabel *m_fallbackNote = nullptr;
    QWidget *m_warning = nullptr;
    QWidget *m_folder = nullptr;
};
