#include "CatboxSettingsView.h"

#include "CatboxAccountForm.h"
#include "CatboxTestUploadRow.h"
#include "UploadHistorySection.h"

#include <QLabel>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>

#include <utility>

CatboxSettingsView::CatboxSettingsView(Services services, QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("catboxSettings"));
    auto *content = new QWidget;

    auto *introduction = new QLabel(tr("Turn on uploads in the Screenshot and Video tabs. After an upload, the link is "
                                       "copied to the clipboard. Files on Catbox are public to anyone with the link; "
                                       "the limit is 200 MB per file."),
        content);
    introduction->setWordWrap(true);

    auto *account = new CatboxAccountForm(services.secrets, content);
    auto *test = new CatboxTestUploadRow(
        services.secrets, std::move(services.makeUploader), std::move(services.temporaryFolder), content);
    // Deleting needs the userhash, and a store that cannot be read has none to give.
    auto *history = new UploadHistorySection(
        services.history, account->secretsAvailable() ? services.removal : nullptr, services.clipboard, content);

    auto *layout = new QVBoxLayout(content);
    // The parts are separate matters: a wider gap between them than within them.
    layout->setSpacing(2 * style()->pixelMetric(QStyle::PM_LayoutVerticalSpacing, nullptr, this));
    layout->addWidget(introduction);
    layout->addWidget(account);
    layout->addWidget(test);
    layout->addWidget(history);
    layout->addStretch(1);

    // Twenty uploads make the pane taller than a small screen; only the pane scrolls, on the
    // window's own background.
    auto *scroll = new QScrollArea(this);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setWidget(content);
    scroll->viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);

    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);
}
