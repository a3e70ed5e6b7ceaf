#include "Bt709Converter.h"

#include <QTest>

#include <array>

// Reference values: BT.709 with limited range, as a player decodes them back.
class tst_Bt709Converter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void convertsColours_data()
    {
        QTest::addColumn<quint32>("colour"); // 0xXXRRGGBB, as the screen hands it out
        QTest::addColumn<int>("y");
        QTest::addColumn<int>("u");
        QTest::addColumn<int>("v");
        QTest::newRow("white") << quint32(0xffffff) << 235 << 128 << 128;
        QTest::newRow("black") << quint32(0) << 16 << 128 << 128;
        QTest::newRow("red") << quint32(0xff0000) << 63 << 102 << 240;
        QTest::newRow("green") << quint32(0x00ff00) << 173 << 42 << 26;
        QTest::newRow("blue") << quint32(0x0000ff) << 32 << 240 << 118;
    }
    void convertsColours()
    {
        QFETCH(quint32, colour);
        QFETCH(int, y);
        QFETCH(int, u);
        QFETCH(int, v);
        // A 4 × 2 picture: the colour on the left block, black on the right, so that a mix-up of
        // blocks or rows shows.
        std::array<quint32, 8> pixels = {colour, colour, 0, 0, colour, colour, 0, 0};
        std::array<uchar, 8> luma{};
        std::array<uchar, 2> blue{}, red{};
        Bt709Converter::toI420(
            reinterpret_cast<const uchar *>(pixels.data()), 16, 4, 2, {luma.data(), 4, blue.data(), 2, red.data(), 2});
        for (int i : {0, 1, 4, 5})
            QVERIFY2(qAbs(luma[i] - y) <= 1, qPrintable(QString::number(luma[i])));
        QVERIFY(qAbs(blue[0] - u) <= 1 && qAbs(red[0] - v) <= 1);
        QCOMPARE(luma[2], uchar(16));
        QCOMPARE(blue[1], uchar(128));
    }
};

QTEST_GUILESS_MAIN(tst_Bt709Converter)
#include "tst_Bt709Converter.moc"
