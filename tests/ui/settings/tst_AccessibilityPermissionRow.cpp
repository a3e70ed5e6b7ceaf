#include "AccessibilityPermissionRow.h"
#include "DBusAccessibilitySwitch.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QPushButton>
#include <QTest>

// The row against the session's real accessibility bus launcher, which starts switched on.
class tst_AccessibilityPermissionRow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Flipped elsewhere, the row follows within about a second; its button flips it back on.
    void followsTheDesktopSwitch()
    {
        DBusAccessibilitySwitch accessibility(QDBusConnection::sessionBus());
        AccessibilityPermissionRow row(accessibility);
        row.show();
        QTRY_VERIFY(row.isGranted());

        QDBusMessage off = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"),
            QStringLiteral("/org/a11y/bus"), QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"));
        off.setArguments(
            {QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"), QVariant::fromValue(QDBusVariant(false))});
        QCOMPARE(QDBusConnection::sessionBus().call(off).type(), QDBusMessage::ReplyMessage);
        QTRY_VERIFY_WITH_TIMEOUT(!row.isGranted(), 3000);

        auto *turnOn = row.findChild<QPushButton *>(QStringLiteral("turnOnAccessibility"));
        QVERIFY(turnOn->isVisible());
        turnOn->click();
        QTRY_VERIFY_WITH_TIMEOUT(row.isGranted(), 3000);
        QVERIFY(!turnOn->isVisible());
    }
};

QTEST_MAIN(tst_AccessibilityPermissionRow)
#include "tst_AccessibilityPermissionRow.moc"
