#pragma once

#include <QIcon>
#include <QWidget>

// What "About Qorvel" shows: the name, the icon, the version and a line on what Qorvel does.
class AboutView : public QWidget
{
    Q_OBJECT

public:
    AboutView(const QIcon &icon, const QString &version, QWidget *parent = nullptr);
};
