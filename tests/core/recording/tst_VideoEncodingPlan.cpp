#include "Preferences.h"
#include "VideoEncodingPlan.h"

#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(RecordingSettings)
Q_DECLARE_METATYPE(VideoEncodingPlan)

class tst_VideoEncodingPlan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plan_data()
    {
        QTest::addColumn<QSizeF>("points");
        QTest::addColumn<double>("scale");
        QTest::addColumn<RecordingSettings>("settings");
        QTest::addColumn<VideoEncodingPlan>("expected");
        const auto settings = [](VideoQuality quality, VideoCodec codec, VideoMaxResolution cap) {
            return RecordingSettings{quality, codec, cap, false};
        };
        using Q = VideoQuality;
        using C = VideoCodec;
        using R = VideoMaxResolution;
        QTest::newRow("capped at 1080, odd width rounded down")
            << QSizeF(1512, 982) << 2.0 << settings(Q::medium, C::h264, R::p1080)
            << VideoEncodingPlan{1662, 1080, 0.5, 2'325'974, C::h264};
        QTest::newRow("small: the rate's floor") << QSizeF(400, 300) << 2.0 << settings(Q::low, C::h264, R::unlimited)
                                                 << VideoEncodingPlan{800, 600, 0.35, 800'000, C::h264};
        QTest::newRow("H.264's largest frame") << QSizeF(3008, 1692) << 2.0 << settings(Q::high, C::h264, R::unlimited)
                                               << VideoEncodingPlan{4096, 2304, 0.65, 8'533'333, C::h264};
        QTest::newRow("HEVC keeps it whole") << QSizeF(3008, 1692) << 2.0 << settings(Q::high, C::hevc, R::unlimited)
                                             << VideoEncodingPlan{6016, 3384, 0.65, 12'533'333, C::hevc};
        QTest::newRow("portrait meets the cap's short side")
            << QSizeF(1080, 1920) << 1.0 << settings(Q::high, C::h264, R::p720)
            << VideoEncodingPlan{720, 1280, 0.65, 2'666'666, C::h264};
        QTest::newRow("below two pixels") << QSizeF(0.2, 0.2) << 2.0 << settings(Q::medium, C::h264, R::unlimited)
                                          << VideoEncodingPlan{2, 2, 0.5, 800'000, C::h264};
        QTest::newRow("a cap never enlarges") << QSizeF(1280, 720) << 1.0 << settings(Q::medium, C::h264, R::p1440)
                                              << VideoEncodingPlan{1280, 720, 0.5, 1'666'666, C::h264};
    }

    void plan()
    {
        QFETCH(QSizeF, points);
        QFETCH(double, scale);
        QFETCH(RecordingSettings, settings);
        QTEST(makePlan(points, scale, settings), "expected");
    }

    // One snapshot from the file; a value in another letter case is no value.
    void settingsFromPreferences()
    {
        QTemporaryDir dir;
        Preferences preferences(dir.filePath(QStringLiteral("qorvel.conf")), dir.path());
        preferences.setValue(PreferenceKey::videoQuality, QStringLiteral("high"));
        preferences.setValue(PreferenceKey::videoCodec, QStringLiteral("HEVC"));
        preferences.setValue(PreferenceKey::videoMaxResolution, QStringLiteral("p720"));
        preferences.setValue(PreferenceKey::videoShowsCursor, false);
        QCOMPARE(readRecordingSettings(preferences),
            (RecordingSettings{VideoQuality::high, VideoCodec::h264, VideoMaxResolution::p720, false}));
    }
};

QTEST_GUILESS_MAIN(tst_VideoEncodingPlan)
#include "tst_VideoEncodingPlan.moc"
