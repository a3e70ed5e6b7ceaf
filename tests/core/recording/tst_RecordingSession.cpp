#include "RecordingFakes.h"
#include "RecordingSession.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>

#include <thread>

Q_DECLARE_METATYPE(CaptureTarget)

class tst_RecordingSession : public QObject
{
    Q_OBJECT

    ListedScreens m_screens;
    FrameSourceRequest m_request;
    DrivenSource *m_source = nullptr;
    HeldWriter *m_writer = nullptr;

    Result<std::unique_ptr<RecordingSession>> create(const CaptureTarget &target)
    {
        return RecordingSession::create(
            target, QStringLiteral("file.mp4"), RecordingSettings{}, m_screens,
            [this](const FrameSourceRequest &request) -> Result<std::unique_ptr<FrameSource>> {
                m_request = request;
                auto source = std::make_unique<DrivenSource>();
                m_source = source.get();
                return std::unique_ptr<FrameSource>(std::move(source));
            },
            [this](const QString &, const VideoEncodingPlan &) -> Result<std::unique_ptr<VideoFileWriter>> {
                auto writer = std::make_unique<HeldWriter>();
                m_writer = writer.get();
                return std::unique_ptr<VideoFileWriter>(std::move(writer));
            });
    }

private Q_SLOTS:
    void initTestCase()
    {
        // A retina-like display left of and above the primary.
        m_screens.content.displays = {ScreenDisplay{1, QRectF(0, 0, 1512, 982), 1, QRect(0, 0, 1512, 982), {}},
            ScreenDisplay{2, QRectF(1512, -200, 1000, 500), 2, QRect(1512, -400, 2000, 1000), {}}};
        m_screens.content.windows = {ScreenWindow{77, QRectF(1600, -100, 300, 200), 1}};
    }

    void resolvesTheTarget_data()
    {
        QTest::addColumn<CaptureTarget>("target");
        QTest::addColumn<QRectF>("capturedFrame");
        QTest::addColumn<QRect>("pixels");
        QTest::newRow("area") << CaptureTarget::area(2, QRectF(10, 20, 300, 150)) << QRectF(1522, -180, 300, 150)
                              << QRect(1532, -360, 600, 300);
        QTest::newRow("display") << CaptureTarget::display(2) << QRectF(1512, -200, 1000, 500)
                                 << QRect(1512, -400, 2000, 1000);
        QTest::newRow("window") << CaptureTarget::window(77) << QRectF(1600, -100, 300, 200)
                                << QRect(1688, -200, 600, 400);
    }
    void resolvesTheTarget()
    {
        QFETCH(CaptureTarget, target);
        QFETCH(QRectF, capturedFrame);
        QFETCH(QRect, pixels);
        Result<std::unique_ptr<RecordingSession>> session = create(target);
        QVERIFY(session);
        QCOMPARE((*session)->capturedFrame(), capturedFrame);
        QCOMPARE(m_request.pixelRect, pixels);
        QCOMPARE((*session)->plan().width, pixels.width());
    }

    // The encoder holds the first frame; two more may wait, the rest are dropped, and idle
    // frames never reach it.
    void dropsWhatTheWriterCannotTake()
    {
        Result<std::unique_ptr<RecordingSession>> made = create(CaptureTarget::display(1));
        QVERIFY(made);
        RecordingSession &session = **made;
        QVERIFY(session.start());
        std::thread([this] {
            for (int i = 0; i < 10; ++i)
                m_source->frame(VideoFrame{Bitmap::allocate(QSize(2, 2)), RecordingClock::now(), {}});
            m_source->frame(VideoFrame{{}, RecordingClock::now(), VideoFrame::Status::idle});
        }).join();
        m_writer->go.release(64);
        std::optional<Result<QString>> finished;
        session.stop([&finished](const Result<QString> &file) { finished = file; });
        QTRY_VERIFY(finished.has_value());
        QVERIFY(*finished);
        QCOMPARE(session.counts().written, 3);
        QCOMPARE(session.counts().dropped, 7);
        QCOMPARE(session.counts().idle, 1);
    }

    void aSourceThatStopsIsReportedOnceOnTheMainThread()
    {
        Result<std::unique_ptr<RecordingSession>> made = create(CaptureTarget::display(1));
        QVERIFY(made);
        RecordingSession &session = **made;
        int reports = 0;
        session.onStreamStopped = [&reports](const Error &why) {
            QCOMPARE(QThread::currentThread(), QCoreApplication::instance()->thread());
            QCOMPARE(why.message, QStringLiteral("gone"));
            ++reports;
        };
        QVERIFY(session.start());
        std::thread([this] {
            m_source->stopped(Error{QStringLiteral("gone"), {}});
            m_source->stopped(Error{QStringLiteral("gone again"), {}});
        }).join();
        QTRY_COMPARE(reports, 1);
        QTest::qWait(50);
        QCOMPARE(reports, 1);
        session.cancel();
    }
};

QTEST_GUILESS_MAIN(tst_RecordingSession)
#include "tst_RecordingSession.moc"
