#include "SettingsPlaceholderView.h"

#include <QLabel>
#include <QVBoxLayout>

SettingsPlaceholderView::SettingsPlaceholderView(const QString &preferencesFile, QWidget *parent)
    : QWidget(parent)
{
    auto heading = new QLabel(tr("The settings are not built yet."), this);
    QFont headingFont = heading->font();
    headingFont.setBold(true);
    heading->setFont(headingFont);

    auto body = new QLabel(tr("Until they are, Qorvel reads its preferences from\n%1").arg(preferencesFile), this);
    body->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 24);
    layout->setSpacing(8);
    layout->addWidget(heading);
    layout->addWidget(body);
}
