#include "RecordingController.h"
#include "RecordingError.h"
#include "RecordingFakes.h"

#include <QTest>

// The controller with real sessions over the stand-in source and writer, and overlays that
// only say what they were asked: the log is the order in which things happened.
namespace {

struct LoggedOverlays : RecordingOverlays
{
    QStringList &log;
    std::function<bool()> stillWanted;
    std::function<void(bool)> done;

    explicit LoggedOverlays(QStringList &into)
        : log(into)
    {
    }
    void runCountdown(const QRectF &, std::function<bool()> wanted, std::function<void(bool)> finished) override
    {
        log << QStringLiteral("countdown");
        stillWanted = std::move(wanted);
        done = std::move(finished);
    }
    void showFrame(const QRectF &) override { log << QStringLiteral("frame"); }
    void hideFrame() override { log << QStringLiteral("no frame"); }
};

QStringList steps(const char *log)
{
    return QString::fromLatin1(log).split(u'|');
}

} // namespace

class tst_RecordingController : public QObject
{
    Q_OBJECT

    QStringList m_log;
    ListedScreens m_screens;
    LoggedOverlays m_overlays{m_log};
    DrivenSource *m_source = nullptr;
    bool m_countdown = false;
    std::unique_ptr<RecordingController> m_controller;

    void waitUntilIdle() { QTRY_VERIFY(m_controller->phase() == RecordingController::Phase::idle); }

private Q_SLOTS:
    void init()
    {
        m_countdown = false;
        m_screens.content.displays = {ScreenDisplay{1, QRectF(0, 0, 800, 600), 1, QRect(0, 0, 800, 600), {}}};
        m_controller = std::make_unique<RecordingController>(RecordingController::Parts{
            [this](const CaptureTarget &target) {
                return RecordingSession::create(
                    target, QStringLiteral("file.mp4"), RecordingSettings{}, m_screens,
                    [this](const FrameSourceRequest &) -> Result<std::unique_ptr<FrameSource>> {
                        auto source = std::make_unique<DrivenSource>();
                        m_source = source.get();
                        return std::unique_ptr<FrameSource>(std::move(source));
                    },
                    [](const QString &, const VideoEncodingPlan &) -> Result<std::unique_ptr<VideoFileWriter>> {
                        return std::unique_ptr<VideoFileWriter>(std::make_unique<HeldWriter>());
                    });
            },
            m_overlays, [this] { return m_countdown; },
            [this](bool enabled) { m_log << (enabled ? QStringLiteral("escape") : QStringLiteral("no escape")); }});
        m_log.clear(); // the shortcut starts disabled
        m_controller->onTick = [this](std::optional<double> elapsed) {
            // Only the first and the last tick are named; the timer's are counted.
            if (!elapsed)
                m_log << QStringLiteral("ticks end");
            else if (*elapsed == 0)
                m_log << QStringLiteral("tick 0");
            else if (m_log.last() != QLatin1String("ticking"))
                m_log << QStringLiteral("ticking");
        };
        m_controller->onFinished = [this](const Result<QString> &file) {
            m_log << (file ? QStringLiteral("saved ") + *file : QStringLiteral("failed: ") + file.error().message);
        };
    }

    void endings_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QStringList>("after");
        QTest::newRow("stop") << QStringLiteral("stop") << steps("no frame|ticks end|no escape|saved file.mp4");
        QTest::newRow("cancel") << QStringLiteral("cancel") << steps("no frame|ticks end|no escape");
        QTest::newRow("the source ends") << QStringLiteral("source")
                                         << steps("no frame|ticks end|no escape|saved file.mp4");
    }
    void endings()
    {
        QFETCH(QString, how);
        QFETCH(QStringList, after);
        m_controller->start(CaptureTarget::display(1));
        QCOMPARE(m_controller->phase(), RecordingController::Phase::recording);
        QTest::qWait(600);
        m_controller->start(CaptureTarget::display(1)); // a second start changes nothing
        if (how == QLatin1String("stop"))
            m_controller->stop();
        else if (how == QLatin1String("cancel"))
            m_controller->cancel();
        else
            m_source->stopped(Error{QStringLiteral("gone"), {}});
        waitUntilIdle();
        QTest::qWait(300); // no tick after the end
        QCOMPARE(m_log, steps("escape|frame|tick 0|ticking") + after);
    }

    // During the countdown a stop does nothing and a cancel is noticed at the next check.
    void theCountdown_data()
    {
        QTest::addColumn<bool>("cancelled");
        QTest::addColumn<QStringList>("log");
        QTest::newRow("runs out") << false << steps("escape|countdown|frame|tick 0");
        QTest::newRow("cancelled") << true << steps("escape|countdown|ticks end|no escape");
    }
    void theCountdown()
    {
        QFETCH(bool, cancelled);
        QFETCH(QStringList, log);
        m_countdown = true;
        m_controller->start(CaptureTarget::display(1));
        m_controller->stop();
        QCOMPARE(m_controller->phase(), RecordingController::Phase::starting);
        if (cancelled)
            m_controller->cancel();
        QCOMPARE(m_overlays.stillWanted(), !cancelled);
        m_overlays.done(!cancelled);
        if (cancelled)
            waitUntilIdle();
        QCOMPARE(m_log, log);
        m_controller->cancel();
        waitUntilIdle();
    }

    void aTargetThatIsGoneFails()
    {
        m_controller->start(CaptureTarget::display(9));
        QCOMPARE(m_controller->phase(), RecordingController::Phase::idle);
        QCOMPARE(m_log,
            steps("escape|ticks end|no escape")
                << QStringLiteral("failed: ") + description(RecordingError::targetNotFound));
    }
};

QTEST_GUILESS_MAIN(tst_RecordingController)
#include "tst_RecordingController.moc"
