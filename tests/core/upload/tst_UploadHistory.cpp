#include "UploadHistory.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

#include <functional>

namespace {

// In memory, because the history must not depend on a Secret Service daemon; the real back end
// has its own tests.
class MemoryStore : public SecretStore
{
public:
    Result<std::optional<QByteArray>> read(const QString &account) override
    {
        return items.contains(account) ? std::optional(items.value(account)) : std::nullopt;
    }

    Result<void> write(const std::optional<QByteArray> &value, const QString &account) override
    {
        ++writes;
        if (value)
            items.insert(account, *value);
        else
            items.remove(account);
        return {};
    }

    QHash<QString, QByteArray> items;
    int writes = 0;
};

const QString account = QLatin1String(SecretAccounts::uploadHistory);

using Change = std::function<void(UploadHistory &)>;

UploadRecord record(int n)
{
    const QString name = QStringLiteral("f%1.png").arg(n);
    const UploadResult result{QUrl(QStringLiteral("https://files.catbox.moe/") + name), name, n % 2 == 0};
    return UploadRecord::fromResult(
        result, UploadKind::image, QDateTime(QDate(2025, 6, 1), QTime(9, 0), Qt::UTC).addSecs(n));
}

QJsonObject validObject()
{
    return QJsonObject{{QStringLiteral("id"), QStringLiteral("0f8fad5b-d9cb-469f-a165-70867728950e")},
        {QStringLiteral("url"), QStringLiteral("https://files.catbox.moe/abc123.png")},
        {QStringLiteral("remoteName"), QStringLiteral("abc123.png")}, {QStringLiteral("kind"), QStringLiteral("image")},
        {QStringLiteral("date"), 770461200.5}, {QStringLiteral("deletable"), false},
        {QStringLiteral("host"), QStringLiteral("Catbox")}};
}

// A valid object first, so a rejection proves one bad record spoils the whole document.
QByteArray documentWith(const QJsonObject &second)
{
    return QJsonDocument(QJsonArray{validObject(), second}).toJson();
}

} // namespace

class tst_UploadHistory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The object that spoils documents below is valid on its own, its lower-case id included.
    // Dates count seconds from 2001-01-01 UTC, so files written by earlier versions keep theirs.
    void decodesAValidDocument()
    {
        const auto decoded = decodeUploadRecords(documentWith(validObject()));
        QVERIFY(decoded && decoded->size() == 2);
        QCOMPARE(decoded->at(0).id, QUuid::fromString(QStringLiteral("{0F8FAD5B-D9CB-469F-A165-70867728950E}")));
        QCOMPARE(decoded->at(0).date, QDateTime(QDate(2025, 6, 1), QTime(9, 0, 0, 500), Qt::UTC));
    }

    void decodeRejectsTheWholeDocument_data()
    {
        QTest::addColumn<QByteArray>("document");
        QTest::newRow("not JSON") << QByteArray("[{\"id\":");
        QTest::newRow("element not an object") << QJsonDocument(QJsonArray{validObject(), 3}).toJson();
        const auto mutated = [](const char *key, const QJsonValue &value) {
            QJsonObject object = validObject();
            if (value.isUndefined())
                object.remove(QLatin1String(key));
            else
                object.insert(QLatin1String(key), value);
            return documentWith(object);
        };
        for (const char *key : {"id", "url", "remoteName", "kind", "date", "deletable", "host"})
            QTest::addRow("missing %s", key) << mutated(key, QJsonValue::Undefined);
        QTest::newRow("unknown kind") << mutated("kind", QStringLiteral("gif"));
        QTest::newRow("date as text") << mutated("date", QStringLiteral("2025-06-01T09:00:00Z"));
    }

    void decodeRejectsTheWholeDocument()
    {
        QFETCH(QByteArray, document);
        QVERIFY(!decodeUploadRecords(document));
    }

    // The list shows every change at once and signals it. The store follows, unless nothing
    // changed: loading writes nothing, so a damaged document stays for the user to rescue.
    void changes_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<Change>("change"); // none: only loaded
        QTest::addColumn<QList<UploadRecord>>("expected");
        const auto row
            = [](const char *name, const QByteArray &stored, const Change &change,
                  const QList<UploadRecord> &expected) { QTest::newRow(name) << stored << change << expected; };

        const UploadRecord added = record(0);
        const Change add = [added](UploadHistory &history) { history.add(added); };
        QList<UploadRecord> full;
        for (int n = 100; n < 100 + UploadHistory::limit; ++n)
            full << record(n);
        const int kept = UploadHistory::limit - 1;
        row("add beyond the limit drops the oldest", encodeUploadRecords(full), add, QList{added} + full.first(kept));

        const QByteArray damaged = documentWith(QJsonObject());
        row("undecodable document is kept as loaded", damaged, {}, {});
        row("undecodable document is replaced by the next add", damaged, add, {added});
    }
    void changes()
    {
        QFETCH(QByteArray, stored);
        QFETCH(Change, change);
        QFETCH(QList<UploadRecord>, expected);
        MemoryStore store;
        store.items.insert(account, stored);

        UploadHistory history(store);
        QSignalSpy changed(&history, &UploadHistory::changed);
        if (change)
            change(history);
        QCOMPARE(history.records(), expected);
        QCOMPARE(changed.count(), change ? 1 : 0);
        QCOMPARE(store.writes, change ? 1 : 0);
        if (!change)
            QCOMPARE(store.items.value(account), stored);
        else
            QCOMPARE(decodeUploadRecords(store.items.value(account)), expected);
    }
};

QTEST_GUILESS_MAIN(tst_UploadHistory)
#include "tst_UploadHistory.moc"
