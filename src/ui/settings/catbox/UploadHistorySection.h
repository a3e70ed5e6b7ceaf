#pragma once

#include "Clipboard.h"
#include "UploadHistory.h"
#include "UploadRecord.h"
#include "UploadRemoval.h"

#include <QGroupBox>
#include <QPointer>
#include <QStyle>

class QGridLayout;
class QLabel;
class QPushButton;
class QToolButton;
class QVBoxLayout;

// The recent uploads, newest first, each with its link to copy, open or take down from Catbox,
// and the button that empties the list. It follows the history as it changes, whoever changes it.
class UploadHistorySection : public QGroupBox
{
    Q_OBJECT

public:
    // Without a history the section only says there is nothing; without a removal nothing can
    // be deleted from here.
    UploadHistorySection(
        UploadHistory *history, UploadRemoval *removal, Clipboard &clipboard, QWidget *parent = nullptr);

private:
    void rebuild();
    void addRow(QGridLayout *grid, int row, const UploadRecord &record);
    void confirmDeletion(const UploadRecord &record, QToolButton *button);
    void deleteUpload(const UploadRecord &record, const QPointer<QToolButton> &button);
    void showError(const QString &message);
    QIcon themed(const char *name, QStyle::StandardPixmap fallback) const;

    UploadHistory *m_history;
    UploadRemoval *m_removal;
    Clipboard &m_clipboard;
    QVBoxLayout *m_layout = nullptr;
    QWidget *m_rows = nullptr;
    QLabel *m_empty = nullptr;
    QWidget *m_errorLine = nullptr;
    QLabel *m_error = nullptr;
    QPushButton *m_clear = nullptr;
};
