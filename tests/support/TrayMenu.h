#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QHash>
#include <QStringList>
#include <QTest>

// The tray item and its menu as the desktop's StatusNotifierItem host sees them: the
// watcher's list, the item's properties and com.canonical.dbusmenu. Every call is made on a
// connection of its own and waited for with events running, so the item may live in this
// very process.
class TrayMenu
{
public:
    TrayMenu()
        : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("tray-menu-reader")))
    {
    }
    ~TrayMenu() { QDBusConnection::disconnectFromBus(QStringLiteral("tray-menu-reader")); }

    // Waits for the first item the watcher knows; false when none registers in time.
    bool waitForItem()
    {
        return QTest::qWaitFor(
            [this] {
                const QStringList names = property(QStringLiteral("org.kde.StatusNotifierWatcher"),
                    QStringLiteral("/StatusNotifierWatcher"), QStringLiteral("org.kde.StatusNotifierWatcher"),
                    QStringLiteral("RegisteredStatusNotifierItems"))
                                              .toStringList();
                m_service = names.value(0).section(QLatin1Char('/'), 0, 0);
                return !m_service.isEmpty();
            },
            10'000);
    }

    // One line per entry, submenus indented by two spaces: the label, then a tab and the
    // shortcut when there is one, then " (disabled)" for an entry that cannot be chosen;
    // "-" for a separator.
    QStringList layout()
    {
        menuCall(QStringLiteral("AboutToShow"), {0});
        const QDBusMessage reply = menuCall(QStringLiteral("GetLayout"), {0, -1, QStringList()});
        m_ids.clear();
        QStringList lines;
        if (reply.arguments().size() == 2)
            read(reply.arguments().at(1).value<QDBusArgument>(), 0, QString(), lines);
        return lines;
    }

    // Clicks the entry whose labels, from the top, are `path`; false when there is none.
    bool click(const QStringList &path)
    {
        layout();
        const int id = m_ids.value(path.join(QLatin1Char('/')), -1);
        if (id < 0)
            return false;
        return menuCall(
                   QStringLiteral("Event"), {id, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(0)), 0u})
                   .type()
            == QDBusMessage::ReplyMessage;
    }

    // The item's tooltip title: the third member of (icon name, icon pixmaps, title, text).
    QString toolTip()
    {
        const QDBusArgument tip = property(m_service, QStringLiteral("/StatusNotifierItem"),
            QStringLiteral("org.kde.StatusNotifierItem"), QStringLiteral("ToolTip"))
                                      .value<QDBusArgument>();
        QString title;
        tip.beginStructure();
        tip.asVariant();
        tip.asVariant();
        tip >> title;
        return title;
    }

private:
    QDBusMessage call(QDBusMessage message, const QVariantList &arguments)
    {
        message.setArguments(arguments);
        QDBusPendingCall pending = m_bus.asyncCall(message, 5000);
        // A call that never finishes comes back as an error reply, which the callers see.
        (void)QTest::qWaitFor([&pending] { return pending.isFinished(); }, 6000);
        return pending.reply();
    }

    QDBusMessage menuCall(const QString &method, const QVariantList &arguments)
    {
        return call(QDBusMessage::createMethodCall(
                        m_service, QStringLiteral("/MenuBar"), QStringLiteral("com.canonical.dbusmenu"), method),
            arguments);
    }

    QVariant property(const QString &service, const QString &path, const QString &interface, const QString &name)
    {
        const QDBusMessage reply = call(QDBusMessage::createMethodCall(service, path,
                                            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get")),
            {interface, name});
        return reply.arguments().isEmpty() ? QVariant() : reply.arguments().first().value<QDBusVariant>().variant();
    }

    void read(const QDBusArgument &node, int depth, const QString &parentPath, QStringList &lines)
    {
        int id = 0;
        QVariantMap properties;
        node.beginStructure();
        node >> id >> properties;
        QString path = parentPath;
        if (depth > 0 && properties.value(QStringLiteral("visible"), true).toBool()) {
            QString line(2 * (depth - 1), QLatin1Char(' '));
            if (properties.value(QStringLiteral("type")).toString() == QLatin1String("separator")) {
                line += QLatin1Char('-');
            } else {
                const QString label = properties.value(QStringLiteral("label")).toString();
                path = parentPath.isEmpty() ? label : parentPath + QLatin1Char('/') + label;
                m_ids.insert(path, id);
                line += label;
                QStringList chords;
                for (const QStringList &keys :
                    qdbus_cast<QList<QStringList>>(properties.value(QStringLiteral("shortcut"))))
                    chords << keys.join(QLatin1Char('+'));
                if (!chords.isEmpty())
                    line += QLatin1Char('\t') + chords.join(QLatin1String(", "));
                if (!properties.value(QStringLiteral("enabled"), true).toBool())
                    line += QLatin1String(" (disabled)");
            }
            lines << line;
        }
        node.beginArray();
        while (!node.atEnd()) {
            QDBusVariant child;
            node >> child;
            read(child.variant().value<QDBusArgument>(), depth + 1, path, lines);
        }
        node.endArray();
        node.endStructure();
    }

    QDBusConnection m_bus;
    QString m_service;
    QHash<QString, int> m_ids;
};
