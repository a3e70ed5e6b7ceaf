#include "UploadHistorySection.h"

#include <QDesktopServices>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QTextDocument>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

QToolButton *iconButton(const QIcon &icon, const QString &label, const QString &name, QWidget *parent)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(name);
    button->setIcon(icon);
    button->setToolTip(label);
    button->setAccessibleName(label);
    button->setAutoRaise(true);
    return button;
}

} // namespace

UploadHistorySection::UploadHistorySection(
    UploadHistory *history, UploadRemoval *removal, Clipboard &clipboard, QWidget *parent)
    : QGroupBox(tr("Recent Uploads"), parent)
    , m_history(history)
    , m_removal(removal)
    , m_clipboard(clipboard)
{
    m_empty = new QLabel(tr("No uploads yet"), this);
    m_empty->setForegroundRole(QPalette::PlaceholderText);

    m_errorLine = new QWidget(this);
    auto *errorIcon = new QLabel(m_errorLine);
    const int iconSize = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    errorIcon->setPixmap(themed("dialog-error", QStyle::SP_MessageBoxCritical).pixmap(iconSize));
    m_error = new QLabel(m_errorLine);
    m_error->setObjectName(QStringLiteral("historyError"));
    m_error->setWordWrap(true);
    m_error->setTextFormat(Qt::PlainText);
    m_error->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *errorLayout = new QHBoxLayout(m_errorLine);
    errorLayout->setContentsMargins(0, 0, 0, 0);
    errorLayout->addWidget(errorIcon, 0, Qt::AlignTop);
    errorLayout->addWidget(m_error, 1);
    m_errorLine->hide();

    m_clear = new QPushButton(tr("Clear History"), this);
    m_clear->setObjectName(QStringLiteral("clearHistory"));
    auto *footer = new QLabel(tr("“Clear History” only clears the list in Qorvel; the files stay on Catbox."), this);
    footer->setWordWrap(true);
    auto *clearRow = new QHBoxLayout;
    clearRow->addWidget(m_clear, 0, Qt::AlignTop);
    clearRow->addWidget(footer, 1);

    m_layout = new QVBoxLayout(this);
    m_layout->addWidget(m_empty);
    m_layout->addWidget(m_errorLine);
    m_layout->addLayout(clearRow);

    if (!m_history) {
        setEnabled(false);
        return;
    }
    connect(m_clear, &QPushButton::clicked, m_history, &UploadHistory::clear);
    connect(m_history, &UploadHistory::changed, this, &UploadHistorySection::rebuild);
    rebuild();
}

void UploadHistorySection::rebuild()
{
    // Never called from a row's own button: the history changes on a click elsewhere or on an
    // answer from the network, so the old rows can go at once.
    delete m_rows;
    m_rows = nullptr;
    const QList<UploadRecord> &records = m_history->records();
    m_empty->setVisible(records.isEmpty());
    m_clear->setEnabled(!records.isEmpty());
    if (records.isEmpty())
        return;

    m_rows = new QWidget(this);
    auto *grid = new QGridLayout(m_rows);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setColumnStretch(1, 1);
    for (qsizetype row = 0; row < records.size(); ++row)
        addRow(grid, int(row), records.at(row));
    m_layout->insertWidget(0, m_rows);
}

void UploadHistorySection::addRow(QGridLayout *grid, int row, const UploadRecord &record)
{
    const bool video = record.kind == UploadKind::video;
    auto *kind = new QLabel(m_rows);
    const int iconSize = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    kind->setPixmap(video ? themed("video-x-generic", QStyle::SP_MediaPlay).pixmap(iconSize)
                          : themed("image-x-generic", QStyle::SP_FileIcon).pixmap(iconSize));
    kind->setAccessibleName(video ? tr("Video") : tr("Image"));

    auto *link = new QLabel(record.url.toString(), m_rows);
    link->setTextFormat(Qt::PlainText);
    link->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto *date = new QLabel(QLocale().toString(record.date.toLocalTime(), QLocale::ShortFormat), m_rows);
    date->setForegroundRole(QPalette::PlaceholderText);

    auto *copy
        = iconButton(themed("edit-copy", QStyle::SP_FileLinkIcon), tr("Copy link"), QStringLiteral("copyLink"), m_rows);
    connect(copy, &QToolButton::clicked, this, [this, url = record.url]() { m_clipboard.setLink(url); });

    auto *open = iconButton(
        themed("web-browser", QStyle::SP_CommandLink), tr("Open in browser"), QStringLiteral("openLink"), m_rows);
    connect(open, &QToolButton::clicked, this, [url = record.url]() { QDesktopServices::openUrl(url); });

    QString deleteLabel = tr("Delete from Catbox");
    if (!record.deletable)
        deleteLabel = tr("Uploaded anonymously: can't be deleted");
    else if (!m_removal)
        deleteLabel = tr("Can't be deleted without the Secret Service, which holds the userhash");
    auto *remove
        = iconButton(themed("edit-delete", QStyle::SP_TrashIcon), deleteLabel, QStringLiteral("deleteUpload"), m_rows);
    remove->setEnabled(record.deletable && m_removal != nullptr);
    connect(remove, &QToolButton::clicked, this, [this, record, remove]() { confirmDeletion(record, remove); });

    grid->addWidget(kind, row, 0);
    grid->addWidget(link, row, 1);
    grid->addWidget(date, row, 2);
    grid->addWidget(copy, row, 3);
    grid->addWidget(open, row, 4);
    grid->addWidget(remove, row, 5);
}

void UploadHistorySection::confirmDeletion(const UploadRecord &record, QToolButton *button)
{
    auto *box = new QMessageBox(QMessageBox::Warning, tr("Delete from Catbox"), tr("Delete this file from Catbox?"),
        QMessageBox::NoButton, this);
    box->setTextFormat(Qt::PlainText);
    // The informative text guesses its format; converted, a link stays text.
    box->setInformativeText(Qt::convertFromPlainText(
        record.url.toString() + u'\n' + tr("The link will stop working. This can't be undone.")));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    QPushButton *confirm = box->addButton(tr("Delete"), QMessageBox::DestructiveRole);
    QPushButton *cancel = box->addButton(tr("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    // The row may be rebuilt while the question is open.
    connect(confirm, &QPushButton::clicked, this,
        [this, record, button = QPointer<QToolButton>(button)]() { deleteUpload(record, button); });
    // Opened, not exec()'d: the tray, the shortcuts and running uploads go on meanwhile.
    box->open();
}

void UploadHistorySection::deleteUpload(const UploadRecord &record, const QPointer<QToolButton> &button)
{
    showError(QString());
    if (button)
        button->setEnabled(false);
    QPointer<UploadHistorySection> guard(this);
    m_removal->remove(record, [this, guard, button](const Result<void> &removed) {
        // On success the history's change has already taken the row away.
        if (!guard || removed)
            return;
        if (button)
            button->setEnabled(true);
        showError(removed.error().message);
    });
}

void UploadHistorySection::showError(const QString &message)
{
    m_error->setText(message);
    m_errorLine->setVisible(!message.isEmpty());
}

QIcon UploadHistorySection::themed(const char *name, QStyle::StandardPixmap fallback) const
{
    return QIcon::fromTheme(QLatin1String(name), style()->standardIcon(fallback, nullptr, this));
}
