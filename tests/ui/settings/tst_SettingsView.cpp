#include "DBusAccessibilitySwitch.h"
#include "OnboardingView.h"
#include "Preferences.h"
#include "SettingsContext.h"
#include "SettingsView.h"
#include "ShortcutStore.h"
#include "TestFiles.h"
#include "XdgAutostartEntry.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDBusConnection>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The settings and the onboarding on a fresh profile, with the real autostart entry in a
// scratch folder and no accessibility bus.
class tst_SettingsView : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<KeyboardShortcuts::ShortcutStore> m_shortcuts;
    std::unique_ptr<KeyboardShortcuts::ShortcutConflicts> m_conflicts;
    std::unique_ptr<XdgAutostartEntry> m_autostart;
    std::unique_ptr<DBusAccessibilitySwitch> m_accessibility;

    QString autostartFile() const { return m_dir->filePath(QStringLiteral("autostart/com.vostrink.qorvel.desktop")); }

    SettingsContext context()
    {
        return {*m_preferences, *m_shortcuts, *m_conflicts, *m_autostart, *m_accessibility, QStringLiteral("1.2.3")};
    }

    std::unique_ptr<SettingsView> settings()
    {
        auto view = std::make_unique<SettingsView>(context(), [](QWidget *parent) { return new QWidget(parent); });
        view->show();
        return view;
    }

    template <typename Widget> static Widget *control(SettingsView &view, int tab, const char *name)
    {
        view.tabs()->setCurrentIndex(tab);
        auto *found = view.tabs()->widget(tab)->findChild<Widget *>(QLatin1String(name));
        if (!found)
            qFatal("no %s on tab %d", name, tab);
        return found;
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_preferences = std::make_unique<Preferences>(m_dir->filePath(QStringLiteral("qorvel.conf")), m_dir->path());
        m_shortcuts = std::make_unique<KeyboardShortcuts::ShortcutStore>(*m_preferences);
        m_conflicts = std::make_unique<KeyboardShortcuts::ShortcutConflicts>(*m_shortcuts,
            QList<KeyboardShortcuts::ShortcutConflicts::TitledName>{},
            QList<KeyboardShortcuts::ShortcutConflicts::Claim>{}, nullptr);
        m_autostart = std::make_unique<XdgAutostartEntry>(
            autostartFile(), XdgAutostartEntry::execArgument(QStringLiteral("/opt/my apps/qorvel")));
        m_accessibility = std::make_unique<DBusAccessibilitySwitch>(QDBusConnection::sessionBus());
    }

    // Each control shows the registered default on a fresh profile and writes its own key.
    void controlsWriteTheirKeys_data()
    {
        QTest::addColumn<int>("tab");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("shown");
        QTest::addColumn<QVariant>("changed");
        using namespace PreferenceKey;
        const auto row
            = [](const char *tag, int tab, const char *name, QLatin1String key, QVariant shown, QVariant changed) {
                  QTest::newRow(tag) << tab << QString::fromLatin1(name) << QString(key) << shown << changed;
              };
        row("magnifier", 0, "showMagnifier", showMagnifier, true, false);
        row("shutter", 0, "playShutterSound", playShutterSound, true, false);
        row("screenshot copy", 1, "copy", screenshotCopyToClipboard, true, false);
        row("screenshot save", 1, "save", screenshotSaveToFolder, true, false);
        row("screenshot upload", 1, "upload", screenshotUpload, false, true);
        row("format", 1, "format", screenshotFormat, QStringLiteral("png"), QStringLiteral("jpeg"));
        row("shadow", 1, "includeWindowShadow", includeWindowShadow, false, true);
        row("video copy", 2, "copy", videoCopyToClipboard, false, true);
        row("video save", 2, "save", videoSaveToFolder, true, false);
        row("video upload", 2, "upload", videoUpload, false, true);
        row("cursor", 2, "videoShowsCursor", videoShowsCursor, true, false);
        row("countdown", 2, "videoCountdown", videoCountdown, false, true);
        row("quality", 2, "videoQuality", videoQuality, QStringLiteral("medium"), QStringLiteral("high"));
        row("codec", 2, "videoCodec", videoCodec, QStringLiteral("h264"), QStringLiteral("hevc"));
        row("resolution", 2, "videoMaxResolution", videoMaxResolution, QStringLiteral("unlimited"),
            QStringLiteral("p720"));
    }

    void controlsWriteTheirKeys()
    {
        QFETCH(int, tab);
        QFETCH(QString, name);
        QFETCH(QString, key);
        QFETCH(QVariant, shown);
        QFETCH(QVariant, changed);
        const std::unique_ptr<SettingsView> view = settings();
        QWidget *widget = view->tabs()->widget(tab)->findChild<QWidget *>(name);
        QVERIFY(widget);
        if (auto *box = qobject_cast<QCheckBox *>(widget)) {
            QCOMPARE(box->isChecked(), shown.toBool());
            box->click();
        } else if (auto *combo = qobject_cast<QComboBox *>(widget)) {
            QCOMPARE(combo->currentData(), shown);
            combo->setCurrentIndex(combo->findData(changed));
            Q_EMIT combo->activated(combo->currentIndex());
        }
        QVERIFY(!m_preferences->storedValue(key).isNull());
        QCOMPARE(m_preferences->storedValue(key).toString(), changed.toString());
    }

    // The quality slider is there only for JPEG, and shows the stored quality in percent.
    void jpegQualityOnlyForJpeg()
    {
        const std::unique_ptr<SettingsView> view = settings();
        auto *slider = control<QSlider>(*view, 1, "jpegQuality");
        QVERIFY(!slider->isVisible());
        m_preferences->setValue(PreferenceKey::screenshotFormat, QStringLiteral("jpeg"));
        QVERIFY(slider->isVisible());
        QCOMPARE(control<QLabel>(*view, 1, "jpegQualityValue")->text(), QStringLiteral("90%"));
        slider->setValue(55);
        QCOMPARE(m_preferences->doubleValue(PreferenceKey::screenshotJPEGQuality), 0.55);
        QCOMPARE(control<QLabel>(*view, 1, "jpegQualityValue")->text(), QStringLiteral("55%"));
    }

    void warningWhenNothingIsKept()
    {
        const std::unique_ptr<SettingsView> view = settings();
        auto *warning = control<QWidget>(*view, 1, "nothingKeptWarning");
        QVERIFY(!warning->isVisible());
        control<QCheckBox>(*view, 1, "copy")->click();
        control<QCheckBox>(*view, 1, "save")->click();
        QVERIFY(warning->isVisible());
        control<QCheckBox>(*view, 1, "upload")->click();
        QVERIFY(!warning->isVisible());
        // The other tab's actions are its own.
        QVERIFY(!control<QWidget>(*view, 2, "nothingKeptWarning")->isVisible());
    }

    void templatePreviewFollowsEdits()
    {
        const std::unique_ptr<SettingsView> view = settings();
        auto *field = control<QLineEdit>(*view, 1, "template");
        auto *preview = control<QLabel>(*view, 1, "preview");
        field->selectAll();
        QTest::keyClicks(field, QStringLiteral("Shot {yyyy}"));
        const QString year = QString::number(QDate::currentDate().year());
        QCOMPARE(preview->toolTip(), QStringLiteral("Shot ") + year + QStringLiteral(".png"));
        QCOMPARE(m_preferences->fileNameTemplate(), QStringLiteral("Shot {yyyy}"));
        control<QPushButton>(*view, 1, "restoreTemplate")->click();
        QCOMPARE(field->text(), QStringLiteral("Qorvel {yyyy}-{MM}-{dd} at {HH}.{mm}.{ss}"));
        QVERIFY(preview->toolTip().startsWith(QStringLiteral("Qorvel ") + year));
    }

    void launchAtLoginWritesTheAutostartEntry()
    {
        const std::unique_ptr<SettingsView> view = settings();
        auto *box = control<QCheckBox>(*view, 0, "launchAtLogin");
        QVERIFY(!box->isChecked());
        box->click();
        QFile entry(autostartFile());
        QVERIFY(entry.open(QIODevice::ReadOnly));
        QVERIFY(entry.readAll().contains("\nExec=\"/opt/my apps/qorvel\"\n"));
        box->click();
        QVERIFY(!QFile::exists(autostartFile()));

        // A folder that cannot be made: the reason is shown and the switch tells the truth.
        QVERIFY(QDir(m_dir->filePath(QStringLiteral("autostart"))).removeRecursively());
        writeTestFile(m_dir->filePath(QStringLiteral("autostart")), "not a folder");
        box->click();
        QVERIFY(!box->isChecked());
        auto *error = control<QLabel>(*view, 0, "launchAtLoginError");
        QVERIFY(error->isVisible());
        QVERIFY(error->text().startsWith(QStringLiteral("Couldn't change the setting: ")));
    }

    void onboardingSteps()
    {
        bool finished = false;
        OnboardingView view(context(), nullptr, {{}, [&finished]() { finished = true; }});
        view.show();
        const auto shown
            = [&view](const char *name) { return view.findChild<QPushButton *>(QLatin1String(name))->isVisible(); };
        const auto progress = [&view]() { return view.findChild<QLabel *>(QStringLiteral("progress"))->text(); };
        QCOMPARE(progress(), QStringLiteral("Step 1 of 3"));
        QVERIFY(!shown("back") && !shown("skip") && shown("continue") && !shown("done"));
        QVERIFY(
            view.findChild<QLabel *>(QStringLiteral("permissionStatus"))->text().startsWith(QStringLiteral("Error: ")));

        view.findChild<QPushButton *>(QStringLiteral("continue"))->click();
        QCOMPARE(progress(), QStringLiteral("Step 2 of 3"));
        QVERIFY(shown("back") && shown("skip") && shown("continue") && !shown("done"));
        view.findChild<QCheckBox *>(QStringLiteral("screenshotUpload"))->click();
        QVERIFY(m_preferences->boolValue(PreferenceKey::screenshotUpload));

        view.findChild<QPushButton *>(QStringLiteral("skip"))->click();
        QCOMPARE(progress(), QStringLiteral("Step 3 of 3"));
        QVERIFY(shown("back") && !shown("skip") && !shown("continue") && shown("done"));
        view.findChild<QPushButton *>(QStringLiteral("back"))->click();
        QCOMPARE(view.step(), OnboardingView::Step::upload);
        view.findChild<QPushButton *>(QStringLiteral("continue"))->click();
        QVERIFY(!finished);
        view.findChild<QPushButton *>(QStringLiteral("done"))->click();
        QVERIFY(finished);
    }
};

QTEST_MAIN(tst_SettingsView)
#include "tst_SettingsView.moc"
