#include "AboutView.h"

#include <QLabel>
#include <QPalette>
#include <QVBoxLayout>

AboutView::AboutView(const QIcon &icon, const QString &version, QWidget *parent)
    : QWidget(parent)
{
    auto *picture = new QLabel(this);
    picture->setPixmap(icon.pixmap(QSize(96, 96)));
    picture->setAlignment(Qt::AlignCenter);

    auto *name = new QLabel(QStringLiteral("Qorvel"), this);
    QFont nameFont = name->font();
    nameFont.setBold(true);
    nameFont.setPointSizeF(nameFont.pointSizeF() * 1.4);
    name->setFont(nameFont);
    name->setAlignment(Qt::AlignCenter);

    auto *versionLine = new QLabel(QStringLiteral("Version %1").arg(version), this);
    versionLine->setAlignment(Qt::AlignCenter);
    versionLine->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto *credits = new QLabel(QStringLiteral("Screenshots and screen recordings\nfrom your menu bar."), this);
    credits->setAlignment(Qt::AlignCenter);
    QFont small = credits->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    credits->setFont(small);
    credits->setForegroundRole(QPalette::PlaceholderText);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(40, 24, 40, 28);
    layout->setSpacing(6);
    layout->addWidget(picture);
    layout->addWidget(name);
    layout->addWidget(versionLine);
    layout->addSpacing(6);
    layout->addWidget(credits);
}
