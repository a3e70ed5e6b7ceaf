#include "SettingsView.h"

#include "GeneralSettingsView.h"
#include "ScreenshotSettingsView.h"
#include "SettingsContext.h"
#include "SymbolIcon.h"
#include "VideoSettingsView.h"

#include <QTabWidget>
#include <QVBoxLayout>

SettingsView::SettingsView(
    const SettingsContext &context, const std::function<QWidget *(QWidget *)> &makeCatboxPane, QWidget *parent)
    : QWidget(parent)
    , m_tabs(new QTabWidget(this))
{
    m_tabs->setObjectName(QStringLiteral("tabs"));
    m_tabs->setDocumentMode(false);
    m_tabs->addTab(new GeneralSettingsView(context, m_tabs), symbolIcon(QStringLiteral("preferences-system")),
        QStringLiteral("&General"));
    m_tabs->addTab(new ScreenshotSettingsView(context.preferences, m_tabs), symbolIcon(QStringLiteral("camera-photo")),
        QStringLiteral("&Screenshot"));
    m_tabs->addTab(new VideoSettingsView(context.preferences, m_tabs), symbolIcon(QStringLiteral("media-record")),
        QStringLiteral("&Video"));
    m_tabs->addTab(makeCatboxPane(m_tabs), symbolIcon(QStringLiteral("document-send")), QStringLiteral("&Catbox"));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->addWidget(m_tabs);
}
